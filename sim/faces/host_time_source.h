// The host's process clock as the transmitter's time source: real or virtual, whichever the
// process runs on.
#pragma once

#include "sim/model/time_source.h"

namespace tarvo::sim {

class HostTimeSource : public TimeSource {
  public:
    Micros MonotonicMicros() const override;
    std::int64_t LoggerMs() const override;
};

}  // namespace tarvo::sim
