// Where the self-timed windows lie, in the device's time.
//
// Slot k (any integer) is at F + k*I seconds after 1970-01-01 00:00:00, F being the first
// transmission time (206) and I the interval (204): the schedule runs on without restarting at
// midnight, so for an interval that divides a day it is F, F+I, ... every day, and for one that
// does not it simply carries on across midnight. A window of W seconds (212) starts at its slot,
// or, when centred (214), starts floor(W/2) seconds before it so that the slot is its middle. A
// schedule exists only when I > 0, W > 0 and W <= I.
#pragma once

#include <cstdint>
#include <optional>

#include "sim/model/config_store.h"

namespace tarvo::sim {

struct Window {
    std::int64_t index = 0;   // k
    std::int64_t openMs = 0;  // device time, ms since 1970
    std::int64_t closeMs = 0;

    bool operator==(const Window&) const = default;
};

bool HasSchedule(const SelfTimedConfig& config);
// Window k of the schedule (which must exist).
Window WindowAt(const SelfTimedConfig& config, std::int64_t index);
// The window that is open at `deviceMs` or, if none is, the next one: the first window whose
// close lies after `deviceMs`. None when there is no schedule.
std::optional<Window> WindowClosingAfter(const SelfTimedConfig& config, std::int64_t deviceMs);

}  // namespace tarvo::sim
