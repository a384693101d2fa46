// The module's blocks as the platform reaches them: through the exported factory, and through a
// setup file loaded, recorded and saved by the host engine with the plug-in.
#include "corvane/core/block_factory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "host/clock/clock.h"
#include "host/engine/engine.h"
#include "host/support/temp_dir.h"
#include "platform/clock.h"
#include "platform/module.h"

extern TFactory Factory;

namespace {

using ::testing::HasSubstr;

TEST(BlockFactory, MakesOnlyItsThreeTypesByIndex) {
    ASSERT_EQ(Factory.GetModuleCount(), 3);
    const wchar_t* const names[] = {L"SelfTimed", L"Random", L"RndGroup"};
    for (int i = 0; i < 3; ++i) {
        EXPECT_STREQ(Factory.GetModuleName(i), names[i]);
        std::unique_ptr<TModule> block(Factory.CreateModule(i));
        ASSERT_NE(block, nullptr) << i;
        EXPECT_EQ(block->GetModuleName(), names[i]);
    }
    EXPECT_EQ(Factory.CreateModule(3), nullptr);
    EXPECT_EQ(Factory.CreateModule(-1), nullptr);
    EXPECT_EQ(Factory.CreatePage(0), nullptr);
}

TEST(BlockFactory, ASelfTimedBlockInTheSetupFileLoadsRecordsAndSavesEveryProperty) {
    tarvo::host::ScopedVirtualClock clock(TTime(2024, 6, 3, 0, 0, 0));
    tarvo::test::TempDir dir;
    const std::string setup = dir.File("station.xml");
    {
        std::ofstream out(setup);
        out << "<TarvoSetup>\n  <Blocks>\n"
               "    <Block Type=\"Source\" Name=\"Stage\" Interval=\"00:05:00\" />\n"
               "    <Block Type=\"SelfTimed\" Name=\"HG\" Label=\"HG\" NumVals=\"4\" "
               "Sequence=\"3\" Offset=\"00:05:00\" Interval=\"00:15:00\" UseCalcTime=\"1\" />\n"
               "    <Connection From=\"Stage\" To=\"HG\" />\n"
               "  </Blocks>\n</TarvoSetup>\n";
    }
    tarvo::host::HostEngine engine;
    engine.AddBlockTypes(Factory, "libcorvane.so");
    std::string error;
    ASSERT_TRUE(engine.LoadSetup(setup, error)) << error;
    ASSERT_TRUE(engine.Run());
    Sleep(30 * 60'000);
    ASSERT_TRUE(engine.Stop());
    ASSERT_TRUE(engine.SaveSetup(setup, error)) << error;
    std::stringstream saved;
    saved << std::ifstream(setup).rdbuf();
    EXPECT_THAT(saved.str(), HasSubstr("Type = \"SelfTimed\" Name = \"HG\" Enabled = \"true\" "
                                       "Label = \"HG\" NumVals = \"4\" Sequence = \"3\" "
                                       "Offset = \"00:05:00\" Interval = \"00:15:00\" "
                                       "UseCalcTime = \"1\""));
    engine.Shutdown();
}

}  // namespace
