// The Random block in the process's engine beside RndGroup blocks: which readings it keeps for
// its groups, how many, and which one it gives for a value number.
#include "corvane/random/random_block.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "corvane/random/group_alarm_signals.h"
#include "corvane/random/random_block_roster.h"
#include "corvane/random/random_settings.h"
#include "corvane/random/rnd_group.h"
#include "corvane/support/random_lists.h"
#include "host/engine/engine.h"
#include "host/log/report_sinks.h"
#include "platform/module_factory.h"

namespace {

using ::testing::ElementsAre;

// The messenger as the blocks see it, holding the non-interleaved format unless a test says.
class FakeMessenger : public corvanetest::RandomLists {
  public:
    FakeMessenger() { settings.Format = 1; }
};

class RandomBlocks : public TModuleFactory {
  public:
    explicit RandomBlocks(FakeMessenger& m) : messenger(m) { SetModules(2, kNames); }
    TModule* CreateModule(int index) override {
        if (index == 0)
            return new Random(messenger);
        if (index == 1)
            return new RndGroup(messenger);
        return nullptr;
    }
    static constexpr const wchar_t* kNames[] = {L"Random", L"RndGroup"};
    FakeMessenger& messenger;
};

class Feeder : public TModule {
  public:
    Feeder() : TModule(L"Feeder") { AddProperty(TProperty::Integer(L"RightDigits", 3)); }
    std::wstring GetOutputName(int index) const override { return index == 0 ? L"Out" : L""; }
};

class RandomBlockTest : public ::testing::Test {
  protected:
    static FakeMessenger& Messenger() {
        static FakeMessenger messenger;
        return messenger;
    }
    // The engine keeps the factory for its life, so there is one for the whole test program.
    static void SetUpTestSuite() {
        static RandomBlocks factory(Messenger());
        tarvo::host::GetHostEngine().AddBlockTypes(factory, "test");
    }
    void TearDown() override {
        std::string error;
        ASSERT_TRUE(tarvo::host::GetHostEngine().NewSetup(error)) << error;
    }

    // Loads the blocks (lines of a <Blocks> section), feeds the block named "R" from a feeder
    // and starts it.
    Random& Load(const std::string& blocks) {
        std::string error;
        auto& engine = tarvo::host::GetHostEngine();
        EXPECT_TRUE(engine.LoadSetupText(
            "<TarvoSetup>\n  <Blocks>\n" + blocks + "  </Blocks>\n</TarvoSetup>\n", "r.xml", error))
            << error;
        auto* random = static_cast<Random*>(engine.FindModule(L"R"));
        random->ConnectInput(Random::kPort, &feeder, 0);
        random->Start();
        return *random;
    }
    void Feed(Random& block, TTime time, double value) {
        feeder.SetOutputData(0, CSensorData(TValue(value), time));
        ASSERT_TRUE(block.Execute());
    }
    static TTime At(int hour, int minute, int second = 0) {
        return TTime(2024, 5, 1, hour, minute, second);
    }

    Feeder feeder;
    tarvo::host::LogCapture log;
};

const std::string kGroup3 =
    "    <Block Type=\"RndGroup\" Name=\"G3\" Group=\"3\" Interval=\"00:15:00\" />\n";
const std::string kGroup5 =
    "    <Block Type=\"RndGroup\" Name=\"G5\" Group=\"5\" Interval=\"00:10:00\" />\n";

std::string RandomIn(const std::string& groupMap, int numVals = 1) {
    return "    <Block Type=\"Random\" Name=\"R\" GroupMap=\"" + groupMap + "\" NumVals=\"" +
           std::to_string(numVals) + "\" />\n";
}

TEST_F(RandomBlockTest, KeepsOnlyReadingsOnItsGroupsDataTimesAndPassesEveryReadingOn) {
    Random& block = Load(kGroup3 + RandomIn("0,1", 4));
    Feed(block, At(10, 15), 1.0);
    Feed(block, At(10, 7), 2.0);
    EXPECT_EQ(block.StoredCount(), 1);
    TModuleDataLock lock(block);
    EXPECT_EQ(block.GetData(Random::kPort).GetTime(), At(10, 7));
}

TEST_F(RandomBlockTest, KeepsNumValsReadingsForEachOfItsGroupBlocks) {
    Random& block = Load(kGroup3 + kGroup5 + RandomIn("0,1,0,1", 4));
    for (int minute = 0; minute < 60; minute += 5)
        Feed(block, At(10, minute), minute);
    EXPECT_EQ(block.StoredCount(), 8);
}

TEST_F(RandomBlockTest, GivesTheReadingStampedAtEachDataTimeBackAndNoNeighbour) {
    Random& block = Load(kGroup3 + RandomIn("0,1", 4));
    Feed(block, At(10, 0), 10.0);
    Feed(block, At(10, 15), 10.25);
    CSensorData reading;
    int digits = 0;
    ASSERT_TRUE(block.GetValue(0, 3, At(10, 20), reading, digits));
    EXPECT_EQ(reading.GetTime(), At(10, 15));
    EXPECT_EQ(digits, 3) << "from the feeder's RightDigits";
    EXPECT_STREQ(reading.AsCString(), "10.250");
    ASSERT_TRUE(block.GetValue(1, 3, At(10, 20), reading, digits));
    EXPECT_EQ(reading.GetTime(), At(10, 0));
    EXPECT_FALSE(block.GetValue(2, 3, At(10, 20), reading, digits));
    EXPECT_FALSE(block.GetValue(0, 5, At(10, 20), reading, digits)) << "not a member of 5";

    Random& gappy = Load(kGroup3 + RandomIn("0,1", 4));
    Feed(gappy, At(9, 45), 9.0);
    Feed(gappy, At(10, 15), 10.0);
    EXPECT_FALSE(gappy.GetValue(1, 3, At(10, 20), reading, digits))
        << "10:00 is missing: 09:45 must not stand in for it";
}

TEST_F(RandomBlockTest, AZeroIntervalGroupKeepsEveryReadingAndCountsBackFromTheNewest) {
    Random& block =
        Load("    <Block Type=\"RndGroup\" Name=\"G2\" Group=\"2\" Interval=\"00:00:00\" />\n" +
             RandomIn("1", 3));
    Feed(block, At(10, 1, 7), 1.0);
    Feed(block, At(10, 2, 9), 2.0);
    CSensorData reading;
    int digits = 0;
    ASSERT_TRUE(block.GetValue(1, 2, At(11, 0), reading, digits));
    EXPECT_EQ(reading.GetTime(), At(10, 1, 7));
    EXPECT_FALSE(block.GetValue(2, 2, At(11, 0), reading, digits));
}

TEST_F(RandomBlockTest, ABlockInNoGroupWarnsAtStartAndStoresNothing) {
    Random& block = Load(kGroup3 + RandomIn(""));
    EXPECT_THAT(log.Texts(TReportLevel::Warning), ElementsAre("No random groups are defined."));
    Feed(block, At(10, 15), 1.0);
    EXPECT_EQ(block.StoredCount(), 0);
    EXPECT_FALSE(block.IsMemberOf(2)) << "entries never set do not read as members";
}

TEST_F(RandomBlockTest, TheInterleavedFormatTakesNumValsFromTheSettingsAtStart) {
    Messenger().settings = RandomSettings{.Format = 0, .NumVals = 5};
    Random& block = Load(kGroup3 + RandomIn("0,1", 2));
    Messenger().settings = RandomSettings{.Format = 1};
    EXPECT_EQ(block.NumVals(), 5);
}

TEST_F(RandomBlockTest, SequencesComeFromOneCounterAndBlocksListThemselves) {
    FakeMessenger messenger;
    Random first(messenger);
    Random second(messenger);
    EXPECT_EQ(first.Sequence() + 1, second.Sequence());
    EXPECT_THAT(messenger.randoms, ElementsAre(&first, &second));
}

}  // namespace
