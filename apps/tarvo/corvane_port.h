// Which serial port a setup gives the Corvane transmitter: the <Common Port = "N"> of its
// <Corvane> section, read the way the module reads it, so that the runner attaches a simulated
// transmitter where the module will look for the real one.
#pragma once

#include <optional>
#include <string>

#include "host/setup/setup_file.h"

namespace tarvo::runner {

struct CorvanePort {
    int index = 0;      // as the setup holds it (0 when it has no Port)
    std::wstring name;  // "COM2:" .. "COM9:"; empty when the index names no port
};

// None when the setup has no <Corvane> section. The last Port of a <Common> element wins; an
// unparsable number reads as 0, as the module reads it.
std::optional<CorvanePort> FindCorvanePort(const host::SetupFile& setup);

// "COM2:" for 0 up to "COM9:" for 7; empty otherwise.
std::wstring PortNameOfIndex(int index);

}  // namespace tarvo::runner
