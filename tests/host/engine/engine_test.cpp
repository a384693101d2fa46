// The host engine: graphs from the setup file, what loading refuses or warns about, recording on
// the virtual clock, saving back; plug-ins loaded by their exported names, their setup sections
// handed over and saved back.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/blocks/log_block.h"
#include "host/clock/clock.h"
#include "host/engine/engine.h"
#include "host/engine/logger_folders.h"
#include "host/engine/plugin.h"
#include "host/log/report_sinks.h"
#include "host/support/temp_dir.h"
#include "platform/clock.h"
#include "platform/engine.h"
#include "platform/files.h"
#include "platform/module_factory.h"
#include "tests/host/plugin/test_plugin_state.h"

namespace {

using tarvo::host::HostEngine;
using tarvo::host::LogCapture;
using tarvo::host::Plugin;
using tarvo::host::ScopedVirtualClock;
using tarvo::test::TempDir;

constexpr DWORD kMinute = 60'000;
constexpr DWORD kHour = 60 * kMinute;
const TTime kStart(2024, 3, 10, 0, 0, 30);

struct LogRow {
    std::string time, reading;  // reading: "value,status"
};

std::vector<LogRow> ReadLog(const std::string& path) {
    std::ifstream in(path);
    std::string line;
    std::vector<LogRow> rows;
    std::getline(in, line);  // header
    while (std::getline(in, line))
        rows.push_back({line.substr(0, line.find(',')), line.substr(line.find(',') + 1)});
    return rows;
}

std::string Stamp(const TTime& t) {
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", t.GetYear(), t.GetMonth(),
                  t.GetDay(), t.GetHour(), t.GetMinute(), t.GetSecond());
    return text;
}

std::string SetupText(const std::string& blocks) {
    return "<TarvoSetup>\n  <Blocks>\n" + blocks + "  </Blocks>\n</TarvoSetup>\n";
}

// One line of a <Blocks> section: a block, or a connection between the default ports.
std::string Block(const std::string& type, const std::string& name, const std::string& more = "") {
    return "    <Block Type=\"" + type + "\" Name=\"" + name + "\" " + more + "/>\n";
}
std::string Wire(const std::string& from, const std::string& to) {
    return "    <Connection From=\"" + from + "\" To=\"" + to + "\" />\n";
}

std::string SourceAndLog(const std::string& sourceAttributes, const std::string& logFile) {
    return SetupText(Block("Source", "Stage", sourceAttributes) +
                     Block("Log", "StageLog", "File=\"" + logFile + "\"") +
                     Wire("Stage", "StageLog"));
}

// Loads the setup at `path` on a virtual clock set to `start`, records for `ms`, shuts down.
void Record(const std::string& path, TTime start, DWORD ms) {
    ScopedVirtualClock clock(start);
    HostEngine engine;
    std::string error;
    ASSERT_TRUE(engine.LoadSetup(path, error)) << error;
    ASSERT_TRUE(engine.Run());
    Sleep(ms);
    ASSERT_TRUE(engine.Stop());
    engine.Shutdown();
}

TEST(Engine, TheStopEventIsClearOnlyWhileRecordingAndNoSetupLoadsMeanwhile) {
    EXPECT_TRUE(GetEngine().GetStopEvent().IsSet()) << "the process's engine starts stopped";
    ScopedVirtualClock clock(kStart);
    HostEngine engine;
    std::string error;
    ASSERT_TRUE(engine.NewSetup(error)) << error;
    ASSERT_TRUE(engine.GetStopEvent().IsSet());
    ASSERT_TRUE(engine.Run());
    EXPECT_TRUE(engine.IsRunning());
    EXPECT_EQ(WaitForSingleObject(engine.GetStopEvent(), 1000), WAIT_TIMEOUT);
    EXPECT_FALSE(engine.LoadSetupText(SetupText(""), "again.xml", error));
    EXPECT_NE(error.find("while recording"), std::string::npos) << error;
    ASSERT_TRUE(engine.Stop());
    EXPECT_FALSE(engine.IsRunning());
    EXPECT_EQ(WaitForSingleObject(engine.GetStopEvent(), 0), WAIT_OBJECT_0);
}

TEST(Engine, SetupLockIsExclusiveAndTimesOut) {
    ScopedVirtualClock clock(kStart);
    HostEngine engine;
    ASSERT_TRUE(engine.LockSetup(1000, 0));
    bool second = true;
    TThread other([&] { second = engine.LockSetup(1000, 0); }, "other user");
    other.Join();
    EXPECT_FALSE(second);
    EXPECT_EQ(TTime::GetCurrentTime(), kStart + TTimeSpan::FromSeconds(1));
    engine.UnlockSetup();
    EXPECT_TRUE(engine.LockSetup(0, 0));
    engine.UnlockSetup();
}

TEST(Engine, SavesWaitForTheSetupLockExceptInTheThreadThatHoldsIt) {
    ScopedVirtualClock clock(kStart);
    TempDir dir;
    HostEngine engine;
    std::string error;
    ASSERT_TRUE(engine.LoadSetupText(SetupText(Block("Source", "S", "Interval=\"00:01:00\"")),
                                     "locked.xml", error))
        << error;
    ASSERT_TRUE(engine.LockSetup(1000, 0));
    // A plug-in saving from inside its own locked edit must not wait for itself.
    EXPECT_TRUE(engine.SaveSetup(dir.File("holder.xml"), error)) << error;
    TTime savedAt;
    TThread other(
        [&] {
            std::string otherError;
            EXPECT_TRUE(engine.SaveSetup(dir.File("other.xml"), otherError)) << otherError;
            savedAt = TTime::GetCurrentTime();
        },
        "other saver");
    Sleep(5000);
    engine.UnlockSetup();
    other.Join();
    EXPECT_EQ(savedAt, kStart + TTimeSpan::FromSeconds(5)) << "the save waited for the unlock";
}

TEST(Engine, ASaveOnOneThreadNeverSeesHalfOfALoadOnAnother) {
    HostEngine engine;
    const std::string first = SetupText(Block("Source", "A", "Interval=\"00:01:00\""));
    const std::string second = SetupText(Block("Source", "B", "Interval=\"00:02:00\"") +
                                         Block("Source", "C", "Interval=\"00:03:00\""));
    std::string error;
    ASSERT_TRUE(engine.LoadSetupText(first, "a.xml", error)) << error;
    TThread loader(
        [&] {
            std::string loadError;
            for (int i = 0; i < 200; ++i)
                EXPECT_TRUE(engine.LoadSetupText(i % 2 ? first : second, "ab.xml", loadError));
        },
        "loader");
    for (int i = 0; i < 200; ++i) {
        tarvo::host::SetupFile file;
        ASSERT_TRUE(engine.BuildSetup(file, error)) << error;
        const std::string text = file.ToText();
        const bool a = text.find("Name = \"A\"") != std::string::npos;
        const bool bc = text.find("Name = \"B\"") != std::string::npos &&
                        text.find("Name = \"C\"") != std::string::npos;
        EXPECT_NE(a, bc) << text;
    }
    loader.Join();
}

// A source and a Log block over one simulated day: exactly the readings the schedule implies.
TEST(Engine, SourceAndLogOverADayGiveExactlyTheScheduledReadings) {
    struct Case {
        const char* legend;
        const char* interval;
        const char* offset;
        TTime start;
        size_t count;
        TTime first;
    };
    const Case cases[] = {
        {"quarter hours from half a minute past midnight", "00:15:00", "00:00:00", kStart, 96,
         TTime(2024, 3, 10, 0, 15, 0)},
        {"hourly at five past, starting mid-morning", "01:00:00", "00:05:00",
         TTime(2024, 3, 10, 9, 30, 0), 24, TTime(2024, 3, 10, 10, 5, 0)},
        {"a start on a schedule point measures at once", "00:10:00", "00:03:00",
         TTime(2024, 3, 10, 12, 3, 0), 144, TTime(2024, 3, 10, 12, 3, 0)},
        {"an offset past the interval wraps", "00:30:00", "00:45:00", TTime(2024, 3, 10, 0, 0, 1),
         48, TTime(2024, 3, 10, 0, 15, 0)},
        {"a day crosses the month's end", "06:00:00", "00:00:00", TTime(2024, 2, 29, 3, 0, 0), 4,
         TTime(2024, 2, 29, 6, 0, 0)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.legend);
        TempDir dir;
        dir.Write("setup.xml", SourceAndLog(std::string("Interval=\"") + c.interval +
                                                "\" Offset=\"" + c.offset + "\"",
                                            "stage.csv"));
        Record(dir.File("setup.xml"), c.start, 24 * kHour);
        const auto rows = ReadLog(dir.File("stage.csv"));
        ASSERT_EQ(rows.size(), c.count);
        const TTimeSpan interval = StrToTimeSpan(std::wstring(c.interval, c.interval + 8));
        for (size_t i = 0; i < rows.size(); ++i) {
            ASSERT_EQ(
                rows[i].time,
                Stamp(c.first + TTimeSpan::FromMilliseconds(interval.GetTotalMilliseconds() * i)))
                << "row " << i;
        }
    }
}

// Readings marked in error or without data reach the Log block as such, whatever makes them.
// The setup lies in conf/, where a CSV source finds its file; the log goes to the current folder.
TEST(Engine, ReadingsReachTheLogWithTheirValuesAndMarks) {
    struct Case {
        const char* legend;
        const char* attributes;
        std::vector<std::string> readings;  // one a minute from 00:01
    };
    const Case cases[] = {
        {"a ramp follows the time since recording began, in the log's own precision",
         "Mode=\"Ramp\" Value=\"10\" Slope=\"60\" RightDigits=\"1\"",
         {"10.50,ok", "11.50,ok", "12.50,ok", "13.50,ok", "14.50,ok"}},
        {"list entries",
         "Mode=\"List\" Values=\"1.5,ERROR,NODATA,2.25\"",
         {"1.50,ok", "0.00,error", ",nodata", "2.25,ok", "1.50,ok"}},
        {"every n-th reading",
         "Mode=\"Constant\" Value=\"7\" ErrorEvery=\"2\" NoDataEvery=\"5\"",
         {"7.00,ok", "7.00,error", "7.00,ok", "7.00,error", ",nodata"}},
        {"an unknown mode marks every reading in error",
         "Mode=\"Triangle\"",
         {"0.00,error", "0.00,error", "0.00,error", "0.00,error", "0.00,error"}},
        {"a CSV file's last row at or before each reading",
         "Mode=\"CSV\" File=\"levels.csv\"",
         {",nodata", "1.25,ok", "1.25,ok", "0.00,error", ",nodata", ",nodata", "3.00,ok",
          "3.00,ok"}},
    };
    tarvo::host::SetStderrLevel(TReportLevel::Error, false);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.legend);
        TempDir dir;
        std::filesystem::create_directory(dir.File("conf"));
        dir.Write("conf/levels.csv",
                  "time,value\n# a comment\n2024-03-10 00:02:00,1.25\n2024-03-10 00:04:00,ERROR\n"
                  "2024-03-10 00:05:00,\n2024-03-10 00:06:30,3\n");
        dir.Write("conf/setup.xml",
                  SourceAndLog(std::string(c.attributes) + " Interval=\"00:01:00\"", "l.csv"));
        Record(dir.File("conf/setup.xml"), kStart, c.readings.size() * kMinute);
        std::vector<std::string> readings;
        for (const LogRow& row : ReadLog(dir.File("l.csv")))
            readings.push_back(row.reading);
        EXPECT_EQ(readings, c.readings);
    }
    tarvo::host::SetStderrLevel(TReportLevel::Warning, true);
}

// A chain and a fan-out: every block fed by one that produced runs in the same pass, whatever
// the file order; a disabled block neither runs nor passes readings on.
TEST(Engine, ReadingsFlowAlongAChainAndAFanOutInOnePassButNotThroughADisabledBlock) {
    TempDir dir;
    dir.Write("setup.xml", SetupText(R"(
    <Block Type="Log" Name="Second" File="b.csv" />
    <Block Type="Log" Name="First" File="a.csv" />
    <Block Type="Source" Name="S" Mode="List" Values="1,2,3" Interval="00:20:00" />
    <Block Type="Log" Name="Side" File="c.csv" />
    <Block Type="Log" Name="Off" Enabled="false" File="off.csv" />
    <Block Type="Log" Name="After" File="after.csv" />
    <Connection From="First" To="Second" />
    <Connection From="S" Output="Output" To="First" Input="2" />
    <Connection From="S" To="Side" />
    <Connection From="S" To="Off" />
    <Connection From="Off" To="After" />
)"));
    Record(dir.File("setup.xml"), kStart, kHour);
    for (const char* file : {"a.csv", "b.csv", "c.csv"}) {
        SCOPED_TRACE(file);
        const auto rows = ReadLog(dir.File(file));
        ASSERT_EQ(rows.size(), 3u);
        EXPECT_EQ(rows[0].time, "2024-03-10 00:20:00");
        EXPECT_EQ(rows[2].reading, "3.00,ok");
    }
    EXPECT_FALSE(std::filesystem::exists(dir.File("off.csv")));
    EXPECT_TRUE(ReadLog(dir.File("after.csv")).empty());
}

// Setting the logger's clock moves the schedule to the new time instead of catching up, and a
// recording started again continues the same log file.
TEST(Engine, AClockSetRestartsTheScheduleAndASecondRunContinuesTheLog) {
    TempDir dir;
    dir.Write("setup.xml", SourceAndLog("Interval=\"00:10:00\"", "l.csv"));
    {
        ScopedVirtualClock clock(kStart);
        HostEngine engine;
        std::string error;
        ASSERT_TRUE(engine.LoadSetup(dir.File("setup.xml"), error)) << error;
        ASSERT_TRUE(engine.Run());
        Sleep(25 * kMinute);
        SetSystemTime(TTime(2024, 3, 10, 6, 0, 30).GetAsSystemTime());
        Sleep(25 * kMinute);
        ASSERT_TRUE(engine.Stop());
        ASSERT_TRUE(engine.Run());
        Sleep(30 * kMinute);
        ASSERT_TRUE(engine.Stop());
        engine.Shutdown();
    }
    std::vector<std::string> times;
    for (const LogRow& row : ReadLog(dir.File("l.csv")))
        times.push_back(row.time.substr(11));
    EXPECT_EQ(times, (std::vector<std::string>{"00:10:00", "00:20:00", "06:10:00", "06:20:00",
                                               "06:30:00", "06:40:00", "06:50:00"}));
}

// Malformed graphs give errors that name the file, the line and what was expected, and leave
// the graph loaded before as it was.
TEST(Engine, MalformedGraphsAreRefusedWithFileLineAndWhatWasExpected) {
    struct Case {
        const char* legend;
        std::string blocks;  // the <Blocks> content, starting on line 3
        int line;
        const char* says;
    };
    const std::string source = Block("Source", "S"), log = Block("Log", "L");
    const Case cases[] = {
        {"unknown block type", source + Block("Thermometer", "T"), 4,
         "unknown block type \"Thermometer\"; known types: Source, Log"},
        {"connection to a block that does not exist", source + log + Wire("S", "Nowhere"), 5,
         "names no block \"Nowhere\""},
        {"duplicate block name", source + log + Block("Log", "S"), 5,
         "duplicate block name \"S\" (first used on line 3)"},
        {"unknown property", Block("Source", "S", "Colour=\"red\""), 3,
         "block \"S\" (Source) has no property \"Colour\"; its properties: Mode, Value"},
        {"property of the wrong kind", source + Block("Source", "T", "\n RightDigits=\"two\""), 5,
         "property \"RightDigits\" of block \"T\" must be an integer, not \"two\""},
        {"unknown port", source + log + "<Connection From=\"S\" Output=\"Out\" To=\"L\" />\n", 5,
         "block \"S\" (Source) has no output \"Out\"; its outputs: Output"},
        {"an input fed twice",
         source + log + Block("Source", "S2") + Wire("S", "L") + Wire("S2", "L"), 7,
         "input \"Input\" of block \"L\" is already connected (line 6)"},
        {"a loop", log + Block("Log", "M") + Wire("L", "M") + Wire("M", "L"), 6,
         "connections form a loop through block \"L\""},
        {"an unknown element", "    <Wire From=\"S\" To=\"L\" />\n", 3,
         "unknown element <Wire> in <Blocks>; expected <Block .../> or <Connection .../>"},
    };
    TempDir dir;
    dir.Write("good.xml", SourceAndLog("", "l.csv"));
    HostEngine engine;
    std::string error;
    ASSERT_TRUE(engine.LoadSetup(dir.File("good.xml"), error)) << error;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.legend);
        dir.Write("bad.xml", SetupText(c.blocks));
        EXPECT_FALSE(engine.LoadSetup(dir.File("bad.xml"), error));
        const std::string where = dir.File("bad.xml") + ":" + std::to_string(c.line) + ": ";
        EXPECT_EQ(error.substr(0, where.size()), where) << error;
        EXPECT_NE(error.find(c.says), std::string::npos) << error;
        EXPECT_EQ(engine.GetModuleCount(), 2);
        EXPECT_EQ(engine.SetupPath(), dir.File("good.xml"));
    }
}

ino_t InodeOf(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 ? st.st_ino : 0;
}

// Saving is atomic (a new file renamed over the old), so an untouched inode means no write.
TEST(Engine, TheGraphIsSavedBackReadsAgainTheSameAndIsAutoSavedOnlyWhenChanged) {
    TempDir dir;
    dir.Write("setup.xml", SetupText(R"(
    <Block Type="Source" Name="S &amp; T" Mode="List" Values="1,a\,b," Enabled="false" />
    <Block Type="Log" Name="L" Precision="3" />
    <Connection From="S &amp; T" To="L" />
)"));
    HostEngine engine;
    std::string error;
    ASSERT_TRUE(engine.LoadSetup(dir.File("setup.xml"), error)) << error;
    ASSERT_TRUE(engine.SaveSetup(dir.File("saved.xml"), error)) << error;

    HostEngine again;
    ASSERT_TRUE(again.LoadSetup(dir.File("saved.xml"), error)) << error;
    ASSERT_EQ(again.GetModuleCount(), 2);
    TModule* s = again.GetModule(0);  // in file order
    EXPECT_EQ(s->GetName(), L"S & T");
    EXPECT_FALSE(s->IsEnabled());
    EXPECT_EQ(s->GetProperty(L"Values")->GetTexts(),
              (std::vector<std::wstring>{L"1", L"a,b", L""}));
    EXPECT_EQ(again.GetModule(1)->GetProperty(L"Precision")->GetInteger(), 3);
    EXPECT_EQ(again.GetModule(1)->GetInputModule(2), s);
    EXPECT_EQ(again.GetModule(2), nullptr);
    ASSERT_TRUE(again.SaveSetup(dir.File("saved2.xml"), error)) << error;
    EXPECT_EQ(dir.Read("saved2.xml"), dir.Read("saved.xml"));

    const ino_t before = InodeOf(dir.File("saved.xml"));
    EXPECT_TRUE(again.AutoSaveSetup());
    EXPECT_EQ(InodeOf(dir.File("saved.xml")), before);
    again.GetModule(1)->GetProperty(L"Precision")->SetText(L"4");
    EXPECT_TRUE(again.AutoSaveSetup());
    EXPECT_NE(InodeOf(dir.File("saved.xml")), before);
    ASSERT_TRUE(engine.LoadSetup(dir.File("saved.xml"), error)) << error;
    EXPECT_EQ(engine.GetModule(1)->GetProperty(L"Precision")->GetInteger(), 4);
}

// A block type whose blocks ask their engine to stop from inside Execute.
struct StopperFactory : TModuleFactory {
    struct Stopper : TModule {
        explicit Stopper(HostEngine& e) : TModule(L"Stopper"), engine(e) {}
        std::wstring GetInputName(int i) const override { return i == 2 ? L"Input" : L""; }
        bool Execute() override {
            stopped = engine.Stop();
            return false;
        }
        HostEngine& engine;
        bool stopped = true;
    };
    explicit StopperFactory(HostEngine& e) : engine(e) { SetModules(1, kNames); }
    TModule* CreateModule(int) override { return new Stopper(engine); }
    static constexpr const wchar_t* kNames[] = {L"Stopper"};
    HostEngine& engine;
};

TEST(Engine, ABlockCannotStopRecordingFromTheProcessingThread) {
    ScopedVirtualClock clock(kStart);
    HostEngine engine;
    StopperFactory factory(engine);
    engine.AddBlockTypes(factory, "test");
    std::string error;
    ASSERT_TRUE(engine.LoadSetupText(SetupText(Block("Source", "S", "Interval=\"00:01:00\"") +
                                               Block("Stopper", "X") + Wire("S", "X")),
                                     "stop.xml", error))
        << error;
    ASSERT_TRUE(engine.Run());
    Sleep(90'000);
    EXPECT_FALSE(static_cast<StopperFactory::Stopper*>(engine.FindModule(L"X"))->stopped);
    EXPECT_TRUE(engine.IsRunning());
    EXPECT_TRUE(engine.Stop());
}

TEST(LoadChecks, ASetupWhoseBlocksWouldDestroyAFileIsRefusedWithBothLinesAndLeftAlone) {
    const struct {
        const char* legend;
        std::string blocks;
        std::string error;  // after "DIR/setup.xml:"
    } rows[] = {
        {"a Log block aimed at the setup file itself",
         "    <Block Type=\"Log\" Name=\"L\" File=\"DIR/./setup.xml\" />\n",
         "3: block \"L\" (Log) would write its readings over the setup file DIR/./setup.xml"},
        {"a Log block over a Source's CSV input, written before the Source",
         "    <Block Type=\"Log\" Name=\"L\" File=\"DIR/in.csv\" />\n"
         "    <Block Type=\"Source\" Name=\"S\" Mode=\"CSV\" File=\"in.csv\" />\n",
         "3: block \"L\" (Log) would write DIR/in.csv, which block \"S\" (Source) (line 4) reads"},
        {"two Log blocks over one file",
         "    <Block Type=\"Log\" Name=\"A\" File=\"DIR/out.csv\" />\n"
         "    <Block Type=\"Log\" Name=\"B\" File=\"DIR/sub/../out.csv\" />\n",
         "4: block \"B\" (Log) would write DIR/sub/../out.csv, which block \"A\" (Log) (line 3) "
         "writes too"},
        {"a time text beyond its fields",
         "    <Block Type=\"Source\" Name=\"S\"\n           Interval=\"99:99:99\" />\n",
         "4: property \"Interval\" of block \"S\" (Source) must be a time as HH:MM:SS, with "
         "minutes and seconds below 60, not \"99:99:99\""},
        {"a time text without its minutes",
         "    <Block Type=\"Source\" Name=\"S\" Offset=\"15\" />\n",
         "3: property \"Offset\" of block \"S\" (Source) must be a time as HH:MM:SS, with minutes "
         "and seconds below 60, not \"15\""},
        {"a time text with more after it",
         "    <Block Type=\"Source\" Name=\"S\" StepAt=\"00:15:00junk\" />\n",
         "3: property \"StepAt\" of block \"S\" (Source) must be a time as HH:MM:SS, with minutes "
         "and seconds below 60, not \"00:15:00junk\""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.legend);
        TempDir dir;
        const auto in = [&](std::string text) {
            for (std::size_t at; (at = text.find("DIR")) != std::string::npos;)
                text.replace(at, 3, dir.Path());
            return text;
        };
        const std::string setup = SetupText(in(row.blocks));
        dir.Write("setup.xml", setup);
        dir.Write("in.csv", "00:00:00,1\n");
        ScopedVirtualClock clock(kStart);
        HostEngine engine;
        std::string error;
        EXPECT_FALSE(engine.LoadSetup(dir.File("setup.xml"), error));
        EXPECT_EQ(error, dir.File("setup.xml") + ":" + in(row.error));
        EXPECT_EQ(dir.Read("setup.xml"), setup);
        EXPECT_EQ(dir.Read("in.csv"), "00:00:00,1\n");
    }
}

TEST(LoadChecks, ABadListIsOneWarningWithItsLineAndCount) {
    ScopedVirtualClock clock(kStart);
    LogCapture log;
    HostEngine engine;
    std::string error;
    std::string values = "1";
    for (int i = 0; i < 1000; ++i)
        values += ",x" + std::to_string(i);
    ASSERT_TRUE(engine.LoadSetupText(
        SetupText("    <Block Type=\"Source\" Name=\"S\" Mode=\"List\"\n      Values=\"" + values +
                  "\" />\n"),
        "list.xml", error))
        << error;
    ASSERT_TRUE(engine.Run());
    Sleep(kHour);
    ASSERT_TRUE(engine.Stop());
    EXPECT_EQ(log.Texts(TReportLevel::Warning),
              std::vector<std::string>{
                  "list.xml:4: 1000 of the 1001 entries of \"Values\" of block \"S\" (Source) are "
                  "no number, ERROR or NODATA (the first: \"x0\"); they give readings without "
                  "data"});
}

TEST(LoadChecks, ALogBlockOnAFullDiskWarnsOnceNamingTheFileAndCountsWhatIsLost) {
    ScopedVirtualClock clock(kStart);
    LogCapture log;
    HostEngine engine;
    std::string error;
    ASSERT_TRUE(
        engine.LoadSetupText(SetupText(Block("Source", "S", "Interval=\"00:01:00\"") +
                                       Block("Log", "L", "File=\"/dev/full\"") + Wire("S", "L")),
                             "full.xml", error))
        << error;
    ASSERT_TRUE(engine.Run());
    Sleep(24 * kHour);
    ASSERT_TRUE(engine.Stop());
    const auto warnings = log.Texts(TReportLevel::Warning);
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(warnings[0].rfind("Log \"L\": ", 0), 0u) << warnings[0];
    EXPECT_NE(warnings[0].find("/dev/full failed: No space left on device"), std::string::npos)
        << warnings[0];
    const auto* block = dynamic_cast<const tarvo::host::LogBlock*>(engine.FindModule(L"L"));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->Lost(), 24u * 60) << "every reading of the day";
}

TEST(LoggerFolders, StandBesideTheSetupUnlessChosenAndLeaveOtherPathsAlone) {
    using tarvo::host::LoggerFolder;
    std::string error;
    TempDir dir;
    const std::string setup = dir.File("station.xml");
    std::ofstream(setup) << SetupText("");
    ASSERT_TRUE(tarvo::host::GetHostEngine().LoadSetup(setup, error)) << error;
    EXPECT_EQ(LoggerPathToHost(L"\\Flash Disk\\NOSGOESFormat.txt"),
              dir.Path() + "/flash-disk/NOSGOESFormat.txt");
    EXPECT_EQ(LoggerPathToHost(L"\\storage card\\Data\\Recent.dat"),
              dir.Path() + "/storage-card/Data/Recent.dat");
    tarvo::host::SetLoggerFolder(LoggerFolder::FlashDisk, "/srv/flash");
    EXPECT_EQ(LoggerPathToHost(L"\\Flash Disk\\x.txt"), "/srv/flash/x.txt");
    tarvo::host::SetLoggerFolder(LoggerFolder::FlashDisk, "");
    EXPECT_EQ(LoggerPathToHost(L"relative\\name.txt"), "relative/name.txt");
    ASSERT_TRUE(tarvo::host::GetHostEngine().NewSetup(error)) << error;
}

// Keeps the test plug-in mapped for the whole test, so that its state can be read even after
// the engine has unloaded it, and starts each test from a clean state.
class PluginTest : public ::testing::Test {
  protected:
    void SetUp() override {
        handle_ = dlopen(TEST_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(handle_, nullptr) << dlerror();
        auto stateOf = reinterpret_cast<TestPluginStateOfProc>(dlsym(handle_, "TestPluginStateOf"));
        ASSERT_NE(stateOf, nullptr);
        state_ = stateOf();
        *state_ = TestPluginState{};
    }
    void TearDown() override {
        if (handle_)
            dlclose(handle_);
    }

    void* handle_ = nullptr;
    TestPluginState* state_ = nullptr;
};

// The setup as the host writes it, so that saving an unchanged setup gives the same bytes.
const char* const kSetup =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<TarvoSetup>\n"
    "    <Elsewhere>\n"
    "        <Kept Note = \"a section nobody loaded\" />\n"
    "    </Elsewhere>\n"
    "    <TestPlugin>\n"
    "        <Settings Alpha = \"42\" Beta = \"a &amp; b &lt; c\" Gamma = \"\" />\n"
    "    </TestPlugin>\n"
    "</TarvoSetup>\n";

// Refused libraries are named with what is missing, and never initialised.
TEST_F(PluginTest, LibrariesThatAreNoPluginsAreRefusedNamingTheFileAndWhatIsMissing) {
    const std::pair<std::string, std::string> cases[] = {
        {TEST_PLUGIN_NOTAG_PATH, ": not a plug-in: missing export GetSetupTag"},
        {TARVO_LIBRARY_PATH,
         ": not a plug-in: missing exports AppInit, AppExit, GetFileVersion, "
         "GetSetupTag, ReadSetup, WriteSetup, InitSetup"},
        {"/nonexistent/libghost.so", ": cannot load: "},
    };
    for (const auto& [path, says] : cases) {
        std::string error;
        EXPECT_EQ(Plugin::Load(path, error), nullptr);
        EXPECT_EQ(error.substr(0, path.size() + says.size()), path + says);
    }
    EXPECT_EQ(state_->appInit, 0);
}

TEST_F(PluginTest, ItsSectionIsReadWrittenAndSavedBackUnchanged) {
    TempDir dir;
    dir.Write("setup.xml", kSetup);
    HostEngine engine;
    std::string error;
    ASSERT_TRUE(engine.LoadPlugin(TEST_PLUGIN_PATH, error)) << error;
    ASSERT_TRUE(engine.LoadSetup(dir.File("setup.xml"), error)) << error;
    EXPECT_EQ(state_->readSetup, 1);
    EXPECT_EQ(state_->initSetup, 0);
    EXPECT_EQ(state_->unexpectedTokens, 0);
    using Pair = std::pair<std::wstring, std::wstring>;
    EXPECT_EQ(state_->settings,
              (std::vector<Pair>{{L"Alpha", L"42"}, {L"Beta", L"a & b < c"}, {L"Gamma", L""}}));

    ASSERT_TRUE(engine.SaveSetup(dir.File("saved.xml"), error)) << error;
    EXPECT_EQ(state_->writeSetup, 1);
    EXPECT_EQ(dir.Read("saved.xml"), kSetup);
    // Nothing changed, so saving automatically leaves the file alone.
    EXPECT_TRUE(engine.AutoSaveSetup());
    EXPECT_EQ(dir.Read("setup.xml"), kSetup);

    // A plug-in that writes its section under another name would lose it at the next load:
    // the save is refused and the file kept.
    state_->writeOtherElement = true;
    EXPECT_FALSE(engine.SaveSetup(dir.File("setup.xml"), error));
    EXPECT_NE(error.find(": WriteSetup wrote no <TestPlugin> element"), std::string::npos) << error;
    EXPECT_EQ(dir.Read("setup.xml"), kSetup);
    state_->writeOtherElement = false;
}

// A second plug-in with the same tag is refused before it is initialised; the first, whose
// section is missing, is initialised and its section added.
TEST_F(PluginTest, ASetupTagIsTakenOnceAndAMissingSectionIsInitialisedAndAdded) {
    TempDir dir;
    dir.Write("setup.xml", "<TarvoSetup>\n</TarvoSetup>\n");
    HostEngine engine;
    std::string error;
    ASSERT_TRUE(engine.LoadPlugin(TEST_PLUGIN_PATH, error)) << error;
    EXPECT_FALSE(engine.LoadPlugin(TEST_PLUGIN_PATH, error));
    EXPECT_EQ(error, std::string(TEST_PLUGIN_PATH) +
                         ": its setup tag <TestPlugin> is already used by a loaded plug-in");
    EXPECT_EQ(state_->appInit, 1);
    EXPECT_EQ(engine.GetPluginCount(), 1);

    ASSERT_TRUE(engine.LoadSetup(dir.File("setup.xml"), error)) << error;
    EXPECT_EQ(state_->readSetup, 0);
    EXPECT_EQ(state_->initSetup, 1);
    ASSERT_TRUE(engine.AutoSaveSetup());
    EXPECT_NE(dir.Read("setup.xml").find("<Settings Alpha = \"1\" Beta = \"fresh\" />"),
              std::string::npos)
        << dir.Read("setup.xml");
}

TEST_F(PluginTest, RecordingStartsAndStopsThePluginAndItsBlocksDieBeforeAppExit) {
    TempDir dir;
    dir.Write("setup.xml", R"(<TarvoSetup><Blocks>
    <Block Type="Source" Name="S" Mode="List" Values="1.5,NODATA,-2" Interval="00:10:00" />
    <Block Type="Scale" Name="Thrice" Factor="3" />
    <Block Type="Log" Name="L" File="scaled.csv" />
    <Connection From="S" To="Thrice" />
    <Connection From="Thrice" To="L" />
</Blocks></TarvoSetup>)");
    {
        ScopedVirtualClock clock(TTime(2024, 3, 10, 0, 0, 30));
        HostEngine engine;
        std::string error;
        ASSERT_TRUE(engine.LoadPlugin(TEST_PLUGIN_PATH, error)) << error;
        ASSERT_TRUE(engine.LoadSetup(dir.File("setup.xml"), error)) << error;
        EXPECT_EQ(state_->blocksAlive, 1);
        bool listed = false;
        for (const auto& t : engine.GetBlockTypes())
            listed |= t.name == L"Scale" && t.origin == "libtestplugin.so";
        EXPECT_TRUE(listed);

        ASSERT_TRUE(engine.Run());
        EXPECT_EQ(state_->engineStart, 1);
        EXPECT_EQ(state_->engineStop, 0);
        Sleep(30 * 60'000);
        ASSERT_TRUE(engine.Stop());
        EXPECT_EQ(state_->engineStop, 1);
        engine.Shutdown();
        EXPECT_EQ(state_->appExit, 1);
        EXPECT_EQ(state_->blocksAliveAtExit, 0);
    }
    EXPECT_EQ(dir.Read("scaled.csv"),
              "time,value,status\n"
              "2024-03-10 00:10:00,4.50,ok\n"
              "2024-03-10 00:20:00,,nodata\n"
              "2024-03-10 00:30:00,-6.00,ok\n");
}

}  // namespace
