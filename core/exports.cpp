// The life-cycle and setup functions the platform finds by name.
#include <type_traits>

#include "core/device.h"
#include "core/exports.h"
#include "platform/plugin.h"
#include "platform/report.h"

extern "C" {

int AppInit() {
    return 1;
}

int AppExit() {
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

}  // extern "C"

// The platform calls these through its own function types: keep the signatures identical.
static_assert(std::is_same_v<decltype(&AppInit), AppInitProc>);
static_assert(std::is_same_v<decltype(&AppExit), AppExitProc>);
static_assert(std::is_same_v<decltype(&GetFileVersion), GetFileVersionProc>);
static_assert(std::is_same_v<decltype(&GetSetupTag), GetSetupTagProc>);
static_assert(std::is_same_v<decltype(&ReadSetup), ReadSetupProc>);
static_assert(std::is_same_v<decltype(&WriteSetup), WriteSetupProc>);
static_assert(std::is_same_v<decltype(&InitSetup), InitSetupProc>);
