// The runner's command line: subcommands and their options, parsed into plain records.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/report.h"
#include "platform/time.h"
#include "sim/model/faults.h"
#include "sim/model/line_faults.h"

namespace tarvo::runner {

struct RunOptions {
    std::string setupPath;
    std::optional<std::int64_t> durationMs;  // --for; none: until Ctrl-C (real) or 24h (virtual)
    std::vector<std::pair<std::string, std::string>> serial;  // --serial NAME=PATH
    bool realtime = false;
    std::optional<TTime> start;         // --start (virtual time only)
    std::vector<std::string> plugins;   // --plugin; empty: those installed beside the program
    std::string logFile;                // --log
    std::optional<TReportLevel> level;  // --level
    bool setMachineClock = false;       // --set-machine-clock (real time only)
    std::string flashDisk;              // --flash-disk; empty: beside the setup file
    std::string storageCard;            // --storage-card; likewise
    // The transmitter simulated in process on the port the setup's <Corvane> section selects;
    // only when no --serial mapping is given.
    bool simulator = true;                         // --no-sim clears it
    std::string transcriptPath;                    // --transcript
    std::vector<sim::Fault> simFaults;             // --sim-fault
    std::optional<std::int64_t> simClockOffsetMs;  // --sim-clock-offset
    sim::LineFaultOptions simLineFaults;           // --sim-line-faults RATE, --seed N
    // Virtual time unless a serial mapping names a device or real time was asked for.
    bool Virtual() const { return !realtime && serial.empty(); }
    // Whether a run may attach the in-process simulator (it still needs a <Corvane> section).
    bool SimulatorWanted() const { return simulator && serial.empty(); }
};

// `tarvo call`: one export of a plug-in, called on the loaded setup.
struct CallOptions {
    // The setup and how the transmitter is reached, as for run (--serial, --no-sim, --plugin,
    // --log, --level); nothing records.
    RunOptions session;
    std::string exportName;
    std::vector<std::string> arguments;
    bool save = false;   // --save: write the setup back after a successful call
    std::string module;  // --module: the plug-in's setup tag or file name; empty: the one
                         // loaded plug-in that has the export
};

// `tarvo panel`: the control panel on the terminal, on the loaded setup.
struct PanelOptions {
    // The setup and how the transmitter is reached, as for run (--serial, --no-sim, --plugin,
    // --log, --level, --transcript); nothing records.
    RunOptions session;
};

// `tarvo check`: setups rehearsed without recording or a transmitter.
struct CheckOptions {
    std::vector<std::string> setupPaths;
    std::vector<std::string> plugins;  // --plugin; empty: those installed beside the program
    bool json = false;                 // --json: one JSON object a setup, one a line
};

struct BlocksOptions {
    std::vector<std::string> plugins;
};

struct Command {
    enum class Kind { Help, Version, Run, Call, Panel, Check, Blocks };
    Kind kind = Kind::Help;
    RunOptions run;
    CallOptions call;
    PanelOptions panel;
    CheckOptions check;
    BlocksOptions blocks;
};

// Parses the arguments after the program name. False with `error` saying what was expected.
bool ParseCommand(const std::vector<std::string>& args, Command& command, std::string& error);

// "90s", "15m", "24h", "30d", or a sum of such parts ("1h30m"). False when the text is not one.
bool ParseDuration(const std::string& text, std::int64_t& ms);
// Ten years of virtual time is more than any run needs; beyond it is a typing error.
inline constexpr std::int64_t kMaxRunMs = 3650LL * 86'400'000;
// "YYYY-MM-DD HH:MM:SS" or "YYYY-MM-DDTHH:MM:SS".
bool ParseStartTime(const std::string& text, TTime& time);
// A duration as "1d02h03m04s" with leading zero parts left out ("15m00s", "2d00h00m00s").
std::string FormatDuration(std::int64_t ms);
std::string FormatTime(TTime time);

// The complete --help text.
const char* HelpText();

}  // namespace tarvo::runner
