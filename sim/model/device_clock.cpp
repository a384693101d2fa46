#include "sim/model/device_clock.h"

#include <algorithm>
#include <cmath>

#include "sim/model/calendar.h"

namespace tarvo::sim {

DeviceClock::DeviceClock(const TimeSource& time, std::int64_t offsetMs, double driftPpm, bool valid)
    : time_(time), valid_(valid) {
    Anchor(time_.LoggerMs() + offsetMs);
    SetDrift(driftPpm);
}

std::int64_t DeviceClock::NowMs() const {
    return AtMs(time_.MonotonicMicros());
}

std::int64_t DeviceClock::AtMs(Micros mono) const {
    const Micros elapsed = mono - anchorMono_;
    if (driftPpm_ == 0 && elapsed > -kExactSpan && elapsed < kExactSpan) {
        // The same reading as below, without the floating point the device asks for at every
        // byte: at a rate of exactly 1 the quotient is exact in a double over this span.
        return anchorMs_ + FloorDiv(elapsed, 1000);
    }
    const double elapsedMs = static_cast<double>(mono - anchorMono_) * Rate() / 1000.0;
    return anchorMs_ + static_cast<std::int64_t>(std::floor(elapsedMs));
}

Micros DeviceClock::MonotonicAt(std::int64_t deviceMs) const {
    const std::int64_t elapsedMs = deviceMs - anchorMs_;
    if (driftPpm_ == 0 && elapsedMs > -kExactSpan / 1000 && elapsedMs < kExactSpan / 1000) {
        return anchorMono_ + elapsedMs * 1000;
    }
    const double elapsedMicros = static_cast<double>(deviceMs - anchorMs_) * 1000.0 / Rate();
    Micros mono = anchorMono_ + static_cast<Micros>(std::ceil(elapsedMicros));
    // Rounding of the rate may leave the reading a hair short; step to the first true instant.
    while (AtMs(mono) < deviceMs) {
        ++mono;
    }
    for (int step = 0; step < 4 && AtMs(mono - 1) >= deviceMs; ++step) {
        --mono;
    }
    return mono;
}

void DeviceClock::SetOffset(std::int64_t offsetMs) {
    Anchor(time_.LoggerMs() + offsetMs);
}

void DeviceClock::SetTime(std::int64_t deviceMs) {
    Anchor(deviceMs);
}

void DeviceClock::SetDrift(double ppm) {
    const std::int64_t now = NowMs();
    // A clock that stands still or runs backwards is no clock; keep the rate well above zero.
    driftPpm_ = std::clamp(ppm, -500'000.0, 500'000.0);
    Anchor(now);
}

void DeviceClock::Anchor(std::int64_t deviceMs) {
    anchorMs_ = deviceMs;
    anchorMono_ = time_.MonotonicMicros();
}

}  // namespace tarvo::sim
