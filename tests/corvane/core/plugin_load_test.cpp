// libcorvane.so loaded through the host's plug-in loader, the way the platform finds it: every
// export by its exact name, and the setup section handed over and written back through it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/engine/plugin.h"
#include "host/log/report_sinks.h"
#include "host/setup/setup_file.h"

namespace {

using tarvo::host::Plugin;

std::unique_ptr<Plugin> LoadCorvane() {
    std::string error;
    auto plugin = Plugin::Load(CORVANE_PLUGIN_PATH, error);
    EXPECT_NE(plugin, nullptr) << error;
    return plugin;
}

TEST(CorvanePlugin, LoaderFindsEveryRequiredExportByName) {
    auto plugin = LoadCorvane();
    ASSERT_NE(plugin, nullptr);
    const auto& e = plugin->Exports();
    EXPECT_NE(e.AppInit, nullptr);
    EXPECT_NE(e.AppExit, nullptr);
    EXPECT_NE(e.GetFileVersion, nullptr);
    EXPECT_NE(e.GetSetupTag, nullptr);
    EXPECT_NE(e.ReadSetup, nullptr);
    EXPECT_NE(e.WriteSetup, nullptr);
    EXPECT_NE(e.InitSetup, nullptr);
    EXPECT_EQ(plugin->SetupTag(), L"Corvane");
    EXPECT_EQ(plugin->FileVersion(), L"3.9.0.8");
}

TEST(CorvanePlugin, EveryControlExportIsFoundByItsExactName) {
    void* library = dlopen(CORVANE_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    for (const char* name :
         {"GetCorvaneID",       "SetCorvaneID",    "CorvaneTxEnabled", "GetCorvaneStatus",
          "IsSelfTimedEnabled", "EnableSelfTimed", "GetSTTxTime",      "SetSTTxTime",
          "GetSTTxInterval",    "SetSTTxInterval", "GetSTChannel",     "SetSTChannel",
          "GetSTType",          "SetSTType",       "IsRandomEnabled",  "EnableRandom",
          "GetRTNormalRate",    "SetRTNormalRate", "GetRTAlarmRate",   "SetRTAlarmRate",
          "GetRTChannel",       "SetRTChannel",    "GetRTType",        "SetRTType",
          "SetBasicHook",       "GetReportString"}) {
        EXPECT_NE(dlsym(library, name), nullptr) << name;
    }
    dlclose(library);
}

TEST(CorvanePlugin, LoaderFindsEveryOperatorExportByName) {
    auto plugin = LoadCorvane();
    ASSERT_NE(plugin, nullptr);
    const auto& e = plugin->Exports();
    ASSERT_NE(e.CreateControlPanelEntry, nullptr);
    ASSERT_NE(e.DisplayProc, nullptr);
    ASSERT_NE(e.GetMenuEntry, nullptr);
    ASSERT_NE(e.IsMainMenu, nullptr);
    EXPECT_EQ(std::wstring(e.GetMenuEntry()), L"Edit Corvane (*)");
    EXPECT_EQ(e.IsMainMenu(), 0);
    tarvo::host::LogCapture log;
    EXPECT_EQ(e.DisplayProc(nullptr, nullptr), 1);
    EXPECT_TRUE(log.Contains(TReportLevel::Warning,
                             "Corvane display procedure recieved NULL display pointer."));
}

TEST(CorvanePlugin, SectionReadThroughTheLoaderIsWrittenBackAsItWasRead) {
    auto plugin = LoadCorvane();
    ASSERT_NE(plugin, nullptr);
    ASSERT_TRUE(plugin->InitSetup());

    // A section in the host's own layout, with values away from every default, so that a
    // setting the plug-in failed to read would show up as a changed line.
    const std::string section =
        "<Corvane>\n"
        "    <Common Port = \"3\" SatID = \"0A1B2C3D\" InitCorvane = \"0\" LTO = \"-5\" />\n"
        "    <SelfTimed Enabled = \"1\" LatLon = \"1\" Quality = \"1\" Channel = \"42\" "
        "Type = \"11\" Format = \"Bin Int\" Time = \"00:05:00\" Rate = \"01:00:00\" "
        "CenterWin = \"0\" WinLen = \"00:00:30\" NumVals = \"4\" EnableSatID2 = \"1\" "
        "SatID2 = \"11223344\" SCDChannel = \"7\" Antenna = \"2\" />\n"
        "    <Random Enabled = \"1\" LatLon = \"0\" Quality = \"1\" Channel = \"99\" "
        "NormRate = \"06:00:00\" AlarmRate = \"00:30:00\" Type = \"7\" BurstCount = \"5\" "
        "BurstRate = \"00:02:00\" Format = \"1\" NumVals = \"3\" Antenna = \"1\" />\n"
        "</Corvane>\n";

    std::string error;
    auto reader = tarvo::host::MakeSectionReader(section, error);
    ASSERT_NE(reader, nullptr) << error;
    ASSERT_TRUE(plugin->ReadSetup(*reader));

    std::string written;
    ASSERT_TRUE(plugin->WriteSetup(written));
    EXPECT_EQ(written, section);

    ASSERT_TRUE(plugin->InitSetup());  // leave the one device object as a fresh setup has it
}

}  // namespace
