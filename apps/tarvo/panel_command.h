// `tarvo panel`: the logger's control panel on the terminal. Loads a setup and its plug-ins the
// way `run` does (the transmitter simulated in process, or a device through --serial), shows a
// tree of the plug-ins' control panel items and of the graph's blocks, and opens the one the
// operator picks. Nothing records. On leaving, when a dialog confirmed a change, it asks
// whether to save; a save replaces only the sections whose text changed, atomically, and
// after "No" (or a cancelled dialog) the file is left byte for byte as it was.
#pragma once

#include <cstdio>

#include "apps/tarvo/options.h"

namespace tarvo::runner {

// The exit status: 0 when the operator left (saved or not); 1 when standard input is not a
// terminal, the terminal cannot be used, or the setup, a plug-in or the save failed.
int ExecutePanel(const PanelOptions& options, std::FILE* out, std::FILE* err);

}  // namespace tarvo::runner
