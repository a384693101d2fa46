// What the engine checks of the host's own blocks ("Source", "Log") when a setup is loaded,
// beyond what each property's type accepts: time texts read strictly, lists with bad entries,
// and files that one block would write over another's (or over the setup file itself).
// Blocks of other types pass unchecked.
#pragma once

#include <string>
#include <vector>

#include "platform/module.h"

namespace tarvo::host {

// The setting `name` of `block` as just set from the setup file. False with `error` (without
// the file and line) when the setup must be refused; `warning` says what is kept but is
// probably a mistake (one text for a whole list), empty when nothing is.
bool CheckHostSetting(const TModule& block, const std::wstring& name, std::string& error,
                      std::string& warning);

// One block of a loaded graph and the line of the setup file it comes from.
struct PlacedBlock {
    const TModule* block = nullptr;
    int line = 0;
};

// False with `line` and `error` (naming the other line), when a block would write the file
// `setupPath`, a file that another block reads, or a file that another block writes. Paths are
// compared as the blocks resolve them, made absolute and canonical.
bool CheckBlockFiles(const std::vector<PlacedBlock>& blocks, const std::string& setupPath,
                     int& line, std::string& error);

}  // namespace tarvo::host
