// The platform log: levels, printf formatting, logger-time stamps and the three sinks.
#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "host/clock.h"
#include "host/report_sinks.h"
#include "platform/clock.h"
#include "platform/report.h"
#include "platform/sync.h"

namespace {

using tarvo::host::LogCapture;
using tarvo::host::LogEntry;
using tarvo::host::ScopedVirtualClock;

const TTime kStart(2024, 3, 1, 12, 0, 0);

std::string ReadWhole(const std::string& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Keeps the process-wide sinks as every other test expects them.
class ReportTest : public ::testing::Test {
  protected:
    void TearDown() override {
        tarvo::host::SetStderrLevel(TReportLevel::Warning);
        tarvo::host::SetLogFile("", TReportLevel::Debug);
    }
};

TEST_F(ReportTest, EachLevelIsCapturedWithItsFormattedText) {
    LogCapture capture;
    struct Row {
        const char* legend;
        void (*write)();
        TReportLevel level;
        const char* text;
    };
    const Row rows[] = {
        {"debug trace", [] { TReport::Debug("CPacketComm::Send(): failed sending #%d.", 7); },
         TReportLevel::Debug, "CPacketComm::Send(): failed sending #7."},
        {"status with padding",
         [] { TReport::Status("Corvane: Setting system time to %02d/%02d/%04d.", 3, 1, 2024); },
         TReportLevel::Status, "Corvane: Setting system time to 03/01/2024."},
        {"warning with hex",
         [] { TReport::Warning("Received = 0x%2X, expected = 0x%2X.", 0xAA, 0x55); },
         TReportLevel::Warning, "Received = 0xAA, expected = 0x55."},
        {"error with a string", [] { TReport::Error("cannot open %s", "COM5:"); },
         TReportLevel::Error, "cannot open COM5:"},
        {"level given at run time", [] { TReport::Write(TReportLevel::Status, "%s", "as is"); },
         TReportLevel::Status, "as is"},
        {"a percent sign survives", [] { TReport::Warning("100%% sure"); }, TReportLevel::Warning,
         "100% sure"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        capture.Clear();
        row.write();
        const std::vector<LogEntry> entries = capture.Entries();
        ASSERT_EQ(entries.size(), 1u);
        EXPECT_EQ(entries[0].level, row.level);
        EXPECT_EQ(entries[0].text, row.text);
        EXPECT_TRUE(capture.Contains(row.level, row.text));
    }
}

TEST_F(ReportTest, ATextLongerThanAnyFixedBufferArrivesWhole) {
    LogCapture capture;
    const std::string longText(20000, 'x');
    TReport::Status("[%s]", longText.c_str());
    ASSERT_EQ(capture.Texts(TReportLevel::Status).size(), 1u);
    EXPECT_EQ(capture.Texts(TReportLevel::Status)[0], "[" + longText + "]");
}

TEST_F(ReportTest, EntriesAreStampedWithLoggerTime) {
    ScopedVirtualClock clock(kStart);
    LogCapture capture;
    TReport::Warning("first");
    Sleep(250);
    TReport::Warning("second");
    const std::vector<LogEntry> entries = capture.Entries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].time, kStart);
    EXPECT_EQ(entries[1].time, kStart + TTimeSpan::FromMilliseconds(250));
}

TEST_F(ReportTest, CapturesSeeOnlyWhatIsWrittenWhileTheyExistAndCountExactMatches) {
    auto early = std::make_unique<LogCapture>();
    TReport::Warning("before");
    LogCapture late;
    TReport::Warning("after");
    TReport::Warning("after");
    TReport::Status("after");
    EXPECT_EQ(early->Texts(TReportLevel::Warning),
              (std::vector<std::string>{"before", "after", "after"}));
    EXPECT_EQ(late.Texts(TReportLevel::Warning), (std::vector<std::string>{"after", "after"}));
    EXPECT_EQ(late.Count(TReportLevel::Warning, "after"), 2u);
    EXPECT_EQ(late.Count(TReportLevel::Status, "after"), 1u);
    EXPECT_EQ(late.Count(TReportLevel::Warning, "afte"), 0u);
    early.reset();
    TReport::Error("last");
    EXPECT_EQ(late.Entries().size(), 4u);
}

TEST_F(ReportTest, StandardErrorShowsOnlyLevelsAtOrAboveItsFilter) {
    struct Row {
        const char* legend;
        bool configure;
        TReportLevel level;
        bool enabled;
        const char* expected;  // the levels that show, in order
    };
    const Row rows[] = {
        {"default: warnings and errors", false, TReportLevel::Warning, true, "WE"},
        {"debug: everything", true, TReportLevel::Debug, true, "DSWE"},
        {"status", true, TReportLevel::Status, true, "SWE"},
        {"errors only", true, TReportLevel::Error, true, "E"},
        {"silenced", true, TReportLevel::Debug, false, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        if (row.configure)
            tarvo::host::SetStderrLevel(row.level, row.enabled);
        ::testing::internal::CaptureStderr();
        TReport::Debug("D-line");
        TReport::Status("S-line");
        TReport::Warning("W-line");
        TReport::Error("E-line");
        const std::string output = ::testing::internal::GetCapturedStderr();
        std::string shown;
        for (char c : std::string("DSWE")) {
            if (output.find(std::string(1, c) + "-line") != std::string::npos)
                shown += c;
        }
        EXPECT_EQ(shown, row.expected) << output;
        tarvo::host::SetStderrLevel(TReportLevel::Warning);
    }
}

TEST_F(ReportTest, TheLogFileTakesStampedLinesAtItsLevelAndStopsWhenClosed) {
    ScopedVirtualClock clock(kStart);
    tarvo::host::SetStderrLevel(TReportLevel::Error, false);
    const std::string path =
        ::testing::TempDir() + "report_test_" + std::to_string(::getpid()) + ".log";
    std::remove(path.c_str());
    ASSERT_TRUE(tarvo::host::SetLogFile(path, TReportLevel::Status));
    TReport::Debug("not kept");
    Sleep(1250);
    TReport::Status("kept %d", 1);
    TReport::Error("kept %d", 2);
    ASSERT_TRUE(tarvo::host::SetLogFile("", TReportLevel::Debug));
    TReport::Error("after closing");
    EXPECT_EQ(ReadWhole(path),
              "2024-03-01 12:00:01.250 STATUS kept 1\n"
              "2024-03-01 12:00:01.250 ERROR kept 2\n");
    std::remove(path.c_str());
    EXPECT_FALSE(tarvo::host::SetLogFile("/nonexistent-dir/x.log", TReportLevel::Debug));
}

TEST_F(ReportTest, LevelNamesParseInAnyCase) {
    struct Row {
        const char* text;
        bool ok;
        TReportLevel level;
    };
    const Row rows[] = {
        {"debug", true, TReportLevel::Debug},
        {"Status", true, TReportLevel::Status},
        {"WARNING", true, TReportLevel::Warning},
        {"eRRoR", true, TReportLevel::Error},
        {"warn", false, {}},
        {"", false, {}},
        {"warnings", false, {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        TReportLevel level = TReportLevel::Debug;
        EXPECT_EQ(tarvo::host::ParseLevel(row.text, level), row.ok);
        if (row.ok) {
            EXPECT_EQ(level, row.level);
        }
    }
}

TEST_F(ReportTest, EntriesFromManyThreadsArriveWholeAndNoneIsLost) {
    LogCapture capture;
    constexpr int kThreads = 4;
    constexpr int kEach = 200;
    {
        std::vector<std::unique_ptr<TThread>> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.push_back(std::make_unique<TThread>(
                [t] {
                    for (int i = 0; i < kEach; ++i)
                        TReport::Status("thread %d entry %d of a text long enough to tear", t, i);
                },
                "logger " + std::to_string(t)));
        }
    }
    const std::vector<std::string> texts = capture.Texts(TReportLevel::Status);
    ASSERT_EQ(texts.size(), static_cast<std::size_t>(kThreads * kEach));
    for (int t = 0; t < kThreads; ++t) {
        for (int i = 0; i < kEach; ++i) {
            const std::string text = "thread " + std::to_string(t) + " entry " + std::to_string(i) +
                                     " of a text long enough to tear";
            EXPECT_EQ(capture.Count(TReportLevel::Status, text), 1u) << text;
        }
    }
}

}  // namespace
