// The `tarvo` runner: its command line, and the program run as a child process on setups in
// virtual time (a day takes moments, nothing here waits in real time).
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "apps/tarvo/options.h"
#include "tests/apps/support/child_process.h"

namespace {

namespace fs = std::filesystem;
using tarvo::runner::Command;
using tarvo::runner::ParseCommand;
using tarvo::runner::ParseDuration;
using tarvo::testing::Child;
using tarvo::testing::TempDir;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::StartsWith;

struct Result {
    int status;
    std::string out;
    std::string err;
};

// Runs `program` to its end.
Result Tarvo(const std::vector<std::string>& args, const std::string& cwd = "/tmp",
             const std::string& program = TARVO_PROGRAM) {
    Child child(program, args, cwd);
    const int status = child.Finish();
    return {status, child.out, child.err};
}

TEST(RunnerOptions, DurationsTakeAUnitAndAddUp) {
    const std::pair<const char*, std::int64_t> good[] = {
        {"90s", 90'000},        {"15m", 900'000},     {"24h", 86'400'000},
        {"30d", 2'592'000'000}, {"1h30m", 5'400'000}, {"1d12h", 129'600'000}};
    for (const auto& [text, expected] : good) {
        std::int64_t ms = -1;
        EXPECT_TRUE(ParseDuration(text, ms) && ms == expected) << text << " gave " << ms;
    }
    for (const char* bad : {"15", "90x", "", "-5m", "0s", "1.5h", "h", "99999999999999999s"}) {
        std::int64_t ms = -1;
        EXPECT_FALSE(ParseDuration(bad, ms)) << bad;
    }
}

// The command line as CLI11 reads it: what each row's arguments give, in process.
TEST(RunnerOptions, TheCommandLineGivesWhatItSays) {
    using Kind = Command::Kind;
    const struct {
        const char* legend;
        std::vector<std::string> args;
        std::function<bool(const Command&)> gives;
    } rows[] = {
        {"an option's value is never taken for help",
         {"run", "s.xml", "--log", "--help"},
         [](const Command& c) { return c.kind == Kind::Run && c.run.logFile == "--help"; }},
        {"help as an option, after other arguments",
         {"run", "s.xml", "--for", "90x", "-h"},
         [](const Command& c) { return c.kind == Kind::Help; }},
        {"negative numbers and a lone dash are export arguments",
         {"call", "s.xml", "SetSomething", "-5", "-0.5", "-", "--save"},
         [](const Command& c) {
             return c.call.arguments == std::vector<std::string>{"-5", "-0.5", "-"} && c.call.save;
         }},
        {"a command word after the export is an argument",
         {"call", "s.xml", "SetText", "run", "blocks"},
         [](const Command& c) {
             return c.call.arguments == std::vector<std::string>{"run", "blocks"};
         }},
        {"repeated options collect, in order",
         {"run", "s.xml", "--serial", "COM2:=/dev/a", "--plugin", "p1", "--serial=COM3:=/dev/b",
          "--plugin", "p2"},
         [](const Command& c) {
             return c.run.serial.size() == 2 && c.run.serial[1].second == "/dev/b" &&
                    c.run.plugins == std::vector<std::string>{"p1", "p2"};
         }},
        {"faults repeat too",
         {"run", "s.xml", "--sim-fault", "silence", "--sim-fault", "refuse,count=2"},
         [](const Command& c) { return c.run.simFaults.size() == 2; }},
        {"a single-valued option given twice keeps the later value",
         {"run", "s.xml", "--for", "1h", "--for", "2h", "--log", "a", "--log", "b"},
         [](const Command& c) { return c.run.durationMs == 7'200'000 && c.run.logFile == "b"; }},
        {"an offset may be negative",
         {"run", "s.xml", "--sim-clock-offset", "-0.5"},
         [](const Command& c) { return c.run.simClockOffsetMs == -500; }},
    };
    for (const auto& row : rows) {
        Command command;
        std::string error;
        EXPECT_TRUE(ParseCommand(row.args, command, error) && row.gives(command))
            << row.legend << ": " << error;
    }
}

TEST(Runner, HelpIsCompleteAndTrue) {
    auto r = Tarvo({"--help"});
    EXPECT_EQ(r.status, 0);
    std::istringstream items(
        "tarvo run SETUP|--for DURATION|--serial NAME=PATH|--realtime|--start TIME|--plugin PATH|"
        "--log FILE|--level LEVEL|tarvo blocks|90s, 15m, 24h, 30d|Ctrl-C|130|--no-sim|"
        "--transcript FILE|--sim-fault FAULT|--sim-clock-offset SECONDS|--set-machine-clock|"
        "--sim-line-faults RATE|--seed N|percentage (5%)|line-fault|"
        "tarvo check SETUP...|0 is COM2:|7 is COM9:|(refused)|(no answer)|(repeat)|(bad "
        "CRC)|downlink log:|(ignored)|4 when a Log block lost readings|Readings lost");
    for (std::string item; std::getline(items, item, '|');) {
        EXPECT_THAT(r.out, HasSubstr(item));
    }
    EXPECT_EQ(Tarvo({"run", "--help"}).out, r.out);
    // Every option the help names is one the command line takes, with a value when the help
    // shows one, in run, call or check, or on its own.
    const std::regex named(R"((--[a-z-]+)( [A-Z])?(?=[\s\],]))");
    int options = 0;
    for (std::sregex_iterator it(r.out.begin(), r.out.end(), named), end; it != end; ++it) {
        const std::string option = (*it)[1];
        const std::string value = (*it)[2].matched ? "X" : "";
        bool known = false;
        for (std::vector<std::string> args : {std::vector<std::string>{option},
                                              {"run", "s.xml", option, value},
                                              {"call", "s.xml", "E", option, value},
                                              {"check", "s.xml", option, value}}) {
            Command command;
            std::string error;
            known = known || ParseCommand(args, command, error) ||
                    (error.find("unknown option \"" + option) == std::string::npos &&
                     !error.starts_with("unknown command"));
        }
        EXPECT_TRUE(known) << option;
        ++options;
    }
    EXPECT_GE(options, 25);
}

TEST(Runner, CommandLineErrorsSayWhatWasExpected) {
    const struct {
        std::vector<std::string> args;
        const char* says;
    } cases[] = {
        {{}, "tarvo: expected a command: run, call, panel, check or blocks"},
        {{"record"},
         "tarvo: unknown command \"record\"; expected run, call, panel, check or blocks"},
        {{"check"}, "tarvo: check: expected a setup file: tarvo check SETUP... [--json]"},
        {{"run"}, "tarvo: run: expected a setup file: tarvo run SETUP [options]"},
        {{"run", "s.xml", "--for", "90x"}, "tarvo: --for: \"90x\" is no duration; expected a"},
        {{"run", "s.xml", "--for"}, "tarvo: --for needs a value"},
        {{"run", "s.xml", "--for", "3651d"},
         "tarvo: --for: 3651d is longer than a run may last: 3650 days (ten years)"},
        {{"run", "s.xml", "--serial", "COM2:"}, "tarvo: --serial: expected NAME=PATH"},
        {{"run", "s.xml", "--level", "loud"}, "tarvo: --level: expected debug, status, warning"},
        {{"run", "s.xml", "--realtime", "--start", "2024-01-01 00:00:00"}, "tarvo: --start: only"},
        {{"run", "s.xml", "--start", "2024-02-30 00:00:00"}, "tarvo: --start: expected"},
        {{"run", "s.xml", "--fast"}, "tarvo: run: unknown option \"--fast\""},
        {{"run", "s.xml", "--realtime=maybe"}, "tarvo: --realtime takes no value"},
        {{"run", "a.xml", "b.xml"}, "tarvo: run: one setup file only"},
        {{"run", "s.xml", "--serial", "COM2:=/dev/null", "--transcript", "t"},
         "tarvo: --transcript: only with the in-process simulator (not with --serial)"},
        {{"run", "s.xml", "--no-sim", "--sim-fault", "silence"},
         "tarvo: --sim-fault: only with the in-process simulator (not with --no-sim)"},
        {{"run", "s.xml", "--sim-fault", "deafness"}, "tarvo: --sim-fault deafness: unknown fault"},
        {{"run", "s.xml", "--sim-clock-offset", "2s"}, "tarvo: --sim-clock-offset: expected a"},
        {{"run", "s.xml", "--set-machine-clock"}, "tarvo: --set-machine-clock: only a run in"},
        {{"run", "s.xml", "--sim-line-faults", "5"}, "tarvo: --sim-line-faults: expected a"},
        {{"run", "s.xml", "--sim-line-faults", "101%"}, "tarvo: --sim-line-faults: expected a"},
        {{"run", "s.xml", "--seed", "-1"}, "tarvo: --seed: expected a whole number"},
        {{"run", "s.xml", "--no-sim", "--sim-line-faults", "5%"},
         "tarvo: --sim-line-faults: only with the in-process simulator (not with --no-sim)"},
        {{"panel"}, "tarvo: panel: expected a setup file: tarvo panel SETUP [options]"},
        {{"panel", "a.xml", "b.xml"}, "tarvo: panel: unexpected \"b.xml\""},
        {{"panel", "s.xml", "--no-sim", "--transcript", "t"},
         "tarvo: --transcript: only with the in-process simulator (not with --no-sim)"},
    };
    for (const auto& c : cases) {
        auto r = Tarvo(c.args);
        EXPECT_EQ(r.status, 2) << c.says;
        EXPECT_THAT(r.err, StartsWith(c.says));
    }
}

TEST(Runner, TheDemoSetupRecordsADayInVirtualTime) {
    TempDir dir;
    auto r = Tarvo(
        {"run", EXAMPLES_DIR "/demo-gauge.xml", "--for", "24h", "--start", "2024-06-01 00:00:30"},
        dir.Path());
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    // The Corvane plug-in beside the program is loaded; without a <Corvane> section it is left
    // at its defaults (nothing enabled), so no transmitter is attached and nothing is reported.
    EXPECT_EQ(r.out,
              "tarvo: recorded 1d00h00m00s of virtual time, 2024-06-01 00:00:30 to 2024-06-02 "
              "00:00:30, with 6 blocks and 1 plug-in\n\nRecording start and stop\n"
              "  report at recording start: none\n  report at recording stop: none\n"
              "  logger clock: not set\n");
    // A header and one row per schedule point of the day.
    const auto lines = [&](const char* file) { return std::ranges::count(dir.Read(file), '\n'); };
    EXPECT_EQ(lines("demo-stage.csv"), 1 + 96);
    EXPECT_EQ(lines("demo-airtemp.csv"), 1 + 48);
    EXPECT_EQ(lines("demo-battery.csv"), 1 + 24);
    EXPECT_THAT(dir.Read("demo-airtemp.csv"), HasSubstr("2024-06-01 01:05:00,0.0,error\n"));
}

TEST(Runner, ReadingsALogBlockCouldNotWriteFailTheRunWithTheirCountInTheSummary) {
    TempDir dir;
    dir.Write("full.xml",
              "<TarvoSetup>\n  <Blocks>\n"
              "    <Block Type=\"Source\" Name=\"A\" Interval=\"00:01:00\" />\n"
              "    <Block Type=\"Log\" Name=\"L\" File=\"/dev/full\" />\n"
              "    <Connection From=\"A\" To=\"L\" />\n  </Blocks>\n</TarvoSetup>\n");
    auto r = Tarvo({"run", dir.File("full.xml"), "--for", "1h"}, dir.Path());
    EXPECT_EQ(r.status, 4) << r.err;
    EXPECT_THAT(r.out, HasSubstr("\nReadings lost\n  Log \"L\": 60 readings not written to "
                                 "/dev/full\n"));
    // The block's warning, then tarvo's count; both before the summary (printed after them).
    EXPECT_THAT(r.err, ContainsRegex("WARNING Log \"L\": closing /dev/full failed: .*\n"
                                     "tarvo: 60 readings lost: a Log block could not write its "
                                     "file\n$"));
}

TEST(Runner, SetupPluginAndFileErrorsNameTheFileAndWhatWasExpected) {
    TempDir dir;
    const std::string bad = dir.File("bad.xml");
    const std::string broken = dir.File("broken.xml");
    dir.Write("bad.xml",
              "<TarvoSetup>\n  <Blocks>\n    <Block Type=\"Gauge\" Name=\"G\" />\n  </Blocks>\n"
              "</TarvoSetup>\n");
    dir.Write("broken.xml", "<TarvoSetup>\n  <Blocks>\n</TarvoSetup>\n");
    const struct {
        const char* legend;
        std::vector<std::string> args;
        std::string says;
    } cases[] = {
        {"an unknown block type",
         {"run", bad, "--plugin", TEST_PLUGIN_PATH},
         "tarvo: " + bad + ":3: unknown block type \"Gauge\"; known types: Source, Log, Scale\n"},
        {"XML that is not well-formed", {"run", broken}, "tarvo: " + broken + ":3:"},
        {"a missing setup file", {"run", dir.File("none.xml")}, "tarvo: " + dir.File("none.xml")},
        {"a plug-in without GetSetupTag",
         {"run", bad, "--plugin", TEST_PLUGIN_NOTAG_PATH},
         std::string("tarvo: ") + TEST_PLUGIN_NOTAG_PATH +
             ": not a plug-in: missing export GetSetupTag\n"},
        {"a log file that cannot be opened",
         {"run", bad, "--log", "/nonexistent/l"},
         "tarvo: --log: cannot open /nonexistent/l for appending\n"},
        {"a transcript file that cannot be written, before recording",
         {"run", EXAMPLES_DIR "/river-gauge.xml", "--transcript", "/nonexistent/t"},
         "tarvo: --transcript: cannot open /nonexistent/t for writing: "},
    };
    for (const auto& c : cases) {
        auto r = Tarvo(c.args, dir.Path());
        EXPECT_EQ(r.status, 1) << c.legend;
        EXPECT_THAT(r.err, StartsWith(c.says)) << c.legend;
        EXPECT_EQ(r.out, "") << c.legend;
    }
}

TEST(Runner, CtrlCStopsRecordingProperlyBeforeExiting) {
    TempDir dir;
    // Measuring every second for ten years keeps the run busy until the signal comes.
    dir.Write("long.xml",
              "<TarvoSetup>\n  <Blocks>\n"
              "    <Block Type=\"Source\" Name=\"Fast\" Interval=\"00:00:01\" />\n"
              "  </Blocks>\n  <TestPlugin>\n    <Settings />\n  </TestPlugin>\n</TarvoSetup>\n");
    Child child(TARVO_PROGRAM,
                {"run", dir.File("long.xml"), "--for", "3650d", "--level", "status", "--plugin",
                 TEST_PLUGIN_PATH},
                dir.Path());
    ASSERT_TRUE(child.WaitFor("Recording started")) << child.err;
    child.Signal(SIGINT);
    EXPECT_EQ(child.Finish(), 130);
    EXPECT_THAT(child.err,
                ContainsRegex("STATUS TestPlugin: engine stopped.*STATUS Recording stopped"));
    EXPECT_THAT(child.out, StartsWith("tarvo: interrupted after "));
}

// Installed side by side, the program finds its plug-ins by the export GetSetupTag alone.
TEST(Runner, ThePluginsBesideTheProgramAreFoundAndRunASetupOfOnlyAPluginSection) {
    TempDir dir;
    for (const char* file :
         {TARVO_PROGRAM, TARVO_LIBRARY_PATH, TEST_PLUGIN_PATH, TEST_PLUGIN_NOTAG_PATH}) {
        fs::copy_file(file, dir.File(fs::path(file).filename().string()));
    }
    auto r = Tarvo({"blocks"}, dir.Path(), dir.File("tarvo"));
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "Source  host\nLog     host\nScale   libtestplugin.so\n");
    EXPECT_EQ(r.err, "");

    dir.Write("plugin.xml",
              "<TarvoSetup>\n  <TestPlugin>\n    <Settings Alpha = \"1\" />\n  </TestPlugin>\n"
              "</TarvoSetup>\n");
    r = Tarvo({"run", "plugin.xml", "--for", "90s", "--level", "status", "--log", "run.log"},
              dir.Path(), dir.File("tarvo"));
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.out, StartsWith("tarvo: recorded 1m30s of virtual time"));
    EXPECT_THAT(r.out, HasSubstr("with 0 blocks and 1 plug-in\n"));
    EXPECT_THAT(
        dir.Read("run.log"),
        ContainsRegex("STATUS TestPlugin: engine started.*STATUS TestPlugin: engine stopped"));
    EXPECT_THAT(r.err, HasSubstr("TestPlugin: engine stopped"));
}

// ---- runs with the Corvane plug-in and the simulated transmitter, in virtual time

// The lines of `text` that begin with `lead`, each with its line end.
std::string Lines(const std::string& text, const std::string& lead) {
    std::istringstream lines(text);
    std::string line, found;
    while (std::getline(lines, line)) {
        if (line.starts_with(lead))
            found += line + "\n";
    }
    return found;
}

// The words of the summary line "  LABEL: ..." and of its continuation lines, as one text.
std::string Sequence(const std::string& out, const std::string& label) {
    const std::string lead = "  " + label + ": ";
    const auto at = out.find("\n" + lead);
    if (at == std::string::npos)
        return "<no line " + label + ">";
    std::istringstream lines(out.substr(at + 1 + lead.size()));
    std::string line, words;
    std::getline(lines, words);
    while (std::getline(lines, line) && line.rfind(std::string(lead.size(), ' '), 0) == 0)
        words += " " + line.substr(lead.size());
    return words;
}

// The river gauge's setup as the module pushes it: self-timed type 0 (no 251, no 862) in SHEF
// (232), random on.
const std::string kRiverGaugeStart =
    "506 771 200 300 338 40 37 35 202 206 204 208 212 214 223 225 42 232 302 306 318 320 304 "
    "310 200 770";
const std::string kStop = "771 200 300 338";

// A setup with only the transmitter on port index `port`, self-timed transmission enabled.
std::string TransmitterSetup(const std::string& port) {
    return "<TarvoSetup>\n  <Corvane>\n    <Common Port = \"" + port +
           "\" SatID = \"1234ABCD\" />\n    <SelfTimed Enabled = \"1\" Time = \"00:05:00\" "
           "Rate = \"01:00:00\" />\n  </Corvane>\n</TarvoSetup>\n";
}

// Runs TransmitterSetup(port) for 15 min from 2024-06-01 00:00:00 with `options`.
Result RunTransmitter(const std::string& port, const std::vector<std::string>& options) {
    TempDir dir;
    dir.Write("setup.xml", TransmitterSetup(port));
    std::vector<std::string> args = {"run",     dir.File("setup.xml"), "--for", "15m",
                                     "--start", "2024-06-01 00:00:00"};
    args.insert(args.end(), options.begin(), options.end());
    return Tarvo(args, dir.Path());
}

TEST(RunnerWithTransmitter, OperatorReportsArePrintedWhenShownAndRepeatedInTheSummary) {
    // The first sentence of each operator message.
    const std::string code1 =
        "A failure occurred trying to communicate with Corvane on recording start.";
    const std::string code2 =
        "Corvane rejected commands while trying to update its configuration on recording start.";
    const std::string code5 =
        "A failure occurred trying to disable Corvane transmissions on recording stop.";
    const std::string code6 =
        "Corvane rejected the Master Start command for the following reason: Battery too low";
    const struct {
        const char* legend;
        const char* fault;
        std::string startReport;  // "" for none
        std::string stopReport;
        std::string start;  // the start sequence as the transmitter saw it
        std::string stop;
        // What the logger saw fail, told at the default level as it happens and in the summary.
        std::vector<std::string> told;
        int status = 0;  // 3: the transmitter never answered
    } rows[] = {
        {"a refused 200 ends the start sequence",
         "refuse,code=200",
         code2,
         "",
         "506 771 200(refused)",
         kStop,
         {"recording start: 200 false (self-timed on, packet #3) refused: the transmitter answered "
          "0"}},
        {"a master start refused with a reason",
         "master-refusal,text=Battery too low",
         code6,
         "",
         kRiverGaugeStart + "(refused)",
         kStop,
         {"recording start: 770 (master start, packet #26) refused: the transmitter answered "
          "\"Battery too low\""}},
        {"\"Unknown command\" in answer to the master start is no refusal",
         "unknown-command,code=770",
         "",
         "",
         kRiverGaugeStart + "(unknown)",
         kStop,
         {}},
        // The self-timed messenger's dead-time wait ends with recording, and it asks once more
        // before its own stop comes.
        {"a silent transmitter: three attempts at the first command, then the stop's",
         "silence,count=all",
         code1,
         code5,
         "506(no answer) 506(no answer) 506(no answer)",
         "219(no answer) 219(no answer) 219(no answer) 771(no answer) 771(no answer) "
         "771(no answer)",
         {"recording start: 506 true (packet #1) failed: no answer in each of 3 attempts",
          "recording stop: 771 (master stop, packet #27) failed: no answer in each of 3 attempts"},
         3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.legend);
        auto r = RunTransmitter("0", {"--sim-fault", row.fault});
        EXPECT_EQ(r.status, row.status) << r.err;
        EXPECT_EQ(r.err.find("tarvo: the transmitter on COM2: never answered") != std::string::npos,
                  row.status == 3)
            << r.err;
        EXPECT_EQ(Sequence(r.out, "at recording start"), row.start) << r.out;
        EXPECT_EQ(Sequence(r.out, "at recording stop"), row.stop) << r.out;
        std::string told, summarized;
        for (const std::string& line : row.told) {
            told += "tarvo: " + line + "\n";
            const std::size_t colon = line.find(": ");
            summarized += "  at " + line.substr(0, colon) + ", " + line.substr(colon + 2) + "\n";
        }
        EXPECT_EQ(Lines(r.err, "tarvo: recording st"), told);
        EXPECT_EQ(Lines(r.out, "  at recording start, ") + Lines(r.out, "  at recording stop, "),
                  summarized);
        for (const auto& [phase, text] :
             {std::pair{"start", row.startReport}, std::pair{"stop", row.stopReport}}) {
            const std::string label = std::string("  report at recording ") + phase;
            if (text.empty()) {
                EXPECT_THAT(r.out, HasSubstr(label + ": none\n"));
                continue;
            }
            // Printed when shown, on standard error, and again in the summary.
            EXPECT_THAT(r.err, ContainsRegex("tarvo: operator message at recording " +
                                             std::string(phase) + ".*\n  " + text));
            EXPECT_THAT(r.out, ContainsRegex(label + " \\(2024-06-01 00:.*\\):\n    " + text));
        }
    }
}

TEST(RunnerWithTransmitter, TheLoggerClockIsSetFromATransmitterMoreThanASecondAway) {
    // The transmitter tells whole seconds, so the logger moves to the second the transmitter's
    // clock is in: by the offset less the fraction of a second the logger was into.
    const struct {
        const char* legend;
        const char* offset;
        const char* says;
    } rows[] = {
        {"one second ahead is left alone", "1", "  logger clock: not set\n"},
        {"two seconds ahead is taken", "2",
         "  logger clock set at recording start: to 2024-06-01 00:00:14 (moved 1."},
        {"three seconds behind is taken", "-3",
         "  logger clock set at recording start: to 2024-06-01 00:00:09 (moved 3."},
    };
    for (const auto& row : rows) {
        auto r = RunTransmitter("0", {"--sim-clock-offset", row.offset});
        EXPECT_EQ(r.status, 0) << row.legend << r.err;
        EXPECT_THAT(r.out, HasSubstr(row.says)) << row.legend;
        EXPECT_EQ(Sequence(r.out, "at recording stop"), kStop) << row.legend;
    }
}

TEST(RunnerWithTransmitter, TheSimulatorIsAttachedToThePortTheSetupSelectsUnlessThereIsNone) {
    auto r = RunTransmitter("7", {});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.out, HasSubstr("\nTransmitter on COM9: simulated in process\n"));
    EXPECT_EQ(Sequence(r.out, "at recording start"), kRiverGaugeStart);

    // Without a simulator, or with a Port that names no port, the module finds nothing.
    r = RunTransmitter("0", {"--no-sim"});
    EXPECT_THAT(r.out, HasSubstr("\nTransmitter on COM2: none attached (--no-sim)\n"));
    EXPECT_THAT(r.out, ::testing::Not(HasSubstr("Downlink")));
    const auto noPort = RunTransmitter("8", {});
    EXPECT_THAT(noPort.out, ::testing::Not(HasSubstr("Transmitter on")));
    EXPECT_THAT(noPort.err, HasSubstr("tarvo: warning: the <Corvane> section's Port 8 names no"));
    EXPECT_THAT(r.err, HasSubstr("tarvo: the transmitter on COM2: never answered: the port "
                                 "opened 0 times ("));
    EXPECT_THAT(noPort.err, HasSubstr("tarvo: the transmitter was never reached: Port 8 names "
                                      "no serial port\n"));
    for (const auto& run : {r, noPort}) {
        EXPECT_EQ(run.status, 3) << "never reached: " << run.err;
        EXPECT_THAT(run.out, HasSubstr("  report at recording start (2024-06-01 00:"));
    }
}

}  // namespace
