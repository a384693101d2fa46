#include "apps/tarvo/options.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "apps/common/command_line.h"
#include "host/log/report_sinks.h"

namespace tarvo::runner {
namespace {

bool ParseSerial(std::string_view text, std::pair<std::string, std::string>& mapping) {
    const auto eq = text.find('=');
    mapping = {std::string(text.substr(0, eq)), std::string(text.substr(eq + 1))};
    return eq != text.npos && eq != 0 && eq + 1 != text.size();
}

// The options of a session that reaches the transmitter, shared by run and call.
void AddSessionOptions(CLI::App& app, RunOptions& run) {
    apps::AddParsed(app, "--serial", ParseSerial, run.serial,
                    "NAME=PATH such as COM2:=/dev/ttyUSB0");
    apps::AddParsed(app, "--level", host::ParseLevel, run.level, "debug, status, warning or error");
    app.add_option("--plugin", run.plugins)->allow_extra_args(false);  // one path each
    app.add_option("--log", run.logFile);
    app.add_flag_callback("--no-sim", [&run] { run.simulator = false; });
}

// Returns the simulator's own options, which need the in-process simulator.
std::vector<const CLI::Option*> AddRunOptions(CLI::App& app, RunOptions& run) {
    AddSessionOptions(app, run);
    app.add_option("SETUP", run.setupPath);
    apps::AddValues(app, "--for", [&run](const std::string& value) {
        std::int64_t ms = 0;
        if (!ParseDuration(value, ms))
            throw CLI::ValidationError(
                "--for: \"" + value +
                "\" is no duration; expected a number with a unit, such as 90s, 15m, 24h, "
                "30d or 1h30m");
        if (ms > kMaxRunMs)
            throw CLI::ValidationError("--for: " + value +
                                       " is longer than a run may last: 3650 days (ten years)");
        run.durationMs = ms;
    });
    app.add_flag("--realtime", run.realtime);
    apps::AddParsed(app, "--start", ParseStartTime, run.start, "\"YYYY-MM-DD HH:MM:SS\"");
    app.add_flag("--set-machine-clock", run.setMachineClock);
    app.add_option("--flash-disk", run.flashDisk);
    app.add_option("--storage-card", run.storageCard);
    return {
        app.add_option("--transcript", run.transcriptPath),
        apps::AddFaults(app, "--sim-fault", run.simFaults),
        apps::AddParsed(app, "--sim-clock-offset", apps::ParseSecondsAsMs, run.simClockOffsetMs,
                        "a number of seconds such as 2 or -0.5"),
        apps::AddParsed(app, "--sim-line-faults", sim::ParseLineFaultRate, run.simLineFaults.rate,
                        "a fraction from 0 to 1 such as 0.05, or a percentage such as 5%"),
        apps::AddParsed(app, "--seed", sim::ParseLineFaultSeed, run.simLineFaults.seed,
                        "a whole number such as 7")};
}

// The rules that tie a run's options together, once all are in; `left` is what no option took.
bool CheckRun(const RunOptions& run, const std::vector<const CLI::Option*>& simOptions,
              const std::string& left, std::string& error) {
    // The simulator's own options mean nothing when the transmitter is elsewhere.
    const auto sim = std::ranges::find_if(simOptions, [](auto* o) { return o->count() > 0; });
    if (!left.empty())
        error = "run: one setup file only (got \"" + run.setupPath + "\" and \"" + left + "\")";
    else if (run.setupPath.empty())
        error = "run: expected a setup file: tarvo run SETUP [options]";
    else if (run.start && !run.Virtual())
        error = "--start: only a run in virtual time can start at a chosen time";
    else if (run.setMachineClock && run.Virtual())
        error =
            "--set-machine-clock: only a run in real time (--serial or --realtime) can set the "
            "machine's clock";
    else if (sim != simOptions.end() && !run.SimulatorWanted())
        error = (*sim)->get_name() + ": only with the in-process simulator (not with " +
                (run.serial.empty() ? "--no-sim" : "--serial") + ")";
    return error.empty();
}

void AddCallOptions(CLI::App& app, CallOptions& call) {
    AddSessionOptions(app, call.session);
    app.add_option("SETUP", call.session.setupPath);
    app.add_option("EXPORT", call.exportName);
    app.add_option("ARG", call.arguments);  // a negative number is one, not an option
    app.add_flag("--save", call.save);
    app.add_option("--module", call.module);
}

}  // namespace

bool ParseCommand(const std::vector<std::string>& args, Command& command, std::string& error) {
    using Kind = Command::Kind;
    command = Command{};
    CLI::App app;
    apps::Prepare(&app)->require_subcommand(0, 1);  // so that a later "run" is an argument
    const CLI::Option* version = app.add_flag("--version");
    app.add_subcommand("help")->preparse_callback([](std::size_t) { throw CLI::CallForHelp(); });
    CLI::App* run = apps::Prepare(app.add_subcommand("run"));
    CLI::App* call = apps::Prepare(app.add_subcommand("call"));
    CLI::App* panel = apps::Prepare(app.add_subcommand("panel"));
    CLI::App* check = apps::Prepare(app.add_subcommand("check"));
    CLI::App* blocks = apps::Prepare(app.add_subcommand("blocks"));
    const auto simOptions = AddRunOptions(*run, command.run);
    AddCallOptions(*call, command.call);
    AddSessionOptions(*panel, command.panel.session);
    panel->add_option("SETUP", command.panel.session.setupPath);
    panel->add_option("--transcript", command.panel.session.transcriptPath);
    blocks->add_option("--plugin", command.blocks.plugins)->allow_extra_args(false);
    check->add_option("SETUP", command.check.setupPaths);
    check->add_option("--plugin", command.check.plugins)->allow_extra_args(false);
    check->add_flag("--json", command.check.json);
    if (const apps::Parsed parsed = apps::Parse(app, args, error); parsed != apps::Parsed::Done)
        return parsed == apps::Parsed::Help;  // with the kind Help
    const std::string extra = apps::FirstLeftOver(app);
    const CLI::App* sub = app.get_subcommands().empty() ? nullptr : app.get_subcommands().front();
    const std::string left = sub == nullptr ? "" : apps::FirstLeftOver(*sub);
    command.kind = *version       ? Kind::Version
                   : sub == run   ? Kind::Run
                   : sub == call  ? Kind::Call
                   : sub == panel ? Kind::Panel
                   : sub == check ? Kind::Check
                                  : Kind::Blocks;
    if (args.empty())
        error = "expected a command: run, call, panel, check or blocks (see tarvo --help)";
    else if (!extra.empty() || (sub == nullptr && !*version))
        error = "unknown command \"" + (extra.empty() ? args[0] : extra) +
                "\"; expected run, call, panel, check or blocks (see tarvo --help)";
    else if (!left.empty() && (left[0] == '-' || sub != run))
        error = sub->get_name() + (left[0] == '-' ? ": unknown option \"" : ": unexpected \"") +
                left + "\"";
    else if (sub == call && command.call.exportName.empty())
        error = "call: expected a setup file and an export: tarvo call SETUP EXPORT [ARG...]";
    else if (sub == panel && command.panel.session.setupPath.empty())
        error = "panel: expected a setup file: tarvo panel SETUP [options]";
    else if (sub == panel && !command.panel.session.transcriptPath.empty() &&
             !command.panel.session.SimulatorWanted())
        error = std::string("--transcript: only with the in-process simulator (not with ") +
                (command.panel.session.serial.empty() ? "--no-sim" : "--serial") + ")";
    else if (sub == check && command.check.setupPaths.empty())
        error = "check: expected a setup file: tarvo check SETUP... [--json]";
    else if (sub == run)
        CheckRun(command.run, simOptions, left, error);
    return error.empty();
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
  tarvo panel SETUP [--serial NAME=PATH]... [--no-sim] [--plugin PATH]... [--log FILE]
                  [--level LEVEL] [--transcript FILE]
  tarvo check SETUP... [--json] [--plugin PATH]...
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
  panel       Open the control panel on this terminal (80x24 at least; see docs/console.md):
              a tree of the control panel items of the loaded plug-ins (Corvane, Self-Timed,
              Random, the test transmissions) and of the setup's blocks; Enter opens one, Esc
              leaves. On leaving, when a dialog confirmed a change, it asks whether to save
              SETUP; a save is atomic and rewrites only the sections that changed. Nothing
              records. The transmitter is reached as by run. Standard input must be a
              terminal. --serial, --no-sim, --plugin, --log, --level and --transcript (what the
              simulated transmitter saw and sent, test transmissions included) are as for run.
  check       Rehearse each setup file SETUP before a field trip: load it and its plug-ins,
              record nothing and talk to no transmitter, and tell what recording start
              would refuse or warn about, values outside the ranges the module's property
              pages enforce, whether the widest self-timed message fits its window, and the
              station's day (the self-timed windows, each random group's cadence).
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

Options of check:
  --json             One JSON object a setup, one a line, with the same facts.
  --plugin PATH      As for run.
  Each problem is one line "SETUP:LINE: what is wrong, what is expected"; what recording
  start only warns about or converts is a "note:" line. Airtime is from the public GOES
  figures: N bytes take (137 + 4N)/150 s at 300 bps and (223 + 4N)/600 s at 1200 bps; other
  transmitter types have no public figure and are not computed. The widest message counts
  every block full, SHEF and Handar values at up to 5 whole digits with a sign, INSAT at 25
  or 50 bytes, NOS from the station's NOS format table less the redundant blocks (then the
  blocks) the formatter drops to fit the window, each named; what the transmitter appends
  itself (battery voltage, position) is not counted. Exit status: 0 when
  every setup is clean, 1 when recording start would refuse one, a value is out of range, a
  message can overflow its window or a setup could not be loaded, 2 for a command-line error.

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
                     master-refusal, unknown-command, invalid-time, slow-reply, cut-time (as
                     corvane-sim's --fault).
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
  mapping is shown (corvane-sim --transcript FILE records that side). Last, when a Log block
  could not write readings, "Readings lost": each such block, its file and how many.
  Read off the port, whatever is on the other end: each request of the start or stop sequence
  that failed (no answer, a write failure, a reply with a wrong header or packet number, cut
  short or with a bad CRC, attempt by attempt) or that the transmitter refused is told on
  standard error as the sequence ends ("tarvo: recording start: 42 (secondary satellite id, packet #17) failed: no
  answer in each of 3 attempts") and again in the summary.

Time:
  A run is in virtual time unless a --serial mapping is given or --realtime: the clock then
  jumps ahead whenever every thread waits, so a simulated day takes moments. On a terminal a
  long virtual run shows its progress on standard error.

Exit:
  Ctrl-C (or SIGTERM) stops recording properly (the engine stops and each plug-in's
  OnEngineStop runs) before tarvo exits. Exit status: 0 when the run completed, 1 when the
  setup, a plug-in, the log file or the transcript file could not be used, 2 for a
  command-line error, 3 when the module used the transmitter's port and the transmitter never
  answered (not one byte came back: a wrong port, a device that is off or not connected),
  4 when a Log block lost readings (its file could not be written, such as on a full disk:
  said on standard error before the summary, which names each block, its file and how many),
  130 after an interrupt.
)help";
}

}  // namespace tarvo::runner
