// The setup file: token streams handed to plug-ins, the writer's layout, whole files with their
// errors, and saves that a crash cannot tear.
#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "host/atomic_file.h"
#include "host/setup_file.h"
#include "platform/xml_setup.h"

namespace {

using tarvo::host::MakeSectionReader;
using tarvo::host::SetupFile;
using tarvo::host::SetupTextWriter;

struct Token {
    int type;
    std::wstring text;
    int line;
    bool operator==(const Token&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Token& token) {
    return out << "{" << token.type << ", \"" << std::string(token.text.begin(), token.text.end())
               << "\", line " << token.line << "}";
}

std::vector<Token> ReadAll(CXMLSetup& reader) {
    std::vector<Token> tokens;
    CXMLToken token;
    while (reader.ReadNextToken(token))
        tokens.push_back({token.GetType(), token.GetText(), token.GetLine()});
    EXPECT_EQ(token.GetType(), XML_TOKEN_NONE);
    EXPECT_FALSE(reader.ReadNextToken(token)) << "the stream stays ended";
    return tokens;
}

// Writes back what a reader yields, the way a plug-in reads its section and writes it again.
std::string Rewrite(CXMLSetup& reader, const std::wstring& section) {
    SetupTextWriter writer;
    EXPECT_TRUE(writer.WriteStartTag(L"<" + section + L">"));
    CXMLToken token;
    std::wstring name;
    while (reader.ReadNextToken(token)) {
        switch (token.GetType()) {
            case XML_TOKEN_START:
                EXPECT_TRUE(writer.WriteStartTag(L"<" + token.GetText()));
                break;
            case XML_TOKEN_ATTR_NAME:
                name = token.GetText();
                break;
            case XML_TOKEN_ATTR_VALUE:
                EXPECT_TRUE(writer.WriteText(name + L" = \"" + token.GetText() + L"\""));
                break;
            case XML_TOKEN_EMPTY_END:
                EXPECT_TRUE(writer.WriteEndTag(L"/>"));
                break;
            case XML_TOKEN_END:
                EXPECT_TRUE(writer.WriteEndTag(L"</" + token.GetText() + L">"));
                break;
            default:
                ADD_FAILURE() << "a token the writer cannot take: " << token.GetType();
        }
    }
    return writer.Text();
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> FilesIn(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = ::opendir(dir.c_str())) {
        while (const dirent* entry = ::readdir(d)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..")
                names.push_back(name);
        }
        ::closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

class TempDir {
  public:
    TempDir() {
        std::string pattern = ::testing::TempDir() + "setup_test_XXXXXX";
        path_ = ::mkdtemp(pattern.data());
    }
    ~TempDir() {
        for (const std::string& name : FilesIn(path_))
            std::remove((path_ + "/" + name).c_str());
        ::rmdir(path_.c_str());
    }
    std::string File(const std::string& name) const { return path_ + "/" + name; }
    const std::string& Path() const { return path_; }

  private:
    std::string path_;
};

// A hand-edited setup: uneven spacing, entities, comments, a section of another owner.
const std::string kHandWritten =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!-- station 12 -->\n"
    "<TarvoSetup>\n"
    "  <Blocks>\n"
    "    <Block Type='Log'   Name=\"Stage &amp; flow\"><Note>keep &lt;me&gt;</Note></Block>\n"
    "    <!-- retired: <Block Type=\"Old\"/> -->\n"
    "    <Script><![CDATA[if a < b then]]></Script>\n"
    "  </Blocks>\n"
    "  <Corvane>\n"
    "    <Common Port=\"3\" SatID=\"ABCD0123\"\n"
    "            InitCorvane=\"1\" LTO=\"-5\"/>\n"
    "    <SelfTimed Enabled=\"1\" Format=\"SHEF\" />\n"
    "  </Corvane>\n"
    "</TarvoSetup>\n";

TEST(SetupReader, ASectionYieldsItsTokensThenItsEndTagThenNothing) {
    const std::string section =
        "<Corvane Version=\"2\">\n"
        "    <Common Port = \"3\" SatID = \"ABCD0123\" LTO = \"-5\" />\n"
        "    <SelfTimed Format=\"SHEF &amp; more\" Time='&quot;x&quot;'/>\n"
        "\n"
        "    <Note>free &lt;text&gt; </Note>\n"
        "    <!-- comments are not tokens -->\n"
        "    <Empty></Empty>\n"
        "    <Id Name=\"\xC3\xA9\xE6\xB0\xB4\"/>\n"
        "</Corvane>\n";
    std::string error;
    auto reader = MakeSectionReader(section, error);
    ASSERT_TRUE(reader) << error;
    const std::vector<Token> expected = {
        // the section's own attribute (Version) lies behind the reader already
        {XML_TOKEN_START, L"Common", 2},
        {XML_TOKEN_ATTR_NAME, L"Port", 2},
        {XML_TOKEN_ATTR_VALUE, L"3", 2},
        {XML_TOKEN_ATTR_NAME, L"SatID", 2},
        {XML_TOKEN_ATTR_VALUE, L"ABCD0123", 2},
        {XML_TOKEN_ATTR_NAME, L"LTO", 2},
        {XML_TOKEN_ATTR_VALUE, L"-5", 2},
        {XML_TOKEN_EMPTY_END, L"Common", 2},
        {XML_TOKEN_START, L"SelfTimed", 3},
        {XML_TOKEN_ATTR_NAME, L"Format", 3},
        {XML_TOKEN_ATTR_VALUE, L"SHEF & more", 3},  // entities come back unescaped
        {XML_TOKEN_ATTR_NAME, L"Time", 3},
        {XML_TOKEN_ATTR_VALUE, L"\"x\"", 3},
        {XML_TOKEN_EMPTY_END, L"SelfTimed", 3},
        {XML_TOKEN_START, L"Note", 5},  // the blank line made no token
        {XML_TOKEN_TEXT, L"free <text> ", 5},
        {XML_TOKEN_END, L"Note", 5},
        {XML_TOKEN_START, L"Empty", 7},  // an explicit end tag is an END, not an EMPTY_END
        {XML_TOKEN_END, L"Empty", 7},
        {XML_TOKEN_START, L"Id", 8},
        {XML_TOKEN_ATTR_NAME, L"Name", 8},
        {XML_TOKEN_ATTR_VALUE, L"\u00E9\u6C34", 8},  // UTF-8 arrives as wide characters
        {XML_TOKEN_EMPTY_END, L"Id", 8},
        {XML_TOKEN_END, L"Corvane", 1},  // an end tag carries its element's line
    };
    EXPECT_EQ(ReadAll(*reader), expected);
}

TEST(SetupReader, AnEmptySectionEndsAtOnceAndAMalformedOneIsRefused) {
    std::string error;
    auto empty = MakeSectionReader("<Corvane/>", error);
    ASSERT_TRUE(empty) << error;
    EXPECT_EQ(ReadAll(*empty), (std::vector<Token>{{XML_TOKEN_EMPTY_END, L"Corvane", 1}}));

    EXPECT_FALSE(MakeSectionReader("<Corvane><Common Port=\"1\"></Corvane>", error));
    EXPECT_EQ(error, "section:1:37: Opening and ending tag mismatch: Common line 1 and Corvane");

    // A reader reads; it does not write.
    auto reader = MakeSectionReader("<Corvane/>", error);
    EXPECT_FALSE(reader->WriteStartTag(L"<Common"));
}

TEST(SetupWriter, WritesThePlatformLayout) {
    SetupTextWriter writer;
    EXPECT_TRUE(writer.WriteStartTag(L"<Corvane>"));
    EXPECT_TRUE(writer.WriteStartTag(L"<Common"));
    EXPECT_TRUE(writer.WriteText(L"Port = \"0\""));
    EXPECT_TRUE(writer.WriteText(L"SatID = \"00000000\""));
    EXPECT_TRUE(writer.WriteEndTag(L"/>"));
    EXPECT_TRUE(writer.WriteStartTag(L"<Random"));  // an element with content after attributes
    EXPECT_TRUE(writer.WriteText(L"Enabled = \"0\""));
    EXPECT_TRUE(writer.WriteStartTag(L"<Group"));
    EXPECT_TRUE(writer.WriteEndTag(L"/>"));
    EXPECT_TRUE(writer.WriteEndTag(L"</Random>"));
    EXPECT_TRUE(writer.WriteEndTag(L"</Corvane>"));
    EXPECT_EQ(writer.Text(),
              "<Corvane>\n"
              "    <Common Port = \"0\" SatID = \"00000000\" />\n"
              "    <Random Enabled = \"0\">\n"
              "        <Group />\n"
              "    </Random>\n"
              "</Corvane>\n");
    CXMLToken token;
    EXPECT_FALSE(writer.ReadNextToken(token));
}

TEST(SetupWriter, RefusesCallsThatDoNotFitWhatWasWritten) {
    struct Row {
        const char* legend;
        std::vector<std::pair<char, std::wstring>> before;  // 'S' start, 'T' text, 'E' end
        char call;
        std::wstring argument;
    };
    const Row rows[] = {
        {"text outside a start tag", {{'S', L"<Corvane>"}}, 'T', L"Port = \"0\""},
        {"text before anything", {}, 'T', L"Port = \"0\""},
        {"empty end with no open start tag", {{'S', L"<Corvane>"}}, 'E', L"/>"},
        {"closing the wrong element", {{'S', L"<Corvane>"}, {'S', L"<Common"}}, 'E', L"</Corvane>"},
        {"closing what was never opened", {}, 'E', L"</Corvane>"},
        {"a tag without its angle bracket", {}, 'S', L"Corvane>"},
        {"a tag with no name", {}, 'S', L"<>"},
        {"a second section", {{'S', L"<A>"}, {'E', L"</A>"}}, 'S', L"<B>"},
        {"an unknown end form", {{'S', L"<Common"}}, 'E', L">"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        SetupTextWriter writer;
        const auto call = [&writer](char kind, const std::wstring& argument) {
            return kind == 'S'   ? writer.WriteStartTag(argument)
                   : kind == 'T' ? writer.WriteText(argument)
                                 : writer.WriteEndTag(argument);
        };
        for (const auto& [kind, argument] : row.before)
            ASSERT_TRUE(call(kind, argument));
        const std::string text = writer.Text();
        EXPECT_FALSE(call(row.call, row.argument));
        EXPECT_EQ(writer.Text(), text) << "a refused call writes nothing";
    }
}

TEST(SetupWriter, ASectionReadAndWrittenAgainIsByteIdentical) {
    SetupTextWriter first;
    first.WriteStartTag(L"<Corvane>");
    first.WriteStartTag(L"<Common");
    first.WriteText(L"Port = \"0\"");
    first.WriteText(L"SatID = \"A&B <C>\"");           // markup characters in a value
    first.WriteText(L"Note = \"say \"hi\"\ttwice\"");  // quotes and a tab inside the quotes
    first.WriteText(L"Name = \"\u00E9\u6C34\"");       // beyond ASCII
    first.WriteEndTag(L"/>");
    first.WriteStartTag(L"<Random");
    first.WriteText(L"Enabled = \"1\"");
    first.WriteStartTag(L"<Group");
    first.WriteText(L"Id = \"2\"");
    first.WriteEndTag(L"/>");
    first.WriteEndTag(L"</Random>");
    first.WriteStartTag(L"<Other>");
    first.WriteEndTag(L"</Other>");
    first.WriteEndTag(L"</Corvane>");

    std::string error;
    auto reader = MakeSectionReader(first.Text(), error);
    ASSERT_TRUE(reader) << error << "\n" << first.Text();
    const std::string second = Rewrite(*reader, L"Corvane");
    EXPECT_EQ(second, first.Text());

    // And the values came through as they were given.
    reader = MakeSectionReader(first.Text(), error);
    const std::vector<Token> tokens = ReadAll(*reader);
    ASSERT_GE(tokens.size(), 11u);
    EXPECT_EQ(tokens[4].text, L"A&B <C>");
    EXPECT_EQ(tokens[6].text, L"say \"hi\"\ttwice");
    EXPECT_EQ(tokens[8].text, L"\u00E9\u6C34");
}

TEST(SetupFileText, AHandWrittenFileKeepsEverySectionAndSettlesInTheHostLayout) {
    SetupFile file;
    std::string error;
    ASSERT_TRUE(file.Parse(kHandWritten, "station.xml", error)) << error;
    EXPECT_EQ(file.SectionTags(), (std::vector<std::wstring>{L"Blocks", L"Corvane"}));
    EXPECT_EQ(file.SectionLine(L"Blocks"), 4);
    EXPECT_EQ(file.SectionLine(L"Corvane"), 9);
    EXPECT_EQ(file.SectionLine(L"Random"), 0);
    EXPECT_FALSE(file.HasSection(L"Random"));
    EXPECT_EQ(file.ReadSection(L"Random"), nullptr);

    const std::string text = file.ToText();
    EXPECT_EQ(text,
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<TarvoSetup>\n"
              "    <Blocks>\n"
              "        <Block Type = \"Log\" Name = \"Stage &amp; flow\">\n"
              "            <Note>keep &lt;me&gt;</Note>\n"
              "        </Block>\n"
              "        <!-- retired: <Block Type=\"Old\"/> -->\n"
              "        <Script><![CDATA[if a < b then]]></Script>\n"
              "    </Blocks>\n"
              "    <Corvane>\n"
              "        <Common Port = \"3\" SatID = \"ABCD0123\" InitCorvane = \"1\" LTO = \"-5\" "
              "/>\n"
              "        <SelfTimed Enabled = \"1\" Format = \"SHEF\" />\n"
              "    </Corvane>\n"
              "</TarvoSetup>\n");

    // Read again, the host's own layout comes back byte for byte.
    SetupFile again;
    ASSERT_TRUE(again.Parse(text, "station.xml", error)) << error;
    EXPECT_EQ(again.ToText(), text);
}

TEST(SetupFileText, TokensOfASectionCarryTheirLinesInTheFile) {
    SetupFile file;
    std::string error;
    ASSERT_TRUE(file.Parse(kHandWritten, "station.xml", error)) << error;
    auto reader = file.ReadSection(L"Corvane");
    ASSERT_TRUE(reader);
    const std::vector<Token> tokens = ReadAll(*reader);
    ASSERT_EQ(tokens.size(), 17u);
    EXPECT_EQ(tokens[0], (Token{XML_TOKEN_START, L"Common", 11}));  // its start tag ends there
    EXPECT_EQ(tokens[10], (Token{XML_TOKEN_START, L"SelfTimed", 12}));
    EXPECT_EQ(tokens[16], (Token{XML_TOKEN_END, L"Corvane", 9}));
}

TEST(SetupFileText, ASectionWrittenByAPlugInReplacesItsOldTextInPlace) {
    SetupFile file;
    std::string error;
    ASSERT_TRUE(file.Parse(kHandWritten, "station.xml", error)) << error;
    SetupTextWriter writer;
    writer.WriteStartTag(L"<Corvane>");
    writer.WriteStartTag(L"<Common");
    writer.WriteText(L"Port = \"5\"");
    writer.WriteEndTag(L"/>");
    writer.WriteEndTag(L"</Corvane>");
    file.SetSection(L"Corvane", writer.Text());
    file.SetSection(L"Random", "<Random Enabled=\"0\"/>");
    EXPECT_EQ(file.SectionTags(), (std::vector<std::wstring>{L"Blocks", L"Corvane", L"Random"}));
    EXPECT_EQ(file.SectionLine(L"Corvane"), 0) << "not read from a file";

    SetupFile again;
    ASSERT_TRUE(again.Parse(file.ToText(), "station.xml", error)) << error;
    auto reader = again.ReadSection(L"Corvane");
    ASSERT_TRUE(reader);
    EXPECT_EQ(Rewrite(*reader, L"Corvane"), writer.Text());
    EXPECT_EQ(again.ToText(), file.ToText());
}

TEST(SetupFileText, AMalformedFileIsRefusedWithWhereAndWhatAndNothingChanges) {
    struct Row {
        const char* legend;
        std::string text;
        std::string error;
    };
    const Row rows[] = {
        {"unclosed element",
         "<TarvoSetup>\n  <Corvane>\n    <Common Port=\"0\">\n  </Corvane>\n</TarvoSetup>\n",
         "bad.xml:4:13: Opening and ending tag mismatch: Common line 3 and Corvane"},
        {"unquoted attribute",
         "<TarvoSetup>\n  <Corvane>\n    <Common Port=0 />\n  </Corvane>\n</TarvoSetup>\n",
         "bad.xml:3:18: AttValue: \" or ' expected"},
        {"unterminated quote",
         "<TarvoSetup>\n  <Corvane>\n    <Common Port=\"0 />\n  </Corvane>\n</TarvoSetup>\n",
         "bad.xml:4:3: Unescaped '<' not allowed in attributes values"},
        {"file cut short", "<TarvoSetup>\n  <Corvane>\n    <Common Port=\"0\" />\n  </Corv",
         "bad.xml:4:9: expected '>'"},
        {"wrong root", "<?xml version=\"1.0\"?>\n<!-- x -->\n  <Setup>\n  <Corvane/>\n</Setup>\n",
         "bad.xml:3:3: expected root element <TarvoSetup>, found <Setup>"},
        {"duplicate section",
         "<TarvoSetup>\n  <Corvane/>\n  <Blocks/>\n  <Blocks>\n  </Blocks>\n</TarvoSetup>\n",
         "bad.xml:4:3: expected each section once, found a second <Blocks> (the first is at line "
         "3)"},
        {"text among the sections", "<TarvoSetup>\n  <Corvane/>\n  Port = 0\n</TarvoSetup>\n",
         "bad.xml:4:1: expected a section element, found text in <TarvoSetup>"},
        {"not XML", "Port = 0\nSatID = 1\n",
         "bad.xml:1:1: expected an XML element, found no markup"},
        {"empty file", "", "bad.xml:1:1: expected an XML document, found no content"},
        {"two roots", "<TarvoSetup/>\n<TarvoSetup/>\n",
         "bad.xml:2:1: Extra content at the end of the document"},
    };
    SetupFile file;
    std::string error;
    ASSERT_TRUE(file.Parse(kHandWritten, "station.xml", error)) << error;
    const std::string before = file.ToText();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        error.clear();
        EXPECT_FALSE(file.Parse(row.text, "bad.xml", error));
        EXPECT_EQ(error, row.error);
        EXPECT_EQ(file.ToText(), before);
        EXPECT_EQ(file.SectionLine(L"Corvane"), 9);
    }
}

TEST(SetupFileDisk, SaveThenLoadThenSaveGivesTheSameBytes) {
    TempDir dir;
    SetupFile file;
    std::string error;
    ASSERT_TRUE(file.Parse(kHandWritten, "station.xml", error)) << error;
    ASSERT_TRUE(file.Save(dir.File("setup.xml"), error)) << error;
    SetupFile loaded;
    ASSERT_TRUE(loaded.Load(dir.File("setup.xml"), error)) << error;
    ASSERT_TRUE(loaded.Save(dir.File("copy.xml"), error)) << error;
    EXPECT_EQ(ReadFile(dir.File("copy.xml")), ReadFile(dir.File("setup.xml")));
    EXPECT_EQ(FilesIn(dir.Path()), (std::vector<std::string>{"copy.xml", "setup.xml"}))
        << "no temporary file is left behind";

    EXPECT_FALSE(loaded.Load(dir.File("missing.xml"), error));
    EXPECT_NE(error.find(dir.File("missing.xml")), std::string::npos) << error;
    EXPECT_EQ(loaded.ToText(), file.ToText());
}

class SetupSaveTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(old_.Parse(kHandWritten, "station.xml", error)) << error;
        ASSERT_TRUE(old_.Save(path_, error)) << error;
        oldBytes_ = ReadFile(path_);
        changed_ = old_;
        changed_.SetSection(L"Random", "<Random Enabled=\"1\"/>");
    }
    void TearDown() override { tarvo::host::SetBeforeRenameHook(nullptr); }

    TempDir dir_;
    const std::string path_ = dir_.File("setup.xml");
    SetupFile old_;
    SetupFile changed_;
    std::string oldBytes_;
};

TEST_F(SetupSaveTest, ASaveAbandonedBeforeTheRenameLeavesTheOldFileWhole) {
    std::string seenTemp;
    tarvo::host::SetBeforeRenameHook([&](const std::string& temp) {
        seenTemp = temp;
        // Everything is on disk beside the target by now; only the rename is missing.
        EXPECT_EQ(ReadFile(temp), changed_.ToText());
        return false;
    });
    std::string error;
    EXPECT_FALSE(changed_.Save(path_, error));
    EXPECT_NE(error.find(path_), std::string::npos) << error;
    EXPECT_EQ(ReadFile(path_), oldBytes_);
    EXPECT_EQ(seenTemp.substr(0, seenTemp.rfind('/')), dir_.Path()) << "same directory";
    EXPECT_EQ(FilesIn(dir_.Path()), (std::vector<std::string>{"setup.xml"}));
}

TEST_F(SetupSaveTest, AProcessKilledBetweenWriteAndRenameLeavesTheOldFileWholeAndLoadable) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        tarvo::host::SetBeforeRenameHook([](const std::string&) -> bool { ::_exit(42); });
        std::string error;
        changed_.Save(path_, error);
        ::_exit(0);  // not reached when the hook fires
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 42) << "the child died between write and rename";

    EXPECT_EQ(ReadFile(path_), oldBytes_);
    SetupFile loaded;
    std::string error;
    ASSERT_TRUE(loaded.Load(path_, error)) << error;
    EXPECT_FALSE(loaded.HasSection(L"Random"));
    // The crash's leftover does not get in the way of the next save.
    ASSERT_TRUE(changed_.Save(path_, error)) << error;
    ASSERT_TRUE(loaded.Load(path_, error)) << error;
    EXPECT_TRUE(loaded.HasSection(L"Random"));
}

TEST_F(SetupSaveTest, ASaveThatCannotBeReadBackOrWrittenLeavesTheOldFile) {
    std::string error;
    SetupFile broken = old_;
    broken.SetSection(L"Random", "<Random Enabled=\"1\">");
    EXPECT_FALSE(broken.Save(path_, error));
    EXPECT_NE(error.find("Random"), std::string::npos) << error;
    EXPECT_EQ(ReadFile(path_), oldBytes_);

    EXPECT_FALSE(changed_.Save(dir_.File("no-such-dir/setup.xml"), error));
    EXPECT_NE(error.find("no-such-dir"), std::string::npos) << error;
    EXPECT_EQ(FilesIn(dir_.Path()), (std::vector<std::string>{"setup.xml"}));
}

TEST_F(SetupSaveTest, AReplacedFileKeepsItsPermissions) {
    ASSERT_EQ(::chmod(path_.c_str(), 0640), 0);
    std::string error;
    ASSERT_TRUE(changed_.Save(path_, error)) << error;
    struct stat info {};
    ASSERT_EQ(::stat(path_.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
    EXPECT_EQ(ReadFile(path_), changed_.ToText());
}

}  // namespace
