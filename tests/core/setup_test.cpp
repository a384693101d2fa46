#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "core/corvane.h"
#include "core/device.h"
#include "core/exports.h"
#include "host/report_sinks.h"
#include "host/setup_file.h"

namespace {

std::unique_ptr<CXMLSetup> Reader(const std::string& text) {
    std::string error;
    auto reader = tarvo::host::MakeSectionReader(text, error);
    EXPECT_NE(reader, nullptr) << error;
    return reader;
}

std::string Written(CCorvane& corvane) {
    tarvo::host::SetupTextWriter writer;
    EXPECT_TRUE(corvane.WriteSetup(writer));
    return writer.Text();
}

// The written text with each line's indentation (the host writer's layout) taken away.
std::string Unindented(const std::string& text) {
    std::string out;
    bool lineStart = true;
    for (char c : text) {
        if (lineStart && c == ' ') {
            continue;
        }
        lineStart = c == '\n';
        out += c;
    }
    return out;
}

// Reads `section` into a device that was reset for a fresh setup first.
void ReadInto(CCorvane& corvane, const std::string& section) {
    ASSERT_TRUE(corvane.InitSetup());
    auto reader = Reader(section);
    ASSERT_NE(reader, nullptr);
    ASSERT_TRUE(corvane.ReadSetup(*reader));
}

class SetupSection : public ::testing::Test {
  protected:
    tarvo::host::LogCapture log_;
    CCorvane corvane_;
};

TEST_F(SetupSection, DefaultSectionIsWrittenInItsFixedFormsAndOrder) {
    ASSERT_TRUE(corvane_.InitSetup());
    EXPECT_EQ(
        Unindented(Written(corvane_)),
        "<Corvane>\n"
        "<Common Port = \"0\" SatID = \"00000000\" InitCorvane = \"1\" LTO = \"0\" />\n"
        "<SelfTimed Enabled = \"0\" LatLon = \"0\" Quality = \"0\" Channel = \"151\" Type = \"0\" "
        "Format = \"SHEF\" Time = \"00:00:00\" Rate = \"04:00:00\" CenterWin = \"1\" WinLen = "
        "\"00:01:00\" NumVals = \"1\" EnableSatID2 = \"0\" SatID2 = \"00000000\" SCDChannel = "
        "\"1\" "
        "Antenna = \"0\" />\n"
        "<Random Enabled = \"0\" LatLon = \"0\" Quality = \"0\" Channel = \"151\" NormRate = "
        "\"12:00:00\" AlarmRate = \"01:00:00\" Type = \"0\" BurstCount = \"3\" BurstRate = "
        "\"00:01:00\" Format = \"0\" NumVals = \"1\" Antenna = \"0\" />\n"
        "</Corvane>\n");
    EXPECT_TRUE(log_.Texts(TReportLevel::Warning).empty()) << "a default setup is valid";
}

TEST_F(SetupSection, WholeSectionWrittenReadBackAndWrittenAgainIsByteIdentical) {
    corvane_.Port = 7;
    corvane_.SatID = L"0A1B2C3D";
    corvane_.InitCorvane = false;
    corvane_.LTO = -300;
    corvane_.SelfTimed().Settings() =
        SelfTimedSettings{true,        true,        true,  999,         13, L"Bin Non-Int",
                          L"00:07:30", L"00:15:00", false, L"00:00:75", 99, true,
                          L"FEDCBA98", 20,          2};
    corvane_.Random().Settings() = RandomSettings{
        true, false, true, 42, 9, 1, L"24:00:00", L"00:05:00", 200, L"00:00:30", 99, 1};
    const std::string first = Written(corvane_);

    CCorvane other;
    auto reader = Reader(first);
    ASSERT_NE(reader, nullptr);
    ASSERT_TRUE(other.ReadSetup(*reader));
    EXPECT_EQ(other.SelfTimed().Settings(), corvane_.SelfTimed().Settings());
    EXPECT_EQ(other.Random().Settings(), corvane_.Random().Settings());
    EXPECT_EQ(other.SatID, L"0A1B2C3D");
    EXPECT_EQ(other.LTO, -300);
    EXPECT_EQ(Written(other), first);
    EXPECT_TRUE(log_.Texts(TReportLevel::Warning).empty());
}

TEST_F(SetupSection, UnknownElementsAndAttributesAreWarnedOncePerAttributeAndSkipped) {
    ReadInto(corvane_,
             "<Corvane>"
             "<Common Port=\"2\" Baud=\"9600\" SatID=\"1234ABCD\"/>"
             "<Extra A=\"1\" B=\"2\"/>"
             "<Nested Q=\"1\"><Inner Port=\"5\"/>text</Nested>"
             "<SelfTimed Channel=\"12\" Colour=\"red\"/>"
             "<Random Channel=\"13\" Speed=\"fast\"/>"
             "<Common LTO=\"-2\"/>"
             "</Corvane>");
    EXPECT_EQ(log_.Count(TReportLevel::Warning, "CCorvane::ReadSetup eating unknown token: Extra."),
              2u);
    EXPECT_EQ(
        log_.Count(TReportLevel::Warning, "CCorvane::ReadSetup eating unknown token: Nested."), 1u);
    EXPECT_EQ(
        log_.Count(TReportLevel::Warning, "CCorvane::ReadCommonSetup eating unknown token: Baud."),
        1u);
    EXPECT_EQ(log_.Count(TReportLevel::Warning, "SelfTimedMsgr: Eating unknown token: Colour."),
              1u);
    EXPECT_EQ(log_.Count(TReportLevel::Warning, "CRandomMsgr: Eating unknown token: Speed."), 1u);
    EXPECT_EQ(log_.Texts(TReportLevel::Warning).size(), 6u);

    // Everything around the unknown content was read, and a nested element's attributes are
    // not mistaken for the section's.
    EXPECT_EQ(corvane_.Port, 2);
    EXPECT_EQ(corvane_.SatID, L"1234ABCD");
    EXPECT_EQ(corvane_.LTO, -2);
    EXPECT_EQ(corvane_.SelfTimed().Settings().Channel, 12);
    EXPECT_EQ(corvane_.Random().Settings().Channel, 13);
}

TEST_F(SetupSection, CommonValuesReadAsThePlatformConvertsThemAndWriteBackNormalised) {
    struct Row {
        const char* legend;
        const char* attributes;
        const char* written;
    };
    const Row rows[] = {
        {"InitCorvane 7 is true and written as 1", "InitCorvane=\"7\"",
         "Port = \"0\" SatID = \"00000000\" InitCorvane = \"1\" LTO = \"0\""},
        {"InitCorvane 0 is false", "InitCorvane=\"0\"",
         "Port = \"0\" SatID = \"00000000\" InitCorvane = \"0\" LTO = \"0\""},
        {"attribute order does not matter", "LTO=\"3\" SatID=\"ab\" Port=\"4\"",
         "Port = \"4\" SatID = \"ab\" InitCorvane = \"1\" LTO = \"3\""},
        {"SatID of any length stands; numbers take their leading digits",
         "SatID=\"123456789ABC\" Port=\"2x\" LTO=\"-12abc\"",
         "Port = \"2\" SatID = \"123456789ABC\" InitCorvane = \"1\" LTO = \"-12\""},
        {"unparsable numbers read as 0", "Port=\"COM3\" InitCorvane=\"yes\"",
         "Port = \"0\" SatID = \"00000000\" InitCorvane = \"0\" LTO = \"0\""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        CCorvane corvane;
        ReadInto(corvane, std::string("<Corvane><Common ") + row.attributes + "/></Corvane>");
        const std::string text = Written(corvane);
        EXPECT_NE(text.find(std::string("<Common ") + row.written + " />"), std::string::npos)
            << text;
    }
}

TEST_F(SetupSection, SectionWithoutCommonLeavesCommonSettingsAsTheyWere) {
    corvane_.Port = 6;
    corvane_.SatID = L"CAFE0001";
    corvane_.LTO = 11;
    corvane_.InitCorvane = false;
    auto reader = Reader("<Corvane><SelfTimed Enabled=\"1\"/></Corvane>");
    ASSERT_TRUE(corvane_.ReadSetup(*reader));
    EXPECT_EQ(corvane_.Port, 6);
    EXPECT_EQ(corvane_.SatID, L"CAFE0001");
    EXPECT_EQ(corvane_.LTO, 11);
    EXPECT_FALSE(corvane_.InitCorvane);
    EXPECT_TRUE(corvane_.SelfTimed().Settings().Enabled);

    // An empty element changes nothing either.
    const SelfTimedSettings before = corvane_.SelfTimed().Settings();
    auto empty = Reader("<Corvane><SelfTimed/><Random/></Corvane>");
    ASSERT_TRUE(corvane_.ReadSetup(*empty));
    EXPECT_EQ(corvane_.SelfTimed().Settings(), before);
}

TEST_F(SetupSection, LegacyWindowLengthsAndFormatNumbersAreConverted) {
    struct Row {
        const char* legend;
        const char* attribute;
        std::wstring winLen;
        std::wstring format;
        const char* debug;  // "" for none
    };
    const Row rows[] = {
        {"WinLen of 90 seconds", "WinLen=\"90\"", L"00:01:30", L"SHEF", ""},
        {"WinLen with a colon stands, seconds over 59 and all", "WinLen=\"00:00:75\"", L"00:00:75",
         L"SHEF", ""},
        {"WinLen of a whole hour", "WinLen=\"3600\"", L"01:00:00", L"SHEF", ""},
        {"WinLen beyond a day drops the days", "WinLen=\"90000\"", L"01:00:00", L"SHEF", ""},
        {"WinLen that is no number", "WinLen=\"ten\"", L"00:00:00", L"SHEF", ""},
        {"format 0", "Format=\"0\"", L"00:01:00", L"SHEF",
         "Converting format int 0 to string SHEF"},
        {"format 5", "Format=\"5\"", L"00:01:00", L"NFDRS",
         "Converting format int 5 to string NFDRS"},
        {"format 6 is also NFDRS", "Format=\"6\"", L"00:01:00", L"NFDRS",
         "Converting format int 6 to string NFDRS"},
        {"format 7", "Format=\"7\"", L"00:01:00", L"INSAT",
         "Converting format int 7 to string INSAT"},
        {"format 8", "Format=\"8\"", L"00:01:00", L"Handar",
         "Converting format int 8 to string Handar"},
        {"format 9 is outside the table and stands", "Format=\"9\"", L"00:01:00", L"9", ""},
        {"a format name stands", "Format=\"Bin Int\"", L"00:01:00", L"Bin Int", ""},
        {"a name that does not start with a digit stands", "Format=\"x7\"", L"00:01:00", L"x7", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        log_.Clear();
        CCorvane corvane;
        ReadInto(corvane, std::string("<Corvane><SelfTimed ") + row.attribute + "/></Corvane>");
        EXPECT_EQ(corvane.SelfTimed().Settings().WinLen, row.winLen);
        EXPECT_EQ(corvane.SelfTimed().Settings().Format, row.format);
        const auto debug = log_.Texts(TReportLevel::Debug);
        const bool converted = std::any_of(debug.begin(), debug.end(), [](const std::string& t) {
            return t.rfind("Converting", 0) == 0;
        });
        if (*row.debug != '\0') {
            EXPECT_EQ(log_.Count(TReportLevel::Debug, row.debug), 1u);
        } else {
            EXPECT_FALSE(converted);
        }
    }
}

TEST_F(SetupSection, OlderBurstIntFillsBurstRateAndTheLaterOneWins) {
    const struct {
        const char* legend;
        const char* attributes;
        const wchar_t* burstRate;
    } rows[] = {
        {"BurstInt alone", "BurstInt=\"00:02:00\"", L"00:02:00"},
        {"BurstInt then BurstRate", "BurstInt=\"00:02:00\" BurstRate=\"00:03:00\"", L"00:03:00"},
        {"BurstRate then BurstInt", "BurstRate=\"00:03:00\" BurstInt=\"00:02:00\"", L"00:02:00"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.legend);
        CCorvane corvane;
        ReadInto(corvane, std::string("<Corvane><Random ") + row.attributes + "/></Corvane>");
        EXPECT_EQ(corvane.Random().Settings().BurstRate, row.burstRate);
        EXPECT_NE(Written(corvane).find("BurstRate = \""), std::string::npos);
        EXPECT_EQ(Written(corvane).find("BurstInt"), std::string::npos)
            << "only the current name is written";
    }
    EXPECT_TRUE(log_.Texts(TReportLevel::Warning).empty());
}

TEST_F(SetupSection, SettingsReadWithoutRangeChecksAndAntennaSurvivesTheReset) {
    ReadInto(corvane_,
             "<Corvane>"
             "<SelfTimed Enabled=\"2\" Channel=\"abc\" Type=\"42\" NumVals=\"-1\" Antenna=\"2\"/>"
             "<Random Enabled=\"-1\" Channel=\"1000\" Format=\"7\" Antenna=\"1\"/>"
             "</Corvane>");
    const SelfTimedSettings& st = corvane_.SelfTimed().Settings();
    const RandomSettings& rt = corvane_.Random().Settings();
    EXPECT_TRUE(st.Enabled);
    EXPECT_EQ(st.Channel, 0);
    EXPECT_EQ(st.Type, 42);
    EXPECT_EQ(st.NumVals, -1);
    EXPECT_TRUE(rt.Enabled);
    EXPECT_EQ(rt.Channel, 1000);
    EXPECT_EQ(rt.Format, 7);

    ASSERT_TRUE(corvane_.InitSetup());
    EXPECT_EQ(st.Antenna, 2);
    EXPECT_EQ(rt.Antenna, 1);
    EXPECT_FALSE(st.Enabled);
    EXPECT_EQ(rt.Channel, 151);
}

// The exports work on the module's single device object.
TEST_F(SetupSection, ExportsReadWriteAndResetTheDeviceObject) {
    EXPECT_EQ(AppInit(), 1);
    EXPECT_EQ(std::wstring(GetFileVersion()), L"3.9.0.8");
    EXPECT_EQ(std::wstring(GetSetupTag()), L"Corvane");

    auto reader = Reader("<Corvane><Common Port=\"3\" SatID=\"00C0FFEE\"/></Corvane>");
    EXPECT_EQ(ReadSetup(reader.get()), 1);
    EXPECT_EQ(TheCorvane().Port, 3);
    EXPECT_EQ(TheCorvane().SatID, L"00C0FFEE");

    tarvo::host::SetupTextWriter writer;
    EXPECT_EQ(WriteSetup(&writer), 1);
    EXPECT_NE(writer.Text().find("<Common Port = \"3\" SatID = \"00C0FFEE\""), std::string::npos);

    EXPECT_EQ(InitSetup(nullptr), 1);
    EXPECT_EQ(TheCorvane().Port, 0);
    EXPECT_EQ(TheCorvane().SatID, L"00000000");

    EXPECT_EQ(ReadSetup(nullptr), 0);
    EXPECT_EQ(WriteSetup(nullptr), 0);
    EXPECT_EQ(
        log_.Count(TReportLevel::Warning, "Error interpreting Corvane configuration from setup."),
        1u);
    EXPECT_EQ(log_.Count(TReportLevel::Warning, "Error writing Corvane configuration to setup."),
              1u);
    EXPECT_EQ(AppExit(), 1);
}

}  // namespace
