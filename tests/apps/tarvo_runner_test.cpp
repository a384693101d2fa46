// The `tarvo` runner: its command line, and the program run as a child process on setups in
// virtual time (a day takes moments, nothing here waits in real time).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "apps/tarvo/options.h"

namespace {

namespace fs = std::filesystem;
using tarvo::runner::Command;
using tarvo::runner::ParseCommand;
using tarvo::runner::ParseDuration;

class TempDir {
  public:
    TempDir() {
        char pattern[] = "/tmp/tarvo-runner-XXXXXX";
        path_ = mkdtemp(pattern);
    }
    ~TempDir() { fs::remove_all(path_); }
    const std::string& Path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "/" + name; }
    void Write(const std::string& name, const std::string& text) const {
        std::ofstream(File(name)) << text;
    }
    std::string Read(const std::string& name) const {
        std::ifstream in(File(name));
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    int Lines(const std::string& name) const {
        std::ifstream in(File(name));
        std::string line;
        int n = 0;
        while (std::getline(in, line))
            ++n;
        return n;
    }

  private:
    std::string path_;
};

// A child `tarvo` with its output on pipes.
class Child {
  public:
    Child(const std::string& program, const std::vector<std::string>& args,
          const std::string& cwd) {
        int out[2], err[2];
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(err, O_CLOEXEC), 0);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(out[1], 1);
            dup2(err[1], 2);
            if (chdir(cwd.c_str()) != 0)
                _exit(126);
            std::vector<char*> argv;
            argv.push_back(const_cast<char*>(program.c_str()));
            for (auto& a : args)
                argv.push_back(const_cast<char*>(a.c_str()));
            argv.push_back(nullptr);
            execv(program.c_str(), argv.data());
            _exit(127);
        }
        close(out[1]);
        close(err[1]);
        out_ = out[0];
        err_ = err[0];
    }

    // Reads standard error until `text` has appeared in it (or the child closed it).
    bool WaitForError(const std::string& text) {
        while (err.find(text) == std::string::npos) {
            if (!ReadSome(true))
                return false;
        }
        return true;
    }

    void Signal(int sig) { kill(pid_, sig); }

    // Reads everything and returns the exit status (128 + signal when killed).
    int Finish() {
        while (ReadSome(false)) {
        }
        int status = 0;
        waitpid(pid_, &status, 0);
        close(out_);
        close(err_);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    std::string out;
    std::string err;

  private:
    // One read from whichever pipe has data; false once both are closed (or, with
    // `errOnly`, once standard error is).
    bool ReadSome(bool errOnly) {
        pollfd fds[2] = {{err_, POLLIN, 0}, {out_, POLLIN, 0}};
        int n = errOnly ? 1 : 2;
        if (errClosed_ && (errOnly || outClosed_))
            return false;
        if (errClosed_)
            fds[0].fd = -1;
        if (outClosed_)
            fds[1].fd = -1;
        if (poll(fds, n, -1) < 0)
            return false;
        char buf[4096];
        for (int i = 0; i < n; ++i) {
            if (fds[i].revents == 0)
                continue;
            ssize_t got = read(fds[i].fd, buf, sizeof buf);
            if (got <= 0) {
                (i == 0 ? errClosed_ : outClosed_) = true;
            } else {
                (i == 0 ? err : out).append(buf, static_cast<size_t>(got));
            }
        }
        return true;
    }

    pid_t pid_ = -1;
    int out_ = -1;
    int err_ = -1;
    bool outClosed_ = false;
    bool errClosed_ = false;
};

struct Result {
    int status;
    std::string out;
    std::string err;
};

Result Tarvo(const std::vector<std::string>& args, const std::string& cwd = "/tmp",
             const std::string& program = TARVO_PROGRAM) {
    Child child(program, args, cwd);
    int status = child.Finish();
    return {status, child.out, child.err};
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
    for (const char* item :
         {"tarvo run SETUP", "--for DURATION", "--serial NAME=PATH", "--realtime", "--start TIME",
          "--plugin PATH", "--log FILE", "--level LEVEL", "tarvo blocks", "90s, 15m, 24h, 30d",
          "Ctrl-C", "130"}) {
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
    EXPECT_EQ(r.out,
              "tarvo: recorded 1d00h00m00s of virtual time, 2024-06-01 00:00:30 to 2024-06-02 "
              "00:00:30, with 6 blocks and 0 plug-ins\n");
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

}  // namespace
