// `tarvo run` in real time against corvane-sim on a pseudo-terminal: the module performs the
// start sequence on a real port when recording starts and the stop sequence when the run's time
// is up. The run takes its --for of real time and more (each exchange lets the transmitter wake
// for 1.5 s): that is the point of the test, not a wait for the module.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdint>
#include <string>

#include "apps/tarvo/options.h"
#include "tests/apps/support/child_process.h"

namespace {

using tarvo::testing::Child;
using tarvo::testing::TempDir;
using ::testing::HasSubstr;

TEST(RunnerInRealTime, TheRiverGaugeStartsAndStopsCorvaneSimOnAPseudoTerminal) {
    TempDir dir;
    Child corvane(CORVANE_SIM_PROGRAM, {"--transcript", dir.File("line.jsonl")}, dir.Path());
    const std::string pty = corvane.WaitForFirstLine();
    ASSERT_EQ(pty.rfind("/dev/pts/", 0), 0u) << corvane.out << corvane.err;

    Child tarvo(
        TARVO_PROGRAM,
        {"run", EXAMPLES_DIR "/river-gauge.xml", "--serial", "COM2:=" + pty, "--for", "90s"},
        dir.Path());
    const int status = tarvo.Finish();
    corvane.Signal(SIGTERM);
    EXPECT_EQ(corvane.Finish(), 0) << corvane.err;
    EXPECT_EQ(status, 0) << tarvo.err;

    // The run's time holds the 90 s of recording and the exchanges of start and stop around it.
    const std::string lead = "tarvo: recorded ";
    const auto of = tarvo.out.find(" of real time, ");
    ASSERT_TRUE(tarvo.out.rfind(lead, 0) == 0 && of != std::string::npos) << tarvo.out;
    std::int64_t ms = 0;
    EXPECT_TRUE(tarvo::runner::ParseDuration(tarvo.out.substr(lead.size(), of - lead.size()), ms));
    EXPECT_GE(ms, 90'000) << tarvo.out;
    EXPECT_THAT(tarvo.out, HasSubstr("  report at recording start: none\n"
                                     "  report at recording stop: none\n"));
    EXPECT_THAT(tarvo.out, HasSubstr("\nTransmitter on COM2: device " + pty + "\n"));

    // The transmitter's own record: the start sequence first, the stop sequence last (whatever
    // the messengers exchanged in between).
    const std::string transcript = dir.Read("line.jsonl");
    const std::string types = tarvo::testing::RequestTypes(transcript);
    EXPECT_THAT(types, ::testing::StartsWith("506 771 200 300 338 40 37 35 202 206 204 208 212 214 "
                                             "223 225 42 232 302 306 318 320 304 310 200 770 "));
    EXPECT_THAT(types, ::testing::EndsWith(" 771 200 300 338"));
    EXPECT_THAT(transcript, ::testing::Not(HasSubstr("\"note\"")));
}

// Ctrl-C while the start sequence runs against a transmitter that never answers: tarvo says at
// once that the stop is coming and what it still finishes, long before the sequence gives up.
TEST(RunnerInRealTime, CtrlCDuringTheStartSequenceIsAnsweredAtOnce) {
    TempDir dir;
    Child corvane(CORVANE_SIM_PROGRAM, {"--fault", "silence,count=all"}, dir.Path());
    const std::string pty = corvane.WaitForFirstLine();
    ASSERT_EQ(pty.rfind("/dev/pts/", 0), 0u) << corvane.out << corvane.err;

    Child tarvo(TARVO_PROGRAM,
                {"run", EXAMPLES_DIR "/river-gauge.xml", "--serial", "COM2:=" + pty, "--for", "1h",
                 "--level", "debug"},
                dir.Path());
    // The first request's first attempt has gone unanswered: the sequence has begun.
    ASSERT_TRUE(tarvo.WaitFor("SendOnce: Timed-out waiting for response")) << tarvo.err;
    tarvo.Signal(SIGINT);
    ASSERT_TRUE(tarvo.WaitFor("tarvo: stop asked for: the recording start sequence ends first"))
        << tarvo.err;
    EXPECT_THAT(tarvo.err, ::testing::Not(HasSubstr("Failed communicating with Corvane")))
        << "announced before the start sequence gave up";
    EXPECT_EQ(tarvo.Finish(), 130) << tarvo.err;
    EXPECT_THAT(tarvo.out, HasSubstr("tarvo: interrupted after "));
    corvane.Signal(SIGTERM);
    EXPECT_EQ(corvane.Finish(), 0) << corvane.err;
}

}  // namespace
