// The longest message a station's setup can make: every block full, every value at its widest.
// The pseudobinary, "SHEF Fixed" and "NFDRS" fields have fixed widths; the plain value texts of
// "SHEF" and "Handar" are counted at a reading of up to kWidestIntegerDigits whole digits with a
// sign, at the digits the block shows, and a SHEF header's data offset at up to the self-timed
// rate plus the block's interval in minutes (readings on schedule). What the transmitter appends
// itself (battery voltage, position) has no public size and is not counted.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/tarvo/station_blocks.h"

namespace tarvo::runner {

inline constexpr int kWidestIntegerDigits = 5;  // readings within -99999 .. 99999

// The widest self-timed message of `format` (the module's name for it) from the SelfTimed
// blocks; none for "NOS", which its format table lays out (nos_widest.h), and an unknown name.
// "INSAT" is 25 bytes for up to 12 values of labelled blocks, else 50.
// `numVals` is the self-timed NumVals setting, `rateSeconds` the self-timed rate.
std::optional<int> WidestSelfTimedMessage(const std::wstring& format, long numVals,
                                          long rateSeconds,
                                          const std::vector<StationBlock>& blocks);

// The widest random message of `group`: its label's first three characters, the age
// character, and three characters for every value of each member (`format` 0 interleaves
// `numVals` values of each; 1 takes each block's own NumVals).
int WidestRandomMessage(long group, long format, long numVals,
                        const std::vector<StationBlock>& blocks);

}  // namespace tarvo::runner
