// The random messenger's schedule on the virtual clock, against a scripted transmitter and a
// scripted jitter: when each group transmits through an alarm, its bursts and its reset, and
// which group wins a tie.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "corvane/random/random_block.h"
#include "corvane/random/random_msgr.h"
#include "corvane/random/rnd_group.h"
#include "corvane/support/scripted_transmitter.h"
#include "host/clock/clock.h"
#include "host/log/report_sinks.h"
#include "platform/clock.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const TTime kNine(2024, 7, 1, 9, 0, 0);

std::string Hms(TTime t) {
    char text[16];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", t.GetHour(), t.GetMinute(), t.GetSecond());
    return text;
}

class RandomSchedule : public ::testing::Test {
  protected:
    // No jitter; an alarm interrupt waits 30 s; a past time is retried 10 s later.
    static int Offsets(int range, OffsetSign) {
        if (range == 60000)
            return 30000;
        return range == 60 ? 10 : 0;
    }

    RndGroup& Group(int number) {
        groups.push_back(std::make_unique<RndGroup>(messenger));
        groups.back()->GetProperty(L"Group")->SetInteger(number);
        groups.back()->GetProperty(L"Label")->SetText(L"G" + std::to_wstring(number));
        return *groups.back();
    }
    void StartMessenger() {
        ASSERT_TRUE(messenger.Start());
        Until(kNine);
    }
    // Sleeps until `t` (virtual).
    void Until(TTime t) {
        Sleep(static_cast<DWORD>((t - TTime::GetCurrentTime()).GetTotalMilliseconds()));
    }
    // The times of the random loads (312) so far, as HH:MM:SS.
    std::vector<std::string> Loads() const {
        std::vector<std::string> out;
        for (std::size_t i = 0; i < transmitter.requests.size(); ++i)
            if (transmitter.requests[i] == 312)
                out.push_back(Hms(transmitter.times[i]));
        return out;
    }
    void TearDown() override { messenger.Stop(); }

    // The messenger starts a second before nine, so that its thread has set up its slots
    // (which forgets any alarm) before a test signals one.
    tarvo::host::ScopedVirtualClock clock{kNine - TTimeSpan::FromSeconds(1)};
    tarvo::host::LogCapture log;
    corvanetest::ScriptedTransmitter transmitter;
    CRandomMsgr messenger{transmitter, Offsets};
    std::vector<std::unique_ptr<RndGroup>> groups;
};

TEST_F(RandomSchedule, AnAlarmSendsWithinAMinuteThenBurstsThenAlarmRateUntilResetThenNormal) {
    Group(2);
    StartMessenger();
    Until(kNine + TTimeSpan(0, 1, 0, 0));
    messenger.SetGroupAlarm(2);
    Until(kNine + TTimeSpan(0, 3, 30, 0));
    messenger.ResetGroupAlarm(2);
    Until(kNine + TTimeSpan(0, 4, 0, 0));
    EXPECT_THAT(Loads(), ElementsAre("10:00:30", "10:01:30", "10:02:30", "11:02:30", "12:02:30"));
    Until(kNine + TTimeSpan(1, 0, 10, 0));
    EXPECT_EQ(Loads().back(), "00:02:30") << "twelve hours after the last, at the normal rate";
    EXPECT_THAT(transmitter.requests,
                ::testing::Contains(300).Times(static_cast<int>(Loads().size())));
}

TEST_F(RandomSchedule, AResetOfAGroupThatIsNotCurrentDoesNotInterruptTheWait) {
    Group(3);
    Group(5);
    StartMessenger();
    messenger.SetGroupAlarm(5);
    Until(kNine + TTimeSpan(0, 0, 0, 40));  // 5 went at 09:00:30
    messenger.SetGroupAlarm(3);             // 3 is now current (within the minute)
    Until(kNine + TTimeSpan(0, 0, 0, 41));
    messenger.ResetGroupAlarm(5);  // not current: the wait goes on
    Until(kNine + TTimeSpan(0, 0, 2, 0));
    EXPECT_THAT(Loads(), ElementsAre("09:00:30", "09:01:10"));
    EXPECT_EQ(log.Count(TReportLevel::Debug, "RT WaitForNext: Alarm reset! cancelling tx group 5."),
              0u);
}

TEST_F(RandomSchedule, ASecondAlarmDuringTheAlarmWaitReplacesTheGroup) {
    Group(3);
    Group(5);
    StartMessenger();
    messenger.SetGroupAlarm(3);
    Until(kNine + TTimeSpan(0, 0, 0, 10));
    messenger.SetGroupAlarm(5);
    Until(kNine + TTimeSpan(0, 0, 0, 45));
    EXPECT_THAT(Loads(), ElementsAre("09:00:40"));
    EXPECT_THAT(log.Texts(TReportLevel::Debug),
                ::testing::Contains("RT WaitForNext: Alarm interrupt! tx group 5 in 30 seconds."));
    EXPECT_THAT(log.Texts(TReportLevel::Debug),
                ::testing::Contains("Formatting and sending random tx data."));
}

TEST_F(RandomSchedule, EqualTimesSendTheLowerGroupAndGroupsEightAndNineNeverSend) {
    Group(5);
    Group(3);
    Group(8);
    messenger.SetGroupAlarm(8);  // no slot: ignored
    StartMessenger();
    Until(kNine + TTimeSpan(0, 12, 0, 5));
    EXPECT_THAT(log.Texts(TReportLevel::Debug),
                ::testing::Contains("RT WaitForNext: Tx group 3 in 43200 secs."));
    EXPECT_THAT(Loads(), ElementsAre("20:59:59", "20:59:59"));
    EXPECT_THAT(transmitter.messages, ElementsAre(L"G3", L"G5"));
}

TEST_F(RandomSchedule, WithNoActiveGroupTheThreadWaitsUntilStopped) {
    Group(4).SetEnabled(false);
    StartMessenger();
    Until(kNine + TTimeSpan(3, 0, 0, 0));
    EXPECT_THAT(log.Texts(TReportLevel::Warning), ElementsAre("No random groups are active."));
    EXPECT_TRUE(messenger.Stop());
    EXPECT_THAT(transmitter.requests, IsEmpty());
    EXPECT_EQ(log.Count(TReportLevel::Debug, "Random messenger thread exiting."), 1u);
}

TEST_F(RandomSchedule, AFailedLoadIsRetriedWithinAMinute) {
    Group(2);
    transmitter.silent = {312};
    StartMessenger();
    messenger.SetGroupAlarm(2);
    Until(kNine + TTimeSpan(0, 0, 0, 35));
    transmitter.silent.clear();
    Until(kNine + TTimeSpan(0, 0, 1, 5));
    // lastTx stays at the start, so the first burst is due a minute after it.
    EXPECT_THAT(Loads(), ElementsAre("09:00:30", "09:00:59"));
    EXPECT_THAT(log.Texts(TReportLevel::Warning),
                ElementsAre("Failed sending random tx data to Corvane."));
}

TEST(RandomOffsetDraws, CoverExactlyTheirRange) {
    std::vector<int> jitter(119, 0);
    std::vector<int> delay(60, 0);
    for (int i = 0; i < 200000; ++i) {
        const int j = RandomOffset(120, OffsetSign::Signed);
        ASSERT_GE(j, -59);
        ASSERT_LE(j, 59);
        ++jitter[static_cast<std::size_t>(j + 59)];
        const int d = RandomOffset(60000, OffsetSign::Unsigned) / 1000;
        ASSERT_GE(d, 0);
        ASSERT_LE(d, 59);
        ++delay[static_cast<std::size_t>(d)];
    }
    for (std::size_t k = 0; k < jitter.size(); ++k)
        EXPECT_GT(jitter[k], 0) << "jitter " << static_cast<int>(k) - 59 << " never drawn";
    for (std::size_t k = 0; k < delay.size(); ++k)
        EXPECT_GT(delay[k], 0) << "delay " << k << " s never drawn";
}

}  // namespace
