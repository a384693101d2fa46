#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "corvane/core/corvane.h"
#include "corvane/core/device.h"
#include "corvane/core/exports.h"
#include "corvane/random/random_settings.h"
#include "corvane/selftimed/self_timed_settings.h"
#include "host/log/report_sinks.h"
#include "host/setup/setup_file.h"

namespace {

std::string Written(CCorvane& corvane) {
    tarvo::host::SetupTextWriter writer;
    EXPECT_TRUE(corvane.WriteSetup(writer));
    return writer.Text();
}

// Reads `section` into a device that was reset for a fresh setup first.
void ReadInto(CCorvane& corvane, const std::string& section) {
    std::string error;
    auto reader = tarvo::host::MakeSectionReader(section, error);
    ASSERT_NE(reader, nullptr) << error;
    ASSERT_TRUE(corvane.InitSetup());
    ASSERT_TRUE(corvane.ReadSetup(*reader));
}

class SetupSection : public ::testing::Test {
  protected:
    tarvo::host::LogCapture log_;
    CCorvane corvane_;
};

TEST_F(SetupSection, AWrittenSectionReadsBackToTheSameBytes) {
    corvane_.Port = 7;
    corvane_.SatID = L"0A1B2C3D";
    corvane_.InitCorvane = false;
    corvane_.LTO = -300;
    corvane_.SelfTimed().Settings() =
        SelfTimedSettings{true,        true,        true,  999,         13, L"Bin Non-Int",
                          L"00:07:30", L"00:15:00", false, L"00:00:75", 99, true,
                          L"FEDCBA98", 20,          2};
    corvane_.Random().Settings() = RandomSettings{
        true, true, true, 42, 9, 1, L"24:00:00", L"00:05:00", 200, L"00:00:30", 99, 1};
    const std::string first = Written(corvane_);
    CCorvane other;
    ReadInto(other, first);
    EXPECT_EQ(Written(other), first);  // every value differs from a fresh device's
    EXPECT_TRUE(log_.Texts(TReportLevel::Warning).empty());
}

TEST_F(SetupSection, UnknownContentIsSkippedWithOneWarningPerAttribute) {
    ReadInto(corvane_,
             "<Corvane><Common Port=\"2\" Baud=\"9600\"/><Extra A=\"1\" B=\"2\"/>"
             "<Nested Q=\"1\"><Inner Port=\"5\"/>text</Nested>"
             "<SelfTimed Channel=\"12\" Colour=\"red\"/><Random Channel=\"13\" Speed=\"fast\"/>"
             "<Common LTO=\"-2\"/></Corvane>");
    EXPECT_EQ(log_.Texts(TReportLevel::Warning),
              (std::vector<std::string>{"CCorvane::ReadCommonSetup eating unknown token: Baud.",
                                        "CCorvane::ReadSetup eating unknown token: Extra.",
                                        "CCorvane::ReadSetup eating unknown token: Extra.",
                                        "CCorvane::ReadSetup eating unknown token: Nested.",
                                        "SelfTimedMsgr: Eating unknown token: Colour.",
                                        "CRandomMsgr: Eating unknown token: Speed."}));
    // Everything around the unknown content was read, and a nested element's attributes are
    // not mistaken for the section's.
    EXPECT_EQ(corvane_.Port, 2);
    EXPECT_EQ(corvane_.LTO, -2);
    EXPECT_EQ(corvane_.SelfTimed().Settings().Channel, 12);
    EXPECT_EQ(corvane_.Random().Settings().Channel, 13);
}

TEST_F(SetupSection, ValuesReadAsThePlatformConvertsThemAndOlderFormsAreConverted) {
    struct Row {
        const char* element;  // with its attributes
        const char* written;  // a part of the written section
        const char* debug;
    };
    const Row rows[] = {
        {"Common InitCorvane=\"7\"", "InitCorvane = \"1\"", ""},
        // No range checks: what the platform's conversion gives stands.
        {"SelfTimed Enabled=\"2\" Channel=\"abc\" NumVals=\"-1\"",
         "<SelfTimed Enabled = \"1\" LatLon = \"0\" Quality = \"0\" Channel = \"0\"", ""},
        {"Random Enabled=\"-1\" Channel=\"1000\"",
         "<Random Enabled = \"1\" LatLon = \"0\" Quality = \"0\" Channel = \"1000\"", ""},
        {"SelfTimed WinLen=\"90\"", "WinLen = \"00:01:30\"", ""},
        {"SelfTimed WinLen=\"00:00:75\"", "WinLen = \"00:00:75\"", ""},
        {"SelfTimed WinLen=\"90000\"", "WinLen = \"01:00:00\"", ""},  // the days are dropped
        {"SelfTimed WinLen=\"ten\"", "WinLen = \"00:00:00\"", ""},
        {"SelfTimed Format=\"6\"", "Format = \"NFDRS\"", "Converting format int 6 to string NFDRS"},
        {"SelfTimed Format=\"8\"", "Format = \"Handar\"",
         "Converting format int 8 to string Handar"},
        {"SelfTimed Format=\"9\"", "Format = \"9\"", ""},  // outside the table: stands
        {"SelfTimed Format=\"x7\"", "Format = \"x7\"", ""},
        {"Random BurstInt=\"00:02:00\"", "BurstRate = \"00:02:00\"", ""},
        {"Random BurstInt=\"00:02:00\" BurstRate=\"00:03:00\"", "BurstRate = \"00:03:00\"", ""},
        {"Random BurstRate=\"00:03:00\" BurstInt=\"00:02:00\"", "BurstRate = \"00:02:00\"", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.element);
        log_.Clear();
        CCorvane corvane;
        ReadInto(corvane, std::string("<Corvane><") + row.element + "/></Corvane>");
        const std::string text = Written(corvane);
        EXPECT_NE(text.find(row.written), std::string::npos) << text;
        EXPECT_EQ(text.find("BurstInt"), std::string::npos) << "only the current name is written";
        EXPECT_EQ(log_.Texts(TReportLevel::Debug),
                  *row.debug ? std::vector<std::string>{row.debug} : std::vector<std::string>{});
        EXPECT_TRUE(log_.Texts(TReportLevel::Warning).empty());
    }
}

TEST_F(SetupSection, AntennaSurvivesTheResetForAFreshSetup) {
    ReadInto(corvane_,
             "<Corvane><SelfTimed Enabled=\"1\" Antenna=\"2\"/><Random Antenna=\"1\"/></Corvane>");
    ASSERT_TRUE(corvane_.InitSetup());
    EXPECT_EQ(corvane_.SelfTimed().Settings().Antenna, 2);
    EXPECT_EQ(corvane_.Random().Settings().Antenna, 1);
    EXPECT_FALSE(corvane_.SelfTimed().Settings().Enabled);
}

// The exports work on the module's single device object.
TEST_F(SetupSection, ExportsReadResetAndWriteTheDeviceObjectAFreshSetupInItsFixedForms) {
    EXPECT_EQ(AppInit(), 1);
    EXPECT_EQ(std::wstring(GetFileVersion()), L"3.9.0.8");
    EXPECT_EQ(std::wstring(GetSetupTag()), L"Corvane");
    std::string error;
    auto reader = tarvo::host::MakeSectionReader("<Corvane><Common Port=\"3\"/></Corvane>", error);
    EXPECT_EQ(ReadSetup(reader.get()), 1);
    EXPECT_EQ(TheCorvane().Port, 3);
    EXPECT_EQ(InitSetup(nullptr), 1);
    tarvo::host::SetupTextWriter writer;
    EXPECT_EQ(WriteSetup(&writer), 1);
    std::string text = writer.Text();
    std::erase(text, ' ');  // the host writer's indentation and spacing are not ours
    EXPECT_EQ(text,
              "<Corvane>\n"
              "<CommonPort=\"0\"SatID=\"00000000\"InitCorvane=\"1\"LTO=\"0\"/>\n"
              "<SelfTimedEnabled=\"0\"LatLon=\"0\"Quality=\"0\"Channel=\"151\"Type=\"0\"Format="
              "\"SHEF\"Time=\"00:00:00\"Rate=\"04:00:00\"CenterWin=\"1\"WinLen=\"00:01:00\"NumVals="
              "\"1\"EnableSatID2=\"0\"SatID2=\"00000000\"SCDChannel=\"1\"Antenna=\"0\"/>\n"
              "<RandomEnabled=\"0\"LatLon=\"0\"Quality=\"0\"Channel=\"151\"NormRate=\"12:00:00\""
              "AlarmRate=\"01:00:00\"Type=\"0\"BurstCount=\"3\"BurstRate=\"00:01:00\"Format=\"0\""
              "NumVals=\"1\"Antenna=\"0\"/>\n"
              "</Corvane>\n");

    EXPECT_EQ(ReadSetup(nullptr), 0);
    EXPECT_EQ(WriteSetup(nullptr), 0);
    // The only Warnings: a fresh setup is valid.
    EXPECT_EQ(log_.Texts(TReportLevel::Warning),
              (std::vector<std::string>{"Error interpreting Corvane configuration from setup.",
                                        "Error writing Corvane configuration to setup."}));
    EXPECT_EQ(AppExit(), 1);
}

}  // namespace

// A module just loaded holds the construction values; a fresh setup's reset writes others on
// purpose (a four-hour rate, a minute's window, one value) and leaves both Antennas alone.
TEST(DeviceDefaults, EachSetOfDefaultsHoldsItsOwnValues) {
    auto device = std::make_unique<CCorvane>();
    EXPECT_EQ(device->Port, 0);
    EXPECT_EQ(device->SatID, L"00000000");
    EXPECT_TRUE(device->InitCorvane);
    EXPECT_EQ(device->LTO, 0);
    EXPECT_FALSE(device->IsRunning());
    const SelfTimedSettings constructed{.Enabled = false,
                                        .LatLon = false,
                                        .Quality = false,
                                        .Channel = 151,
                                        .Type = 0,
                                        .Format = L"SHEF",
                                        .Time = L"00:00:00",
                                        .Rate = L"01:00:00",
                                        .CenterWin = true,
                                        .WinLen = L"00:00:10",
                                        .NumVals = 8,
                                        .EnableSatID2 = false,
                                        .SatID2 = L"00000000",
                                        .SCDChannel = 1,
                                        .Antenna = 0};
    EXPECT_TRUE(device->SelfTimed().Settings() == constructed);
    const RandomSettings randomDefaults{.Enabled = false,
                                        .LatLon = false,
                                        .Quality = false,
                                        .Channel = 151,
                                        .Type = 0,
                                        .Format = 0,
                                        .NormRate = L"12:00:00",
                                        .AlarmRate = L"01:00:00",
                                        .BurstCount = 3,
                                        .BurstRate = L"00:01:00",
                                        .NumVals = 1,
                                        .Antenna = 0};
    EXPECT_TRUE(device->Random().Settings() == randomDefaults);

    device->Port = 3;
    device->SatID = L"3A51C2F4";
    device->InitCorvane = false;
    device->LTO = -5;
    device->SelfTimed().Settings().Antenna = 2;
    device->Random().Settings().Antenna = 1;
    device->Random().Settings().BurstCount = 9;
    ASSERT_TRUE(device->InitSetup());
    EXPECT_EQ(device->Port, 0);
    EXPECT_EQ(device->SatID, L"00000000");
    EXPECT_TRUE(device->InitCorvane);
    EXPECT_EQ(device->LTO, 0);
    SelfTimedSettings reset = constructed;
    reset.Rate = L"04:00:00";
    reset.WinLen = L"00:01:00";
    reset.NumVals = 1;
    reset.Antenna = 2;
    EXPECT_TRUE(device->SelfTimed().Settings() == reset);
    RandomSettings randomReset = randomDefaults;
    randomReset.Antenna = 1;
    EXPECT_TRUE(device->Random().Settings() == randomReset);
}
