#include "corvane/ui/random_properties_dialog.h"

#include <string>
#include <vector>

#include "corvane/selftimed/self_timed_settings.h"
#include "corvane/ui/internal/field_editors.h"
#include "platform/dialog.h"
#include "platform/dialogs.h"
#include "platform/time.h"

namespace corvane::ui {
namespace {

using namespace random_properties;

constexpr IntRange kChannelRange{.low = 1, .high = 999};
constexpr IntRange kBurstCountRange{.low = 1, .high = 200};
constexpr IntRange kNumValsRange{.low = 1, .high = 99};

std::vector<std::wstring> TypeNames() {
    std::vector<std::wstring> names;
    for (const RandomType& type : kRandomTypes)
        names.emplace_back(type.name);
    return names;
}

class RandomPropertiesForm : public TDialog {
  public:
    explicit RandomPropertiesForm(const RandomSettings& start)
        : TDialog(L"Random Properties"), start_(start), edited_(start) {}

    const RandomSettings& Edited() const { return edited_; }

  protected:
    void OnInitDialog() override {
        AddCheckBox(kEnabled, L"Enable Random", edited_.Enabled);
        AddCheckBox(kLatLon, L"Append Lat/Lon", edited_.LatLon);
        AddCheckBox(kQuality, L"Append Batt Voltage", edited_.Quality);
        AddEditedNumberField(*this, kChannel, kChannelEdit, L"Channel:");
        SetInt(kChannel, edited_.Channel);
        AddList(kType, L"Type:", TypeNames(), edited_.Type);
        AddList(kFormat, L"Format:", {kRandomFormats.begin(), kRandomFormats.end()},
                edited_.Format);
        // The antenna names are the self-timed page's: the transmitter has one antenna.
        AddList(kAntenna, L"Antenna:", {kAntennas.begin(), kAntennas.end()}, edited_.Antenna);
        AddEditedTimeField(*this, kNormRate, kNormRateEdit, L"Normal Rate:", edited_.NormRate);
        AddEditedTimeField(*this, kAlarmRate, kAlarmRateEdit, L"Alarm Rate:", edited_.AlarmRate);
        AddEditedTimeField(*this, kBurstRate, kBurstRateEdit, L"Burst Rate:", edited_.BurstRate);
        AddEditedNumberField(*this, kBurstCount, kBurstCountEdit, L"Burst Count:");
        SetInt(kBurstCount, edited_.BurstCount);
        AddEditedNumberField(*this, kNumVals, kNumValsEdit, L"Num Vals:");
        SetInt(kNumVals, edited_.NumVals);
        AddButton(IDOK, L"OK");
        AddButton(IDCANCEL, L"Cancel");
        EnableAntennaForType();
    }
    void OnListChange(int id) override {
        if (id == kType)
            EnableAntennaForType();
    }
    void OnButton(int id) override {
        switch (id) {
            case kChannelEdit:
                EditIntField(*this, kChannel, L"Channel", kChannelRange,
                             RangeRefusal(kChannelRange));
                break;
            case kBurstCountEdit:
                EditIntField(*this, kBurstCount, L"Burst Count", kBurstCountRange,
                             RangeRefusal(kBurstCountRange));
                break;
            case kNumValsEdit:
                EditIntField(*this, kNumVals, L"Num Vals", kNumValsRange,
                             RangeRefusal(kNumValsRange));
                break;
            case kNormRateEdit:
                EditTimeField(*this, kNormRate, L"Set Normal Rate");
                break;
            case kAlarmRateEdit:
                EditTimeField(*this, kAlarmRate, L"Set Alarm Rate");
                break;
            case kBurstRateEdit:
                EditTimeField(*this, kBurstRate, L"Set Burst Rate");
                break;
            default:
                break;
        }
    }
    bool OnOK() override {
        if (!ValidateTime(GetText(kNormRate)) || !ValidateTime(GetText(kAlarmRate)) ||
            !ValidateTime(GetText(kBurstRate))) {
            MessageDlg(nullptr, L"Invalid rate entered.");
            return false;
        }
        edited_.Enabled = GetCheck(kEnabled);
        edited_.LatLon = GetCheck(kLatLon);
        edited_.Quality = GetCheck(kQuality);
        edited_.Channel = GetInt(kChannel);
        // A list left without a selection (a value from the setup file outside the list) keeps
        // the value it came with.
        if (GetSelection(kType) >= 0)
            edited_.Type = GetSelection(kType);
        if (GetSelection(kFormat) >= 0)
            edited_.Format = GetSelection(kFormat);
        if (GetSelection(kAntenna) >= 0)
            edited_.Antenna = GetSelection(kAntenna);
        edited_.NormRate = GetText(kNormRate);
        edited_.AlarmRate = GetText(kAlarmRate);
        edited_.BurstRate = GetText(kBurstRate);
        edited_.BurstCount = GetInt(kBurstCount);
        edited_.NumVals = GetInt(kNumVals);
        if (edited_ == start_) {
            // Nothing to save: the page ends as Cancel does, so the setup is not marked changed.
            EndDialog(IDCANCEL);
            return false;
        }
        return true;
    }

  private:
    void EnableAntennaForType() {
        EnableControl(kAntenna, RandomTypeHasAntenna(GetSelection(kType)));
    }

    const RandomSettings start_;
    RandomSettings edited_;
};

}  // namespace
}  // namespace corvane::ui

bool RunRandomPropertiesDialog(RandomSettings& working) {
    corvane::ui::RandomPropertiesForm form(working);
    if (form.DoModal() != IDOK)
        return false;
    working = form.Edited();
    return true;
}
