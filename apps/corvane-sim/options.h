// The command line of corvane-sim.
#pragma once

#include <string>
#include <vector>

#include "sim/model/transmitter.h"

namespace tarvo::sim {

struct ProgramOptions {
    TransmitterOptions device;
    std::vector<Fault> faults;
    std::string transcriptPath;
    std::string linkPath;
    bool verbose = false;
    bool help = false;
    bool version = false;
};

// Reads argv; false with `error` for a bad command line.
bool ParseProgramOptions(int argc, char** argv, ProgramOptions& options, std::string& error);
const char* Usage();

}  // namespace tarvo::sim
