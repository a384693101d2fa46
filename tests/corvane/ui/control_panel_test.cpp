// The control panel entry and its properties dialog, walked by a scripted operator: what is
// written back on confirmation and kept on cancel, and the changed flag.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "corvane/ui/control_panel_entry.h"
#include "corvane/ui/corvane_properties_dialog.h"
#include "corvane/ui/status_dialog.h"
#include "corvane/ui/support/operator_bench.h"
#include "corvane/ui/ui_exports.h"

namespace {

using Entry = CorvaneControlPanelEntry;
using uitest::FormAction;

class ControlPanel : public uitest::OperatorBench {};

TEST_F(ControlPanel, TheExportedEntryListsItsFiveItemsInTreeOrder) {
    const std::unique_ptr<CControlPanelEntry> entry(CreateControlPanelEntry());
    ASSERT_NE(entry, nullptr);
    std::vector<std::wstring> names;
    for (int i = 0; i < entry->GetItemCount(); ++i)
        names.push_back(entry->GetItemName(i));
    EXPECT_EQ(names, (std::vector<std::wstring>{L"Corvane", L"Self-Timed", L"Random",
                                                L"Self-Timed Test", L"Random Test"}));
    EXPECT_FALSE(entry->IsChanged());
}

struct SettingsRow {
    const char* legend;
    int item;
    bool confirmed;
};

class SettingsItems : public uitest::OperatorBench,
                      public testing::WithParamInterface<SettingsRow> {};

// The dialogs edit the channel of their copy; only a confirmed copy goes back.
TEST_P(SettingsItems, WriteTheWorkingCopyBackOnlyWhenConfirmed) {
    const SettingsRow& row = GetParam();
    const bool confirmed = row.confirmed;
    const auto edit = [confirmed = row.confirmed](auto& working) {
        working.Channel = 42;
        return confirmed;
    };
    Entry entry(corvane, engine, SettingsDialogs{.selfTimed = edit, .random = edit});
    const int stBefore = corvane.SelfTimed().Settings().Channel;
    const int rtBefore = corvane.Random().Settings().Channel;
    EXPECT_EQ(entry.OpenItem(row.item), confirmed);
    const bool st = row.item == Entry::kSelfTimed && confirmed;
    const bool rt = row.item == Entry::kRandom && confirmed;
    EXPECT_EQ(corvane.SelfTimed().Settings().Channel, st ? 42 : stBefore);
    EXPECT_EQ(corvane.Random().Settings().Channel, rt ? 42 : rtBefore);
    EXPECT_EQ(entry.IsChanged(), confirmed);
}

INSTANTIATE_TEST_SUITE_P(Table, SettingsItems,
                         testing::Values(SettingsRow{"SelfTimedConfirmed", Entry::kSelfTimed, true},
                                         SettingsRow{"SelfTimedCancelled", Entry::kSelfTimed,
                                                     false},
                                         SettingsRow{"RandomConfirmed", Entry::kRandom, true},
                                         SettingsRow{"RandomCancelled", Entry::kRandom, false}),
                         [](const auto& info) { return std::string(info.param.legend); });

// Every common setting changed, the satellite id first one character short.
std::vector<FormAction> EditEveryCommonSetting(int closeWith) {
    return {FormAction::Select(kPropertiesPort, 3),
            FormAction::SetText(kPropertiesSatId, L"0A1B2C3"),
            FormAction::Check(kPropertiesInitCorvane, false),
            FormAction::SetText(kPropertiesLocalOffset, L"-5"),
            FormAction::Click(IDOK),
            FormAction::SetText(kPropertiesSatId, L"0A1B2C3D"),
            FormAction::Click(closeWith)};
}

TEST_F(ControlPanel, PropertiesTakeEverySettingOnceTheSatelliteIdHasEightCharacters) {
    Entry entry(corvane, engine);
    op->AnswerForm(EditEveryCommonSetting(IDOK));
    op->AnswerMessage(IDOK);
    EXPECT_TRUE(entry.OpenItem(Entry::kCorvane));
    EXPECT_EQ(op->Messages(), std::vector<std::wstring>{L"The satellite id must be 8 characters."});
    EXPECT_EQ(CommonSettingsOf(corvane),
              (CommonSettings{.Port = 3, .SatID = L"0A1B2C3D", .InitCorvane = false, .LTO = -5}));
    EXPECT_TRUE(entry.IsChanged());
}

TEST_F(ControlPanel, PropertiesCancelledLeaveEverySettingAsItWas) {
    Entry entry(corvane, engine);
    const CommonSettings before = CommonSettingsOf(corvane);
    op->AnswerForm(EditEveryCommonSetting(IDCANCEL));
    op->AnswerMessage(IDOK);
    EXPECT_FALSE(entry.OpenItem(Entry::kCorvane));
    EXPECT_EQ(CommonSettingsOf(corvane), before);
    EXPECT_FALSE(entry.IsChanged());
}

TEST_F(ControlPanel, PropertiesOpenTheStatusDialog) {
    Entry entry(corvane, engine);
    op->AnswerForm({FormAction::Click(kPropertiesStatus), FormAction::Click(IDCANCEL)});
    op->AnswerForm({FormAction::Click(kStatusResetFailsafe), FormAction::Click(IDCANCEL)});
    EXPECT_FALSE(entry.OpenItem(Entry::kCorvane));
    EXPECT_EQ(Requests(), "7:");
    EXPECT_TRUE(op->Problems().empty());
}

}  // namespace
