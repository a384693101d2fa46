// `tarvo call`: the logger's scripting layer on Linux. Loads a setup and its plug-ins the way
// `run` does (the transmitter simulated in process on the port the setup selects, or a device
// through --serial), calls one export of a plug-in by name with arguments from the command
// line, prints its result, and with --save writes the setup back (atomically). Nothing records.
#pragma once

#include <cstdio>

#include "apps/tarvo/options.h"

namespace tarvo::runner {

// The exit status: 0 when the call was made (and the setup saved, with --save); 1 when the
// setup, a plug-in or the save failed, or the export reported failure; 2 for an export that
// cannot be called as asked (unknown, wrong count of arguments, a value that does not parse),
// with the list of what the module offers. Nothing is saved after an error.
int ExecuteCall(const CallOptions& options, std::FILE* out, std::FILE* err);

}  // namespace tarvo::runner
