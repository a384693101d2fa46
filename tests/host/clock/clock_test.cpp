// The process clock: virtual time's jumps, ties and deadlock report; setting the time; the real
// clock's wiring; events, semaphores, locks and thread handles on virtual time.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/clock/clock.h"
#include "host/log/report_sinks.h"
#include "platform/clock.h"
#include "platform/sync.h"

namespace {

using tarvo::host::Micros;
using tarvo::host::NowMicros;
using tarvo::host::ScopedVirtualClock;
using tarvo::host::WaitUntil;

const TTime kStart(2024, 6, 1, 12, 0, 0);

void SleepUntil(Micros deadline) {
    WaitUntil({}, deadline);
}

TEST(VirtualClock, ASimulatedDayOfSleepingMovesTicksAndWallTimeByExactlyADay) {
    ScopedVirtualClock clock(kStart);
    const DWORD ticks = GetTickCount();
    for (int i = 0; i < 86400; ++i) {
        Sleep(1000);
    }
    EXPECT_EQ(GetTickCount() - ticks, 86400000u);
    EXPECT_EQ(TTime::GetCurrentTime(), kStart + TTimeSpan(1, 0, 0, 0));
    EXPECT_EQ(clock.Jumps(), 86400u);
    // A zero sleep and a wait on a signalled object do not move time.
    TEvent set(true, true, "set");
    Sleep(0);
    EXPECT_EQ(WaitForSingleObject(set, 5000), WAIT_OBJECT_0);
    EXPECT_EQ(NowMicros(), Micros{86400} * 1000000);
}

// Threads with periods of 2, 3 and 6 ms meet at every multiple of 6 ms. The one that began its
// wait first (the longest period) must wake first, on every run.
std::vector<std::string> RunPeriodicSleepers() {
    ScopedVirtualClock clock(kStart);
    std::mutex mutex;
    std::vector<std::string> timeline;  // who woke when, in the order they recorded it
    std::vector<std::unique_ptr<TThread>> threads;
    const int periods[] = {2, 3, 6};
    for (int index = 0; index < 3; ++index) {
        const int period = periods[index];
        threads.push_back(std::make_unique<TThread>(
            [&, period, index] {
                // Distinct first deadlines make the order of the later waits deterministic.
                SleepUntil(index + 1);
                for (Micros at = period * 1000; at <= 12000; at += period * 1000) {
                    SleepUntil(at);
                    std::lock_guard<std::mutex> lock(mutex);
                    timeline.push_back(std::to_string(period) + "@" + std::to_string(NowMicros()));
                }
            },
            "every " + std::to_string(period)));
    }
    threads.clear();
    return timeline;
}

TEST(VirtualClock, WaitersDueTogetherWakeInTheOrderTheyBeganWaitingOnEveryRun) {
    const std::vector<std::string> expected = {"2@2000",  "3@3000",  "2@4000",  "6@6000",
                                               "3@6000",  "2@6000",  "2@8000",  "3@9000",
                                               "2@10000", "6@12000", "3@12000", "2@12000"};
    EXPECT_EQ(RunPeriodicSleepers(), expected);
    EXPECT_EQ(RunPeriodicSleepers(), expected);
}

// Of two waiters due at the same instant only the one that began waiting first is woken; the
// other stays blocked until everybody is blocked again, so it sees what the first one did.
TEST(VirtualClock, OfWaitersDueTogetherTheLaterSeesWhatTheEarlierDid) {
    for (const bool setterFirst : {true, false}) {
        SCOPED_TRACE(setterFirst ? "setter began waiting first" : "waiter began waiting first");
        ScopedVirtualClock clock(kStart);
        TEvent signal(true, false, "signal");
        std::atomic<DWORD> result{0};
        {
            TThread setter(
                [&] {
                    SleepUntil(setterFirst ? 1 : 2);
                    SleepUntil(1000000);
                    signal.Set();
                },
                "setter");
            TThread waiter(
                [&] {
                    SleepUntil(setterFirst ? 2 : 1);
                    TWaitable* const objects[] = {&signal};
                    result = WaitUntil(objects, 1000000);
                },
                "waiter");
        }
        EXPECT_EQ(result.load(), setterFirst ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
        EXPECT_EQ(NowMicros(), 1000000);
    }
}

TEST(VirtualClock, AThreadTakesPartFromConstructionBeforeItFirstRuns) {
    ScopedVirtualClock clock(kStart);
    for (int i = 0; i < 50; ++i) {
        std::atomic<Micros> started{-1};
        const Micros before = NowMicros();
        TThread thread([&] { started = NowMicros(); }, "starter");
        Sleep(1000);  // must not jump before the new thread has run
        EXPECT_EQ(started.load(), before) << "round " << i;
    }
}

// A released thread counts as runnable from the moment of the signal: the driver's sleep right
// after signalling must not let time jump before the woken thread reads the clock.
TEST(VirtualClock, ASignalledThreadIsRunnableBeforeItWakes) {
    struct Row {
        const char* legend;
        std::function<void(TEvent&, TSemaphore&)> wait;    // on the worker
        std::function<void(TEvent&, TSemaphore&)> signal;  // on the driver
    };
    const Row rows[] = {
        {"event set", [](TEvent& e, TSemaphore&) { WaitForSingleObject(e, INFINITE); },
         [](TEvent& e, TSemaphore&) { e.Set(); }},
        {"semaphore unlocked", [](TEvent&, TSemaphore& s) { s.Lock(); },
         [](TEvent&, TSemaphore& s) { s.Unlock(); }},
        {"thread ended",
         [](TEvent& e, TSemaphore&) {
             TThread inner([&] { WaitForSingleObject(e, INFINITE); }, "inner");
             inner.Join();
         },
         [](TEvent& e, TSemaphore&) { e.Set(); }},
        {"clock set",
         [](TEvent&, TSemaphore&) {
             TRTCChange change;
             WaitForSingleObject(change, INFINITE);
         },
         [](TEvent&, TSemaphore&) { SetSystemTime(kStart.GetAsSystemTime()); }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        ScopedVirtualClock clock(kStart);
        for (int i = 0; i < 40; ++i) {
            TEvent event(false, false, "go");
            TSemaphore semaphore(0, 1, "gate");
            std::atomic<Micros> woke{-1};
            TThread worker(
                [&] {
                    row.wait(event, semaphore);
                    woke = NowMicros();
                },
                "worker");
            Sleep(10);  // lets the worker block first
            const Micros signalledAt = NowMicros();
            row.signal(event, semaphore);
            Sleep(1000);
            ASSERT_EQ(woke.load(), signalledAt) << "round " << i;
        }
    }
}

TEST(VirtualClockDeathTest, ADeadlockNamesEveryThreadAndWhatItWaitsFor) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            ScopedVirtualClock clock(kStart);
            TEvent stop(true, false, "stop");
            TSemaphore port(0, 1, "port lock");
            TThread reader([&] { port.Lock(); }, "reader");
            TThread messenger(
                [&] {
                    TRTCChange change;
                    TWaitable* const objects[] = {&stop, &change};
                    WaitForMultipleObjects(objects, INFINITE);
                },
                "messenger");
            Sleep(90000);
            messenger.Join();
        },
        "deadlock at 2024-06-01 12:01:30.000.*\n"
        "  driver waits for join messenger\n"
        "  reader waits for port lock\n"
        "  messenger waits for stop or clock change\n");
}

TEST(VirtualClockDeathTest, AnOutsideThreadMayPollButNotBlock) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ScopedVirtualClock clock(kStart);
    TEvent event(true, false, "flag");
    std::thread poller([&] {
        EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_TIMEOUT);
        event.Set();
        EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_OBJECT_0);
    });
    poller.join();
    EXPECT_DEATH(std::thread([] { Sleep(10); }).join(), "neither a TThread.*sleep");
}

TEST(VirtualClock, SettingTheTimeMovesWallTimeWakesClockChangeWaitersAndKeepsTicks) {
    ScopedVirtualClock clock(kStart);
    TEvent stop(true, false, "stop");
    std::atomic<DWORD> result{0};
    std::atomic<Micros> wokeAt{-1};
    TThread messenger(
        [&] {
            TRTCChange change;
            result = WaitForMultipleObjects({&stop, &change}, 60000);
            wokeAt = NowMicros();
        },
        "messenger");
    int notified = 0;
    const int id = tarvo::host::SubscribeTimeChange([&] { ++notified; });
    Sleep(10000);
    const TTime later(2024, 6, 1, 15, 30, 0);
    ASSERT_TRUE(SetSystemTime(later.GetAsSystemTime()));
    messenger.Join();
    EXPECT_EQ(result.load(), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(wokeAt.load(), 10000000);
    EXPECT_EQ(GetTickCount(), 10000u);
    EXPECT_EQ(TTime::GetCurrentTime(), later);
    Sleep(500);
    EXPECT_EQ(TTime::GetCurrentTime(), later + TTimeSpan::FromMilliseconds(500));
    EXPECT_EQ(notified, 1);

    // A handle made after the change is clear; the broadcast tells subscribers only.
    TRTCChange fresh;
    BroadcastTimeChange();
    EXPECT_EQ(WaitForSingleObject(fresh, 0), WAIT_TIMEOUT);
    EXPECT_EQ(notified, 2);
    SetSystemTime(later.GetAsSystemTime());
    EXPECT_EQ(WaitForSingleObject(fresh, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(fresh, 0), WAIT_OBJECT_0) << "stays signalled until Reset";
    fresh.Reset();
    EXPECT_EQ(WaitForSingleObject(fresh, 0), WAIT_TIMEOUT);
    tarvo::host::UnsubscribeTimeChange(id);
    BroadcastTimeChange();
    EXPECT_EQ(notified, 3);
}

TEST(VirtualClock, ImpossibleDatesAreRefusedAndLeaveTheTimeAlone) {
    ScopedVirtualClock clock(kStart);
    TRTCChange change;
    struct Row {
        SYSTEMTIME time;
        bool accepted;
        const char* legend;
    };
    const Row rows[] = {
        {{2024, 2, 0, 29, 1, 2, 3, 4}, true, "leap day"},
        {{2023, 2, 0, 29, 1, 2, 3, 4}, false, "no leap day in 2023"},
        {{1900, 2, 0, 29, 0, 0, 0, 0}, false, "nor in 1900"},
        {{2024, 4, 0, 31, 0, 0, 0, 0}, false, "April 31"},
        {{2024, 1, 0, 1, 24, 0, 0, 0}, false, "hour 24"},
        {{2024, 1, 0, 1, 0, 0, 0, 1000}, false, "millisecond 1000"},
        {{1600, 1, 0, 1, 0, 0, 0, 0}, false, "before 1601"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        const TTime before = TTime::GetCurrentTime();
        EXPECT_EQ(SetSystemTime(row.time), row.accepted);
        EXPECT_EQ(TTime::GetCurrentTime(), row.accepted ? TTime::FromSystemTime(row.time) : before);
        EXPECT_EQ(WaitForSingleObject(change, 0), row.accepted ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
        change.Reset();
    }
}

// On the real clock, ticks ignore setting the time, time-outs end in real time and a wait
// without limit ends when another thread signals. A machine clock that refuses the time still
// leaves logger time set, with a warning.
TEST(RealClock, TicksIgnoreSettingTheTimeAndWaitsEndInRealTime) {
    ASSERT_FALSE(tarvo::host::IsVirtualClock());
    const DWORD ticks = GetTickCount();
    ASSERT_TRUE(SetSystemTime(TTime(2001, 2, 3, 4, 5, 6).GetAsSystemTime()));
    EXPECT_EQ(TTime::GetCurrentTime().GetYear(), 2001);
    EXPECT_LT(GetTickCount() - ticks, 1000u);

    TEvent never(true, false, "never");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(WaitForSingleObject(never, 3), WAIT_TIMEOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(3));
    TEvent go(false, false, "go");
    TThread setter([&] { go.Set(); }, "setter");
    EXPECT_EQ(WaitForSingleObject(go, INFINITE), WAIT_OBJECT_0);

    tarvo::host::LogCapture log;
    tarvo::host::AllowMachineClockSet(true);
    // The machine's clock cannot go before 1970, so this fails without changing anything real;
    // logger time moves all the same, which is what the caller asked for.
    EXPECT_TRUE(SetSystemTime(TTime(1969, 7, 20, 20, 17, 0).GetAsSystemTime()));
    tarvo::host::AllowMachineClockSet(false);
    EXPECT_EQ(TTime::GetCurrentTime().GetYear(), 1969);
    EXPECT_EQ(log.Texts(TReportLevel::Warning).size(), 1u);
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    SetSystemTime(
        TTime::FromSecondsSince1970(std::chrono::duration_cast<std::chrono::seconds>(now).count())
            .GetAsSystemTime());
    EXPECT_LT(std::abs(TTime::GetCurrentTime().GetSecondsSince1970() -
                       std::chrono::duration_cast<std::chrono::seconds>(now).count()),
              5);
}

class SyncTest : public ::testing::Test {
  protected:
    ScopedVirtualClock clock_{kStart};
};

TEST_F(SyncTest, WaitingForSeveralObjectsPrefersTheEarliestAndTakesOnlyIt) {
    struct Row {
        const char* legend;
        bool aAuto, aSet, bAuto, bSet;
        DWORD expected;
        bool aAfter, bAfter;  // still signalled after the wait
    };
    const Row rows[] = {
        {"both auto, both set: first wins, second kept", true, true, true, true, WAIT_OBJECT_0,
         false, true},
        {"only the second set", true, false, true, true, WAIT_OBJECT_0 + 1, false, false},
        {"manual first stays set", false, true, true, true, WAIT_OBJECT_0, true, true},
        {"manual second stays set", true, false, false, true, WAIT_OBJECT_0 + 1, false, true},
        {"none set: time-out", true, false, false, false, WAIT_TIMEOUT, false, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        TEvent a(!row.aAuto, row.aSet, "a");
        TEvent b(!row.bAuto, row.bSet, "b");
        const Micros before = NowMicros();
        EXPECT_EQ(WaitForMultipleObjects({&a, &b}, 250), row.expected);
        EXPECT_EQ(NowMicros() - before, row.expected == WAIT_TIMEOUT ? 250000 : 0);
        EXPECT_EQ(a.IsSet(), row.aAfter);
        EXPECT_EQ(b.IsSet(), row.bAfter);
    }
    EXPECT_EQ(WaitForMultipleObjects(std::span<TWaitable* const>(), 10), WAIT_FAILED);
}

// The random messenger's wait: stop, reset and a free slot, with a time limit. Whichever is
// signalled 3 s into the 5 s wait releases the waiter at that instant; nothing means a time-out.
TEST_F(SyncTest, ABlockedWaiterIsReleasedByWhicheverObjectIsSignalledAtThatInstant) {
    TEvent stop(true, false, "stop"), reset(true, false, "reset");
    TSemaphore slot(0, 1, "slot");
    const std::function<void()> signal[] = {[&] { stop.Set(); }, [&] { reset.Set(); },
                                            [&] { slot.Unlock(); }};
    for (const int signalled : {1, 2, 0, -1}) {
        SCOPED_TRACE(signalled);
        stop.Reset();
        reset.Reset();
        std::atomic<DWORD> result{0};
        std::atomic<Micros> at{-1};
        const Micros start = NowMicros();
        TThread waiter(
            [&] {
                result = WaitForMultipleObjects({&stop, &reset, &slot}, 5000);
                at = NowMicros() - start;
            },
            "waiter");
        Sleep(3000);
        if (signalled >= 0)
            signal[signalled]();
        waiter.Join();
        EXPECT_EQ(result.load(), signalled < 0 ? WAIT_TIMEOUT : WAIT_OBJECT_0 + signalled);
        EXPECT_EQ(at.load(), signalled < 0 ? 5000000 : 3000000);
    }
}

// An auto-reset signal releases exactly one waiter, in the order they began waiting, or is kept
// for exactly one later wait; a manual-reset one releases them all and stays set until Reset.
TEST_F(SyncTest, AnAutoResetSignalReleasesOneWaiterInTurnAndAManualResetOneReleasesAll) {
    for (const bool manual : {false, true}) {
        SCOPED_TRACE(manual ? "manual reset" : "auto reset");
        TEvent event(manual, false, "work");
        std::mutex mutex;
        std::vector<int> order;
        std::vector<std::unique_ptr<TThread>> threads;
        for (int i = 0; i < 3; ++i) {
            threads.push_back(std::make_unique<TThread>(
                [&, i] {
                    // Staggered starts fix the order in which they begin waiting: 2, 0, 1.
                    tarvo::host::WaitUntil({}, (i + 1) % 3 + 1);
                    WaitForSingleObject(event, INFINITE);
                    std::lock_guard<std::mutex> lock(mutex);
                    order.push_back(i);
                },
                "waiter " + std::to_string(i)));
        }
        Sleep(10);
        event.Set();
        Sleep(1000);
        EXPECT_EQ(order.size(), manual ? 3u : 1u);
        EXPECT_EQ(event.IsSet(), manual);
        for (int more = 0; !manual && more < 2; ++more) {
            event.Set();
            Sleep(1000);
        }
        threads.clear();
        if (!manual) {
            EXPECT_EQ(order, (std::vector<int>{2, 0, 1}));
        }
        event.Reset();
        event.Set();
        EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
        EXPECT_EQ(WaitForSingleObject(event, 0), manual ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
    }
}

TEST_F(SyncTest, SemaphoreCountsTimesOutAndRefusesToExceedItsMaximum) {
    TSemaphore semaphore(0, 3, "pool");
    const Micros start = NowMicros();
    EXPECT_FALSE(semaphore.Lock(1500));
    EXPECT_EQ(NowMicros() - start, 1500000);

    std::atomic<int> taken{0};
    std::vector<std::unique_ptr<TThread>> threads;
    for (int i = 0; i < 3; ++i) {
        threads.push_back(std::make_unique<TThread>(
            [&] {
                if (semaphore.Lock(60000)) {
                    ++taken;
                }
            },
            "taker"));
    }
    Sleep(10);
    EXPECT_TRUE(semaphore.Unlock(2));
    Sleep(10);
    EXPECT_EQ(taken.load(), 2);
    EXPECT_FALSE(semaphore.Unlock(0));
    EXPECT_FALSE(semaphore.Unlock(4)) << "more than the maximum";
    threads.clear();
    EXPECT_EQ(taken.load(), 2) << "the third timed out";
    EXPECT_EQ(NowMicros() - start, 1500000 + 60000000);

    EXPECT_TRUE(semaphore.Unlock(3));
    EXPECT_FALSE(semaphore.Unlock(1)) << "already at the maximum";
    EXPECT_TRUE(semaphore.Lock(0) && semaphore.Lock(0) && semaphore.Lock(0));
    EXPECT_FALSE(semaphore.Lock(0));
}

TEST_F(SyncTest, AThreadHandleIsSignalledWhenTheBodyReturns) {
    TEvent finish(true, false, "finish");
    TThread worker([&] { WaitForSingleObject(finish, 10000); }, "worker");
    EXPECT_EQ(worker.Name(), "worker");
    EXPECT_FALSE(worker.Join(1000));
    EXPECT_EQ(NowMicros(), 1000000);
    TEvent never(true, false, "never");
    EXPECT_EQ(WaitForMultipleObjects({&never, &worker}, INFINITE), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(NowMicros(), 10000000) << "the worker's own time-out ended it";
    EXPECT_TRUE(worker.Join(0)) << "stays signalled";
}

}  // namespace
