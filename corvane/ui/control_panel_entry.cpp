#include "corvane/ui/control_panel_entry.h"

#include <utility>

#include "corvane/core/corvane.h"
#include "corvane/ui/common_settings.h"
#include "corvane/ui/corvane_properties_dialog.h"
#include "corvane/ui/test_dialog.h"

CorvaneControlPanelEntry::CorvaneControlPanelEntry(CCorvane& corvane, CEngine& engine,
                                                   SettingsDialogs dialogs)
    : corvane_(corvane), engine_(engine), dialogs_(std::move(dialogs)) {}

std::wstring CorvaneControlPanelEntry::GetItemName(int index) const {
    switch (index) {
        case kCorvane:
            return L"Corvane";
        case kSelfTimed:
            return L"Self-Timed";
        case kRandom:
            return L"Random";
        case kSelfTimedTest:
            return L"Self-Timed Test";
        case kRandomTest:
            return L"Random Test";
        default:
            return L"";
    }
}

namespace {

// Runs `dialog` on a copy of `settings` and takes the copy back only when confirmed.
template <typename Settings, typename Dialog>
bool EditCopy(Settings& settings, const Dialog& dialog) {
    Settings working = settings;
    if (!dialog(working))
        return false;
    settings = std::move(working);
    return true;
}

}  // namespace

bool CorvaneControlPanelEntry::OpenItem(int index) {
    bool confirmed = false;
    switch (index) {
        case kCorvane: {
            CommonSettings working = CommonSettingsOf(corvane_);
            confirmed = RunCorvanePropertiesDialog(working, corvane_, engine_);
            if (confirmed)
                ApplyCommonSettings(working, corvane_);
            break;
        }
        case kSelfTimed:
            confirmed = EditCopy(corvane_.SelfTimed().Settings(), dialogs_.selfTimed);
            break;
        case kRandom:
            confirmed = EditCopy(corvane_.Random().Settings(), dialogs_.random);
            break;
        case kSelfTimedTest:
            RunTestDialog(corvane_, TestMode::SelfTimed);
            break;
        case kRandomTest:
            RunTestDialog(corvane_, TestMode::Random);
            break;
        default:
            break;
    }
    if (confirmed)
        SetChanged(true);
    return confirmed;
}
