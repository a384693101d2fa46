// The transmitter's own clock. It runs on monotonic time, so setting the logger's clock does not
// move it (which is what lets a test see the logger synchronise to it), at a rate off by a drift
// in parts per million, and it may say that its time is not valid.
#pragma once

#include <cstdint>

#include "sim/model/time_source.h"

namespace tarvo::sim {

class DeviceClock {
  public:
    // Starts the clock at the logger's time plus `offsetMs`.
    DeviceClock(const TimeSource& time, std::int64_t offsetMs = 0, double driftPpm = 0,
                bool valid = true);

    // The device's time now, in ms since 1970; it keeps counting while not valid.
    std::int64_t NowMs() const;
    // The device's time at monotonic instant `mono`.
    std::int64_t AtMs(Micros mono) const;
    // The first monotonic instant at which the device's time reaches `deviceMs`.
    Micros MonotonicAt(std::int64_t deviceMs) const;

    // From now on the device reads the logger's time plus `offsetMs` (drift continues from here).
    void SetOffset(std::int64_t offsetMs);
    // Sets the device's time outright.
    void SetTime(std::int64_t deviceMs);
    // Positive: the device runs fast. Takes effect from now; the current reading is kept.
    void SetDrift(double ppm);
    double Drift() const { return driftPpm_; }
    void SetValid(bool valid) { valid_ = valid; }
    bool Valid() const { return valid_; }

  private:
    // Monotonic spans (about 142 years) over which a reading at a rate of exactly 1 is computed
    // in whole numbers.
    static constexpr Micros kExactSpan = Micros{1} << 52;

    void Anchor(std::int64_t deviceMs);
    double Rate() const { return 1.0 + driftPpm_ * 1e-6; }

    const TimeSource& time_;
    std::int64_t anchorMs_ = 0;
    Micros anchorMono_ = 0;
    double driftPpm_ = 0;
    bool valid_ = true;
};

}  // namespace tarvo::sim
