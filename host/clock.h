// The process clock behind every platform wait (host side; the module never sees this).
//
// One clock serves the process at a time. The real clock takes monotonic time from the steady
// clock and wall time from the system clock plus an offset. The virtual clock stands still while
// any participating thread can run and jumps to the earliest deadline once every participant
// (each platform TThread from construction to the end of its body, and the driving thread that
// installed the clock) is blocked in a platform wait; waiters due at the same instant wake in a
// fixed order (deadline, then the order in which they began waiting). If every participant is
// blocked with no deadline, the clock reports each thread and what it waits on and aborts.
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

// Monotonic clock time in microseconds since the clock was installed.
Micros NowMicros();
bool IsVirtualClock();

// Waits for the first of `objects` (argument order wins ties) until the monotonic deadline
// `deadline` (microseconds, as NowMicros), or without limit when `deadline` is negative.
// Returns WAIT_OBJECT_0 + index or WAIT_TIMEOUT. `objects` may be empty: a pure timed sleep.
DWORD WaitUntil(std::span<TWaitable* const> objects, Micros deadline);

// Installs a virtual clock for its lifetime, starting at logger time `start`; the constructing
// thread becomes the driving thread. Only one clock may be installed at a time; without one the
// process runs on the real clock. No platform thread may outlive it.
class ScopedVirtualClock {
public:
    explicit ScopedVirtualClock(TTime start);
    ~ScopedVirtualClock();
    ScopedVirtualClock(const ScopedVirtualClock&) = delete;
    ScopedVirtualClock& operator=(const ScopedVirtualClock&) = delete;
    // How many times virtual time has jumped (for benchmarks and diagnostics).
    std::uint64_t Jumps() const;
};

// Lets SetSystemTime change the machine's own clock too (real clock only; off by default).
void AllowMachineClockSet(bool allow);

// Time-change subscribers: called after SetSystemTime or BroadcastTimeChange, outside any lock,
// on the thread that set the time. Returns an id for Unsubscribe.
int SubscribeTimeChange(std::function<void()> callback);
void UnsubscribeTimeChange(int id);

}  // namespace tarvo::host
