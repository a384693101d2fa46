// The widest NOS message of a station, counted from the module's own plan of its format table
// (the lines it keeps, their flags, samples and redundant blocks) so that the table's rules are
// the formatter's. Every NOS field has a fixed number of characters whatever the reading, so
// the widest message is the only one: what varies is what the window makes the formatter drop.
#pragma once

#include <string>
#include <vector>

#include "apps/tarvo/station_blocks.h"
#include "corvane/formats/nos_plan.h"

namespace tarvo::runner {

struct NosWidest {
    int built = 0;      // header, time tag and every block with its redundant blocks
    int sent = 0;       // after the formatter's drops
    int available = 0;  // the characters the window holds; 0: no limit
    std::vector<std::string> droppedRedundant;  // "'>' 1 of table line 1"
    std::vector<std::string> droppedBlocks;     // "'<' of table line 5"
};

// Reads the NOS format table at `tablePath` (a host path) and makes the module's plan of it for
// the SelfTimed blocks of `blocks`; the module logs each line it leaves out. False when the
// formatter would make no message (no table, an empty one, one of no known type).
bool PlanNosTable(const std::string& tablePath, const std::vector<StationBlock>& blocks,
                  corvane::NosPlan& plan);

// What the formatter makes of `plan` in a window holding `available` characters (0: no limit):
// redundant blocks are dropped from the end first, then the last blocks.
NosWidest WidestNosMessage(const corvane::NosPlan& plan, int available);

}  // namespace tarvo::runner
