#include "host/serial/internal/read_timeouts.h"

namespace tarvo::host {

namespace {

constexpr DWORD kReturnAtOnce = 0xFFFFFFFFu;

Micros FromMillis(std::uint64_t ms) {
    return static_cast<Micros>(ms) * 1000;
}

}  // namespace

std::size_t ReceiveWithTimeouts(ByteSource& source, BYTE* data, std::size_t count,
                                const COMMTIMEOUTS& timeouts) {
    const bool hasTotal =
        timeouts.ReadTotalTimeoutMultiplier != 0 || timeouts.ReadTotalTimeoutConstant != 0;
    const bool atOnce = timeouts.ReadIntervalTimeout == kReturnAtOnce && !hasTotal;
    const bool hasInterval = timeouts.ReadIntervalTimeout != 0 && !atOnce;

    const Micros start = NowMicros();
    const Micros totalDeadline =
        hasTotal ? start + FromMillis(std::uint64_t{timeouts.ReadTotalTimeoutMultiplier} * count +
                                      timeouts.ReadTotalTimeoutConstant)
                 : -1;
    Micros lastByte = start;

    std::size_t got = 0;
    while (got < count) {
        const std::size_t taken = source.Take(data + got, count - got);
        if (taken > 0) {
            got += taken;
            // The module reads byte by byte: a read that is complete needs no clock.
            if (got < count)
                lastByte = NowMicros();
            continue;
        }
        if (atOnce)
            break;
        Micros deadline = totalDeadline;
        if (hasInterval) {
            const Micros byteDeadline = lastByte + FromMillis(timeouts.ReadIntervalTimeout);
            deadline = EarlierDeadline(deadline, byteDeadline);
        }
        if (deadline >= 0 && NowMicros() >= deadline)
            break;
        source.WaitForData(deadline);
    }
    return got;
}

}  // namespace tarvo::host
