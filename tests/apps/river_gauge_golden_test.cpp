// The river-gauge example's simulated day as a golden transcript: tarvo run's whole report, in
// which every hourly window carries its message byte for byte, and the exchanges that brought
// them. Rebuild with CORVANE_UPDATE_GOLDEN=1 after a deliberate change and explain the diff in
// the commit.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/apps/support/child_process.h"

namespace {

using tarvo::testing::Child;
using tarvo::testing::TempDir;

constexpr const char* kScenario =
    "# examples/river-gauge.xml for one simulated day from 2026-03-01 11:58:30, the transmitter "
    "simulated in process: tarvo run's report\n";

TEST(RiverGaugeGolden, ADayOfHourlyWindowsCarriesTheExpectedMessages) {
    TempDir dir;
    Child tarvo(
        TARVO_PROGRAM,
        {"run", EXAMPLES_DIR "/river-gauge.xml", "--for", "24h", "--start", "2026-03-01 11:58:30"},
        dir.Path());
    ASSERT_EQ(tarvo.Finish(), 0) << tarvo.err;
    const std::string report = kScenario + tarvo.out;

    const std::string path = std::string(APPS_GOLDEN_DIR) + "/river-gauge-day.txt";
    if (std::getenv("CORVANE_UPDATE_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary) << report;
        GTEST_SKIP() << "rebuilt " << path;
    }
    std::stringstream golden;
    golden << std::ifstream(path, std::ios::binary).rdbuf();
    EXPECT_EQ(report, golden.str()) << "(rebuild with CORVANE_UPDATE_GOLDEN=1)";
}

}  // namespace
