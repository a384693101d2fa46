#include "sim/faces/host_time_source.h"

#include "host/clock/clock.h"
#include "platform/time.h"

namespace tarvo::sim {

Micros HostTimeSource::MonotonicMicros() const {
    return host::NowMicros();
}

std::int64_t HostTimeSource::LoggerMs() const {
    return TTime::GetCurrentTime().GetMillisecondsSince1970();
}

}  // namespace tarvo::sim
