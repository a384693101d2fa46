// The device clock's readings around whole milliseconds, on both sides of the instant it was set,
// with and without drift: a reading rounds down, and the instant a time is first reached is the
// exact inverse of that.
#include <gtest/gtest.h>

#include "sim/model/device_clock.h"

using namespace tarvo::sim;

namespace {

// Set at monotonic 10 s, reading 2026-03-01 00:00:00.000.
constexpr Micros kSetAt = 10'000'000;
constexpr std::int64_t kSetTo = 1'772'323'200'000;

struct Reading {
    const char* name;
    double driftPpm;
    Micros afterSet;         // monotonic time since the clock was set
    std::int64_t elapsedMs;  // what the device's time has moved by then
};

class DeviceClockReading : public testing::TestWithParam<Reading> {};

TEST_P(DeviceClockReading, RoundsDownToTheMillisecondItHasReached) {
    ManualTimeSource time;
    time.AdvanceMicros(kSetAt);
    DeviceClock clock(time);
    clock.SetDrift(GetParam().driftPpm);
    clock.SetTime(kSetTo);
    EXPECT_EQ(clock.AtMs(kSetAt + GetParam().afterSet), kSetTo + GetParam().elapsedMs);
}

TEST_P(DeviceClockReading, ReachesEachMillisecondAtTheFirstInstantThatReadsIt) {
    ManualTimeSource time;
    time.AdvanceMicros(kSetAt);
    DeviceClock clock(time);
    clock.SetDrift(GetParam().driftPpm);
    clock.SetTime(kSetTo);
    const Micros reached = clock.MonotonicAt(kSetTo + GetParam().elapsedMs);
    EXPECT_EQ(clock.AtMs(reached), kSetTo + GetParam().elapsedMs);
    EXPECT_LT(clock.AtMs(reached - 1), kSetTo + GetParam().elapsedMs);
}

INSTANTIATE_TEST_SUITE_P(
    AroundWholeMilliseconds, DeviceClockReading,
    testing::Values(Reading{"AtTheSetting", 0, 0, 0}, Reading{"AHairLater", 0, 999, 0},
                    Reading{"OneMillisecondLater", 0, 1000, 1}, Reading{"AHairEarlier", 0, -1, -1},
                    Reading{"OneMillisecondEarlier", 0, -1000, -1},
                    Reading{"JustOverOneMillisecondEarlier", 0, -1001, -2},
                    Reading{"AYearLater", 0, 31'536'000'000'000, 31'536'000'000},
                    Reading{"AYearLaterAHairEarlier", 0, 31'535'999'999'999, 31'535'999'999},
                    Reading{"FastByAThousandPpm", 1000, 1'000'500, 1001},
                    Reading{"SlowByAThousandPpm", -1000, 1'000'500, 999},
                    Reading{"FastByAThousandPpmBeforeTheSetting", 1000, -1'000'500, -1002}),
    [](const testing::TestParamInfo<Reading>& info) { return std::string(info.param.name); });

}  // namespace
