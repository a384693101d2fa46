// The setup file: token streams handed to plug-ins, the writer's layout, whole files with their
// errors, and saves that a crash cannot tear.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/setup/atomic_file.h"
#include "host/setup/setup_file.h"
#include "host/support/temp_dir.h"
#include "platform/xml_setup.h"

namespace {

using tarvo::host::MakeSectionReader;
using tarvo::host::SetupFile;
using tarvo::host::SetupTextWriter;
using tarvo::test::ReadText;
using tarvo::test::TempDir;

// Each token as a short text with its line: "<Name" start, "Name" attribute, "=value" its
// value, "/>Name" empty end, "</Name" end, "'text" text.
std::vector<std::wstring> ReadAll(CXMLSetup& reader) {
    static const std::map<int, std::wstring> kMarks = {
        {XML_TOKEN_START, L"<"},      {XML_TOKEN_ATTR_NAME, L""}, {XML_TOKEN_ATTR_VALUE, L"="},
        {XML_TOKEN_EMPTY_END, L"/>"}, {XML_TOKEN_END, L"</"},     {XML_TOKEN_TEXT, L"'"}};
    std::vector<std::wstring> tokens;
    CXMLToken token;
    while (reader.ReadNextToken(token)) {
        const auto mark = kMarks.find(token.GetType());
        tokens.push_back((mark == kMarks.end() ? L"?" : mark->second) + token.GetText() + L"@" +
                         std::to_wstring(token.GetLine()));
    }
    EXPECT_EQ(token.GetType(), XML_TOKEN_NONE);
    EXPECT_FALSE(reader.ReadNextToken(token)) << "the stream stays ended";
    return tokens;
}

// One writer call: 'S' start tag, 'T' text, 'E' end tag.
using Call = std::pair<char, std::wstring>;
bool Apply(SetupTextWriter& writer, const Call& call) {
    const auto& [kind, argument] = call;
    return kind == 'S'   ? writer.WriteStartTag(argument)
           : kind == 'T' ? writer.WriteText(argument)
                         : writer.WriteEndTag(argument);
}

// Writes back what a reader yields, the way a plug-in reads its section and writes it again.
std::string Rewrite(CXMLSetup& reader, const std::wstring& section) {
    SetupTextWriter writer;
    EXPECT_TRUE(writer.WriteStartTag(L"<" + section + L">"));
    CXMLToken token;
    std::wstring name;
    while (reader.ReadNextToken(token)) {
        const int type = token.GetType();
        const std::wstring text = token.GetText();
        if (type == XML_TOKEN_ATTR_NAME) {
            name = text;
            continue;
        }
        const Call call = type == XML_TOKEN_START        ? Call{'S', L"<" + text}
                          : type == XML_TOKEN_ATTR_VALUE ? Call{'T', name + L" = \"" + text + L"\""}
                          : type == XML_TOKEN_EMPTY_END  ? Call{'E', L"/>"}
                                                         : Call{'E', L"</" + text + L">"};
        EXPECT_TRUE(type != XML_TOKEN_TEXT && Apply(writer, call)) << "refused token " << type;
    }
    return writer.Text();
}

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
        "    <Common Port = \"3\" SatID = \"ABCD0123\" />\n"
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
    // The section's own attribute (Version) lies behind the reader already; entities come back
    // unescaped, the blank line and the comment make no token, an explicit end tag is an end
    // (not an empty end), UTF-8 arrives as wide characters, and the section's end tag carries
    // its element's line.
    EXPECT_EQ(
        ReadAll(*reader),
        (std::vector<std::wstring>{
            L"<Common@2",  L"Port@2",        L"=3@2",     L"SatID@2",         L"=ABCD0123@2",
            L"/>Common@2", L"<SelfTimed@3",  L"Format@3", L"=SHEF & more@3",  L"Time@3",
            L"=\"x\"@3",   L"/>SelfTimed@3", L"<Note@5",  L"'free <text> @5", L"</Note@5",
            L"<Empty@7",   L"</Empty@7",     L"<Id@8",    L"Name@8",          L"=\u00E9\u6C34@8",
            L"/>Id@8",     L"</Corvane@1"}));

    auto empty = MakeSectionReader("<Corvane/>", error);
    ASSERT_TRUE(empty) << error;
    EXPECT_EQ(ReadAll(*empty), std::vector<std::wstring>{L"/>Corvane@1"});
    EXPECT_FALSE(empty->WriteStartTag(L"<Common")) << "a reader does not write";
    EXPECT_FALSE(MakeSectionReader("<Corvane><Common Port=\"1\"></Corvane>", error));
    EXPECT_EQ(error, "section:1:37: Opening and ending tag mismatch: Common line 1 and Corvane");
}

// The host's layout, escaping what a value holds, through the calls a plug-in makes; read and
// written again, a section comes back byte for byte with its values as they were given.
TEST(SetupWriter, WritesTheHostLayoutAndASectionReadAndWrittenAgainIsByteIdentical) {
    std::string error;
    auto reader = MakeSectionReader(
        "<Corvane><Common Port='0' SatID=\"A&amp;B &lt;C&gt;\" Note=\"say &quot;hi&quot;&#9;twice\""
        " Name=\"\xC3\xA9\xE6\xB0\xB4\"/><Random Enabled=\"0\"><Group/></Random>"
        "<Other></Other></Corvane>",
        error);
    ASSERT_TRUE(reader) << error;
    const std::string text = Rewrite(*reader, L"Corvane");
    EXPECT_EQ(text,
              "<Corvane>\n"
              "    <Common Port = \"0\" SatID = \"A&amp;B &lt;C>\" "
              "Note = \"say &quot;hi&quot;&#9;twice\" Name = \"\xC3\xA9\xE6\xB0\xB4\" />\n"
              "    <Random Enabled = \"0\">\n"
              "        <Group />\n"
              "    </Random>\n"
              "    <Other>\n"
              "    </Other>\n"
              "</Corvane>\n");
    CXMLToken token;
    SetupTextWriter writer;
    EXPECT_FALSE(writer.ReadNextToken(token)) << "a writer does not read";

    reader = MakeSectionReader(text, error);
    ASSERT_TRUE(reader) << error;
    EXPECT_EQ(Rewrite(*reader, L"Corvane"), text);
    reader = MakeSectionReader(text, error);
    const std::vector<std::wstring> tokens = ReadAll(*reader);
    ASSERT_GE(tokens.size(), 9u);
    EXPECT_EQ(tokens[4], L"=A&B <C>@2");
    EXPECT_EQ(tokens[6], L"=say \"hi\"\ttwice@2");
    EXPECT_EQ(tokens[8], L"=\u00E9\u6C34@2");
}

TEST(SetupWriter, RefusesCallsThatDoNotFitWhatWasWritten) {
    struct Row {
        const char* legend;
        std::vector<Call> before;
        Call call;
    };
    const Row rows[] = {
        {"text outside a start tag", {{'S', L"<Corvane>"}}, {'T', L"Port = \"0\""}},
        {"empty end with no open start tag", {{'S', L"<Corvane>"}}, {'E', L"/>"}},
        {"closing the wrong element",
         {{'S', L"<Corvane>"}, {'S', L"<Common"}},
         {'E', L"</Corvane>"}},
        {"a tag without its angle bracket", {}, {'S', L"Corvane>"}},
        {"a tag with no name", {}, {'S', L"<>"}},
        {"a second section", {{'S', L"<A>"}, {'E', L"</A>"}}, {'S', L"<B>"}},
        {"an unknown end form", {{'S', L"<Common"}}, {'E', L">"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        SetupTextWriter writer;
        for (const Call& call : row.before)
            ASSERT_TRUE(Apply(writer, call));
        const std::string text = writer.Text();
        EXPECT_FALSE(Apply(writer, row.call));
        EXPECT_EQ(writer.Text(), text) << "a refused call writes nothing";
    }
}

TEST(SetupFileText, AHandWrittenFileKeepsEverySectionWithItsLinesAndSettlesInTheHostLayout) {
    SetupFile file;
    std::string error;
    ASSERT_TRUE(file.Parse(kHandWritten, "station.xml", error)) << error;
    EXPECT_EQ(file.SectionTags(), (std::vector<std::wstring>{L"Blocks", L"Corvane"}));
    EXPECT_EQ(file.SectionLine(L"Blocks"), 4);
    EXPECT_EQ(file.SectionLine(L"Corvane"), 9);
    EXPECT_EQ(file.SectionLine(L"Random"), 0);
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

    // Tokens of a section carry their lines in the file read.
    auto reader = file.ReadSection(L"Corvane");
    ASSERT_TRUE(reader);
    const std::vector<std::wstring> tokens = ReadAll(*reader);
    ASSERT_EQ(tokens.size(), 17u);
    EXPECT_EQ(tokens[0], L"<Common@11") << "its start tag ends there";
    EXPECT_EQ(tokens[10], L"<SelfTimed@12");
    EXPECT_EQ(tokens[16], L"</Corvane@9");
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

// What is not a setup at all, or more than a setup can be, is refused before it is read whole,
// with the reason and the limit named.
TEST(SetupFileLoad, OnlyRegularFilesWithinTheLimitsOfTheFileAndTheXmlReaderAreRead) {
    TempDir dir;
    dir.Write("big.xml", "<TarvoSetup>" + std::string(4u << 20, ' ') + "</TarvoSetup>\n");
    std::string deep = "<TarvoSetup>\n";
    for (int i = 0; i < 300; ++i)
        deep += "<a>";
    dir.Write("deep.xml", deep + "\n</TarvoSetup>\n");
    dir.Write("name.xml", "<TarvoSetup>\n<" + std::string(60000, 'a') + "/></TarvoSetup>\n");
    mkfifo(dir.File("pipe.xml").c_str(), 0600);
    const struct {
        const char* legend;
        std::string path;
        std::string error;
    } rows[] = {
        {"an endless device", "/dev/zero", "/dev/zero: cannot read: a device, not a file"},
        {"a directory", dir.Path(), dir.Path() + ": cannot read: a directory, not a file"},
        {"a pipe nobody writes to", dir.File("pipe.xml"),
         dir.File("pipe.xml") + ": cannot read: a pipe, not a file"},
        {"a file over the size limit", dir.File("big.xml"),
         dir.File("big.xml") + ": too large: a setup file may hold at most 4 MiB"},
        {"elements nested too deep", dir.File("deep.xml"),
         dir.File("deep.xml") +
             ":2:771: elements are nested deeper than the XML reader takes (256 levels)"},
        {"a name too long", dir.File("name.xml"),
         dir.File("name.xml") +
             ":2:2: a name, attribute value or text here is longer than the XML reader takes "
             "(names up to 50000 bytes, values and texts up to 10000000)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.legend);
        SetupFile file;
        std::string error;
        EXPECT_FALSE(file.Load(row.path, error));
        EXPECT_EQ(error, row.error);
    }
}

class SetupSaveTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string error;
        ASSERT_TRUE(old_.Parse(kHandWritten, "station.xml", error)) << error;
        ASSERT_TRUE(old_.Save(path_, error)) << error;
        oldBytes_ = ReadText(path_);
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

// Abandoned before the rename, or the process killed there: the old file stays whole and
// loadable, and the leftover does not get in the way of the next save.
TEST_F(SetupSaveTest, AnInterruptedSaveLeavesTheOldFileWhole) {
    std::string seenTemp;
    tarvo::host::SetBeforeRenameHook([&](const std::string& temp) {
        seenTemp = temp;
        // Everything is on disk beside the target by now; only the rename is missing.
        EXPECT_EQ(ReadText(temp), changed_.ToText());
        return false;
    });
    std::string error;
    EXPECT_FALSE(changed_.Save(path_, error));
    EXPECT_NE(error.find(path_), std::string::npos) << error;
    EXPECT_EQ(ReadText(path_), oldBytes_);
    EXPECT_EQ(seenTemp.substr(0, seenTemp.rfind('/')), dir_.Path()) << "same directory";
    EXPECT_EQ(dir_.Names(), (std::vector<std::string>{"setup.xml"}));

    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        tarvo::host::SetBeforeRenameHook([](const std::string&) -> bool { ::_exit(42); });
        changed_.Save(path_, error);
        ::_exit(0);  // not reached when the hook fires
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 42) << "died between write and rename";
    EXPECT_EQ(ReadText(path_), oldBytes_);
    SetupFile loaded;
    ASSERT_TRUE(loaded.Load(path_, error)) << error;
    EXPECT_FALSE(loaded.HasSection(L"Random"));
    tarvo::host::SetBeforeRenameHook(nullptr);
    ASSERT_TRUE(changed_.Save(path_, error)) << error;
    ASSERT_TRUE(loaded.Load(path_, error)) << error;
    EXPECT_TRUE(loaded.HasSection(L"Random"));
}

// A saved file loads as it was saved (a missing one changes nothing); a save that fails leaves
// the old file and no temporary one; a replaced file keeps its permissions.
TEST_F(SetupSaveTest, SavesLoadBackAndFailedSavesLeaveTheOldFileAndReplacedOnesKeepItsMode) {
    std::string error;
    SetupFile loaded;
    ASSERT_TRUE(loaded.Load(path_, error)) << error;
    EXPECT_FALSE(loaded.Load(dir_.File("missing.xml"), error));
    EXPECT_NE(error.find(dir_.File("missing.xml")), std::string::npos) << error;
    EXPECT_EQ(loaded.ToText(), oldBytes_);
    SetupFile broken = old_;
    broken.SetSection(L"Random", "<Random Enabled=\"1\">");
    EXPECT_FALSE(broken.Save(path_, error));
    EXPECT_NE(error.find("Random"), std::string::npos) << error;
    EXPECT_EQ(ReadText(path_), oldBytes_);
    EXPECT_FALSE(changed_.Save(dir_.File("no-such-dir/setup.xml"), error));
    EXPECT_NE(error.find("no-such-dir"), std::string::npos) << error;
    EXPECT_EQ(dir_.Names(), (std::vector<std::string>{"setup.xml"}));

    ASSERT_EQ(::chmod(path_.c_str(), 0640), 0);
    ASSERT_TRUE(changed_.Save(path_, error)) << error;
    struct stat info {};
    ASSERT_EQ(::stat(path_.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
    EXPECT_EQ(ReadText(path_), changed_.ToText());
}

}  // namespace
