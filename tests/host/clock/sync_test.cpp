// Events, semaphores, locks and thread handles, all on the virtual clock.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "host/clock/clock.h"
#include "platform/clock.h"
#include "platform/sync.h"

namespace {

using tarvo::host::Micros;
using tarvo::host::NowMicros;
using tarvo::host::ScopedVirtualClock;

const TTime kStart(2024, 6, 1, 0, 0, 0);

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

TEST_F(SyncTest, ASingleLockHoldsTheSemaphoreForItsScope) {
    TSemaphore lock;  // binary, free
    {
        TSingleLock held(lock, true);
        TThread other([&] { EXPECT_FALSE(TSingleLock(lock).Lock(200)); }, "other");
        other.Join();
        EXPECT_EQ(NowMicros(), 200000);
        EXPECT_TRUE(held.Unlock());
        EXPECT_FALSE(held.Unlock()) << "not held any more";
        EXPECT_TRUE(held.Lock());
    }
    EXPECT_TRUE(lock.Lock(0)) << "released by the destructor";
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
