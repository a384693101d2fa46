#include "sim/faces/host_time_source.h"

#include "host/clock/clock.h"
#include "platform/time.h"

namespace tarvo::sim {

namespace {

// Whole milliseconds, rounded down, as the logger's clock counts them.
std::int64_t FloorMs(Micros micros) {
    return micros >= 0 ? micros / 1000 : -((-micros + 999) / 1000);
}

}  // namespace

Micros HostTimeSource::MonotonicMicros() const {
    return pinned_ ? *pinned_ : host::NowMicros();
}

std::int64_t HostTimeSource::LoggerMs() const {
    const std::int64_t now = TTime::GetCurrentTime().GetMillisecondsSince1970();
    if (!pinned_) {
        return now;
    }
    return now - (FloorMs(host::NowMicros()) - FloorMs(*pinned_));
}

}  // namespace tarvo::sim
