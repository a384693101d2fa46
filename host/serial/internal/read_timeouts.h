// Reads under COMMTIMEOUTS, shared by every transport (host side, internal).
#pragma once

#include <cstddef>

#include "host/clock/clock.h"
#include "platform/serial.h"

namespace tarvo::host {

// What a transport offers a timed read.
class ByteSource {
  public:
    virtual ~ByteSource() = default;
    // Takes up to `count` bytes that have already arrived, without waiting.
    virtual std::size_t Take(BYTE* data, std::size_t count) = 0;
    // Waits in clock time until data may have arrived or until `deadline` (NowMicros time;
    // negative: no limit). May return early; the caller looks again.
    virtual void WaitForData(Micros deadline) = 0;
};

// Reads up to `count` bytes: each byte, the first included, must come within
// ReadIntervalTimeout of the one before (or of the call) when that is non-zero, and the whole
// read ends at Multiplier * count + Constant when either is non-zero. With no limit at all the
// read waits for all `count` bytes. An interval of MAXDWORD with no total limit returns at once
// with what has arrived, as on the platform.
std::size_t ReceiveWithTimeouts(ByteSource& source, BYTE* data, std::size_t count,
                                const COMMTIMEOUTS& timeouts);

}  // namespace tarvo::host
