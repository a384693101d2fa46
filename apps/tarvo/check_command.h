// `tarvo check`: a rehearsal of a station before the field trip. Loads each setup and its
// plug-ins as run does, records nothing and talks to no transmitter, and says what recording
// start would refuse or warn about (the module's own verdicts and texts), which values lie
// outside the ranges the property pages enforce, whether the widest message fits its window,
// and the station's day: the self-timed windows and each random group's cadence.
#pragma once

#include <cstdio>

#include "apps/tarvo/options.h"

namespace tarvo::runner {

// 0 when every setup is clean; 1 when one holds a problem (recording start would refuse it, a
// value is out of range, a message can overflow its window) or could not be loaded.
int ExecuteCheck(const CheckOptions& options, std::FILE* out, std::FILE* err);

}  // namespace tarvo::runner
