// RndGroup::EditProperties (see block_dialogs.h for why it is defined here).
#include <string>

#include "corvane/random/rnd_group.h"
#include "corvane/ui/block_dialogs.h"
#include "corvane/ui/internal/field_editors.h"
#include "platform/dialog.h"
#include "platform/dialogs.h"
#include "platform/time.h"

namespace corvane::ui {
namespace {

using namespace rnd_group_properties;

constexpr IntRange kGroupRange{.low = 2, .high = 9};

struct RndGroupValues {
    int group = 0;
    std::wstring label;
    std::wstring offset;
    std::wstring interval;
    double hiLimit = 0;
    double lowLimit = 0;
    double rocMag = 0;
    double deadband = 0;
    bool hiAlarm = false;
    bool lowAlarm = false;
    bool rocFixed = false;
    int rocMode = 0;  // index into the "ROC Mode:" list: "Off", "Hi", "Low"
};

// The first failed check of OK, in the order they are made; empty when all pass.
std::wstring FirstRefusal(const std::wstring& offset, const std::wstring& interval, int rocMode) {
    if (!ValidateTime(offset) || !ValidateTime(interval))
        return L"Invalid time or interval entered.";
    if (StrToMS(interval) == 0)
        return L"Data Interval must be greater than 0.";
    // An offset equal to the interval passes although the text says "less than".
    if (StrToMS(offset) > StrToMS(interval))
        return L"DTime must be less than the interval.";
    if (rocMode < 0)
        return L"Please select a ROC mode from the list.";
    return {};
}

class RndGroupForm : public TDialog {
  public:
    explicit RndGroupForm(RndGroupValues values)
        : TDialog(L"Random Group Properties"), values_(std::move(values)) {}

    const RndGroupValues& Values() const { return values_; }

  protected:
    void OnInitDialog() override {
        AddEditedNumberField(*this, kGroup, kGroupEdit, L"Group:");
        SetInt(kGroup, values_.group);
        AddTextField(kLabel, L"Label:", values_.label);
        AddEditedTimeField(*this, kOffset, kOffsetEdit, L"Data Time:", values_.offset);
        AddEditedTimeField(*this, kInterval, kIntervalEdit, L"Data Interval:", values_.interval);
        AddReal(kHiLimit, kHiLimitEdit, L"Hi Limit:", values_.hiLimit);
        AddReal(kLowLimit, kLowLimitEdit, L"Low Limit:", values_.lowLimit);
        AddReal(kROCMag, kROCMagEdit, L"ROC Mag:", values_.rocMag);
        AddReal(kDeadband, kDeadbandEdit, L"Deadband:", values_.deadband);
        AddCheckBox(kHiAlarm, L"Enable Hi Alarm:", values_.hiAlarm);
        AddCheckBox(kLowAlarm, L"Enable Low Alarm:", values_.lowAlarm);
        AddCheckBox(kROCFixed, L"ROC Fixed Interval:", values_.rocFixed);
        AddList(kROCMode, L"ROC Mode:", {L"Off", L"Hi", L"Low"}, values_.rocMode);
        AddButton(IDOK, L"OK");
        AddButton(IDCANCEL, L"Cancel");
    }
    void OnButton(int id) override {
        switch (id) {
            case kGroupEdit:
                EditGroup();
                break;
            case kOffsetEdit:
                EditTimeField(*this, kOffset, L"Set Data Time");
                break;
            case kIntervalEdit:
                EditTimeField(*this, kInterval, L"Set Data Interval");
                break;
            case kHiLimitEdit:
                EditRealField(*this, kHiLimit, L"Hi Limit");
                break;
            case kLowLimitEdit:
                EditRealField(*this, kLowLimit, L"Low Limit");
                break;
            case kROCMagEdit:
                EditRealField(*this, kROCMag, L"ROC Mag");
                break;
            case kDeadbandEdit:
                EditRealField(*this, kDeadband, L"Deadband");
                break;
            default:
                break;
        }
    }
    bool OnOK() override {
        const std::wstring refusal =
            FirstRefusal(GetText(kOffset), GetText(kInterval), GetSelection(kROCMode));
        if (!refusal.empty()) {
            MessageDlg(nullptr, refusal);
            return false;
        }
        values_.group = GetInt(kGroup);
        values_.label = GetText(kLabel);
        values_.offset = GetText(kOffset);
        values_.interval = GetText(kInterval);
        values_.hiLimit = GetReal(kHiLimit);
        values_.lowLimit = GetReal(kLowLimit);
        values_.rocMag = GetReal(kROCMag);
        values_.deadband = GetReal(kDeadband);
        values_.hiAlarm = GetCheck(kHiAlarm);
        values_.lowAlarm = GetCheck(kLowAlarm);
        values_.rocFixed = GetCheck(kROCFixed);
        values_.rocMode = GetSelection(kROCMode);
        return true;
    }

  private:
    void AddReal(int fieldId, int buttonId, const wchar_t* label, double value) {
        AddEditedNumberField(*this, fieldId, buttonId, label);
        SetReal(fieldId, value);
    }
    // A label that is just the old group's digit (the default naming) follows the new number.
    void EditGroup() {
        const int old = GetInt(kGroup);
        int group = old;
        if (!EditIntInRange(L"Group", group, kGroupRange, RangeRefusal(kGroupRange)))
            return;
        SetInt(kGroup, group);
        const std::wstring label = GetText(kLabel);
        if (label.size() == 1 && label == std::to_wstring(old))
            SetText(kLabel, std::to_wstring(group));
    }

    RndGroupValues values_;
};

}  // namespace
}  // namespace corvane::ui

bool RndGroup::EditProperties() {
    using namespace corvane::ui;
    RndGroupForm form({
        .group = Group(),
        .label = Label(),
        .offset = Offset(),
        .interval = Interval(),
        .hiLimit = hiLimit_->GetReal(),
        .lowLimit = lowLimit_->GetReal(),
        .rocMag = rocMag_->GetReal(),
        .deadband = deadband_->GetReal(),
        .hiAlarm = hiAlarm_->GetBool(),
        .lowAlarm = lowAlarm_->GetBool(),
        .rocFixed = rocFixed_->GetBool(),
        .rocMode = static_cast<int>(rocAlarm_->GetInteger()),
    });
    if (form.DoModal() != IDOK)
        return false;
    const RndGroupValues& edited = form.Values();
    group_->SetInteger(edited.group);
    label_->SetText(edited.label);
    offset_->SetText(edited.offset);
    interval_->SetText(edited.interval);
    hiLimit_->SetReal(edited.hiLimit);
    lowLimit_->SetReal(edited.lowLimit);
    rocMag_->SetReal(edited.rocMag);
    deadband_->SetReal(edited.deadband);
    hiAlarm_->SetBool(edited.hiAlarm);
    lowAlarm_->SetBool(edited.lowAlarm);
    rocFixed_->SetBool(edited.rocFixed);
    rocAlarm_->SetInteger(edited.rocMode);
    return true;
}
