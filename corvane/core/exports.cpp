// The life-cycle, setup and recording functions the platform finds by name.
#include <string>
#include <type_traits>

#include "corvane/core/caller_copy.h"
#include "corvane/core/device.h"
#include "corvane/core/exports.h"
#include "platform/dialogs.h"
#include "platform/plugin.h"
#include "platform/report.h"

namespace {

void ShowReport(const std::wstring& report) {
    if (!report.empty()) {
        MessageDlg(nullptr, report, 60, 0);
    }
}

}  // namespace

extern "C" {

int AppInit() {
    return 1;
}

int AppExit() {
    if (TheCorvane().IsRunning()) {
        TheCorvane().RecordingStop();  // the operator is not asked at unload
    }
    return 1;
}

const wchar_t* GetFileVersion() {
    return CCorvane::kFileVersion;
}

const wchar_t* GetSetupTag() {
    return CCorvane::kSetupTag;
}

int ReadSetup(CXMLSetup* setup) {
    if (setup == nullptr || !TheCorvane().ReadSetup(*setup)) {
        TReport::Warning("Error interpreting Corvane configuration from setup.");
        return 0;
    }
    return 1;
}

int WriteSetup(CXMLSetup* setup) {
    if (setup == nullptr || !TheCorvane().WriteSetup(*setup)) {
        TReport::Warning("Error writing Corvane configuration to setup.");
        return 0;
    }
    return 1;
}

int InitSetup(void* /*reserved*/) {
    if (!TheCorvane().InitSetup()) {
        TReport::Warning("Error setting Corvane configuration to defaults.");
        return 0;
    }
    return 1;
}

int OnEngineStart() {
    ShowReport(TheCorvane().RecordingStart());
    return TheCorvane().StartRefused() ? 0 : 1;
}

int OnEngineStop() {
    ShowReport(TheCorvane().RecordingStop());
    return 1;
}

wchar_t* Start() {
    return corvane::CallerOwnedCopy(TheCorvane().RecordingStart());
}

wchar_t* Stop() {
    return corvane::CallerOwnedCopy(TheCorvane().RecordingStop());
}

}  // extern "C"

// The platform calls these through its own function types: keep the signatures identical.
static_assert(std::is_same_v<decltype(&AppInit), AppInitProc>);
static_assert(std::is_same_v<decltype(&AppExit), AppExitProc>);
static_assert(std::is_same_v<decltype(&GetFileVersion), GetFileVersionProc>);
static_assert(std::is_same_v<decltype(&GetSetupTag), GetSetupTagProc>);
static_assert(std::is_same_v<decltype(&ReadSetup), ReadSetupProc>);
static_assert(std::is_same_v<decltype(&WriteSetup), WriteSetupProc>);
static_assert(std::is_same_v<decltype(&InitSetup), InitSetupProc>);
static_assert(std::is_same_v<decltype(&OnEngineStart), OnEngineStartProc>);
static_assert(std::is_same_v<decltype(&OnEngineStop), OnEngineStopProc>);
static_assert(std::is_same_v<decltype(&Start), StartProc>);
static_assert(std::is_same_v<decltype(&Stop), StopProc>);
