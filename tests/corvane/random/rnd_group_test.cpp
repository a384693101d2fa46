// The RndGroup block's alarm tests, fed through a real input connection, with the messenger
// scripted: which edges it hears and which status lines the operator sees.
#include "corvane/random/rnd_group.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "corvane/random/group_alarm_signals.h"
#include "host/log/report_sinks.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RecordingSignals : public GroupAlarmSignals {
  public:
    void AddGroupBlock(RndGroup& block) override { blocks.push_back(&block); }
    void RemoveGroupBlock(RndGroup& block) override { std::erase(blocks, &block); }
    void SetGroupAlarm(int group) override { edges.push_back("set " + std::to_string(group)); }
    void ResetGroupAlarm(int group) override { edges.push_back("reset " + std::to_string(group)); }

    std::vector<RndGroup*> blocks;
    std::vector<std::string> edges;
};

// Stands in for the measurement wired to the Trigger input.
class Feeder : public TModule {
  public:
    Feeder() : TModule(L"Feeder") {}
    std::wstring GetOutputName(int index) const override { return index == 0 ? L"Out" : L""; }
    void Produce(const CSensorData& reading) { SetOutputData(0, reading); }
};

class RndGroupTest : public ::testing::Test {
  protected:
    RndGroupTest() { block.ConnectInput(RndGroup::kPort, &feeder, 0); }

    // Feeds each value as a good reading one minute apart.
    void Feed(std::vector<double> values) {
        for (double v : values) {
            time += TTimeSpan(0, 0, 1, 0);
            feeder.Produce(CSensorData(TValue(v), time));
            ASSERT_TRUE(block.Execute());
        }
    }
    void Set(const wchar_t* name, double value) { block.GetProperty(name)->SetReal(value); }

    TTime time = TTime(2024, 5, 1, 10, 0, 0);
    tarvo::host::LogCapture log;
    RecordingSignals signals;
    Feeder feeder;
    RndGroup block{signals};
};

TEST(RndGroupBlock, HasItsTwelvePropertiesInOrderWithTheirDefaultsAndPortsAtIndexTwo) {
    RecordingSignals signals;
    RndGroup block(signals);
    const std::vector<std::pair<std::wstring, std::wstring>> expected = {
        {L"Group", L"2"},         {L"Label", L"B2"},      {L"Interval", L"00:15:00"},
        {L"Offset", L"00:00:00"}, {L"HiLimit", L"5"},     {L"LowLimit", L"2.5"},
        {L"ROCMag", L"3"},        {L"ROCFixed", L"true"}, {L"Deadband", L"1"},
        {L"HiAlarm", L"true"},    {L"LowAlarm", L"true"}, {L"ROCAlarm", L"0"}};
    ASSERT_EQ(block.GetPropertyCount(), static_cast<int>(expected.size()));
    for (int i = 0; i < block.GetPropertyCount(); ++i) {
        EXPECT_EQ(block.GetProperty(i)->GetName(), expected[i].first) << i;
        EXPECT_EQ(block.GetProperty(i)->GetText(), expected[i].second) << i;
    }
    EXPECT_EQ(block.GetModuleName(), L"RndGroup");
    for (int i = 0; i < MODULE_DATA_COUNT; ++i) {
        EXPECT_EQ(block.GetInputName(i), i == 2 ? L"Trigger" : L"") << i;
        EXPECT_EQ(block.GetOutputName(i), i == 2 ? L"Output" : L"") << i;
    }
}

TEST(RndGroupBlock, ListsItselfWithTheMessengerForItsLifetime) {
    RecordingSignals signals;
    {
        RndGroup a(signals);
        RndGroup b(signals);
        EXPECT_THAT(signals.blocks, ElementsAre(&a, &b));
    }
    EXPECT_THAT(signals.blocks, IsEmpty());
}

TEST_F(RndGroupTest, SignalsAboveTheHighLimitPlusDeadbandAndResetsBelowItMinusDeadband) {
    Feed({6.0});  // 6.0 > 6.0 is false
    EXPECT_THAT(signals.edges, IsEmpty());
    Feed({6.1});
    EXPECT_THAT(signals.edges, ElementsAre("set 2"));
    EXPECT_EQ(block.GetStatusText(), L"Random group 2 is in alarm.");
    Feed({4.5});  // not below 4.0: still in alarm
    EXPECT_THAT(signals.edges, ElementsAre("set 2"));
    Feed({3.9});
    EXPECT_THAT(signals.edges, ElementsAre("set 2", "reset 2"));
    EXPECT_EQ(block.GetStatusText(), L"Random group 2 is not in alarm.");
    EXPECT_THAT(log.Texts(TReportLevel::Status),
                ElementsAre("Alarm hi limit signaled. Group 2 signaling alarm.",
                            "Alarm hi limit reset. Group 2 resetting alarm."));
}

TEST_F(RndGroupTest, AReadingExactlyOnALimitPlusOrMinusTheDeadbandNeitherSetsNorClears) {
    Feed({6.0, 7.0, 4.0});  // 4.0 is not below 5 - 1
    EXPECT_THAT(signals.edges, ElementsAre("set 2"));
    Feed({1.5});  // low limit 2.5 - 1: not below; but the high limit clears
    EXPECT_THAT(signals.edges, ElementsAre("set 2", "reset 2"));
    Feed({1.4});
    EXPECT_THAT(signals.edges, ElementsAre("set 2", "reset 2", "set 2"));
    Feed({3.5});  // not above 2.5 + 1
    EXPECT_THAT(signals.edges, ElementsAre("set 2", "reset 2", "set 2"));
    Feed({3.6});
    EXPECT_THAT(signals.edges, ElementsAre("set 2", "reset 2", "set 2", "reset 2"));
    EXPECT_THAT(log.Texts(TReportLevel::Status).back(),
                "Alarm low limit reset. Group 2 resetting alarm.");
}

TEST_F(RndGroupTest, ALowCrossingWhileHighIsActiveKeepsTheAlarmWithoutASecondSignal) {
    Set(L"LowLimit", 8.0);  // low region below 7, high region above 6: they overlap
    Feed({6.5});            // both conditions enter at once: one signal
    EXPECT_THAT(signals.edges, ElementsAre("set 2"));
    Feed({9.5});  // low clears while high holds
    Feed({4.5});  // low enters again while high holds
    Feed({3.0});  // high clears while low holds
    EXPECT_THAT(signals.edges, ElementsAre("set 2"));
    EXPECT_TRUE(block.IsGroupInAlarm());
    EXPECT_EQ(log.Texts(TReportLevel::Status).size(), 1u);
}

TEST_F(RndGroupTest, DisabledLimitTestsNeverSignal) {
    block.GetProperty(L"HiAlarm")->SetBool(false);
    block.GetProperty(L"LowAlarm")->SetBool(false);
    Feed({100.0, -100.0});
    EXPECT_THAT(signals.edges, IsEmpty());
}

TEST_F(RndGroupTest, TheFirstReadingAfterResetGivesNoChangeInRocHiAndAlarmsAtOnceInRocLow) {
    block.GetProperty(L"HiAlarm")->SetBool(false);
    block.GetProperty(L"LowAlarm")->SetBool(false);
    block.GetProperty(L"ROCAlarm")->SetInteger(1);
    Feed({3.0});
    EXPECT_THAT(signals.edges, IsEmpty());
    Feed({7.5});  // a change of 4.5 > 3 + 1
    EXPECT_THAT(signals.edges, ElementsAre("set 2"));
    Feed({8.0});  // 0.5 < 3 - 1
    EXPECT_THAT(signals.edges, ElementsAre("set 2", "reset 2"));
    EXPECT_THAT(log.Texts(TReportLevel::Status),
                ElementsAre("Alarm ROC hi signaled. Group 2 signaling alarm.",
                            "Alarm ROC hi reset. Group 2 resetting alarm."));

    signals.edges.clear();
    block.Reset();
    block.GetProperty(L"ROCAlarm")->SetInteger(2);
    Feed({8.0});  // d = 0 < 3 - 1
    EXPECT_THAT(signals.edges, ElementsAre("set 2"));
    EXPECT_THAT(log.Texts(TReportLevel::Status).back(),
                "Alarm ROC low signaled. Group 2 signaling alarm.");
}

TEST_F(RndGroupTest, AResetForgetsTheAlarmWithoutSignallingIt) {
    Feed({7.0});
    block.Reset();
    EXPECT_FALSE(block.IsGroupInAlarm());
    Feed({3.0});  // would clear the high limit; there is no alarm to reset
    EXPECT_THAT(signals.edges, ElementsAre("set 2"));
}

TEST_F(RndGroupTest, ReadingsWithAnErrorOrWithoutDataPassUntestedAndBecomeTheLastReading) {
    CSensorData bad(TValue(50.0), time + TTimeSpan(0, 0, 1, 0));
    bad.SetError(true);
    feeder.Produce(bad);
    ASSERT_TRUE(block.Execute());
    CSensorData none;
    none.SetTime(time + TTimeSpan(0, 0, 2, 0));
    feeder.Produce(none);
    ASSERT_TRUE(block.Execute());
    EXPECT_THAT(signals.edges, IsEmpty());
    TModuleDataLock lock(block);
    EXPECT_EQ(block.GetData(RndGroup::kPort), none);
}

TEST_F(RndGroupTest, UsesItsGroupNumberInSignalsAndLines) {
    block.GetProperty(L"Group")->SetInteger(7);
    Feed({9.0});
    EXPECT_THAT(signals.edges, ElementsAre("set 7"));
    EXPECT_EQ(block.GetStatusText(), L"Random group 7 is in alarm.");
}

TEST_F(RndGroupTest, AnUnconnectedTriggerProducesNothing) {
    RndGroup lone(signals);
    EXPECT_FALSE(lone.Execute());
}

}  // namespace
