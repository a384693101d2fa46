// The self-timed messenger's schedule on the virtual clock, against a transmitter that reports
// the window close and its time as each scenario says: when it loads the message, when it only
// polls, when it skips, and how it ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <ostream>
#include <string>
#include <vector>

#include "corvane/selftimed/self_timed_block.h"
#include "corvane/selftimed/self_timed_msgr.h"
#include "corvane/support/scripted_transmitter.h"
#include "host/clock/clock.h"
#include "host/engine/engine.h"
#include "host/engine/logger_folders.h"
#include "host/log/report_sinks.h"
#include "host/support/temp_dir.h"
#include "platform/clock.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

const TTime kStart(2024, 8, 1, 10, 0, 0);

class SelfTimedSchedule : public ::testing::Test {
  protected:
    SelfTimedSchedule() {
        transmitter.windowClose = [this] { return closeAt(TTime::GetCurrentTime()); };
        messenger.Settings().Enabled = true;
    }
    void TearDown() override { messenger.Stop(); }

    // The first window closes `seconds` after the start, the next ones an hour apart.
    void FirstCloseIn(int seconds) {
        closeAt = [seconds](TTime now) {
            TTime close = kStart + TTimeSpan::FromSeconds(seconds);
            while (close <= now)
                close += TTimeSpan(0, 1, 0, 0);
            return close;
        };
    }
    void RunFor(TTimeSpan span) {
        ASSERT_TRUE(messenger.Start());
        Sleep(static_cast<DWORD>(span.GetTotalMilliseconds()));
    }
    // When each message load (216) was made, as seconds after the start.
    std::vector<std::int64_t> LoadTimes() const {
        std::vector<std::int64_t> out;
        for (std::size_t i = 0; i < transmitter.requests.size(); ++i)
            if (transmitter.requests[i] == 216)
                out.push_back((transmitter.times[i] - kStart).GetTotalSeconds());
        return out;
    }
    std::vector<std::string> Debug() const { return log.Texts(TReportLevel::Debug); }

    tarvo::host::ScopedVirtualClock clock{kStart};
    tarvo::host::LogCapture log;
    corvanetest::ScriptedTransmitter transmitter;
    SelfTimedMsgr messenger{transmitter};
    std::function<TTime(TTime)> closeAt;
};

TEST_F(SelfTimedSchedule, LoadsTwentySecondsBeforeEachCloseAndSynchronisesAfterTheAllowance) {
    FirstCloseIn(300);  // 10:05:00, then hourly
    RunFor(TTimeSpan(0, 2, 10, 0));
    EXPECT_THAT(LoadTimes(), ElementsAre(280, 3880, 7480));
    EXPECT_THAT(Debug(), Contains("ST WaitForNext: Corvane reported window closes in 0 hours, 5 "
                                  "minutes, 0 seconds."));
    EXPECT_THAT(Debug(), Contains("ST WaitForNext: Next insertion in 0 hours, 4 minutes, 40 "
                                  "seconds, 0 milliseconds."));
    EXPECT_THAT(Debug(),
                Contains("Waiting for self-timed tx to complete: 0 hours, 1 minutes, 20 seconds."));
    // Polls once a minute while the next window is more than ten minutes away, each with a
    // clock synchronisation.
    EXPECT_GT(transmitter.clockSyncs, 100);
}

TEST_F(SelfTimedSchedule, UnderNosTheThreadReadsTheFormatTableAsItStarts) {
    tarvo::test::TempDir flashDisk;  // holds no table
    tarvo::host::SetLoggerFolder(tarvo::host::LoggerFolder::FlashDisk, flashDisk.Path());
    messenger.Settings().Format = L"NOS";
    FirstCloseIn(3600);
    RunFor(TTimeSpan(0, 0, 0, 1));
    messenger.Stop();
    tarvo::host::SetLoggerFolder(tarvo::host::LoggerFolder::FlashDisk, "");
    EXPECT_THAT(LoadTimes(), ElementsAre()) << "long before the first message";
    EXPECT_THAT(log.Texts(TReportLevel::Warning),
                ElementsAre("NOS Format: Format table missing or empty"));
}

TEST_F(SelfTimedSchedule, AWindowUnderTwentySecondsAwayIsSkipped) {
    FirstCloseIn(15);
    RunFor(TTimeSpan(0, 0, 0, 16));
    EXPECT_THAT(LoadTimes(), ElementsAre());
    EXPECT_THAT(Debug(), Contains("ST WaitForNext: Skipping to next interval (need 20 secs before "
                                  "window closes)."));
}

TEST_F(SelfTimedSchedule, AWindowTwentySecondsAwayIsLoadedAtOnce) {
    FirstCloseIn(20);
    RunFor(TTimeSpan(0, 0, 0, 1));
    EXPECT_THAT(LoadTimes(), ElementsAre(0));
}

TEST_F(SelfTimedSchedule, SixHundredAndOneSecondsAwayOnlyPollsAndSynchronises) {
    FirstCloseIn(601);
    RunFor(TTimeSpan(0, 0, 0, 59));
    EXPECT_THAT(LoadTimes(), ElementsAre());
    EXPECT_THAT(transmitter.requests, ElementsAre(219, 31, 35));
    Sleep(2000);  // a minute later it asks again and finds 541 s to go
    EXPECT_THAT(Debug(), Contains("ST WaitForNext: Next insertion in 0 hours, 8 minutes, 41 "
                                  "seconds, 0 milliseconds."));
}

TEST_F(SelfTimedSchedule, SixHundredSecondsAwayInsertsFiveHundredEightyLater) {
    FirstCloseIn(600);
    RunFor(TTimeSpan(0, 0, 10, 0));
    EXPECT_THAT(LoadTimes(), ElementsAre(580));
    EXPECT_EQ(transmitter.clockSyncs, 0);
}

TEST_F(SelfTimedSchedule, WithFarWindowPollingOffAFarWindowIsWaitedForInOneGo) {
    transmitter.polls = false;
    FirstCloseIn(601);
    RunFor(TTimeSpan(0, 0, 10, 0));
    EXPECT_THAT(LoadTimes(), ElementsAre(581));
    EXPECT_EQ(transmitter.clockSyncs, 0);
}

TEST_F(SelfTimedSchedule, AClockChangeDuringTheInsertionWaitReschedules) {
    FirstCloseIn(300);
    RunFor(TTimeSpan(0, 0, 1, 40));
    SetSystemTime((TTime::GetCurrentTime() + TTimeSpan(0, 0, 1, 0)).GetAsSystemTime());
    Sleep(1000);
    EXPECT_THAT(Debug(), Contains("ST WaitForNext: Rescheduling due to RTC change."));
    Sleep(300'000);
    // The close stays at 10:05:00 of the new clock: the insertion comes 20 s before it.
    EXPECT_THAT(LoadTimes(), ElementsAre(280));
}

TEST_F(SelfTimedSchedule, ATransmitterWithoutValidTimeIsAskedAgainEveryMinute) {
    closeAt = [](TTime) { return TTime(); };
    RunFor(TTimeSpan(0, 0, 3, 30));
    const auto asks = std::count(transmitter.requests.begin(), transmitter.requests.end(), 219);
    EXPECT_EQ(asks, 4);  // at 0, 1, 2 and 3 minutes
    EXPECT_THAT(Debug(), Contains("ST WaitForNext: Waiting for valid time..."));
    EXPECT_THAT(LoadTimes(), ElementsAre());
}

TEST_F(SelfTimedSchedule, TheThreadSortsTheBlocksBySequenceAsItStarts) {
    SelfTimed first(messenger.Registry(), messenger.Settings());
    SelfTimed second(messenger.Registry(), messenger.Settings());
    first.SetSequence(3);  // listed before second, whose Sequence is 2
    ASSERT_TRUE(messenger.Start());
    ASSERT_TRUE(messenger.Stop());
    EXPECT_THAT(messenger.Registry().Blocks(), ElementsAre(&second, &first));
}

// A close time at or before the transmitter's own time loads nothing and is not taken for a
// window too close to reach either.
class CloseNotAhead : public SelfTimedSchedule, public ::testing::WithParamInterface<int> {};

TEST_P(CloseNotAhead, IsReportedAsANegativeTimeTillClose) {
    const int ahead = GetParam();
    closeAt = [ahead](TTime now) { return now + TTimeSpan::FromSeconds(ahead); };
    EXPECT_FALSE(messenger.WaitForNextInsertion());
    EXPECT_THAT(Debug(),
                ElementsAre("ST WaitForNext: Corvane reported negative time till window closes"));
    EXPECT_THAT(transmitter.requests, ElementsAre(219, 31));
}

INSTANTIATE_TEST_SUITE_P(Table, CloseNotAhead, ::testing::Values(0, -10), [](const auto& info) {
    return info.param == 0 ? std::string("AtTheSameSecond") : std::string("TenSecondsBefore");
});

TEST_F(SelfTimedSchedule, AnUnformattableMessageIsReportedInsteadOfLoaded) {
    messenger.SetHook([](std::wstring&, int) { return false; });
    EXPECT_FALSE(messenger.FormatAndSend());
    EXPECT_THAT(log.Texts(TReportLevel::Warning),
                ElementsAre("Failed formatting self-timed tx data."));
    EXPECT_THAT(transmitter.requests, ElementsAre());
}

TEST_F(SelfTimedSchedule, InsatAllowsSixHundredTwentySecondsAfterLoading) {
    messenger.Settings().Type = 4;
    FirstCloseIn(100);
    RunFor(TTimeSpan(0, 0, 12, 0));
    EXPECT_THAT(Debug(), Contains("Waiting for self-timed tx to complete: 0 hours, 10 minutes, "
                                  "20 seconds."));
    // Loaded at 80 s; the clock is synchronised when the allowance is over, at 700 s.
    EXPECT_THAT(LoadTimes(), ElementsAre(80));
    const auto sync = std::find(transmitter.requests.begin(), transmitter.requests.end(), 35);
    ASSERT_NE(sync, transmitter.requests.end());
    EXPECT_EQ(
        (transmitter.times[static_cast<std::size_t>(sync - transmitter.requests.begin())] - kStart)
            .GetTotalSeconds(),
        700);
}

TEST_F(SelfTimedSchedule, AFailedLoadDoesNotStopTheSchedule) {
    transmitter.silent = {216};
    FirstCloseIn(300);
    RunFor(TTimeSpan(0, 1, 10, 0));
    EXPECT_THAT(LoadTimes(), ElementsAre(280, 3880));
    EXPECT_THAT(log.Texts(TReportLevel::Warning),
                ElementsAre("Failed sending self-timed tx data to Corvane.",
                            "Failed sending self-timed tx data to Corvane."));
}

// A stop ends every kind of wait at once, and the thread says so on its way out.
TEST_F(SelfTimedSchedule, AStopDuringAnyWaitEndsTheThread) {
    struct Row {
        const char* legend;
        int closeIn;  // seconds; 0: no valid time
        int stopAfter;
    };
    for (const Row& row : {Row{"insertion wait", 300, 100}, Row{"far-window poll", 3000, 30},
                           Row{"no valid time", 0, 30}, Row{"transmission allowance", 100, 120}}) {
        SCOPED_TRACE(row.legend);
        log.Clear();
        if (row.closeIn == 0)
            closeAt = [](TTime) { return TTime(); };
        else
            FirstCloseIn(row.closeIn);
        RunFor(TTimeSpan::FromSeconds(row.stopAfter));
        const TTime before = TTime::GetCurrentTime();
        EXPECT_TRUE(messenger.Stop());
        EXPECT_EQ(TTime::GetCurrentTime(), before) << "the stop waited for nothing";
        EXPECT_THAT(Debug(), Contains("Self-timed messenger thread exiting."));
    }
}

TEST_F(SelfTimedSchedule, TheOperatorLoadSendsItsSequenceWhileStopped) {
    EXPECT_TRUE(messenger.ApplySettingsAndLoad(L"TEST"));
    // No recording runs: no 771, no 770; the upload follows the satellite id and offset.
    ASSERT_GE(transmitter.requests.size(), 5u);
    EXPECT_EQ(transmitter.requests[0], 40);
    EXPECT_EQ(transmitter.requests[1], 37);
    EXPECT_THAT(std::vector<WORD>(transmitter.requests.end() - 3, transmitter.requests.end()),
                ElementsAre(236, 216, 218));
    EXPECT_THAT(transmitter.messages, ElementsAre(L"TEST"));
    EXPECT_THAT(transmitter.requests, Not(Contains(771)));

    transmitter.requests.clear();
    transmitter.silent = {216};
    EXPECT_TRUE(messenger.ApplySettingsAndLoad(L"X")) << "the 216's result is not looked at";
    transmitter.silent = {218};
    EXPECT_FALSE(messenger.ApplySettingsAndLoad(L"X")) << "the 218's is";
}

// While recording runs, the operator's load stops transmissions (771), pauses 2 s, loads, and
// restarts them with 770: up to five attempts, each after 15 s on the messenger's stop event,
// that count only when the transmitter answers one of its two texts for "running". The messenger
// runs meanwhile (its far window only polled), as it does when an operator asks.
struct RestartRow {
    const char* legend;
    std::vector<std::string> answers;  // the 770 replies in turn; "" is no valid reply
    bool loaded;
    int attempts;
};
void PrintTo(const RestartRow& row, std::ostream* os) {
    *os << row.legend;
}

class WhileRecording : public SelfTimedSchedule {
  protected:
    void SetUp() override {
        std::ofstream(dir.File("setup.xml")) << "<TarvoSetup><Blocks></Blocks></TarvoSetup>";
        std::string error;
        ASSERT_TRUE(engine.LoadSetup(dir.File("setup.xml"), error)) << error;
        ASSERT_TRUE(engine.Run());
        FirstCloseIn(10 * 3600);
        ASSERT_TRUE(messenger.Start());
    }
    void TearDown() override {
        engine.Stop();
        SelfTimedSchedule::TearDown();
    }
    tarvo::test::TempDir dir;
    tarvo::host::HostEngine& engine = tarvo::host::GetHostEngine();
};

class OperatorLoadWhileRecording : public WhileRecording,
                                   public ::testing::WithParamInterface<RestartRow> {};

TEST_P(OperatorLoadWhileRecording, RestartsByTheTransmittersAnswer) {
    const RestartRow& row = GetParam();
    std::size_t asked = 0;
    transmitter.startAnswer = [&] {
        const std::string answer = asked < row.answers.size() ? row.answers[asked] : "";
        ++asked;
        if (answer.empty())
            transmitter.silent.insert(770);
        else
            transmitter.silent.erase(770);
        return std::wstring(answer.begin(), answer.end());
    };

    EXPECT_EQ(messenger.ApplySettingsAndLoad(L"TEST"), row.loaded);

    const auto when = [&](WORD type) {
        std::vector<std::int64_t> at;
        for (std::size_t i = 0; i < transmitter.requests.size(); ++i)
            if (transmitter.requests[i] == type)
                at.push_back((transmitter.times[i] - kStart).GetTotalMilliseconds());
        return at;
    };
    ASSERT_THAT(when(771), ElementsAre(0));
    ASSERT_THAT(when(40), ElementsAre(2000)) << "the set-up follows the stop after 2 s";
    std::vector<std::int64_t> restarts = when(770);
    for (std::int64_t& at : restarts)
        at /= 1000;
    ASSERT_EQ(static_cast<int>(restarts.size()), row.attempts);
    for (std::size_t i = 1; i < restarts.size(); ++i)
        EXPECT_EQ(restarts[i] - restarts[i - 1], 15) << "attempt " << i + 1;
    EXPECT_EQ(restarts.front(), 2 + 15) << "the first attempt waits 15 s too";
}

INSTANTIATE_TEST_SUITE_P(
    Table, OperatorLoadWhileRecording,
    ::testing::Values(
        RestartRow{"already running at once", {"System is already running."}, true, 1},
        RestartRow{"an older transmitter that does not know 770", {"Unknown command"}, true, 1},
        RestartRow{
            "no answer twice, then running", {"", "", "System is already running."}, true, 3},
        RestartRow{"any other text is a failed attempt, five times",
                   {"Started", "Started", "Started", "Started", "Started"},
                   false,
                   5}),
    [](const auto& info) {
        std::string name = info.param.legend;
        for (char& c : name)
            if (!std::isalnum(static_cast<unsigned char>(c)))
                c = '_';
        return name;
    });

TEST_F(WhileRecording, TheOperatorLoadGivesUpWhenStoppingTransmissionsFails) {
    transmitter.silent = {771};
    EXPECT_FALSE(messenger.ApplySettingsAndLoad(L"TEST"));
    EXPECT_THAT(transmitter.requests, Not(Contains(40))) << "nothing after the failed stop";
    EXPECT_THAT(transmitter.requests, Not(Contains(770)));
}

class OperatorLoadAfterAFailedSetUp : public WhileRecording,
                                      public ::testing::WithParamInterface<WORD> {};

TEST_P(OperatorLoadAfterAFailedSetUp, NeitherLoadsNorRestarts) {
    transmitter.silent = {GetParam()};
    EXPECT_FALSE(messenger.ApplySettingsAndLoad(L"TEST"));
    EXPECT_THAT(transmitter.requests, Not(Contains(236)));
    EXPECT_THAT(transmitter.requests, Not(Contains(216)));
    EXPECT_THAT(transmitter.requests, Not(Contains(770)));
}

// The satellite id, the offset, and the first and last writes of the upload.
INSTANTIATE_TEST_SUITE_P(Table, OperatorLoadAfterAFailedSetUp, ::testing::Values(40, 37, 202, 232),
                         [](const auto& info) { return "silent_" + std::to_string(info.param); });

TEST_F(SelfTimedSchedule, TheOperatorLoadWhileRecordingRestartsOnlyWhileTheMessengerRuns) {
    tarvo::test::TempDir dir;
    std::ofstream(dir.File("setup.xml")) << "<TarvoSetup><Blocks></Blocks></TarvoSetup>";
    std::string error;
    tarvo::host::HostEngine& engine = tarvo::host::GetHostEngine();
    ASSERT_TRUE(engine.LoadSetup(dir.File("setup.xml"), error)) << error;
    ASSERT_TRUE(engine.Run());
    // Stopped, its stop event is set: the restart gives up before its first attempt.
    EXPECT_FALSE(messenger.ApplySettingsAndLoad(L"TEST"));
    EXPECT_THAT(transmitter.requests, Contains(218));
    EXPECT_THAT(transmitter.requests, Not(Contains(770)));
    engine.Stop();
}

}  // namespace
