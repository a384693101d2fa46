// Plug-ins loaded by their exported names: the test plug-in, a library without GetSetupTag,
// and the setup sections handed over and saved back.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "host/clock/clock.h"
#include "host/engine/engine.h"
#include "host/engine/plugin.h"
#include "host/support/temp_dir.h"
#include "platform/clock.h"
#include "platform/module_factory.h"
#include "tests/host/plugin/test_plugin_state.h"

namespace {

using tarvo::host::HostEngine;
using tarvo::host::Plugin;
using tarvo::test::TempDir;

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

TEST_F(PluginTest, IsLoadedThroughDlopenWithItsExportsFoundByName) {
    std::string error;
    auto plugin = Plugin::Load(TEST_PLUGIN_PATH, error);
    ASSERT_NE(plugin, nullptr) << error;
    const auto& e = plugin->Exports();
    EXPECT_TRUE(e.AppInit && e.AppExit && e.GetFileVersion && e.ReadSetup && e.WriteSetup &&
                e.InitSetup && e.OnEngineStart && e.OnEngineStop);
    // The optional exports it lacks are simply absent.
    EXPECT_FALSE(e.CreateControlPanelEntry || e.DisplayProc || e.GetMenuEntry || e.IsMainMenu);
    EXPECT_EQ(plugin->SetupTag(), L"TestPlugin");
    EXPECT_EQ(plugin->FileVersion(), L"1.2.3.4");
    EXPECT_EQ(plugin->FileName(), "libtestplugin.so");
    ASSERT_NE(plugin->Factory(), nullptr) << "the factory is the exported object itself";
    EXPECT_STREQ(plugin->Factory()->GetModuleName(0), L"Scale");
    EXPECT_EQ(state_->appInit, 1);
    plugin.reset();
    EXPECT_EQ(state_->appExit, 1);
}

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
        tarvo::host::ScopedVirtualClock clock(TTime(2024, 3, 10, 0, 0, 30));
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

TEST_F(PluginTest, OnlyLibrariesExportingGetSetupTagAreFoundInAFolder) {
    std::vector<std::string> problems;
    const auto dir = std::filesystem::path(TEST_PLUGIN_PATH).parent_path().string();
    EXPECT_EQ(tarvo::host::FindPlugins(dir, problems), std::vector<std::string>{TEST_PLUGIN_PATH});
    EXPECT_TRUE(problems.empty());
}

}  // namespace
