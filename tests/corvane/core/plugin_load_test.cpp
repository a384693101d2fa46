// libcorvane.so loaded through the host's plug-in loader, the way the platform finds it: every
// export by its exact name, and the setup section handed over and written back through it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/engine/plugin.h"
#include "host/log/report_sinks.h"

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

}  // namespace
