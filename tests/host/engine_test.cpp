// The host engine: graphs from the setup file, recording on the virtual clock, saving back.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "host/block_log.h"
#include "host/clock.h"
#include "host/engine.h"
#include "host/report_sinks.h"
#include "platform/clock.h"
#include "platform/engine.h"
#include "platform/module_factory.h"

namespace {

using tarvo::host::HostEngine;
using tarvo::host::ScopedVirtualClock;

constexpr DWORD kHour = 3'600'000;
constexpr DWORD kDay = 24 * kHour;

class TempDir {
  public:
    TempDir() {
        char pattern[] = "/tmp/tarvo-engine-XXXXXX";
        path_ = mkdtemp(pattern);
        // Log blocks write relative names into the current folder.
        previous_ = std::filesystem::current_path();
        std::filesystem::current_path(path_);
    }
    ~TempDir() {
        std::filesystem::current_path(previous_);
        std::filesystem::remove_all(path_);
    }
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

  private:
    std::string path_;
    std::filesystem::path previous_;
};

struct Row {
    std::string time;
    std::string value;
    std::string status;
};

std::vector<Row> ReadLog(const std::string& path) {
    std::ifstream in(path);
    std::string line;
    std::vector<Row> rows;
    std::getline(in, line);  // header
    while (std::getline(in, line)) {
        Row r;
        auto a = line.find(',');
        auto b = line.find(',', a + 1);
        r.time = line.substr(0, a);
        r.value = line.substr(a + 1, b - a - 1);
        r.status = line.substr(b + 1);
        rows.push_back(r);
    }
    return rows;
}

std::string SetupText(const std::string& blocks) {
    return "<TarvoSetup>\n  <Blocks>\n" + blocks + "  </Blocks>\n</TarvoSetup>\n";
}

std::string SourceAndLog(const std::string& sourceAttributes, const std::string& logFile) {
    return SetupText("    <Block Type=\"Source\" Name=\"Stage\" " + sourceAttributes +
                     " />\n"
                     "    <Block Type=\"Log\" Name=\"StageLog\" File=\"" +
                     logFile +
                     "\" />\n"
                     "    <Connection From=\"Stage\" To=\"StageLog\" />\n");
}

// Loads the setup at `path`, records for `ms` of virtual time, and stops.
void Record(HostEngine& engine, const std::string& path, DWORD ms) {
    std::string error;
    ASSERT_TRUE(engine.LoadSetup(path, error)) << error;
    ASSERT_TRUE(engine.Run());
    Sleep(ms);
    ASSERT_TRUE(engine.Stop());
}

TEST(Engine, ExistsBeforeAnySetupStoppedWithItsStopEventSet) {
    CEngine& engine = GetEngine();
    EXPECT_FALSE(engine.IsRunning());
    EXPECT_TRUE(engine.GetStopEvent().IsSet());
    EXPECT_EQ(engine.GetModuleCount(), 0);
    EXPECT_EQ(&engine, &GetEngine());
}

TEST(Engine, StopEventIsClearWhileRecordingAndSetAfterStop) {
    ScopedVirtualClock clock(TTime(2024, 3, 10, 0, 0, 0));
    HostEngine engine;
    std::string error;
    ASSERT_TRUE(engine.NewSetup(error)) << error;
    ASSERT_TRUE(engine.GetStopEvent().IsSet());
    ASSERT_TRUE(engine.Run());
    EXPECT_TRUE(engine.IsRunning());
    EXPECT_FALSE(engine.GetStopEvent().IsSet());
    EXPECT_EQ(WaitForSingleObject(engine.GetStopEvent(), 1000), WAIT_TIMEOUT);
    ASSERT_TRUE(engine.Stop());
    EXPECT_FALSE(engine.IsRunning());
    EXPECT_EQ(WaitForSingleObject(engine.GetStopEvent(), 0), WAIT_OBJECT_0);
}

TEST(Engine, SetupLockIsExclusiveAndTimesOut) {
    ScopedVirtualClock clock(TTime(2024, 3, 10, 0, 0, 0));
    HostEngine engine;
    ASSERT_TRUE(engine.LockSetup(1000, 0));
    TTime before = TTime::GetCurrentTime();
    bool second = true;
    TThread other([&] { second = engine.LockSetup(1000, 0); }, "other user");
    other.Join();
    EXPECT_FALSE(second);
    EXPECT_EQ((TTime::GetCurrentTime() - before).GetTotalMilliseconds(), 1000);
    engine.UnlockSetup();
    EXPECT_TRUE(engine.LockSetup(0, 0));
    engine.UnlockSetup();
}

// A source and a Log block over one simulated day: exactly the readings the schedule implies.
TEST(Engine, SourceAndLogOverADayGiveExactlyTheScheduledReadings) {
    struct Case {
        const char* legend;
        const char* interval;
        const char* offset;
        TTime start;
        size_t count;
        const char* first;
        const char* last;
    };
    const Case cases[] = {
        {"quarter hours from half a minute past midnight", "00:15:00", "00:00:00",
         TTime(2024, 3, 10, 0, 0, 30), 96, "2024-03-10 00:15:00", "2024-03-11 00:00:00"},
        {"hourly at five past, starting mid-morning", "01:00:00", "00:05:00",
         TTime(2024, 3, 10, 9, 30, 0), 24, "2024-03-10 10:05:00", "2024-03-11 09:05:00"},
        {"a start on a schedule point measures at once", "00:10:00", "00:03:00",
         TTime(2024, 3, 10, 12, 3, 0), 144, "2024-03-10 12:03:00", "2024-03-11 11:53:00"},
        {"an offset past the interval wraps", "00:30:00", "00:45:00", TTime(2024, 3, 10, 0, 0, 1),
         48, "2024-03-10 00:15:00", "2024-03-10 23:45:00"},
        {"a day crosses the month's end", "06:00:00", "00:00:00", TTime(2024, 2, 29, 3, 0, 0), 4,
         "2024-02-29 06:00:00", "2024-03-01 00:00:00"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.legend);
        TempDir dir;
        dir.Write("setup.xml", SourceAndLog(std::string("Mode=\"Ramp\" Value=\"0\" Slope=\"1\" "
                                                        "Interval=\"") +
                                                c.interval + "\" Offset=\"" + c.offset + "\"",
                                            "stage.csv"));
        {
            ScopedVirtualClock clock(c.start);
            HostEngine engine;
            Record(engine, dir.File("setup.xml"), kDay);
            engine.Shutdown();
        }
        auto rows = ReadLog(dir.File("stage.csv"));
        ASSERT_EQ(rows.size(), c.count);
        EXPECT_EQ(rows.front().time, c.first);
        EXPECT_EQ(rows.back().time, c.last);
        // Every row is one interval after the one before, and the ramp shows the elapsed time.
        TTimeSpan interval = StrToTimeSpan(std::wstring(c.interval, c.interval + 8));
        for (size_t i = 0; i < rows.size(); ++i) {
            EXPECT_EQ(rows[i].status, "ok");
            if (i == 0)
                continue;
            int y, mo, d, h, mi, s, y2, mo2, d2, h2, mi2, s2;
            sscanf(rows[i - 1].time.c_str(), "%d-%d-%d %d:%d:%d", &y, &mo, &d, &h, &mi, &s);
            sscanf(rows[i].time.c_str(), "%d-%d-%d %d:%d:%d", &y2, &mo2, &d2, &h2, &mi2, &s2);
            EXPECT_EQ(TTime(y2, mo2, d2, h2, mi2, s2) - TTime(y, mo, d, h, mi, s), interval)
                << rows[i].time;
        }
    }
}

TEST(Engine, RampValuesFollowTheTimeSinceRecordingStarted) {
    TempDir dir;
    dir.Write("setup.xml", SourceAndLog("Mode=\"Ramp\" Value=\"10\" Slope=\"2\" "
                                        "Interval=\"01:00:00\" RightDigits=\"1\"",
                                        "ramp.csv"));
    {
        ScopedVirtualClock clock(TTime(2024, 3, 10, 0, 30, 0));
        HostEngine engine;
        Record(engine, dir.File("setup.xml"), 3 * kHour);
        engine.Shutdown();
    }
    auto rows = ReadLog(dir.File("ramp.csv"));
    ASSERT_EQ(rows.size(), 3u);
    // Log writes with its own Precision (2); the ramp runs from 00:30.
    EXPECT_EQ(rows[0].value, "11.00");
    EXPECT_EQ(rows[1].value, "13.00");
    EXPECT_EQ(rows[2].value, "15.00");
}

// Readings marked in error or without data reach the Log block as such, whatever makes them.
TEST(Engine, ErrorAndNoDataReadingsReachTheLogAsSuch) {
    struct Case {
        const char* legend;
        const char* attributes;
        std::vector<std::string> statuses;
        std::vector<std::string> values;
    };
    const Case cases[] = {
        {"list entries",
         "Mode=\"List\" Values=\"1.5,ERROR,NODATA,2.25\"",
         {"ok", "error", "nodata", "ok", "ok"},
         {"1.50", "0.00", "", "2.25", "1.50"}},
        {"every n-th reading",
         "Mode=\"Constant\" Value=\"7\" ErrorEvery=\"2\" NoDataEvery=\"5\"",
         {"ok", "error", "ok", "error", "nodata"},
         {"7.00", "7.00", "7.00", "7.00", ""}},
        {"an unknown mode marks every reading in error",
         "Mode=\"Triangle\"",
         {"error", "error", "error", "error", "error"},
         {"0.00", "0.00", "0.00", "0.00", "0.00"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.legend);
        TempDir dir;
        dir.Write("setup.xml",
                  SourceAndLog(std::string(c.attributes) + " Interval=\"00:01:00\"", "l.csv"));
        {
            tarvo::host::SetStderrLevel(TReportLevel::Error, false);
            ScopedVirtualClock clock(TTime(2024, 3, 10, 0, 0, 30));
            HostEngine engine;
            Record(engine, dir.File("setup.xml"), 5 * 60'000);
            engine.Shutdown();
            tarvo::host::SetStderrLevel(TReportLevel::Warning, true);
        }
        auto rows = ReadLog(dir.File("l.csv"));
        ASSERT_EQ(rows.size(), c.statuses.size());
        for (size_t i = 0; i < rows.size(); ++i) {
            EXPECT_EQ(rows[i].status, c.statuses[i]) << "row " << i;
            EXPECT_EQ(rows[i].value, c.values[i]) << "row " << i;
        }
    }
}

TEST(Engine, CsvSourceHoldsTheLastRowAtOrBeforeEachReading) {
    TempDir dir;
    // The source's file is found beside the setup; the log goes to the current folder.
    std::filesystem::create_directory(dir.File("conf"));
    dir.Write("conf/levels.csv",
              "time,value\n"
              "# a comment\n"
              "2024-03-10 00:02:00,1.25\n"
              "2024-03-10 00:04:00,ERROR\n"
              "2024-03-10 00:05:00,\n"
              "2024-03-10 00:06:30,3\n");
    dir.Write("conf/setup.xml",
              SourceAndLog("Mode=\"CSV\" File=\"levels.csv\" Interval=\"00:01:00\"", "out.csv"));
    {
        ScopedVirtualClock clock(TTime(2024, 3, 10, 0, 0, 30));
        HostEngine engine;
        Record(engine, dir.File("conf/setup.xml"), 8 * 60'000);
        engine.Shutdown();
    }
    auto rows = ReadLog(dir.File("out.csv"));
    std::vector<std::string> expected = {"nodata", "ok",     "ok", "error",
                                         "nodata", "nodata", "ok", "ok"};
    ASSERT_EQ(rows.size(), expected.size());
    for (size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(rows[i].status, expected[i]) << rows[i].time;
    EXPECT_EQ(rows[1].value, "1.25");
    EXPECT_EQ(rows[7].value, "3.00");
}

// A chain and a fan-out: every block fed by one that produced runs in the same pass.
TEST(Engine, ReadingsFlowAlongAChainAndAFanOutInOnePass) {
    TempDir dir;
    dir.Write("setup.xml", SetupText("    <Block Type=\"Log\" Name=\"Second\" File=\"b.csv\" />\n"
                                     "    <Block Type=\"Log\" Name=\"First\" File=\"a.csv\" />\n"
                                     "    <Block Type=\"Source\" Name=\"S\" Mode=\"List\" "
                                     "Values=\"1,2,3\" Interval=\"00:20:00\" />\n"
                                     "    <Block Type=\"Log\" Name=\"Side\" File=\"c.csv\" />\n"
                                     "    <Connection From=\"First\" To=\"Second\" />\n"
                                     "    <Connection From=\"S\" Output=\"Output\" To=\"First\" "
                                     "Input=\"2\" />\n"
                                     "    <Connection From=\"S\" To=\"Side\" />\n"));
    {
        ScopedVirtualClock clock(TTime(2024, 3, 10, 0, 0, 30));
        HostEngine engine;
        Record(engine, dir.File("setup.xml"), kHour);
        engine.Shutdown();
    }
    for (const char* file : {"a.csv", "b.csv", "c.csv"}) {
        SCOPED_TRACE(file);
        auto rows = ReadLog(dir.File(file));
        ASSERT_EQ(rows.size(), 3u);
        EXPECT_EQ(rows[0].time, "2024-03-10 00:20:00");
        EXPECT_EQ(rows[2].value, "3.00");
    }
}

TEST(Engine, DisabledBlocksNeitherRunNorPassReadingsOn) {
    TempDir dir;
    dir.Write("setup.xml",
              SetupText("    <Block Type=\"Source\" Name=\"S\" Interval=\"00:10:00\" />\n"
                        "    <Block Type=\"Log\" Name=\"Off\" Enabled=\"false\" "
                        "File=\"off.csv\" />\n"
                        "    <Block Type=\"Log\" Name=\"After\" File=\"after.csv\" />\n"
                        "    <Connection From=\"S\" To=\"Off\" />\n"
                        "    <Connection From=\"Off\" To=\"After\" />\n"));
    {
        ScopedVirtualClock clock(TTime(2024, 3, 10, 0, 0, 30));
        HostEngine engine;
        Record(engine, dir.File("setup.xml"), kHour);
        engine.Shutdown();
    }
    EXPECT_FALSE(std::filesystem::exists(dir.File("off.csv")));
    EXPECT_TRUE(ReadLog(dir.File("after.csv")).empty());
}

// Setting the logger's clock moves the schedule to the new time instead of catching up.
TEST(Engine, AClockSetRestartsTheScheduleFromTheNewTime) {
    TempDir dir;
    dir.Write("setup.xml", SourceAndLog("Interval=\"00:10:00\"", "l.csv"));
    {
        ScopedVirtualClock clock(TTime(2024, 3, 10, 0, 0, 30));
        HostEngine engine;
        std::string error;
        ASSERT_TRUE(engine.LoadSetup(dir.File("setup.xml"), error)) << error;
        ASSERT_TRUE(engine.Run());
        Sleep(25 * 60'000);  // 00:25:30: readings at 00:10 and 00:20
        SetSystemTime(TTime(2024, 3, 10, 6, 0, 30).GetAsSystemTime());
        Sleep(25 * 60'000);  // 06:25:30: readings at 06:10 and 06:20
        ASSERT_TRUE(engine.Stop());
        engine.Shutdown();
    }
    auto rows = ReadLog(dir.File("l.csv"));
    ASSERT_EQ(rows.size(), 4u);
    EXPECT_EQ(rows[1].time, "2024-03-10 00:20:00");
    EXPECT_EQ(rows[2].time, "2024-03-10 06:10:00");
}

TEST(Engine, ARestartedRecordingContinuesTheLogFile) {
    TempDir dir;
    dir.Write("setup.xml", SourceAndLog("Interval=\"00:10:00\"", "l.csv"));
    {
        ScopedVirtualClock clock(TTime(2024, 3, 10, 0, 0, 30));
        HostEngine engine;
        std::string error;
        ASSERT_TRUE(engine.LoadSetup(dir.File("setup.xml"), error)) << error;
        for (int run = 0; run < 2; ++run) {
            ASSERT_TRUE(engine.Run());
            Sleep(30 * 60'000);
            ASSERT_TRUE(engine.Stop());
        }
        engine.Shutdown();
    }
    EXPECT_EQ(ReadLog(dir.File("l.csv")).size(), 6u);
}

// Malformed graphs give errors that name the file, the line and what was expected.
TEST(Engine, MalformedGraphsAreRefusedWithFileLineAndWhatWasExpected) {
    struct Case {
        const char* legend;
        std::string blocks;  // the <Blocks> content, starting on line 3
        int line;
        const char* says;
    };
    const std::string source = "    <Block Type=\"Source\" Name=\"S\" />\n";
    const std::string log = "    <Block Type=\"Log\" Name=\"L\" />\n";
    const Case cases[] = {
        {"unknown block type", source + "    <Block Type=\"Thermometer\" Name=\"T\" />\n", 4,
         "unknown block type \"Thermometer\"; known types: Source, Log"},
        {"connection to a block that does not exist",
         source + log + "    <Connection From=\"S\" To=\"Nowhere\" />\n", 5,
         "names no block \"Nowhere\""},
        {"connection from a block that does not exist",
         log + "    <Connection From=\"Ghost\" To=\"L\" />\n", 4, "names no block \"Ghost\""},
        {"duplicate block name", source + log + "    <Block Type=\"Log\" Name=\"S\" />\n", 5,
         "duplicate block name \"S\" (first used on line 3)"},
        {"unknown property", "    <Block Type=\"Source\" Name=\"S\" Colour=\"red\" />\n", 3,
         "block \"S\" (Source) has no property \"Colour\"; its properties: Mode, Value"},
        {"property of the wrong kind",
         "    <Block Type=\"Source\" Name=\"S\"\n"
         "           RightDigits=\"two\" />\n",
         4, "property \"RightDigits\" of block \"S\" must be an integer, not \"two\""},
        {"unknown port", source + log + "    <Connection From=\"S\" Output=\"Out\" To=\"L\" />\n",
         5, "block \"S\" (Source) has no output \"Out\"; its outputs: Output"},
        {"an input fed twice",
         source + log + "    <Block Type=\"Source\" Name=\"S2\" />\n" +
             "    <Connection From=\"S\" To=\"L\" />\n" +
             "    <Connection From=\"S2\" To=\"L\" />\n",
         7, "input \"Input\" of block \"L\" is already connected (line 6)"},
        {"a loop",
         log + "    <Block Type=\"Log\" Name=\"M\" />\n" +
             "    <Connection From=\"L\" To=\"M\" />\n" +
             "    <Connection From=\"M\" To=\"L\" />\n",
         6, "connections form a loop through block \"L\""},
        {"a block without a type", "    <Block Name=\"S\" />\n", 3,
         "<Block> needs a Type attribute"},
        {"an unknown element", "    <Wire From=\"S\" To=\"L\" />\n", 3,
         "unknown element <Wire> in <Blocks>; expected <Block .../> or <Connection .../>"},
        {"a bad Enabled flag", "    <Block Type=\"Log\" Name=\"L\" Enabled=\"maybe\" />\n", 3,
         "Enabled must be true or false, not \"maybe\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.legend);
        TempDir dir;
        dir.Write("bad.xml", SetupText(c.blocks));
        HostEngine engine;
        std::string error;
        EXPECT_FALSE(engine.LoadSetup(dir.File("bad.xml"), error));
        const std::string where = dir.File("bad.xml") + ":" + std::to_string(c.line) + ": ";
        EXPECT_EQ(error.substr(0, where.size()), where) << error;
        EXPECT_NE(error.find(c.says), std::string::npos) << error;
        EXPECT_EQ(engine.GetModuleCount(), 0);
    }
}

TEST(Engine, AFailedLoadLeavesTheLoadedGraphAsItWas) {
    TempDir dir;
    dir.Write("good.xml", SourceAndLog("", "l.csv"));
    dir.Write("bad.xml", SetupText("    <Block Type=\"Nope\" Name=\"N\" />\n"));
    HostEngine engine;
    std::string error;
    ASSERT_TRUE(engine.LoadSetup(dir.File("good.xml"), error)) << error;
    EXPECT_FALSE(engine.LoadSetup(dir.File("bad.xml"), error));
    EXPECT_EQ(engine.GetModuleCount(), 2);
    EXPECT_EQ(engine.SetupPath(), dir.File("good.xml"));
}

TEST(Engine, ASetupWithoutBlocksIsValidAndSavesWithoutThem) {
    TempDir dir;
    dir.Write("empty.xml", "<TarvoSetup>\n</TarvoSetup>\n");
    HostEngine engine;
    std::string error;
    ASSERT_TRUE(engine.LoadSetup(dir.File("empty.xml"), error)) << error;
    EXPECT_EQ(engine.GetModuleCount(), 0);
    ASSERT_TRUE(engine.SaveSetup(dir.File("saved.xml"), error)) << error;
    EXPECT_EQ(dir.Read("saved.xml").find("Blocks"), std::string::npos);
}

TEST(Engine, TheGraphIsSavedBackAndReadsAgainTheSame) {
    TempDir dir;
    dir.Write("setup.xml", SetupText("    <Block Type=\"Source\" Name=\"S &amp; T\" Mode=\"List\" "
                                     "Values=\"1,a\\,b,\" Enabled=\"false\" />\n"
                                     "    <Block Type=\"Log\" Name=\"L\" Precision=\"3\" />\n"
                                     "    <Connection From=\"S &amp; T\" To=\"L\" />\n"));
    HostEngine engine;
    std::string error;
    ASSERT_TRUE(engine.LoadSetup(dir.File("setup.xml"), error)) << error;
    ASSERT_TRUE(engine.SaveSetup(dir.File("saved.xml"), error)) << error;
    const std::string saved = dir.Read("saved.xml");

    HostEngine again;
    ASSERT_TRUE(again.LoadSetup(dir.File("saved.xml"), error)) << error;
    TModule* s = again.FindModule(L"S & T");
    ASSERT_NE(s, nullptr);
    EXPECT_FALSE(s->IsEnabled());
    EXPECT_EQ(s->GetProperty(L"Values")->GetTexts(),
              (std::vector<std::wstring>{L"1", L"a,b", L""}));
    EXPECT_EQ(again.FindModule(L"L")->GetProperty(L"Precision")->GetInteger(), 3);
    EXPECT_EQ(again.FindModule(L"L")->GetInputModule(2), s);
    ASSERT_TRUE(again.SaveSetup(dir.File("saved2.xml"), error)) << error;
    EXPECT_EQ(dir.Read("saved2.xml"), saved);
}

ino_t InodeOf(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 ? st.st_ino : 0;
}

// Saving is atomic (a new file renamed over the old), so an untouched inode means no write.
TEST(Engine, AutoSaveWritesOnlyAChangedSetup) {
    TempDir dir;
    dir.Write("typed.xml", SourceAndLog("Interval=\"00:10:00\"", "l.csv"));
    std::string error;
    {
        HostEngine writer;
        ASSERT_TRUE(writer.LoadSetup(dir.File("typed.xml"), error)) << error;
        ASSERT_TRUE(writer.SaveSetup(dir.File("setup.xml"), error)) << error;
    }
    HostEngine engine;
    ASSERT_TRUE(engine.LoadSetup(dir.File("setup.xml"), error)) << error;
    const ino_t before = InodeOf(dir.File("setup.xml"));
    EXPECT_TRUE(engine.AutoSaveSetup());
    EXPECT_EQ(InodeOf(dir.File("setup.xml")), before);

    engine.FindModule(L"Stage")->GetProperty(L"Interval")->SetText(L"00:05:00");
    EXPECT_TRUE(engine.AutoSaveSetup());
    EXPECT_NE(InodeOf(dir.File("setup.xml")), before);
    HostEngine reread;
    ASSERT_TRUE(reread.LoadSetup(dir.File("setup.xml"), error)) << error;
    EXPECT_EQ(reread.FindModule(L"Stage")->GetProperty(L"Interval")->GetText(), L"00:05:00");
}

TEST(Engine, ModulesAreListedInFileOrder) {
    TempDir dir;
    dir.Write("setup.xml", SourceAndLog("", "l.csv"));
    HostEngine engine;
    std::string error;
    ASSERT_TRUE(engine.LoadSetup(dir.File("setup.xml"), error)) << error;
    ASSERT_EQ(engine.GetModuleCount(), 2);
    EXPECT_EQ(engine.GetModule(0)->GetName(), L"Stage");
    EXPECT_EQ(engine.GetModule(1)->GetModuleName(), L"Log");
    EXPECT_EQ(engine.GetModule(2), nullptr);
    EXPECT_EQ(engine.GetModule(-1), nullptr);
}

// A block that asks its engine to stop from inside Execute.
class Stopper : public TModule {
  public:
    explicit Stopper(HostEngine& engine) : TModule(L"Stopper"), engine_(engine) {}
    std::wstring GetInputName(int i) const override { return i == 2 ? L"Input" : L""; }
    bool Execute() override {
        stopResult = engine_.Stop() ? 1 : 0;
        return false;
    }
    int stopResult = -1;

  private:
    HostEngine& engine_;
};

class StopperFactory : public TModuleFactory {
  public:
    explicit StopperFactory(HostEngine& engine) : engine_(engine) { SetModules(1, kNames); }
    TModule* CreateModule(int) override { return new Stopper(engine_); }
    static constexpr const wchar_t* kNames[] = {L"Stopper"};

  private:
    HostEngine& engine_;
};

TEST(Engine, ABlockCannotStopRecordingFromTheProcessingThread) {
    ScopedVirtualClock clock(TTime(2024, 3, 10, 0, 0, 30));
    HostEngine engine;
    StopperFactory factory(engine);
    engine.AddBlockTypes(factory, "test");
    std::string error;
    ASSERT_TRUE(engine.LoadSetupText(
        SetupText("    <Block Type=\"Source\" Name=\"S\" Interval=\"00:01:00\" />\n"
                  "    <Block Type=\"Stopper\" Name=\"X\" />\n"
                  "    <Connection From=\"S\" To=\"X\" />\n"),
        "stop.xml", error))
        << error;
    ASSERT_TRUE(engine.Run());
    Sleep(90'000);
    EXPECT_EQ(static_cast<Stopper*>(engine.FindModule(L"X"))->stopResult, 0);
    EXPECT_TRUE(engine.IsRunning());
    EXPECT_TRUE(engine.Stop());
    EXPECT_FALSE(engine.IsRunning());
}

TEST(Engine, LoadingIsRefusedWhileRecording) {
    TempDir dir;
    dir.Write("setup.xml", SourceAndLog("", "l.csv"));
    ScopedVirtualClock clock(TTime(2024, 3, 10, 0, 0, 30));
    HostEngine engine;
    std::string error;
    ASSERT_TRUE(engine.LoadSetup(dir.File("setup.xml"), error)) << error;
    ASSERT_TRUE(engine.Run());
    EXPECT_FALSE(engine.LoadSetup(dir.File("setup.xml"), error));
    EXPECT_NE(error.find("while recording"), std::string::npos) << error;
    engine.Shutdown();
}

}  // namespace
