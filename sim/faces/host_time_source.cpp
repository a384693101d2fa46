#include "sim/faces/host_time_source.h"

#include "host/clock/clock.h"
#include "platform/time.h"
#include "sim/model/calendar.h"

namespace tarvo::sim {

Micros HostTimeSource::MonotonicMicros() const {
    return pinned_ ? *pinned_ : host::NowMicros();
}

std::int64_t HostTimeSource::LoggerMs() const {
    const std::int64_t now = TTime::GetCurrentTime().GetMillisecondsSince1970();
    if (!pinned_) {
        return now;
    }
    // Whole milliseconds, rounded down, as the logger's clock counts them.
    return now - (FloorDiv(host::NowMicros(), 1000) - FloorDiv(*pinned_, 1000));
}

}  // namespace tarvo::sim
