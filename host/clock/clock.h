// The process clock behind every platform wait (host side; the module never sees this).
//
// One clock serves the process at a time. The real clock takes monotonic time from the steady
// clock and wall time from the system clock plus an offset. The virtual clock stands still while
// any participating thread can run and jumps to the earliest deadline once every participant
// (each platform TThread from construction to the end of its body, and the driving thread that
// installed the clock) is blocked in a platform wait; waiters due at the same instant wake in a
// fixed order (deadline, then the order in which they began waiting). If every participant is
// blocked with no deadline, the clock reports each thread and what it waits on and aborts.
//
// Under the virtual clock:
// - Ties are broken one waiter at a time: of the waiters due at the same instant only the first
//   is woken, and the next only once every participant is blocked again.
// - A thread released by a signal (event Set, semaphore Unlock, thread end, clock set) counts as
//   runnable from the moment of the signal, so time never moves past it before it runs.
// - A participant blocked anywhere but a platform wait (a std::mutex, a read on a pipe) still
//   counts as running and so holds time still.
// - Any thread may signal, and any thread may make a wait that ends at once (the object is
//   signalled or the time limit has passed). A thread that is not a participant but would block
//   in a platform wait is a programming error: the clock says so on standard error and aborts.
//   (Counting it in silently would hide the race: time moves freely until its first wait.)
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "platform/sync.h"
#include "platform/time.h"

namespace tarvo::host {

using Micros = std::int64_t;

// Monotonic clock time in microseconds since the clock was installed (the real clock: since the
// first use of any clock function).
Micros NowMicros();
bool IsVirtualClock();

// The earlier of two deadlines, where a negative one is none (as WaitUntil takes them).
constexpr Micros EarlierDeadline(Micros a, Micros b) {
    if (a < 0)
        return b;
    if (b < 0)
        return a;
    return a < b ? a : b;
}

// Waits for the first of `objects` (argument order wins ties) until the monotonic deadline
// `deadline` (microseconds, as NowMicros), or without limit when `deadline` is negative.
// Returns WAIT_OBJECT_0 + index or WAIT_TIMEOUT. `objects` may be empty: a pure timed sleep.
DWORD WaitUntil(std::span<TWaitable* const> objects, Micros deadline);

// Installs a virtual clock for its lifetime, starting at logger time `start`; the constructing
// thread becomes the driving thread. Only one clock may be installed at a time; without one the
// process runs on the real clock. No platform thread may outlive it. Installing it while platform
// threads run or a thread is blocked in a wait, installing a second one, or destroying it while
// a platform thread's body has not returned aborts with a message.
class ScopedVirtualClock {
  public:
    explicit ScopedVirtualClock(TTime start);
    ~ScopedVirtualClock();
    ScopedVirtualClock(const ScopedVirtualClock&) = delete;
    ScopedVirtualClock& operator=(const ScopedVirtualClock&) = delete;
    // How many times virtual time has jumped (for benchmarks and diagnostics).
    std::uint64_t Jumps() const;
};

// Lets SetSystemTime change the machine's own clock too (real clock only; off by default). When
// the machine refuses (clock_settime fails, typically for want of privilege), logger time is set
// all the same and a warning is logged; SetSystemTime still returns true, since logger time moved.
void AllowMachineClockSet(bool allow);

// Time-change subscribers: called after SetSystemTime or BroadcastTimeChange, outside any lock,
// on the thread that set the time. Returns an id for Unsubscribe, which does not wait for a call
// already under way.
int SubscribeTimeChange(std::function<void()> callback);
void UnsubscribeTimeChange(int id);

// Called by SetSystemTime before logger time moves, outside any lock, on the setting thread: a
// party that acts lazily (such as the in-process simulator) catches up there on what happened
// under the old time. Ids share Unsubscribe's rule above.
int SubscribeBeforeTimeSet(std::function<void()> callback);
void UnsubscribeBeforeTimeSet(int id);

}  // namespace tarvo::host
