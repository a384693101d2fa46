// A station's day as its settings plan it: the self-timed windows with their widest message,
// and each random group's cadence with what a day of continuous alarm costs.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "apps/tarvo/check_report.h"
#include "apps/tarvo/station_blocks.h"

namespace tarvo::runner {

// `settings` is the module's section as the module writes it back.
SelfTimedPlan PlanSelfTimed(const SectionElements& settings,
                            const std::vector<StationBlock>& blocks);
RandomPlan PlanRandom(const SectionElements& settings, const std::vector<StationBlock>& blocks);

// Transmissions of a day of continuous alarm: `burstCount` at the burst rate (the first soon
// after the alarm), then at the alarm rate for the rest of the day.
int AlarmDayTransmissions(long burstCount, long burstSeconds, long alarmSeconds);

// How long before its window closes a self-timed message is loaded.
inline constexpr long kLoadBeforeCloseSeconds = 20;

}  // namespace tarvo::runner
