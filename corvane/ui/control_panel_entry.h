// The module's branch of the platform's control panel: five items, each running its dialog
// modally on the interface thread. Settings dialogs work on a copy that goes back into the
// device object (or its messenger) only when the operator confirms; the entry then sets its
// changed flag, so that the platform saves the setup.
#pragma once

#include <functional>
#include <string>

#include "corvane/random/random_settings.h"
#include "corvane/selftimed/self_timed_settings.h"
#include "corvane/ui/random_properties_dialog.h"
#include "corvane/ui/self_timed_properties_dialog.h"
#include "platform/control_panel.h"

class CCorvane;
class CEngine;

// The two settings dialogs the entry opens; a test may put its own in their place. Each has
// the contract of RunSelfTimedPropertiesDialog.
struct SettingsDialogs {
    std::function<bool(SelfTimedSettings&)> selfTimed = RunSelfTimedPropertiesDialog;
    std::function<bool(RandomSettings&)> random = RunRandomPropertiesDialog;
};

class CorvaneControlPanelEntry : public CControlPanelEntry {
  public:
    // Items in tree order.
    enum Item { kCorvane, kSelfTimed, kRandom, kSelfTimedTest, kRandomTest, kItemCount };

    // `corvane` and `engine` outlive the entry.
    CorvaneControlPanelEntry(CCorvane& corvane, CEngine& engine, SettingsDialogs dialogs = {});

    int GetItemCount() const override { return kItemCount; }
    // "Corvane", "Self-Timed", "Random", "Self-Timed Test", "Random Test"; empty outside.
    std::wstring GetItemName(int index) const override;
    // True when a settings dialog was confirmed and its values written back; the test items
    // change no setting and give false.
    bool OpenItem(int index) override;

  private:
    CCorvane& corvane_;
    CEngine& engine_;
    SettingsDialogs dialogs_;
};
