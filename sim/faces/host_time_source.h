// The host's process clock as the transmitter's time source: real or virtual, whichever the
// process runs on. A face that replays past instants pins the source to each in turn.
#pragma once

#include <optional>

#include "sim/model/time_source.h"

namespace tarvo::sim {

class HostTimeSource : public TimeSource {
  public:
    Micros MonotonicMicros() const override;
    // While pinned, the logger time of the pinned instant: the logger's clock has not been set
    // since (the face catches up before every set).
    std::int64_t LoggerMs() const override;

    // Until Unpin, time reads as the clock time `at` (not later than now).
    void Pin(Micros at) { pinned_ = at; }
    void Unpin() { pinned_.reset(); }

  private:
    std::optional<Micros> pinned_;
};

}  // namespace tarvo::sim
