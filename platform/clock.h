// The logger's clock as the module sees it. Every function here goes through the process clock,
// which the host chooses: real time, or virtual time that jumps whenever every thread waits.
#pragma once

#include "platform/time.h"
#include "platform/types.h"

// Milliseconds of monotonic time; unaffected by SetSystemTime. Wraps like the platform's.
DWORD GetTickCount();

// Blocks the calling thread for at least `ms` milliseconds of clock time.
void Sleep(DWORD ms);

// Sets the logger's wall time (never the monotonic ticks), signals every TRTCChange handle and
// notifies the time-change subscribers. It changes the machine's own clock only when the program
// was started with that explicitly allowed. Returns false for an impossible date.
bool SetSystemTime(const SYSTEMTIME& time);

// Tells the time-change subscribers that the clock was set (the platform's time-change
// broadcast). SetSystemTime already does this; the call exists for code that must repeat it.
void BroadcastTimeChange();
