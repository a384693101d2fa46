// Where the transmitter model takes its time from. The model itself never reads a clock: a face
// hands it one of these, so the same model runs on the host's clock (real or virtual) or on a
// hand-moved clock in a unit test.
#pragma once

#include <cstdint>

namespace tarvo::sim {

// Microseconds of monotonic time, as the host's NowMicros.
using Micros = std::int64_t;

class TimeSource {
  public:
    virtual ~TimeSource() = default;
    // Monotonic time: never jumps when the logger's clock is set.
    virtual Micros MonotonicMicros() const = 0;
    // The logger's wall time in milliseconds since 1970-01-01 00:00:00; moves when it is set.
    virtual std::int64_t LoggerMs() const = 0;
};

// A clock moved by hand. Setting the logger time does not move the monotonic time, as on the
// logger.
class ManualTimeSource : public TimeSource {
  public:
    explicit ManualTimeSource(std::int64_t loggerMs = 0) : loggerBaseMs_(loggerMs) {}

    Micros MonotonicMicros() const override { return mono_; }
    std::int64_t LoggerMs() const override { return loggerBaseMs_ + mono_ / 1000; }

    void AdvanceMicros(Micros micros) { mono_ += micros; }
    void AdvanceMs(std::int64_t ms) { mono_ += ms * 1000; }
    void SetLoggerMs(std::int64_t ms) { loggerBaseMs_ = ms - mono_ / 1000; }

  private:
    std::int64_t loggerBaseMs_;
    Micros mono_ = 0;
};

}  // namespace tarvo::sim
