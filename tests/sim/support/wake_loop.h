// Time moved on the way a face moves it: stopping at every instant the transmitter asked to be
// woken. Shared by the tests and the fuzz target, so it needs nothing but the model.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "sim/model/time_source.h"
#include "sim/model/transmitter.h"

namespace simtest {

// Lets `ms` pass, acting at each wake and handing what the device puts on the line to
// `out(bytes)`. A wake that never comes due would be a busy loop in a face: that aborts.
template <typename Out>
void AdvanceDevice(tarvo::sim::ManualTimeSource& time, tarvo::sim::Transmitter& device,
                   std::int64_t ms, Out&& out) {
    const tarvo::sim::Micros end = time.MonotonicMicros() + ms * 1000;
    for (int guard = 0;; ++guard) {
        if (guard > 1'000'000) {
            std::abort();
        }
        device.Poll();
        out(device.TakeDueOutput());
        const auto wake = device.NextWake();
        const tarvo::sim::Micros now = time.MonotonicMicros();
        if (now >= end && (!wake || *wake > end)) {
            return;
        }
        time.AdvanceMicros(
            std::max<tarvo::sim::Micros>(std::min(wake.value_or(end), end) - now, 0));
    }
}

}  // namespace simtest
