// SelfTimed blocks fed by Source blocks through a real graph on the virtual clock: which
// readings they keep, how many, what they give a message for each line, and how the registry
// orders and finds them.
#include "corvane/selftimed/self_timed_block.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "corvane/selftimed/self_timed_msgr.h"
#include "corvane/selftimed/self_timed_registry.h"
#include "corvane/selftimed/self_timed_settings.h"
#include "corvane/support/scripted_transmitter.h"
#include "host/clock/clock.h"
#include "host/engine/engine.h"
#include "host/log/report_sinks.h"
#include "platform/clock.h"
#include "platform/module_factory.h"
#include "platform/sync.h"

namespace {

using tarvo::host::HostEngine;
using tarvo::host::ScopedVirtualClock;
using ::testing::ElementsAre;

const TTime kMidnight(2024, 6, 3, 0, 0, 0);

class SelfTimedBlocks : public TModuleFactory {
  public:
    SelfTimedBlocks(SelfTimedRegistry& r, const SelfTimedSettings& s) : registry(r), settings(s) {
        SetModules(1, kNames);
    }
    TModule* CreateModule(int index) override {
        return index == 0 ? new SelfTimed(registry, settings) : nullptr;
    }
    static constexpr const wchar_t* kNames[] = {L"SelfTimed"};
    SelfTimedRegistry& registry;
    const SelfTimedSettings& settings;
};

std::string Block(const std::string& type, const std::string& name, const std::string& more) {
    return "    <Block Type=\"" + type + "\" Name=\"" + name + "\" " + more + "/>\n";
}
std::string Wire(const std::string& from, const std::string& to) {
    return "    <Connection From=\"" + from + "\" To=\"" + to + "\" />\n";
}

// A Source counting 1, 2, 3 ... every `every`, feeding one SelfTimed block "ST".
class SelfTimedGraph : public ::testing::Test {
  protected:
    void Load(const std::string& sourceMore, const std::string& blockMore,
              const std::string& extra = "") {
        engine.AddBlockTypes(factory, "test");
        std::string error;
        const std::string text = "<TarvoSetup>\n  <Blocks>\n" + Block("Source", "S", sourceMore) +
                                 Block("SelfTimed", "ST", blockMore) + Wire("S", "ST") + extra +
                                 "  </Blocks>\n</TarvoSetup>\n";
        ASSERT_TRUE(engine.LoadSetupText(text, "st.xml", error)) << error;
        block = static_cast<SelfTimed*>(engine.FindModule(L"ST"));
    }
    // Records from just before midnight until `ms` past it, the reading due then included.
    void Record(DWORD ms) {
        ASSERT_TRUE(engine.Run());
        Sleep(ms + 2000);
        ASSERT_TRUE(engine.Stop());
    }
    // The times of the stored readings, oldest first, by walking the positional lines.
    std::vector<std::string> StoredTimes() {
        std::vector<std::string> times;
        CSensorData reading;
        int digits = 0;
        // Zero the interval so that lines count back through the store.
        const std::wstring interval = block->Interval();
        block->GetProperty(L"Interval")->SetText(L"00:00:00");
        for (int line = block->StoredCount() - 1; line >= 0; --line) {
            EXPECT_TRUE(block->GetSelfTimedData(line, kMidnight, reading, digits));
            char text[16];
            const TTime t = reading.GetTime();
            std::snprintf(text, sizeof text, "%02d:%02d", t.GetHour(), t.GetMinute());
            times.push_back(text);
        }
        block->GetProperty(L"Interval")->SetText(interval);
        return times;
    }

    ScopedVirtualClock clock{kMidnight - TTimeSpan::FromSeconds(1)};
    SelfTimedSettings settings;
    SelfTimedRegistry registry;
    SelfTimedBlocks factory{registry, settings};
    HostEngine engine;
    SelfTimed* block = nullptr;
};

const std::string kEveryFiveMinutes = "Mode=\"Ramp\" Slope=\"12\" Interval=\"00:05:00\"";

TEST_F(SelfTimedGraph, KeepsReadingsOnItsOffsetAndIntervalAndPassesEveryReadingOn) {
    Load(kEveryFiveMinutes, "Offset=\"00:05:00\" Interval=\"00:15:00\" NumVals=\"10\"");
    Record(40 * 60'000);
    EXPECT_THAT(StoredTimes(), ElementsAre("00:05", "00:20", "00:35"));
    TModuleDataLock lock(*block);
    EXPECT_EQ(block->GetData(SelfTimed::kPort).GetTime(), kMidnight + TTimeSpan(0, 0, 40, 0));
}

TEST_F(SelfTimedGraph, KeepsAReadingBeforeTheOffsetWhenTheSignedRemainderIsZero) {
    Load(kEveryFiveMinutes, "Offset=\"00:15:00\" Interval=\"00:15:00\" NumVals=\"10\"");
    Record(20 * 60'000);
    EXPECT_THAT(StoredTimes(), ElementsAre("00:00", "00:15"));
}

TEST_F(SelfTimedGraph, AZeroIntervalKeepsEveryReadingUpToNumVals) {
    Load(kEveryFiveMinutes, "NumVals=\"3\"");
    Record(20 * 60'000);  // five readings: 00:00 .. 00:20
    EXPECT_THAT(StoredTimes(), ElementsAre("00:10", "00:15", "00:20"));
}

TEST_F(SelfTimedGraph, ReadingsWithoutDataPassOnButAreNeverStored) {
    Load(kEveryFiveMinutes + " NoDataEvery=\"2\"", "NumVals=\"10\"");
    Record(15 * 60'000);  // 00:00, 00:05 (no data), 00:10, 00:15 (no data)
    EXPECT_THAT(StoredTimes(), ElementsAre("00:00", "00:10"));
    TModuleDataLock lock(*block);
    EXPECT_TRUE(block->GetData(SelfTimed::kPort).IsNoData());
}

TEST_F(SelfTimedGraph, AScheduledLineGivesOnlyTheReadingAtItsExactTime) {
    // 00:30 carries no data: line 0 at 00:40 must come back empty, not with 00:15 or 00:45.
    Load("Mode=\"List\" Values=\"1,2,NODATA,4\" Interval=\"00:15:00\"",
         "Interval=\"00:15:00\" NumVals=\"8\"");
    Record(45 * 60'000);
    CSensorData reading;
    int digits = 0;
    tarvo::host::LogCapture log;
    const TTime reference = kMidnight + TTimeSpan(0, 0, 40, 0);
    EXPECT_FALSE(block->GetSelfTimedData(0, reference, reading, digits));
    ASSERT_TRUE(block->GetSelfTimedData(1, reference, reading, digits));
    EXPECT_EQ(reading.GetTime(), kMidnight + TTimeSpan(0, 0, 15, 0));
    EXPECT_EQ(digits, 2);
    EXPECT_THAT(log.Texts(TReportLevel::Debug),
                ElementsAre("GSTD NOT found: lbl , line 0, tRef 00:40:00",
                            "GSTD found: lbl , line 1, val 2.00, tm 00:15:00"));
}

TEST_F(SelfTimedGraph, UseCalcTimeCountsLinesBackThroughTheStoreOnlyUnderTheShefFormats) {
    Load(kEveryFiveMinutes, "Interval=\"00:15:00\" UseCalcTime=\"1\" NumVals=\"10\"");
    settings.Format = L"Bin Int";
    EXPECT_FALSE(block->UsesCalcTime());
    settings.Format = L"SHEF Fixed";
    ASSERT_TRUE(block->UsesCalcTime());
    Record(10 * 60'000);  // every reading kept: 00:00, 00:05, 00:10
    CSensorData reading;
    int digits = 0;
    ASSERT_TRUE(block->GetSelfTimedData(1, kMidnight + TTimeSpan(0, 1, 0, 0), reading, digits));
    EXPECT_EQ(reading.GetTime(), kMidnight + TTimeSpan(0, 0, 5, 0));
    settings.Format = L"SHEF";
    EXPECT_TRUE(block->UsesCalcTime());
    settings.Format = L"shef";
    EXPECT_FALSE(block->UsesCalcTime());
}

TEST_F(SelfTimedGraph, TakesItsDigitsFromALogBlocksPrecisionOrASourcesRightDigits) {
    Load("Mode=\"Constant\" Value=\"2.5\" RightDigits=\"4\"", "NumVals=\"2\"",
         Block("Log", "L", "File=\"/dev/null\" Precision=\"1\"") +
             Block("SelfTimed", "FromLog", "NumVals=\"2\"") + Wire("S", "L") +
             Wire("L", "FromLog"));
    Record(5 * 60'000);
    CSensorData reading;
    int digits = 0;
    ASSERT_TRUE(block->GetSelfTimedData(0, kMidnight, reading, digits));
    EXPECT_EQ(digits, 4);
    EXPECT_STREQ(reading.AsCString(), "2.5000");
    auto* fromLog = static_cast<SelfTimed*>(engine.FindModule(L"FromLog"));
    ASSERT_TRUE(fromLog->GetSelfTimedData(0, kMidnight, reading, digits));
    EXPECT_EQ(digits, 1);
    EXPECT_STREQ(reading.AsCString(), "2.5");
}

TEST(SelfTimedRegistryTest, NumbersSortsAndFindsBlocks) {
    SelfTimedSettings settings;
    SelfTimedRegistry registry;
    SelfTimed first(registry, settings);
    EXPECT_EQ(first.Sequence(), 1);
    first.SetSequence(7);
    SelfTimed second(registry, settings);
    EXPECT_EQ(second.Sequence(), 8) << "one above the highest listed";

    registry.SkipNextRegistration();
    SelfTimed prototype(registry, settings);
    EXPECT_EQ(registry.Count(), 2) << "the prototype is never listed";

    SelfTimed third(registry, settings);
    SelfTimed fourth(registry, settings);
    third.SetSequence(7);   // equal to first's, listed after it
    fourth.SetSequence(2);  // registry: first 7, second 8, third 7, fourth 2
    first.GetProperty(L"Label")->SetText(L"HG");
    third.GetProperty(L"Label")->SetText(L"VB");
    registry.SortBySequence();
    EXPECT_THAT(registry.Blocks(), ElementsAre(&fourth, &first, &third, &second));
    EXPECT_EQ(registry.FindByLabel(L"hg"), 1);
    EXPECT_EQ(registry.FindByLabel(L"Vb"), 2);
    EXPECT_EQ(registry.FindByLabel(L"TA"), -1);
    EXPECT_EQ(registry.BlockAt(4), nullptr);
    EXPECT_EQ(registry.BlockAt(-1), nullptr);
}

TEST(SelfTimedBlockTest, HasItsSixPropertiesWithNumValsFromTheSettingsAndResetsUnderBinInt) {
    SelfTimedSettings settings;
    settings.NumVals = 5;
    SelfTimedRegistry registry;
    SelfTimed block(registry, settings);
    std::vector<std::wstring> names;
    for (int i = 0; i < block.GetPropertyCount(); ++i)
        names.push_back(block.GetProperty(i)->GetName() + L"=" + block.GetProperty(i)->GetText());
    EXPECT_THAT(names, ElementsAre(L"Label=", L"NumVals=5", L"Sequence=1", L"Offset=00:00:00",
                                   L"Interval=00:00:00", L"UseCalcTime=0"));
    settings.NumVals = 9;
    block.Reset();
    EXPECT_EQ(block.NumVals(), 5) << "only the interleaved format ties NumVals to the settings";
    settings.Format = L"Bin Int";
    block.Reset();
    EXPECT_EQ(block.NumVals(), 9);
}

}  // namespace

namespace {

TEST(SelfTimedValidation, EqualSequencesOfEnabledBlocksOverlapUnderOrderedFormats) {
    corvanetest::ScriptedTransmitter transmitter;
    SelfTimedMsgr messenger(transmitter);
    SelfTimed a(messenger.Registry(), messenger.Settings());
    SelfTimed b(messenger.Registry(), messenger.Settings());
    b.SetSequence(a.Sequence());
    struct Row {
        const wchar_t* format;
        bool bEnabled;
        std::wstring errors;
    };
    const Row rows[] = {
        {L"SHEF", true, L"SelfTimed sequences overlap; "},
        {L"Bin Int", true, L"SelfTimed sequences overlap; "},
        {L"NOS", true, L""},
        {L"INSAT", true, L""},
        {L"SHEF", false, L""},
    };
    for (const Row& row : rows) {
        messenger.Settings().Format = row.format;
        b.SetEnabled(row.bEnabled);
        std::wstring errors;
        EXPECT_EQ(messenger.ValidateSetup(errors), row.errors.empty()) << row.format;
        EXPECT_EQ(errors, row.errors) << row.format;
    }
}

}  // namespace

namespace {

// A feeding block the test drives by hand, outside any engine.
class HandFeeder : public TModule {
  public:
    HandFeeder() : TModule(L"Feeder") {}
    std::wstring GetOutputName(int index) const override { return index == 0 ? L"Out" : L""; }
};

// On the real clock, with no engine: a writer stores readings as fast as it can while a reader
// asks for them, so that ThreadSanitizer sees every access the two threads make.
TEST(SelfTimedConcurrency, ReadersShareTheStoreWithTheWriterUnderItsLocks) {
    SelfTimedSettings settings;
    SelfTimedRegistry registry;
    SelfTimed block(registry, settings);
    block.GetProperty(L"NumVals")->SetInteger(20);
    HandFeeder feeder;
    block.ConnectInput(SelfTimed::kPort, &feeder, 0);
    const TTime start(2024, 6, 3, 0, 0, 0);
    constexpr int kReadings = 2000;
    TThread writer(
        [&] {
            for (int i = 0; i < kReadings; ++i) {
                feeder.SetOutputData(0, CSensorData(TValue(i), start + TTimeSpan::FromSeconds(i)));
                block.Execute();
            }
        },
        "writer");
    for (int i = 0; i < kReadings; ++i) {
        CSensorData reading;
        int digits = 0;
        // A reading copied out while the writer trims the store is whole: its value is the
        // second it was stamped with.
        if (block.GetSelfTimedData(i % 25, start, reading, digits)) {
            ASSERT_EQ(reading.GetValue().AsInteger(),
                      (reading.GetTime() - start).GetTotalSeconds());
        }
        if (block.NewestReading(reading)) {
            ASSERT_EQ(reading.GetValue().AsInteger(),
                      (reading.GetTime() - start).GetTotalSeconds());
        }
    }
    writer.Join();
    EXPECT_EQ(block.StoredCount(), 20);
}

}  // namespace
