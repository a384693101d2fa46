// The NOS format on scripted blocks, read back with the receivers' decoder: both layouts carry
// the readings that went in, bad table lines leave only their block out, a short window loses
// redundant blocks first, and the recent values make the text report.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "corvane/formats/format_catalogue.h"
#include "corvane/formats/nos_recent.h"
#include "corvane/support/nos_decoder.h"
#include "host/engine/logger_folders.h"
#include "host/log/report_sinks.h"
#include "host/support/temp_dir.h"

namespace {

using corvane::MessageBlock;
using corvane::MessageRequest;
using corvanetest::Maybe;
using corvanetest::NosDecoded;
using corvanetest::NosDecoder;
using tarvo::host::LoggerFolder;

// Data time 2026-03-03 13:54: the transmission at 14:05 less the blocks' offset of 11 minutes.
const TTime kNow(2026, 3, 3, 14, 4, 40);
const TTime kTransmission(2026, 3, 3, 14, 5, 0);
constexpr std::int64_t kOffsetMinutes = 11;

struct Block : MessageBlock {
    std::wstring label;
    std::vector<std::optional<double>> values;  // by line, 0 the newest

    std::wstring Label() const override { return label; }
    int NumVals() const override { return static_cast<int>(values.size()); }
    std::wstring Interval() const override { return L"00:06:00"; }
    bool UsesCalcTime() const override { return false; }
    bool Enabled() const override { return true; }
    bool GetSelfTimedData(int line, TTime, CSensorData& reading, int& digits) const override {
        if (line < 0 || static_cast<std::size_t>(line) >= values.size() || !values[line])
            return false;
        digits = 3;
        reading = CSensorData(TValue(*values[line], digits), kNow);
        return true;
    }
    std::int64_t DataOffset(int, TTime, TTime) const override { return kOffsetMinutes; }
};

// A station's blocks by label; its flash disk (and no storage card) in a scratch folder.
class NosFormat : public ::testing::Test {
  protected:
    NosFormat() {
        tarvo::host::SetLoggerFolder(LoggerFolder::FlashDisk, dir.Path());
        tarvo::host::SetLoggerFolder(LoggerFolder::StorageCard, dir.File("no-card"));
    }
    ~NosFormat() override {
        tarvo::host::SetLoggerFolder(LoggerFolder::FlashDisk, "");
        tarvo::host::SetLoggerFolder(LoggerFolder::StorageCard, "");
    }

    void Table(const std::string& text) {
        std::ofstream(dir.File("NOSGOESFormat.txt"), std::ios::binary) << text;
    }
    void Set(const std::wstring& label, std::vector<std::optional<double>> values) {
        blocks[label].label = label;
        blocks[label].values = std::move(values);
    }
    bool Build(std::wstring& message, int windowSeconds = 0, int bitsPerSecond = 0) {
        MessageRequest request;
        request.format = L"NOS";
        for (const auto& [label, block] : blocks)
            request.blocks.push_back(&block);
        request.now = kNow;
        request.transmission = kTransmission;
        request.windowSeconds = windowSeconds;
        request.bitsPerSecond = bitsPerSecond;
        return corvane::FormatSelfTimedMessage(request, message);
    }
    NosDecoded BuildAndDecode(int windowSeconds = 0, int bitsPerSecond = 0) {
        std::wstring message;
        EXPECT_TRUE(Build(message, windowSeconds, bitsPerSecond));
        NosDecoded decoded;
        std::string error;
        EXPECT_TRUE(NosDecoder::Decode(std::string(message.begin(), message.end()), decoded, error))
            << error << " in " << std::string(message.begin(), message.end());
        return decoded;
    }

    tarvo::test::TempDir dir;
    std::map<std::wstring, Block> blocks;
};

// The readings as receivers get them: metres to millimetres, degrees to tenths.
Maybe Mm(std::optional<double> metres) {
    return metres ? Maybe(std::lround(*metres * 1000)) : Maybe();
}

constexpr const char* kSixMinuteTable =
    "NOS tide station /TYPE=P\r\n"
    "DCP,9999926,1,10000,0\r\n"
    "1,WL1,WL1SD,WL1OUT,1000,1,2,0,TW,TA,m\r\n"
    "2,WL2,WL2SD,WL2OUT,1000,1,1,0, , ,m\r\n"
    "5,TW, , ,10,1\r\n"
    "4,TA, , ,10,1\r\n"
    "<,VB, , ,10,1,1,0, , ,V\r\n";

TEST(NosDecoderCheck, TheReceiversDecodedExampleDecodesToItsStatedValues) {
    NosDecoded d;
    std::string error;
    ASSERT_TRUE(NosDecoder::Decode("P99999261B\\P@@@@v0j}M(J{s@BA)J{s<BB", d, error)) << error;
    EXPECT_EQ(d.station, "9999926");
    EXPECT_EQ(d.dcp, '1');
    EXPECT_EQ(d.datumOffset, 10000);
    EXPECT_EQ(d.sensorOffset, 0);
    EXPECT_EQ(d.minute, 54);
    EXPECT_EQ(d.day, 2749);
    EXPECT_EQ(d.hour, 13);
    ASSERT_EQ(d.blocks.size(), 3u);
    EXPECT_EQ(d.blocks[0].flag, '(');
    EXPECT_EQ(d.blocks[0].samples[0].level, 44787);
    EXPECT_EQ(d.blocks[0].samples[0].sigma, 2);
    EXPECT_EQ(d.blocks[0].samples[0].outliers, 1);
    EXPECT_EQ(d.blocks[1].flag, ')');
    EXPECT_EQ(d.blocks[1].samples[0].level, 44787);
    EXPECT_EQ(d.blocks[2].values, std::vector<Maybe>{130});
}

TEST_F(NosFormat, TheSixMinuteMessageDecodesToItsReadings) {
    Table(kSixMinuteTable);
    Set(L"WL1", {3.251, 3.2404, 3.229});
    Set(L"WL1SD", {0.002});
    Set(L"WL1OUT", {1});
    Set(L"TW", {12.3});
    Set(L"TA", {-4.5});
    Set(L"WL2", {std::nullopt, 3.239});
    Set(L"WL2SD", {std::nullopt});
    Set(L"WL2OUT", {0});
    Set(L"VB", {13.2});
    const NosDecoded d = BuildAndDecode();

    EXPECT_EQ(d.type, 'P');
    EXPECT_EQ(d.station, "9999926");
    EXPECT_EQ(d.datumOffset, 10000);
    EXPECT_EQ(d.sensorOffset, 0);
    EXPECT_EQ(d.day, 2749);
    EXPECT_EQ(d.hour, 13);
    EXPECT_EQ(d.minute, 54);
    std::string flags;
    for (const auto& b : d.blocks)
        flags += b.flag;
    EXPECT_EQ(flags, "1>>2\"54<");
    const auto& primary = d.blocks[0].samples[0];
    EXPECT_EQ(primary.level, 3251);
    EXPECT_EQ(primary.sigma, 2);
    EXPECT_EQ(primary.outliers, 1);
    EXPECT_EQ(primary.temperature1, 123);
    EXPECT_EQ(primary.temperature2, -45);
    EXPECT_EQ(d.blocks[1].samples[0].level, 3240) << "6 minutes earlier";
    EXPECT_EQ(d.blocks[2].samples[0].level, 3229) << "12 minutes earlier";
    EXPECT_EQ(d.blocks[3].samples[0].level, std::nullopt) << "a missing level";
    EXPECT_EQ(d.blocks[3].samples[0].sigma, std::nullopt) << "a missing sigma";
    EXPECT_EQ(d.blocks[4].samples[0].level, 3239);
    EXPECT_EQ(d.blocks[5].values, std::vector<Maybe>{123});
    EXPECT_EQ(d.blocks[6].values, std::vector<Maybe>{-45});
    EXPECT_EQ(d.blocks[7].values, std::vector<Maybe>{132});
}

TEST_F(NosFormat, TheHourlyMessageCarriesTenSamplesOfEachLevelGoingBack) {
    Table(
        "/TYPE=N\nDCP,8771450,2\n1,WL1,WL1SD,WL1OUT,1000,10,1,0,TW,TA\n"
        "2,WL2, , ,1000,10\n<,VB, , ,10,10\n5,TW, , ,10,1\n");
    std::vector<std::optional<double>> level, backup, sigma, battery, water;
    for (int k = 0; k < 11; ++k) {
        level.push_back(k == 4 ? std::nullopt : std::optional<double>(1.9 - 0.0173 * k));
        backup.push_back(1.905 - 0.017 * k);
        sigma.push_back(0.001 * k);
        battery.push_back(12.5 + 0.1 * k);
        water.push_back(15.0 - 0.25 * k);
    }
    Set(L"WL1", level);
    Set(L"WL1SD", sigma);
    Set(L"WL1OUT", {3, 2, 1, 0, 0, 0, 0, 0, 0, 0});
    Set(L"TW", water);
    Set(L"TA", {});
    Set(L"WL2", backup);
    Set(L"VB", battery);
    const NosDecoded d = BuildAndDecode();

    EXPECT_EQ(d.type, 'N');
    EXPECT_EQ(d.station, "8771450");
    EXPECT_EQ(d.dcp, '2');
    EXPECT_EQ(d.datumOffset, std::nullopt);
    ASSERT_EQ(d.blocks.size(), 5u);
    const auto* primary = d.Find('1');
    const auto* redundant = d.Find('>');
    const auto* second = d.Find('2');
    ASSERT_TRUE(primary && redundant && second);
    for (int k = 0; k < 10; ++k) {
        SCOPED_TRACE(k);
        EXPECT_EQ(primary->samples[k].level, Mm(level[k]));
        EXPECT_EQ(primary->samples[k].sigma, Mm(sigma[k]));
        EXPECT_EQ(primary->samples[k].temperature1, std::lround(*water[k] * 10));
        EXPECT_EQ(primary->samples[k].temperature2, std::nullopt);
        EXPECT_EQ(redundant->samples[k].level, Mm(level[k + 1])) << "6 minutes earlier";
        EXPECT_EQ(second->samples[k].level, Mm(backup[k]));
        EXPECT_EQ(d.Find('<')->values[k], std::lround(*battery[k] * 10));
    }
    EXPECT_EQ(primary->samples[0].outliers, 3);
    EXPECT_EQ(d.Find('5')->values, std::vector<Maybe>{150}) << "#ST 1: a single value";
}

struct BadLine {
    const char* legend;
    std::string line;
    std::string warning;
};

void PrintTo(const BadLine& row, std::ostream* os) {
    *os << row.legend;
}

class NosBadLines : public NosFormat, public ::testing::WithParamInterface<BadLine> {};

TEST_P(NosBadLines, LeaveOnlyTheirBlockOutWithAWarningThatSaysWhy) {
    Table("/TYPE=P\nDCP,1234567,1\n" + GetParam().line + "\n<,VB, , ,10\n");
    Set(L"WL1", {2.0, 2.1});
    Set(L"VB", {12.0});
    tarvo::host::LogCapture log;
    const NosDecoded d = BuildAndDecode();
    ASSERT_EQ(d.blocks.size(), 1u);
    EXPECT_EQ(d.blocks[0].flag, '<');
    EXPECT_THAT(log.Texts(TReportLevel::Warning), ::testing::Contains(GetParam().warning));
}

INSTANTIATE_TEST_SUITE_P(
    Table, NosBadLines,
    ::testing::Values(
        BadLine{"#ST neither 1 nor 10", "1,WL1, , ,1000,01,1",
                "NOS Format: table line 2 left out: invalid #ST \"??\"."},
        BadLine{"#RR beyond 5", "1,WL1, , ,1000,1,6",
                "NOS Format: table line 2 left out: invalid #RR \"??\"."},
        BadLine{"#ST 10 in a 6-minute message", "1,WL1, , ,1000,10,1",
                "NOS Format: table line 2 left out: #ST does not match the message type \"10\"."},
        BadLine{"a primary label no block has", "1,WLX, , ,1000,1,1",
                "NOS Format: table line 2 left out: no SelfTimed block is labelled \"WLX\"."},
        BadLine{"an auxiliary label no block has", "1,WL1,SDX, ,1000,1,1",
                "NOS Format: table line 2 left out: no SelfTimed block is labelled \"SDX\"."},
        BadLine{"a flag that is no block", "Z,WL1",
                "NOS Format: table line 2 left out: no such block flag \"Z\"."},
        BadLine{"a scale that is no number", "1,WL1, , ,1e,1,1",
                "NOS Format: table line 2 left out: scale is not a number \"1e\"."}));

TEST_F(NosFormat, AMissingTableMakesNoMessage) {
    Set(L"WL1", {2.0});
    tarvo::host::LogCapture log;
    std::wstring message = L"untouched";
    EXPECT_FALSE(Build(message));
    EXPECT_EQ(message, L"untouched");
    EXPECT_THAT(log.Texts(TReportLevel::Warning),
                ::testing::ElementsAre("NOS Format: Format table missing or empty"));
}

TEST_F(NosFormat, AShortWindowDropsTheLastRedundantBlocksFirst) {
    Table("/TYPE=P\nDCP,1234567,1\n1,WL1, , ,1000,1,5\n<,VB, , ,10\n");
    Set(L"WL1", {2.0, 2.1, 2.2, 2.3, 2.4, 2.5});
    Set(L"VB", {12.0});
    tarvo::host::LogCapture log;
    // 21 characters of header and time tag, 11 of level, 5 x 4 redundant, 3 of battery: 55.
    // Two seconds at 344 bit/s leave 43, so three redundant blocks go.
    const NosDecoded d = BuildAndDecode(2, 344);
    std::string flags;
    for (const auto& b : d.blocks)
        flags += b.flag;
    EXPECT_EQ(flags, "1>><");
    EXPECT_EQ(d.blocks[2].samples[0].level, 2200);
    EXPECT_THAT(log.Texts(TReportLevel::Warning),
                ::testing::ElementsAre("NOS Format: 55 characters do not fit the 43 available in "
                                       "the window; redundant blocks dropped."));
}

TEST_F(NosFormat, AMessageForTransmissionMakesTheTextReport) {
    Table(kSixMinuteTable);
    Set(L"WL1", {3.251});
    Set(L"VB", {13.2});
    Set(L"TW", {});
    Set(L"TA", {});
    Set(L"WL1SD", {});
    Set(L"WL1OUT", {});
    Set(L"WL2", {});
    Set(L"WL2SD", {});
    Set(L"WL2OUT", {});
    std::wstring message;
    ASSERT_TRUE(Build(message));
    const std::wstring report = corvane::NosTextReport(corvane::ReadNosRecent());
    EXPECT_THAT(report, ::testing::StartsWith(L"NOS REPORT\r\nTime                 Sensor"));
    EXPECT_THAT(report, ::testing::HasSubstr(L"\r\n2026-03-03 13:54:00  WL1         3.251 m\r\n"));
    EXPECT_THAT(report, ::testing::HasSubstr(L"\r\n2026-03-03 13:54:00  WL2         missing\r\n"));
    EXPECT_THAT(report, ::testing::HasSubstr(L"\r\n2026-03-03 13:54:00  VB          13.200 V\r\n"));
    EXPECT_THAT(report, ::testing::EndsWith(L"\r\nREPORT COMPLETE\r\n"));
}

TEST_F(NosFormat, TheStorageCardsRecentValuesComeBeforeTheFlashDisks) {
    std::filesystem::create_directory(dir.File("no-card"));
    std::ofstream(dir.File("no-card/Recent.dat")) << "2026-03-03 13:54:00,CARD,1.0,m\n";
    std::ofstream(dir.File("Recent.dat")) << "2026-03-03 13:54:00,FLASH,1.0,m\n";
    const std::vector<corvane::NosRecentValue> values = corvane::ReadNosRecent();
    ASSERT_EQ(values.size(), 1u);
    EXPECT_EQ(values[0].sensor, L"CARD");
}

}  // namespace
