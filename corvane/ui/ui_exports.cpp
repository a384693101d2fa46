#include "corvane/ui/ui_exports.h"

#include <memory>
#include <type_traits>

#include "corvane/core/device.h"
#include "corvane/ui/control_panel_entry.h"
#include "corvane/ui/front_panel_menu.h"
#include "platform/engine.h"
#include "platform/plugin.h"
#include "platform/report.h"

extern "C" {

CControlPanelEntry* CreateControlPanelEntry() {
    return std::make_unique<CorvaneControlPanelEntry>(TheCorvane(), GetEngine()).release();
}

int DisplayProc(DisplayIO* display, void* /*reserved*/) {
    if (display == nullptr) {
        // The misspelling is the platform log's text as operators know it.
        TReport::Warning("Corvane display procedure recieved NULL display pointer.");
        return 1;
    }
    RunFrontPanelMenu(*display, TheCorvane(), GetEngine());
    return 1;
}

const wchar_t* GetMenuEntry() {
    return kMenuEntryText;
}

BOOL IsMainMenu() {
    return 0;
}

}  // extern "C"

// The platform calls these through its own function types: keep the signatures identical.
static_assert(std::is_same_v<decltype(&CreateControlPanelEntry), CreateControlPanelEntryProc>);
static_assert(std::is_same_v<decltype(&DisplayProc), DisplayProcProc>);
static_assert(std::is_same_v<decltype(&GetMenuEntry), GetMenuEntryProc>);
static_assert(std::is_same_v<decltype(&IsMainMenu), IsMainMenuProc>);
