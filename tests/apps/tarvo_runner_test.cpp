// The `tarvo` runner: its command line, and the program run as a child process on setups in
// virtual time (a day takes moments, nothing here waits in real time).
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>
#include <filesystem>
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
using tarvo::testing::Result;
using tarvo::testing::TempDir;

Result Tarvo(const std::vector<std::string>& args, const std::string& cwd = "/tmp",
             const std::string& program = TARVO_PROGRAM) {
    return tarvo::testing::Run(program, args, cwd);
}

const char* const kPluginOnlySetup =
    "<TarvoSetup>\n"
    "    <TestPlugin>\n"
    "        <Settings Alpha = \"1\" />\n"
    "    </TestPlugin>\n"
    "</TarvoSetup>\n";

TEST(RunnerOptions, DurationsTakeAUnitAndAddUp) {
    const struct {
        const char* text;
        bool ok;
        std::int64_t ms;
    } cases[] = {
        {"90s", true, 90'000},
        {"15m", true, 900'000},
        {"24h", true, 86'400'000},
        {"30d", true, 2'592'000'000},
        {"1h30m", true, 5'400'000},
        {"1d12h", true, 129'600'000},
        {"15", false, 0},
        {"90x", false, 0},
        {"", false, 0},
        {"-5m", false, 0},
        {"0s", false, 0},
        {"1.5h", false, 0},
        {"3651d", false, 0},
        {"h", false, 0},
        {"99999999999999999s", false, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        std::int64_t ms = -1;
        EXPECT_EQ(ParseDuration(c.text, ms), c.ok);
        if (c.ok) {
            EXPECT_EQ(ms, c.ms);
        }
    }
}

TEST(RunnerOptions, RunOptionsAreReadAndTimeIsVirtualUnlessADeviceOrRealTimeIsAsked) {
    Command c;
    std::string error;
    ASSERT_TRUE(ParseCommand({"run", "s.xml", "--for", "15m", "--level", "STATUS", "--log", "l",
                              "--plugin", "a.so", "--plugin", "b.so"},
                             c, error))
        << error;
    EXPECT_EQ(c.kind, Command::Kind::Run);
    EXPECT_EQ(c.run.setupPath, "s.xml");
    EXPECT_EQ(*c.run.durationMs, 900'000);
    EXPECT_EQ(*c.run.level, TReportLevel::Status);
    EXPECT_EQ(c.run.plugins, (std::vector<std::string>{"a.so", "b.so"}));
    EXPECT_TRUE(c.run.Virtual());

    ASSERT_TRUE(ParseCommand({"run", "s.xml", "--serial", "COM2:=/dev/pts/3"}, c, error));
    EXPECT_EQ(c.run.serial.at(0), (std::pair<std::string, std::string>{"COM2:", "/dev/pts/3"}));
    EXPECT_FALSE(c.run.Virtual());
    ASSERT_TRUE(ParseCommand({"run", "--realtime", "s.xml"}, c, error));
    EXPECT_FALSE(c.run.Virtual());
}

TEST(Runner, HelpIsCompleteAndTrue) {
    auto r = Tarvo({"--help"});
    EXPECT_EQ(r.status, 0);
    for (const char* item : {"tarvo run SETUP",
                             "--for DURATION",
                             "--serial NAME=PATH",
                             "--realtime",
                             "--start TIME",
                             "--plugin PATH",
                             "--log FILE",
                             "--level LEVEL",
                             "tarvo blocks",
                             "90s, 15m, 24h, 30d",
                             "Ctrl-C",
                             "130",
                             "--no-sim",
                             "--transcript FILE",
                             "--sim-fault SPEC",
                             "--sim-clock-offset SECONDS",
                             "--set-machine-clock",
                             "0 is COM2:",
                             "7 is COM9:",
                             "(refused)",
                             "(no answer)",
                             "(repeat)",
                             "(bad CRC)",
                             "downlink log:",
                             "(ignored)"}) {
        EXPECT_NE(r.out.find(item), std::string::npos) << item;
    }
    EXPECT_EQ(Tarvo({"run", "--help"}).out, r.out);
}

TEST(Runner, CommandLineErrorsSayWhatWasExpected) {
    const struct {
        std::vector<std::string> args;
        const char* says;
    } cases[] = {
        {{}, "tarvo: expected a command: run or blocks"},
        {{"record"}, "tarvo: unknown command \"record\"; expected run or blocks"},
        {{"run"}, "tarvo: run: expected a setup file: tarvo run SETUP [options]"},
        {{"run", "s.xml", "--for", "90x"},
         "tarvo: --for: \"90x\" is no duration; expected a number with a unit, such as 90s, 15m, "
         "24h, 30d or 1h30m"},
        {{"run", "s.xml", "--for"}, "tarvo: --for needs a value"},
        {{"run", "s.xml", "--serial", "COM2:"}, "tarvo: --serial: expected NAME=PATH"},
        {{"run", "s.xml", "--level", "loud"},
         "tarvo: --level: expected debug, status, warning or error, not \"loud\""},
        {{"run", "s.xml", "--realtime", "--start", "2024-01-01 00:00:00"},
         "tarvo: --start: only a run in virtual time can start at a chosen time"},
        {{"run", "s.xml", "--start", "2024-02-30 00:00:00"}, "tarvo: --start: expected"},
        {{"run", "s.xml", "--fast"}, "tarvo: run: unknown option \"--fast\""},
        {{"run", "a.xml", "b.xml"}, "tarvo: run: one setup file only"},
        {{"run", "s.xml", "--serial", "COM2:=/dev/null", "--transcript", "t"},
         "tarvo: --transcript: only with the in-process simulator (not with --serial)"},
        {{"run", "s.xml", "--no-sim", "--sim-fault", "silence"},
         "tarvo: --sim-fault: only with the in-process simulator (not with --no-sim)"},
        {{"run", "s.xml", "--sim-fault", "deafness"},
         "tarvo: --sim-fault deafness: unknown fault kind 'deafness'"},
        {{"run", "s.xml", "--sim-clock-offset", "2s"},
         "tarvo: --sim-clock-offset: expected a number of seconds such as 2 or -0.5, not \"2s\""},
        {{"run", "s.xml", "--set-machine-clock"},
         "tarvo: --set-machine-clock: only a run in real time"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.says);
        auto r = Tarvo(c.args);
        EXPECT_EQ(r.status, 2);
        EXPECT_EQ(r.err.rfind(c.says, 0), 0u) << r.err;
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
              "00:00:30, with 6 blocks and 1 plug-in\n"
              "\n"
              "Recording start and stop\n"
              "  report at recording start: none\n"
              "  report at recording stop: none\n"
              "  logger clock: not set\n");
    // A header and one row per schedule point of the day.
    EXPECT_EQ(dir.Lines("demo-stage.csv"), 1 + 96);
    EXPECT_EQ(dir.Lines("demo-airtemp.csv"), 1 + 48);
    EXPECT_EQ(dir.Lines("demo-battery.csv"), 1 + 24);
    EXPECT_NE(dir.Read("demo-airtemp.csv").find("2024-06-01 01:05:00,0.0,error\n"),
              std::string::npos);
}

TEST(Runner, SetupAndPluginErrorsNameTheFileAndWhatWasExpected) {
    TempDir dir;
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
         {"run", dir.File("bad.xml"), "--plugin", TEST_PLUGIN_PATH},
         "tarvo: " + dir.File("bad.xml") +
             ":3: unknown block type \"Gauge\"; known types: Source, Log, Scale\n"},
        {"XML that is not well-formed",
         {"run", dir.File("broken.xml")},
         "tarvo: " + dir.File("broken.xml") + ":3:"},
        {"a missing setup file", {"run", dir.File("none.xml")}, "tarvo: " + dir.File("none.xml")},
        {"a plug-in without GetSetupTag",
         {"run", dir.File("bad.xml"), "--plugin", TEST_PLUGIN_NOTAG_PATH},
         std::string("tarvo: ") + TEST_PLUGIN_NOTAG_PATH +
             ": not a plug-in: missing export GetSetupTag\n"},
        {"a log file that cannot be opened",
         {"run", dir.File("bad.xml"), "--log", "/nonexistent/l"},
         "tarvo: --log: cannot open /nonexistent/l for appending\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.legend);
        auto r = Tarvo(c.args, dir.Path());
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err.rfind(c.says, 0), 0u) << r.err;
    }
}

TEST(Runner, ASetupHoldingOnlyAPluginSectionRunsAndStartsAndStopsThePlugin) {
    TempDir dir;
    dir.Write("plugin.xml", kPluginOnlySetup);
    auto r = Tarvo({"run", dir.File("plugin.xml"), "--plugin", TEST_PLUGIN_PATH, "--for", "90s",
                    "--level", "status", "--log", dir.File("run.log")},
                   dir.Path());
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("recorded 1m30s of virtual time"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("with 0 blocks and 1 plug-in\n"), std::string::npos) << r.out;
    const std::string log = dir.Read("run.log");
    auto started = log.find("STATUS TestPlugin: engine started");
    auto stopped = log.find("STATUS TestPlugin: engine stopped");
    EXPECT_NE(started, std::string::npos) << log;
    EXPECT_NE(stopped, std::string::npos) << log;
    EXPECT_LT(started, stopped);
    EXPECT_NE(r.err.find("TestPlugin: engine stopped"), std::string::npos);
}

TEST(Runner, CtrlCStopsRecordingProperlyBeforeExiting) {
    TempDir dir;
    // Measuring every second for ten years keeps the run busy until the signal comes.
    dir.Write("long.xml",
              "<TarvoSetup>\n  <Blocks>\n"
              "    <Block Type=\"Source\" Name=\"Fast\" Interval=\"00:00:01\" />\n"
              "  </Blocks>\n"
              "  <TestPlugin>\n    <Settings />\n  </TestPlugin>\n</TarvoSetup>\n");
    Child child(TARVO_PROGRAM,
                {"run", dir.File("long.xml"), "--for", "3650d", "--level", "status", "--plugin",
                 TEST_PLUGIN_PATH},
                dir.Path());
    ASSERT_TRUE(child.WaitForError("Recording started")) << child.err;
    child.Signal(SIGINT);
    EXPECT_EQ(child.Finish(), 130);
    auto stop = child.err.find("STATUS TestPlugin: engine stopped");
    EXPECT_NE(stop, std::string::npos) << child.err;
    EXPECT_NE(child.err.find("STATUS Recording stopped", stop), std::string::npos) << child.err;
    EXPECT_EQ(child.out.rfind("tarvo: interrupted after ", 0), 0u) << child.out;
}

TEST(Runner, BlocksListsTheHostTypesAndThoseOfThePlugins) {
    auto r = Tarvo({"blocks", "--plugin", TEST_PLUGIN_PATH});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out,
              "Source  host\n"
              "Log     host\n"
              "Scale   libtestplugin.so\n");
}

// Installed side by side, the program finds its plug-ins by the export GetSetupTag alone.
TEST(Runner, ByDefaultThePluginsBesideTheProgramAreLoaded) {
    TempDir dir;
    for (const char* file :
         {TARVO_PROGRAM, TARVO_LIBRARY_PATH, TEST_PLUGIN_PATH, TEST_PLUGIN_NOTAG_PATH}) {
        fs::copy_file(file, dir.File(fs::path(file).filename().string()));
    }
    fs::permissions(dir.File("tarvo"), fs::perms::owner_exec, fs::perm_options::add);
    auto r = Tarvo({"blocks"}, dir.Path(), dir.File("tarvo"));
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out,
              "Source  host\n"
              "Log     host\n"
              "Scale   libtestplugin.so\n");
    EXPECT_EQ(r.err, "");

    dir.Write("plugin.xml", kPluginOnlySetup);
    r = Tarvo({"run", "plugin.xml", "--for", "15m"}, dir.Path(), dir.File("tarvo"));
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("with 0 blocks and 1 plug-in\n"), std::string::npos) << r.out;
}

// ---- runs with the Corvane plug-in and the simulated transmitter, in virtual time

// The words of the summary line "  LABEL: ..." and of its continuation lines, as one text.
std::string Sequence(const std::string& out, const std::string& label) {
    const std::string lead = "  " + label + ": ";
    const auto at = out.find("\n" + lead);
    if (at == std::string::npos)
        return "<no line " + label + ">";
    std::istringstream lines(out.substr(at + 1));
    std::string line;
    std::getline(lines, line);
    std::string words = line.substr(lead.size());
    while (std::getline(lines, line) && line.rfind(std::string(lead.size(), ' '), 0) == 0)
        words += " " + line.substr(lead.size());
    return words;
}

// The type codes of the requests in a transcript file, in order.
std::vector<int> RequestTypes(const std::string& jsonLines) {
    std::vector<int> types;
    std::istringstream lines(jsonLines);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.find("\"direction\":\"request\"") == std::string::npos)
            continue;
        const auto at = line.find("\"type\":");
        types.push_back(at == std::string::npos ? -1 : std::atoi(line.c_str() + at + 7));
    }
    return types;
}

// The river gauge's setup as the module pushes it: self-timed type 0 (no 251, no 862) in SHEF
// (232), random on.
const char* const kRiverGaugeStart =
    "506 771 200 300 338 40 37 35 202 206 204 208 212 214 223 225 42 232 302 306 318 320 304 "
    "310 200 770";
const char* const kStop = "771 200 300 338";

// A setup with only the transmitter on port index `port`, self-timed transmission enabled.
std::string TransmitterSetup(const std::string& port) {
    return "<TarvoSetup>\n  <Corvane>\n    <Common Port = \"" + port +
           "\" SatID = \"1234ABCD\" />\n    <SelfTimed Enabled = \"1\" Time = \"00:05:00\" "
           "Rate = \"01:00:00\" />\n  </Corvane>\n</TarvoSetup>\n";
}

// Every run here starts at the same instant, so that its times can be compared.
const char* const kStartAt = "2024-06-01 00:00:00";

TEST(RunnerWithTransmitter, TheRiverGaugeStartsAndStopsTheSimulatedTransmitterInVirtualTime) {
    TempDir dir;
    auto r = Tarvo({"run", EXAMPLES_DIR "/river-gauge.xml", "--for", "1h", "--start", kStartAt,
                    "--transcript", dir.File("line.jsonl")},
                   dir.Path());
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find("with 4 blocks and 1 plug-in\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("  report at recording start: none\n"
                         "  report at recording stop: none\n"
                         "  logger clock: not set\n"),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("\nTransmitter on COM2: simulated in process\n"), std::string::npos)
        << r.out;
    EXPECT_EQ(Sequence(r.out, "at recording start"), kRiverGaugeStart) << r.out;
    EXPECT_EQ(Sequence(r.out, "while recording"), "none") << r.out;
    EXPECT_EQ(Sequence(r.out, "at recording stop"), kStop) << r.out;
    EXPECT_NE(r.out.find("  requests 30, replies 30, bad frames 0 (bad CRC 0, noise 0)\n"
                         "  refused 0, unknown 0, unanswered 0, repeats 0, garbled replies 0, "
                         "restarts 0\n"),
              std::string::npos)
        << r.out;
    // The self-timed set-up reached the transmitter: its window at 00:05 on channel 151 came.
    EXPECT_NE(r.out.find("\nDownlink log of the simulated transmitter\n"), std::string::npos);
    EXPECT_NE(r.out.find("  2024-06-01 00:05:05  self-timed       channel 151  "),
              std::string::npos)
        << r.out;

    // The transcript file holds the same requests, in the same order.
    const auto types = RequestTypes(dir.Read("line.jsonl"));
    std::string joined;
    for (int t : types)
        joined += (joined.empty() ? "" : " ") + std::to_string(t);
    EXPECT_EQ(joined, std::string(kRiverGaugeStart) + " " + kStop);
    EXPECT_EQ(dir.Lines("river-stage.csv"), 1 + 4);
}

TEST(RunnerWithTransmitter, OperatorReportsArePrintedWhenShownAndRepeatedInTheSummary) {
    const std::string code1 =
        "A failure occurred trying to communicate with Corvane on recording start. Please check "
        "connections. If a Corvane is connected, it may not be properly configured.";
    const std::string code2 =
        "Corvane rejected commands while trying to update its configuration on recording start. "
        "Make sure Corvane's Master Switch is off and that no transmission is in progress.";
    const std::string code5 =
        "A failure occurred trying to disable Corvane transmissions on recording stop. Please "
        "check connections. If a Corvane is connected, it may not be properly configured.";
    const std::string code6 =
        "Corvane rejected the Master Start command for the following reason: Battery too low";
    const struct {
        const char* legend;
        std::vector<std::string> options;
        std::string startReport;  // "" for none
        std::string stopReport;
        std::string start;  // the start sequence as the transmitter saw it
        std::string stop;
    } rows[] = {
        {"a refused 200 ends the start sequence",
         {"--sim-fault", "refuse,code=200"},
         code2,
         "",
         "506 771 200(refused)",
         kStop},
        {"a master start refused with a reason",
         {"--sim-fault", "master-refusal,text=Battery too low"},
         code6,
         "",
         "506 771 200 300 338 40 37 35 202 206 204 208 212 214 223 225 42 232 302 306 318 320 "
         "304 310 200 770(refused)",
         kStop},
        {"\"Unknown command\" in answer to the master start is no refusal",
         {"--sim-fault", "unknown-command,code=770"},
         "",
         "",
         "506 771 200 300 338 40 37 35 202 206 204 208 212 214 223 225 42 232 302 306 318 320 "
         "304 310 200 770(unknown)",
         kStop},
        {"a silent transmitter: three attempts at the first command, then the stop's",
         {"--sim-fault", "silence,count=all"},
         code1,
         code5,
         "506(no answer) 506(no answer) 506(no answer)",
         "771(no answer) 771(no answer) 771(no answer)"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.legend);
        TempDir dir;
        dir.Write("setup.xml", TransmitterSetup("0"));
        std::vector<std::string> args = {"run",   dir.File("setup.xml"), "--for", "15m", "--start",
                                         kStartAt};
        args.insert(args.end(), row.options.begin(), row.options.end());
        auto r = Tarvo(args, dir.Path());
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(Sequence(r.out, "at recording start"), row.start) << r.out;
        EXPECT_EQ(Sequence(r.out, "at recording stop"), row.stop) << r.out;
        for (const auto& [phase, text] :
             {std::pair{"start", row.startReport}, std::pair{"stop", row.stopReport}}) {
            const std::string label = std::string("report at recording ") + phase;
            if (text.empty()) {
                EXPECT_NE(r.out.find("  " + label + ": none\n"), std::string::npos) << r.out;
                continue;
            }
            // Printed when shown, on standard error, and again in the summary.
            EXPECT_NE(r.err.find(std::string("tarvo: operator message at recording ") + phase),
                      std::string::npos)
                << r.err;
            EXPECT_NE(r.err.find("\n  " + text), std::string::npos) << r.err;
            EXPECT_NE(r.out.find("  " + label + " (2024-06-01 00:"), std::string::npos) << r.out;
            EXPECT_NE(r.out.find("):\n    " + text), std::string::npos) << r.out;
        }
    }
}

TEST(RunnerWithTransmitter, WithoutASimulatorTheModuleFindsNothingOnThePortAndSaysSo) {
    TempDir dir;
    auto r =
        Tarvo({"run", EXAMPLES_DIR "/river-gauge.xml", "--for", "15m", "--no-sim"}, dir.Path());
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("  report at recording start ("), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("    A failure occurred trying to communicate with Corvane on recording "
                         "start."),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("    A failure occurred trying to disable Corvane transmissions on "
                         "recording stop."),
              std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("\nTransmitter on COM2: none attached (--no-sim)\n"), std::string::npos)
        << r.out;
    EXPECT_EQ(r.out.find("Downlink"), std::string::npos) << r.out;
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
        SCOPED_TRACE(row.legend);
        TempDir dir;
        dir.Write("setup.xml", TransmitterSetup("0"));
        auto r = Tarvo({"run", dir.File("setup.xml"), "--for", "15m", "--start", kStartAt,
                        "--sim-clock-offset", row.offset},
                       dir.Path());
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_NE(r.out.find(row.says), std::string::npos) << r.out;
        EXPECT_EQ(Sequence(r.out, "at recording start"), kRiverGaugeStart) << r.out;
        EXPECT_EQ(Sequence(r.out, "at recording stop"), kStop) << r.out;
    }
}

TEST(RunnerWithTransmitter, TheSimulatorIsAttachedToThePortTheSetupSelects) {
    const struct {
        const char* legend;
        const char* port;
        const char* transmitter;  // the summary's line, "" for none
        const char* warning;      // "" for none
        bool reportAtStart;
    } rows[] = {
        {"Port 0 is COM2:", "0", "Transmitter on COM2: simulated in process", "", false},
        {"Port 2 is COM4:", "2", "Transmitter on COM4: simulated in process", "", false},
        {"Port 7 is COM9:", "7", "Transmitter on COM9: simulated in process", "", false},
        {"Port 8 names no port: nothing attached and the module cannot open one", "8", "",
         "tarvo: warning: the <Corvane> section's Port 8 names no serial port", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.legend);
        TempDir dir;
        dir.Write("setup.xml", TransmitterSetup(row.port));
        auto r = Tarvo({"run", dir.File("setup.xml"), "--for", "15m"}, dir.Path());
        EXPECT_EQ(r.status, 0) << r.err;
        if (*row.transmitter != '\0') {
            EXPECT_NE(r.out.find(std::string("\n") + row.transmitter + "\n"), std::string::npos)
                << r.out;
            EXPECT_EQ(Sequence(r.out, "at recording start").substr(0, 12), "506 771 200 ") << r.out;
        } else {
            EXPECT_EQ(r.out.find("Transmitter on"), std::string::npos) << r.out;
        }
        if (*row.warning != '\0') {
            EXPECT_NE(r.err.find(row.warning), std::string::npos) << r.err;
        }
        EXPECT_EQ(r.out.find("  report at recording start: none\n") == std::string::npos,
                  row.reportAtStart)
            << r.out;
    }
}

TEST(RunnerWithTransmitter, ATranscriptFileThatCannotBeWrittenEndsTheRunBeforeRecording) {
    TempDir dir;
    auto r = Tarvo({"run", EXAMPLES_DIR "/river-gauge.xml", "--transcript", "/nonexistent/t"},
                   dir.Path());
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("tarvo: --transcript: cannot open /nonexistent/t for writing: ", 0), 0u)
        << r.err;
    EXPECT_EQ(r.out, "");
}

}  // namespace
