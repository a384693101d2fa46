// The ranges the module's property pages and dialogs enforce, checked on a setup file that may
// never have been through them: a value read from the file is stored as it stands, so a
// channel of 1000 or a rate of "1:00:00" reaches the transmitter or the scheduler unchecked.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "apps/tarvo/check_report.h"
#include "apps/tarvo/station_blocks.h"

namespace tarvo::runner {

// `settings` is the module's section as the module writes it back; `file` says where each value
// stands. Checks the common settings, and the self-timed and random settings and blocks of the
// kinds that are enabled.
void CheckRanges(const SectionElements& settings, const SectionInFile& file,
                 const std::vector<StationBlock>& blocks, std::vector<CheckProblem>& problems);

}  // namespace tarvo::runner
