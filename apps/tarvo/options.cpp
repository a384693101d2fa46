#include "apps/tarvo/options.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>

#include "host/log/report_sinks.h"

namespace tarvo::runner {
namespace {

constexpr const char* kDurationForms = "such as 90s, 15m, 24h, 30d or 1h30m";

bool TakeValue(const std::vector<std::string>& args, std::size_t& i, const std::string& option,
               std::string& value, std::string& error) {
    if (i + 1 >= args.size()) {
        error = option + " needs a value";
        return false;
    }
    value = args[++i];
    return true;
}

bool ParsePlugins(const std::vector<std::string>& args, std::size_t& i,
                  std::vector<std::string>& plugins, std::string& error) {
    std::string value;
    if (!TakeValue(args, i, "--plugin", value, error))
        return false;
    plugins.push_back(value);
    return true;
}

// The options of a session that reaches the transmitter, shared by run and call: Taken when
// args[i] was one of them (i moves past its value), Failed with `error`, or NotShared.
enum class SharedOption { Taken, Failed, NotShared };

SharedOption ParseSessionOption(const std::vector<std::string>& args, std::size_t& i,
                                RunOptions& run, std::string& error) {
    const std::string& a = args[i];
    std::string value;
    auto taken = [](bool ok) { return ok ? SharedOption::Taken : SharedOption::Failed; };
    if (a == "--serial") {
        if (!TakeValue(args, i, a, value, error))
            return SharedOption::Failed;
        auto eq = value.find('=');
        if (eq == std::string::npos || eq == 0 || eq + 1 == value.size()) {
            error =
                "--serial: expected NAME=PATH such as COM2:=/dev/ttyUSB0, not \"" + value + "\"";
            return SharedOption::Failed;
        }
        run.serial.emplace_back(value.substr(0, eq), value.substr(eq + 1));
        return SharedOption::Taken;
    }
    if (a == "--level") {
        if (!TakeValue(args, i, a, value, error))
            return SharedOption::Failed;
        TReportLevel level;
        if (!host::ParseLevel(value, level)) {
            error = "--level: expected debug, status, warning or error, not \"" + value + "\"";
            return SharedOption::Failed;
        }
        run.level = level;
        return SharedOption::Taken;
    }
    if (a == "--plugin")
        return taken(ParsePlugins(args, i, run.plugins, error));
    if (a == "--log")
        return taken(TakeValue(args, i, a, run.logFile, error));
    if (a == "--no-sim") {
        run.simulator = false;
        return SharedOption::Taken;
    }
    return SharedOption::NotShared;
}

bool ParseRun(const std::vector<std::string>& args, std::size_t i, RunOptions& run,
              std::string& error) {
    for (; i < args.size(); ++i) {
        const std::string& a = args[i];
        std::string value;
        if (const SharedOption shared = ParseSessionOption(args, i, run, error);
            shared != SharedOption::NotShared) {
            if (shared == SharedOption::Failed)
                return false;
        } else if (a == "--for") {
            if (!TakeValue(args, i, a, value, error))
                return false;
            std::int64_t ms = 0;
            if (!ParseDuration(value, ms)) {
                error = "--for: \"" + value + "\" is no duration; expected a number with a unit, " +
                        kDurationForms;
                return false;
            }
            if (ms > kMaxRunMs) {
                error = "--for: " + value + " is longer than a run may last: 3650 days (ten years)";
                return false;
            }
            run.durationMs = ms;
        } else if (a == "--realtime") {
            run.realtime = true;
        } else if (a == "--start") {
            if (!TakeValue(args, i, a, value, error))
                return false;
            TTime t;
            if (!ParseStartTime(value, t)) {
                error = "--start: expected \"YYYY-MM-DD HH:MM:SS\", not \"" + value + "\"";
                return false;
            }
            run.start = t;
        } else if (a == "--set-machine-clock") {
            run.setMachineClock = true;
        } else if (a == "--flash-disk") {
            if (!TakeValue(args, i, a, run.flashDisk, error))
                return false;
        } else if (a == "--storage-card") {
            if (!TakeValue(args, i, a, run.storageCard, error))
                return false;
        } else if (a == "--transcript") {
            if (!TakeValue(args, i, a, run.transcriptPath, error))
                return false;
        } else if (a == "--sim-fault") {
            if (!TakeValue(args, i, a, value, error))
                return false;
            sim::Fault fault;
            std::string why;
            if (!sim::ParseFault(value, fault, why)) {
                error = "--sim-fault " + value + ": " + why;
                return false;
            }
            run.simFaults.push_back(fault);
        } else if (a == "--sim-clock-offset") {
            if (!TakeValue(args, i, a, value, error))
                return false;
            double seconds = 0;
            const auto [end, ec] =
                std::from_chars(value.data(), value.data() + value.size(), seconds);
            if (value.empty() || ec != std::errc() || end != value.data() + value.size() ||
                std::fabs(seconds) > 3650.0 * 86400) {
                error =
                    "--sim-clock-offset: expected a number of seconds such as 2 or -0.5, "
                    "not \"" +
                    value + "\"";
                return false;
            }
            run.simClockOffsetMs = std::llround(seconds * 1000);
        } else if (a == "--sim-line-faults") {
            if (!TakeValue(args, i, a, value, error))
                return false;
            double rate = 0;
            if (!sim::ParseLineFaultRate(value, rate)) {
                error =
                    "--sim-line-faults: expected a fraction from 0 to 1 such as 0.05, or a "
                    "percentage such as 5%, not \"" +
                    value + "\"";
                return false;
            }
            run.simLineFaultRate = rate;
        } else if (a == "--seed") {
            if (!TakeValue(args, i, a, value, error))
                return false;
            std::uint64_t seed = 0;
            if (!sim::ParseLineFaultSeed(value, seed)) {
                error = "--seed: expected a whole number such as 7, not \"" + value + "\"";
                return false;
            }
            run.seed = seed;
        } else if (!a.empty() && a[0] == '-') {
            error = "run: unknown option \"" + a + "\"";
            return false;
        } else if (run.setupPath.empty()) {
            run.setupPath = a;
        } else {
            error = "run: one setup file only (got \"" + run.setupPath + "\" and \"" + a + "\")";
            return false;
        }
    }
    if (run.setupPath.empty()) {
        error = "run: expected a setup file: tarvo run SETUP [options]";
        return false;
    }
    if (run.start && !run.Virtual()) {
        error = "--start: only a run in virtual time can start at a chosen time";
        return false;
    }
    if (run.setMachineClock && run.Virtual()) {
        error =
            "--set-machine-clock: only a run in real time (--serial or --realtime) can set "
            "the machine's clock";
        return false;
    }
    // The simulator's own options mean nothing when the transmitter is elsewhere.
    const char* simOption = !run.transcriptPath.empty() ? "--transcript"
                            : !run.simFaults.empty()    ? "--sim-fault"
                            : run.simClockOffsetMs      ? "--sim-clock-offset"
                            : run.simLineFaultRate      ? "--sim-line-faults"
                            : run.seed                  ? "--seed"
                                                        : nullptr;
    if (simOption != nullptr && !run.SimulatorWanted()) {
        error = std::string(simOption) + ": only with the in-process simulator (not with " +
                (run.serial.empty() ? "--no-sim" : "--serial") + ")";
        return false;
    }
    return true;
}

bool ParseCall(const std::vector<std::string>& args, std::size_t i, CallOptions& call,
               std::string& error) {
    RunOptions& session = call.session;
    std::vector<std::string> positional;
    for (; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (const SharedOption shared = ParseSessionOption(args, i, session, error);
            shared != SharedOption::NotShared) {
            if (shared == SharedOption::Failed)
                return false;
        } else if (a == "--save") {
            call.save = true;
        } else if (a == "--module") {
            if (!TakeValue(args, i, a, call.module, error))
                return false;
        } else if (a.starts_with("--")) {
            // A single dash stays an argument, so that a negative number can be one.
            error = "call: unknown option \"" + a + "\"";
            return false;
        } else {
            positional.push_back(a);
        }
    }
    if (positional.size() < 2) {
        error = "call: expected a setup file and an export: tarvo call SETUP EXPORT [ARG...]";
        return false;
    }
    session.setupPath = positional[0];
    call.exportName = positional[1];
    call.arguments.assign(positional.begin() + 2, positional.end());
    return true;
}

}  // namespace

bool ParseCommand(const std::vector<std::string>& args, Command& command, std::string& error) {
    command = Command{};
    if (args.empty()) {
        error = "expected a command: run, call or blocks (see tarvo --help)";
        return false;
    }
    for (const auto& a : args) {
        if (a == "--help" || a == "-h" || a == "help") {
            command.kind = Command::Kind::Help;
            return true;
        }
    }
    const std::string& verb = args[0];
    if (verb == "--version") {
        command.kind = Command::Kind::Version;
        return true;
    }
    if (verb == "run") {
        command.kind = Command::Kind::Run;
        return ParseRun(args, 1, command.run, error);
    }
    if (verb == "call") {
        command.kind = Command::Kind::Call;
        return ParseCall(args, 1, command.call, error);
    }
    if (verb == "blocks") {
        command.kind = Command::Kind::Blocks;
        for (std::size_t i = 1; i < args.size(); ++i) {
            if (args[i] == "--plugin") {
                if (!ParsePlugins(args, i, command.blocks.plugins, error))
                    return false;
            } else {
                error = "blocks: unexpected \"" + args[i] + "\"";
                return false;
            }
        }
        return true;
    }
    error = "unknown command \"" + verb + "\"; expected run, call or blocks (see tarvo --help)";
    return false;
}

bool ParseDuration(const std::string& text, std::int64_t& ms) {
    if (text.empty())
        return false;
    std::int64_t total = 0;
    std::size_t i = 0;
    while (i < text.size()) {
        if (!std::isdigit(static_cast<unsigned char>(text[i])))
            return false;
        std::int64_t n = 0;
        while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) {
            n = n * 10 + (text[i] - '0');
            if (n > 1'000'000'000)
                return false;
            ++i;
        }
        if (i == text.size())
            return false;  // a number without its unit
        std::int64_t unit = 0;
        switch (text[i]) {
            case 's':
                unit = 1000;
                break;
            case 'm':
                unit = 60'000;
                break;
            case 'h':
                unit = 3'600'000;
                break;
            case 'd':
                unit = 86'400'000;
                break;
            default:
                return false;
        }
        ++i;
        total += n * unit;
        if (total > kMaxRunMs * 1000)
            return false;  // far beyond any limit; keeps the sum from overflowing
    }
    if (total <= 0)
        return false;
    ms = total;
    return true;
}

bool ParseStartTime(const std::string& text, TTime& time) {
    int y, mo, d, h, mi, s;
    char sep, tail;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c%2d:%2d:%2d%c", &y, &mo, &d, &sep, &h, &mi, &s,
                    &tail) != 7 ||
        (sep != ' ' && sep != 'T')) {
        return false;
    }
    if (y < 1970 || mo < 1 || mo > 12 || d < 1 || h > 23 || mi > 59 || s > 59 || h < 0 || mi < 0 ||
        s < 0) {
        return false;
    }
    static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
    if (d > kDays[mo - 1] + (mo == 2 && leap ? 1 : 0))
        return false;
    time = TTime(y, mo, d, h, mi, s);
    return true;
}

std::string FormatDuration(std::int64_t ms) {
    std::int64_t s = ms / 1000;
    char buf[64];
    std::int64_t d = s / 86400, h = s / 3600 % 24, m = s / 60 % 60, sec = s % 60;
    if (d > 0)
        std::snprintf(buf, sizeof buf, "%lldd%02lldh%02lldm%02llds", static_cast<long long>(d),
                      static_cast<long long>(h), static_cast<long long>(m),
                      static_cast<long long>(sec));
    else if (h > 0)
        std::snprintf(buf, sizeof buf, "%lldh%02lldm%02llds", static_cast<long long>(h),
                      static_cast<long long>(m), static_cast<long long>(sec));
    else
        std::snprintf(buf, sizeof buf, "%lldm%02llds", static_cast<long long>(m),
                      static_cast<long long>(sec));
    return buf;
}

std::string FormatTime(TTime t) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", t.GetYear(), t.GetMonth(),
                  t.GetDay(), t.GetHour(), t.GetMinute(), t.GetSecond());
    return buf;
}

const char* HelpText() {
    return R"help(tarvo: the logger platform on Linux, running plug-in modules and a processing graph.

Usage:
  tarvo run SETUP [--for DURATION] [--serial NAME=PATH]... [--realtime]
                  [--start TIME] [--plugin PATH]... [--log FILE] [--level LEVEL]
                  [--no-sim] [--transcript FILE] [--sim-fault FAULT]...
                  [--sim-clock-offset SECONDS] [--sim-line-faults RATE] [--seed N]
                  [--set-machine-clock]
                  [--flash-disk DIR] [--storage-card DIR]
  tarvo call SETUP EXPORT [ARG...] [--save] [--module NAME] [--serial NAME=PATH]...
                  [--no-sim] [--plugin PATH]... [--log FILE] [--level LEVEL]
  tarvo blocks [--plugin PATH]...
  tarvo --help | --version

Commands:
  run SETUP   Load the setup file SETUP (a <TarvoSetup> file: see docs/setup-file.md), start
              recording, record for the given duration, then stop recording, print a summary
              and exit.
  call        Load the setup file SETUP and its plug-ins, call the plug-in export EXPORT with
              the arguments ARG, print its result, and with --save write the setup back.
              Nothing records. The transmitter is reached as by run: simulated in process,
              or a device through --serial, such as
                tarvo call SETUP GetCorvaneStatus --serial COM2:=/dev/ttyUSB0
  blocks      List the block types a setup can use: the host's own (Source, Log) and those of
              the loaded plug-ins, with where each comes from.

Options of run:
  --for DURATION     How long to record: a number with a unit s, m, h or d, or a sum of such
                     parts (90s, 15m, 24h, 30d, 1h30m). Default: 24h in virtual time; until
                     Ctrl-C in real time.
  --serial NAME=PATH Map the logger's serial port NAME (such as COM2:) to the device PATH (a
                     serial device or a pseudo-terminal, such as the one corvane-sim prints).
                     Repeatable. A mapping makes the run use real time, since a device on the
                     other end keeps real time, and leaves out the in-process simulator.
  --realtime         Run on the real clock instead of virtual time.
  --start TIME       Start virtual time at TIME, "YYYY-MM-DD HH:MM:SS" (default: the current
                     time). Virtual time only.
  --plugin PATH      Load the plug-in library PATH. Repeatable. When given, only the listed
                     plug-ins are loaded; otherwise every lib*.so installed beside the tarvo
                     program that exports GetSetupTag (such as libcorvane.so).
  --log FILE         Append the platform log to FILE (entries at --level and above; default:
                     debug and above).
  --level LEVEL      Lowest log level shown: debug, status, warning or error. Applies to
                     standard error (default: warning) and to --log.
  --set-machine-clock
                     Let a module that sets the logger's clock (the Corvane module does, from
                     the transmitter's) set this machine's clock too; needs the privilege to.
                     Real time only. Without it only the logger's own time moves.

Options of call:
  --save             After a successful call, write the setup back to SETUP (atomically):
                     the called plug-in's section is replaced on its own lines and the rest
                     of the file stays as it was. Nothing is saved after an error.
  --module NAME      The plug-in to call, by its setup tag (Corvane) or file name
                     (libcorvane.so); needed only when several loaded plug-ins export EXPORT.
  --serial, --no-sim, --plugin, --log, --level
                     As for run.
  A library does not tell the types of its exports, so tarvo calls only exports whose
  signatures it knows: those of the Corvane module's control interface (see
  docs/scripting.md). An unknown export, a wrong count of arguments or a value that does not
  parse ends with exit status 2 and the list of what the module offers, such as
  "GetSTTxInterval -> SECONDS" (a getter and what it prints) or "SetSTTxInterval SECONDS" (a
  setter and what it takes). Booleans are true or false (also yes, no, 1, 0), times are whole
  seconds, texts are printed as they are. A setter prints nothing. An export that reports
  failure (GetCorvaneStatus without a status) ends with exit status 1.

The logger's folders:
  A module may open files under the logger's fixed folders "\Flash Disk\" (such as the NOS
  format table "\Flash Disk\NOSGOESFormat.txt") and "\Storage Card\". They stand for
  folders beside the setup file, flash-disk/ and storage-card/, unless these options name
  others.
  --flash-disk DIR   The folder that stands for "\Flash Disk\".
  --storage-card DIR The folder that stands for "\Storage Card\".

The simulated transmitter:
  Without --serial, a setup with a <Corvane> section gets a simulated Corvane transmitter in
  process, on the port its <Common Port = "N"> selects (0 is COM2:, 1 is COM3:, ... 7 is COM9:),
  on the run's clock. A setup without a <Corvane> section gets none.
  --no-sim           Attach no simulator: the port is left unmapped, as if nothing were plugged
                     in.
  --transcript FILE  Write every request, reply, noise run, device event and downlink entry of
                     the simulator to FILE, one JSON line each (see docs/simulator.md).
  --sim-fault FAULT  Make the simulator commit a fault; repeatable. FAULT is
                     KIND[,code=N][,count=N|all][,delay=MS][,text=TEXT] with KIND one of
                     silence, corrupt-crc, wrong-number, plain-header, short-payload, refuse,
                     master-refusal, unknown-command, invalid-time, slow-reply (as corvane-sim's
                     --fault).
  --sim-clock-offset SECONDS
                     Start the simulator's clock SECONDS ahead of the logger's (negative:
                     behind).
  --sim-line-faults RATE
                     Make the line between logger and simulator unreliable: each request and
                     each reply is hit with the chance RATE, a fraction from 0 to 1 (0.05) or a
                     percentage (5%). A hit request has a byte corrupted or dropped; a hit reply
                     has a byte corrupted, is lost, or is delayed by 0.2 to 4 s. Each fault is a
                     "line-fault" entry of the transcript and the summary counts them.
                     Default: 0, a perfect line.
  --seed N           Seed of the line faults, a whole number (default 1): the same seed and
                     setup give the same faults, so a run can be repeated.

Output:
  Operator messages (the platform's message boxes, such as a module's report at recording
  start) are printed on standard error when shown. At the end, standard output holds one line
  on the run, then, when a plug-in is loaded or a message was shown, the operator reports of
  recording start and stop and any time the logger's clock was set. For a setup with a
  <Corvane> section follows the transmitter: the requests of the start sequence and of the
  stop sequence in order, marked "(refused)", "(unknown)", "(repeat)", "(no answer)",
  "(ignored)" or "(bad CRC)" as the simulator saw them; the requests while recording by type
  code; the totals (requests, replies, bad frames, refused, unknown, unanswered, repeats,
  garbled replies, restarts) and a table of them by type code; and the simulator's
  downlink log: each transmission or missed window with its time, kind, channel and bytes
  (as text when printable, else hex). With --serial the transmitter is a device and only the
  mapping is shown (corvane-sim --transcript FILE records that side).

Time:
  A run is in virtual time unless a --serial mapping is given or --realtime: the clock then
  jumps ahead whenever every thread waits, so a simulated day takes moments. On a terminal a
  long virtual run shows its progress on standard error.

Exit:
  Ctrl-C (or SIGTERM) stops recording properly (the engine stops and each plug-in's
  OnEngineStop runs) before tarvo exits. Exit status: 0 when the run completed, 1 when the
  setup, a plug-in, the log file or the transcript file could not be used, 2 for a
  command-line error, 3 when the module used the transmitter's port and the transmitter never
  answered (not one byte came back: a wrong port, a device that is off or not connected), 130
  after an interrupt.
)help";
}

}  // namespace tarvo::runner
