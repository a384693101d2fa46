#include "sim/model/self_timed_schedule.h"

#include "sim/model/calendar.h"

namespace tarvo::sim {

bool HasSchedule(const SelfTimedConfig& config) {
    return config.intervalSeconds > 0 && config.windowSeconds > 0 &&
           config.windowSeconds <= config.intervalSeconds;
}

Window WindowAt(const SelfTimedConfig& config, std::int64_t index) {
    const std::int64_t slotMs = (config.firstSeconds + index * config.intervalSeconds) * 1000;
    const std::int64_t lead = config.centred ? config.windowSeconds / 2 : 0;
    const std::int64_t openMs = slotMs - lead * 1000;
    return Window{index, openMs, openMs + config.windowSeconds * 1000};
}

std::optional<Window> WindowClosingAfter(const SelfTimedConfig& config, std::int64_t deviceMs) {
    if (!HasSchedule(config)) {
        return std::nullopt;
    }
    // Close of window k = close of window 0 + k * I; the first k with a close after deviceMs.
    const std::int64_t firstClose = WindowAt(config, 0).closeMs;
    const std::int64_t periodMs = config.intervalSeconds * 1000;
    const std::int64_t index = FloorDiv(deviceMs - firstClose, periodMs) + 1;
    return WindowAt(config, index);
}

}  // namespace tarvo::sim
