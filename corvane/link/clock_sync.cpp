// Keeping the logger's clock on the transmitter's.
#include <cstdint>

#include "corvane/link/command_codes.h"
#include "corvane/link/session_transmitter.h"
#include "platform/clock.h"
#include "platform/report.h"

namespace {

// 35's reply: seconds since 1970 (4 bytes), the validity byte, one spare byte.
constexpr WORD kClockReplyLength = 6;
constexpr std::size_t kClockValidOffset = 4;

}  // namespace

namespace corvane {

bool SessionTransmitter::SynchronizeClock(ExchangeWait wait) {
    TReport::Debug("SynchronizeClock: Attempting to sync time.");
    CPacket reply;
    if (!Exchange(CPacket(cmd::kReadClock), reply, wait)) {
        return false;
    }
    if (reply.GetLength() != kClockReplyLength) {
        TReport::Warning("SynchronizeClock: Invalid time packet.");
        return true;
    }
    BYTE valid = 0;
    DWORD seconds = 0;
    reply.ReadByte(kClockValidOffset, valid);
    reply.ReadDword(0, seconds);
    if (valid == 0) {
        return true;
    }
    const TTime corvaneTime = TTime::FromSecondsSince1970(seconds);
    // The transmitter counts whole seconds, so the comparison is in whole seconds too, and a
    // second either way is agreement: setting the clock for less would make it jitter at every
    // synchronisation.
    const std::int64_t drift =
        corvaneTime.GetSecondsSince1970() - TTime::GetCurrentTime().GetSecondsSince1970();
    if (drift > 1 || drift < -1) {
        TReport::Status("Corvane: Setting system time to %02d/%02d/%04d %02d:%02d:%02d.",
                        corvaneTime.GetMonth(), corvaneTime.GetDay(), corvaneTime.GetYear(),
                        corvaneTime.GetHour(), corvaneTime.GetMinute(), corvaneTime.GetSecond());
        // Setting the clock is itself the platform's time-change broadcast: its subscribers hear
        // of it once.
        if (!SetSystemTime(corvaneTime.GetAsSystemTime())) {
            TReport::Warning("SynchronizeClock: Failed setting the system time.");
        }
    }
    timeObtained_.store(true);
    return true;
}

}  // namespace corvane
