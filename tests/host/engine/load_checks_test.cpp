// What loading a setup refuses or warns about in the host's own blocks, beyond what each
// property's type takes, and a Log block that cannot write.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/blocks/log_block.h"
#include "host/clock/clock.h"
#include "host/engine/engine.h"
#include "host/log/report_sinks.h"
#include "host/support/temp_dir.h"
#include "platform/clock.h"

namespace {

using tarvo::host::HostEngine;
using tarvo::host::LogCapture;
using tarvo::host::ScopedVirtualClock;
using tarvo::test::TempDir;

const TTime kStart(2024, 3, 10, 0, 0, 0);

std::string SetupText(const std::string& blocks) {
    return "<TarvoSetup>\n  <Blocks>\n" + blocks + "  </Blocks>\n</TarvoSetup>\n";
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
    Sleep(3'600'000);
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
    ASSERT_TRUE(engine.LoadSetupText(
        SetupText("    <Block Type=\"Source\" Name=\"S\" Interval=\"00:01:00\" />\n"
                  "    <Block Type=\"Log\" Name=\"L\" File=\"/dev/full\" />\n"
                  "    <Connection From=\"S\" To=\"L\" />\n"),
        "full.xml", error))
        << error;
    ASSERT_TRUE(engine.Run());
    Sleep(24 * 3'600'000);
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

}  // namespace
