// The wait machinery behind every platform wait: a tiny kernel with one mutex that guards all
// wait-object state, the list of blocked waiters and the process clock. Internal to host/.
//
// A thread that waits registers a Waiter with each object and blocks on its own condition
// variable. Signalling an object releases waiters under the kernel mutex (so the clock counts
// them runnable at once) and wakes them only after the mutex is released.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "host/clock/clock.h"
#include "platform/sync.h"

namespace tarvo::host::kernel {

struct Waiter;

// What the kernel knows of one thread that has waited or signalled.
struct ThreadCtx {
    std::condition_variable cv;
    std::string name;           // the TThread's name; empty for other threads
    bool participant = false;   // counted by the virtual clock
    Waiter* waiting = nullptr;  // the wait it is blocked in, if any
};

// The calling thread's record, made on first use.
std::shared_ptr<ThreadCtx> CurrentThread();
// The same, not shared: for a look within the call (every wait makes one, and a shared copy
// costs two atomic counts).
ThreadCtx& CurrentThreadRecord();
// Makes `ctx` the calling thread's record (a TThread's body adopts the record made for it).
void AdoptThread(std::shared_ptr<ThreadCtx> ctx);

inline constexpr DWORD kPending = 0xFFFFFFFEu;

// One blocked call of WaitUntil; lives on the waiting thread's stack.
struct Waiter {
    std::span<TWaitable* const> objects;
    Micros deadline;  // negative: none
    std::uint64_t seq;
    std::shared_ptr<ThreadCtx> thread;
    DWORD result = kPending;
};

class KernelLock;

// Each process clock decides what "now" is and how a waiter blocks.
class Clock {
  public:
    virtual ~Clock() = default;
    virtual bool IsVirtual() const = 0;
    // Monotonic microseconds; called with the kernel mutex held.
    virtual Micros Now() const = 0;
    // Logger wall time in milliseconds since 1970.
    virtual std::int64_t WallMs() const = 0;
    // Moves logger wall time to `ms`; with `setMachine` also the machine's clock where the clock
    // can. Returns 0, or the errno of setting the machine's clock (logger time moves regardless).
    virtual int SetWallMs(std::int64_t ms, bool setMachine) = 0;
    // Blocks the calling thread until `waiter` is released; returns with the kernel mutex held.
    virtual void Block(Waiter& waiter, KernelLock& lock) = 0;
    // `waiter` was just released (under the kernel mutex).
    virtual void OnReleased(Waiter& waiter) = 0;
    // A platform thread starts or its body has returned (under the kernel mutex).
    virtual void OnThreadStart(ThreadCtx& thread) = 0;
    virtual void OnThreadEnd(ThreadCtx& thread, KernelLock& lock) = 0;
    // Called by a new platform thread before its body runs; returns when it may run.
    virtual void AwaitTurn(ThreadCtx& thread, KernelLock& lock) = 0;
    // A wait that did not block: lets the other threads that can run have their turn first, so
    // that a thread looping through waits that are already satisfied cannot starve them.
    virtual void Yield(ThreadCtx& thread, KernelLock& lock) = 0;
    // A wait until `deadline` (later than now) that the clock may end at once, moving time there
    // and returning true, when blocking would come to the same: nobody else can run and no other
    // timed waiter is due as early (`earliest`, null when none). Under the kernel mutex.
    virtual bool EndAtOnce(ThreadCtx& /*thread*/, Micros /*deadline*/, const Waiter* /*earliest*/) {
        return false;
    }
};

struct ByDeadline {
    bool operator()(const Waiter* a, const Waiter* b) const {
        return a->deadline != b->deadline ? a->deadline < b->deadline : a->seq < b->seq;
    }
};

class Kernel {
  public:
    static Kernel& Instance();

    std::mutex mutex;
    Clock* clock = nullptr;  // the real clock unless a virtual one is installed
    // The same, for reading the time without the lock: a clock's Now is safe from any thread.
    std::atomic<Clock*> lockFreeClock{nullptr};
    std::unique_ptr<Clock> realClock;
    std::unique_ptr<Clock> virtualClock;

    // Waits as WaitUntil does; the lock is held throughout except while blocked.
    DWORD Wait(KernelLock& lock, std::span<TWaitable* const> objects, Micros deadline);
    // A wait that did not block gives the other threads their turn first (virtual clock).
    void YieldIfVirtual(KernelLock& lock);
    // Releases waiters of `state` for as long as it stays signalled.
    void Signal(KernelLock& lock, TWaitState& state);
    // Takes `waiter` out of every list and hands it `result`.
    void Release(KernelLock& lock, Waiter& waiter, DWORD result);
    // The blocked waiter with the earliest (deadline, start of wait); null when none has one.
    Waiter* EarliestTimed() const;
    std::size_t BlockedCount() const { return blocked_; }

    // Platform threads whose bodies have not yet returned.
    std::size_t liveThreads = 0;
    // Every TRTCChange handle, to be signalled when the clock is set.
    std::vector<TWaitState*> clockChangeHandles;
    bool allowMachineClockSet = false;
    int nextSubscriberId = 1;
    std::vector<std::pair<int, std::function<void()>>> subscribers;
    std::vector<std::pair<int, std::function<void()>>> beforeSetSubscribers;

  private:
    std::uint64_t nextSeq_ = 0;
    std::size_t blocked_ = 0;
    std::set<Waiter*, ByDeadline> timed_;
};

// Holds the kernel mutex for a scope and wakes the threads released meanwhile once it is gone.
class KernelLock {
  public:
    KernelLock();
    ~KernelLock();
    KernelLock(const KernelLock&) = delete;
    KernelLock& operator=(const KernelLock&) = delete;

    Kernel& kernel() const { return kernel_; }
    std::unique_lock<std::mutex>& lock() { return lock_; }
    // Notes a released thread to wake after unlocking.
    void Wake(std::shared_ptr<ThreadCtx> thread);
    // Wakes the noted threads now, dropping the mutex meanwhile (before this thread blocks).
    void WakeNow();

  private:
    Kernel& kernel_;
    std::unique_lock<std::mutex> lock_;
    std::vector<std::shared_ptr<ThreadCtx>> wake_;
};

// How a wait object is described in the deadlock report ("stop", "join worker", ...).
std::string Describe(const TWaitState& state);
// What a blocked waiter waits for, such as "stop or alarm" or "sleep".
std::string Describe(const Waiter& waiter);

}  // namespace tarvo::host::kernel

// The state behind a wait handle; guarded by the kernel mutex.
struct TWaitState {
    enum class Kind { Event, Semaphore, Thread, ClockChange };

    TWaitState(Kind kind, std::string name, long count, long maxCount, bool manualReset)
        : kind(kind),
          name(std::move(name)),
          count(count),
          maxCount(maxCount),
          manualReset(manualReset) {}

    const Kind kind;
    const std::string name;
    long count;  // signalled while above zero (events and handles use 0 or 1)
    const long maxCount;
    const bool manualReset;  // a successful wait takes nothing (events, ended threads, handles)
    // Blocked waiters in the order they began waiting.
    std::vector<tarvo::host::kernel::Waiter*> waiters;
};
