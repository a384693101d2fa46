#include "apps/tarvo/options.h"

#include <cctype>
#include <cstdio>

#include "host/report_sinks.h"

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

bool ParseRun(const std::vector<std::string>& args, std::size_t i, RunOptions& run,
              std::string& error) {
    for (; i < args.size(); ++i) {
        const std::string& a = args[i];
        std::string value;
        if (a == "--for") {
            if (!TakeValue(args, i, a, value, error))
                return false;
            std::int64_t ms = 0;
            if (!ParseDuration(value, ms)) {
                error = "--for: \"" + value + "\" is no duration; expected a number with a unit, " +
                        kDurationForms;
                return false;
            }
            run.durationMs = ms;
        } else if (a == "--serial") {
            if (!TakeValue(args, i, a, value, error))
                return false;
            auto eq = value.find('=');
            if (eq == std::string::npos || eq == 0 || eq + 1 == value.size()) {
                error = "--serial: expected NAME=PATH such as COM2:=/dev/ttyUSB0, not \"" + value +
                        "\"";
                return false;
            }
            run.serial.emplace_back(value.substr(0, eq), value.substr(eq + 1));
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
        } else if (a == "--plugin") {
            if (!ParsePlugins(args, i, run.plugins, error))
                return false;
        } else if (a == "--log") {
            if (!TakeValue(args, i, a, run.logFile, error))
                return false;
        } else if (a == "--level") {
            if (!TakeValue(args, i, a, value, error))
                return false;
            TReportLevel level;
            if (!host::ParseLevel(value, level)) {
                error = "--level: expected debug, status, warning or error, not \"" + value + "\"";
                return false;
            }
            run.level = level;
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
    return true;
}

}  // namespace

bool ParseCommand(const std::vector<std::string>& args, Command& command, std::string& error) {
    command = Command{};
    if (args.empty()) {
        error = "expected a command: run or blocks (see tarvo --help)";
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
    error = "unknown command \"" + verb + "\"; expected run or blocks (see tarvo --help)";
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
        // Ten years of virtual time is more than any run needs; beyond it is a typing error.
        if (total > 3650LL * 86'400'000)
            return false;
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
    return R"(tarvo: the logger platform on Linux, running plug-in modules and a processing graph.

Usage:
  tarvo run SETUP [--for DURATION] [--serial NAME=PATH]... [--realtime]
                  [--start TIME] [--plugin PATH]... [--log FILE] [--level LEVEL]
  tarvo blocks [--plugin PATH]...
  tarvo --help | --version

Commands:
  run SETUP   Load the setup file SETUP (a <TarvoSetup> file: see docs/setup-file.md), start
              recording, record for the given duration, then stop recording and exit.
  blocks      List the block types a setup can use: the host's own (Source, Log) and those of
              the loaded plug-ins, with where each comes from.

Options of run:
  --for DURATION     How long to record: a number with a unit s, m, h or d, or a sum of such
                     parts (90s, 15m, 24h, 30d, 1h30m). Default: 24h in virtual time; until
                     Ctrl-C in real time.
  --serial NAME=PATH Map the logger's serial port NAME (such as COM2:) to the device PATH (a
                     serial device or a pseudo-terminal). Repeatable. A mapping makes the run
                     use real time, since a device on the other end keeps real time.
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

Time:
  A run is in virtual time unless a --serial mapping is given or --realtime: the clock then
  jumps ahead whenever every thread waits, so a simulated day takes moments. On a terminal a
  long virtual run shows its progress on standard error.

Exit:
  Ctrl-C (or SIGTERM) stops recording properly (the engine stops and each plug-in's
  OnEngineStop runs) before tarvo exits. Exit status: 0 when the run completed, 1 when the
  setup, a plug-in or the log file could not be used, 2 for a command-line error, 130 after
  an interrupt.
)";
}

}  // namespace tarvo::runner
