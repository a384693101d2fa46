// A test plug-in that stands for another module of the logger taking over the Corvane module's
// messages: at load it finds SetBasicHook in the already loaded libcorvane.so by name, as such a
// module would, and installs two hooks whose messages say which messenger asked and for what.
// Load it after libcorvane.so; it refuses to load (AppInit 0) when that is not loaded.
#include <dlfcn.h>

#include <string>

#include "corvane/core/control_exports.h"
#include "platform/xml_setup.h"

namespace {

constexpr const char* kCorvane = "libcorvane.so";  // its soname

bool SelfTimedHook(std::wstring& message, int number) {
    message = L"HOOKED SELF-TIMED " + std::to_wstring(number);
    return true;
}

bool RandomHook(std::wstring& message, int group) {
    message = L"HOOKED RANDOM " + std::to_wstring(group);
    return true;
}

// Hands the hooks to the module; false when the module is not loaded or has no SetBasicHook.
bool Install(corvane::MessageHook selfTimed, corvane::MessageHook random) {
    void* corvane = dlopen(kCorvane, RTLD_NOW | RTLD_NOLOAD);
    if (corvane == nullptr)
        return false;
    auto setBasicHook = reinterpret_cast<SetBasicHookProc>(dlsym(corvane, "SetBasicHook"));
    if (setBasicHook != nullptr)
        setBasicHook(selfTimed, random);
    dlclose(corvane);  // the reference RTLD_NOLOAD took
    return setBasicHook != nullptr;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int AppInit() {
    return Install(SelfTimedHook, RandomHook) ? 1 : 0;
}

// The hooks live in this library: take them back before it goes (if the module is still there).
__attribute__((visibility("default"))) int AppExit() {
    Install(nullptr, nullptr);
    return 1;
}

__attribute__((visibility("default"))) const wchar_t* GetFileVersion() {
    return L"1.0";
}

__attribute__((visibility("default"))) const wchar_t* GetSetupTag() {
    return L"MessageHooks";
}

__attribute__((visibility("default"))) int ReadSetup(CXMLSetup* /*setup*/) {
    return 1;
}

__attribute__((visibility("default"))) int WriteSetup(CXMLSetup* setup) {
    setup->WriteStartTag(L"<MessageHooks>");
    setup->WriteEndTag(L"</MessageHooks>");
    return 1;
}

__attribute__((visibility("default"))) int InitSetup(void* /*reserved*/) {
    return 1;
}

}  // extern "C"
