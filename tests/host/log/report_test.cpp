// The platform log: levels, printf formatting, logger-time stamps and the three sinks.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "host/clock/clock.h"
#include "host/log/report_sinks.h"
#include "host/support/temp_dir.h"
#include "platform/clock.h"
#include "platform/report.h"
#include "platform/sync.h"

namespace {

using tarvo::host::LogCapture;
using tarvo::host::LogEntry;
using tarvo::host::ScopedVirtualClock;
using tarvo::test::ReadText;

const TTime kStart(2024, 3, 1, 12, 0, 0);

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
    static const std::string kLong(20000, 'x');
    struct Row {
        const char* legend;
        void (*write)();
        TReportLevel level;
        std::string text;
    };
    const Row rows[] = {
        {"debug trace", [] { TReport::Debug("CPacketComm::Send(): failed sending #%d.", 7); },
         TReportLevel::Debug, "CPacketComm::Send(): failed sending #7."},
        {"status with padding",
         [] { TReport::Status("Corvane: Setting system time to %02d/%02d/%04d.", 3, 1, 2024); },
         TReportLevel::Status, "Corvane: Setting system time to 03/01/2024."},
        {"level given at run time", [] { TReport::Write(TReportLevel::Error, "100%% %s", "sure"); },
         TReportLevel::Error, "100% sure"},
        {"longer than any fixed buffer", [] { TReport::Status("[%s]", kLong.c_str()); },
         TReportLevel::Status, "[" + kLong + "]"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        capture.Clear();
        row.write();
        const std::vector<LogEntry> entries = capture.Entries();
        ASSERT_EQ(entries.size(), 1u);
        EXPECT_EQ(entries[0].level, row.level);
        EXPECT_EQ(entries[0].text, row.text);
    }
}

// A capture sees what is written while it exists and counts exact matches only.
TEST_F(ReportTest, CapturesSeeOnlyWhatIsWrittenWhileTheyExistAndCountExactMatches) {
    auto early = std::make_unique<LogCapture>();
    TReport::Warning("before");
    LogCapture late;
    TReport::Warning("after");
    TReport::Status("after");
    EXPECT_EQ(early->Texts(TReportLevel::Warning), (std::vector<std::string>{"before", "after"}));
    EXPECT_EQ(late.Count(TReportLevel::Warning, "after"), 1u);
    EXPECT_EQ(late.Count(TReportLevel::Warning, "afte"), 0u);
    EXPECT_TRUE(late.Contains(TReportLevel::Status, "after"));
    early.reset();
    TReport::Error("last");
    EXPECT_EQ(late.Entries().size(), 3u);
}

// The levels that show on standard error, by their initials; the default is set in TearDown.
std::string ShownOnStderr() {
    ::testing::internal::CaptureStderr();
    TReport::Debug("D-line");
    TReport::Status("S-line");
    TReport::Warning("W-line");
    TReport::Error("E-line");
    const std::string output = ::testing::internal::GetCapturedStderr();
    std::string shown;
    for (const char c : std::string("DSWE")) {
        if (output.find(std::string(1, c) + "-line") != std::string::npos)
            shown += c;
    }
    return shown;
}

TEST_F(ReportTest, StandardErrorShowsOnlyLevelsAtOrAboveItsFilter) {
    EXPECT_EQ(ShownOnStderr(), "WE") << "by default";
    const std::tuple<TReportLevel, bool, const char*> rows[] = {
        {TReportLevel::Debug, true, "DSWE"},
        {TReportLevel::Status, true, "SWE"},
        {TReportLevel::Error, true, "E"},
        {TReportLevel::Debug, false, ""},
    };
    for (const auto& [level, enabled, expected] : rows) {
        tarvo::host::SetStderrLevel(level, enabled);
        EXPECT_EQ(ShownOnStderr(), expected);
    }
}

// Entries carry logger time, and the log file takes them stamped, at its level, until closed.
TEST_F(ReportTest, TheLogFileTakesStampedLinesAtItsLevelAndStopsWhenClosed) {
    ScopedVirtualClock clock(kStart);
    tarvo::host::SetStderrLevel(TReportLevel::Error, false);
    LogCapture capture;
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
    EXPECT_EQ(ReadText(path),
              "2024-03-01 12:00:01.250 STATUS kept 1\n"
              "2024-03-01 12:00:01.250 ERROR kept 2\n");
    std::remove(path.c_str());
    EXPECT_EQ(capture.Entries().front().time, kStart);
    EXPECT_EQ(capture.Entries().back().time, kStart + TTimeSpan::FromMilliseconds(1250));
    EXPECT_FALSE(tarvo::host::SetLogFile("/nonexistent-dir/x.log", TReportLevel::Debug));
}

TEST_F(ReportTest, EntriesFromManyThreadsArriveWholeAndNoneIsLost) {
    LogCapture capture;
    {
        std::vector<std::unique_ptr<TThread>> threads;
        for (int t = 0; t < 4; ++t) {
            threads.push_back(std::make_unique<TThread>(
                [t] {
                    for (int i = 0; i < 200; ++i)
                        TReport::Status("thread %d entry %03d of a text long enough to tear", t, i);
                },
                "logger"));
        }
    }
    std::vector<std::string> texts = capture.Texts(TReportLevel::Status);
    std::sort(texts.begin(), texts.end());
    ASSERT_EQ(texts.size(), 800u);
    char expected[64];
    for (int n = 0; n < 800; ++n) {
        std::snprintf(expected, sizeof expected,
                      "thread %d entry %03d of a text long enough to tear", n / 200, n % 200);
        ASSERT_EQ(texts[n], expected);
    }
}

}  // namespace
