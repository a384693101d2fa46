#include "corvane/ui/self_timed_properties_dialog.h"

#include <string>
#include <vector>

#include "corvane/ui/internal/field_editors.h"
#include "platform/dialog.h"
#include "platform/dialogs.h"
#include "platform/time.h"

namespace corvane::ui {
namespace {

using namespace self_timed_properties;

constexpr IntRange kChannelRange{.low = 1, .high = 999};
constexpr IntRange kNumValsRange{.low = 1, .high = 99};
constexpr IntRange kSCDChannelRange{.low = 1, .high = 20};
constexpr int kSatIDLength = 8;
const wchar_t* const kInsatFormat = kSelfTimedFormats[6];
const wchar_t* const kDefaultFormat = kSelfTimedFormats[0];

template <std::size_t N>
std::vector<std::wstring> Names(const std::array<const wchar_t*, N>& names) {
    return {names.begin(), names.end()};
}

std::vector<std::wstring> TypeNames() {
    std::vector<std::wstring> names;
    for (const SelfTimedType& type : kSelfTimedTypes)
        names.emplace_back(type.name);
    return names;
}

std::wstring SatID2Refusal(const std::wstring& text) {
    return text.size() == static_cast<std::size_t>(kSatIDLength)
               ? std::wstring()
               : L"The secondary satellite id must be 8 characters.";
}

// Edits the three fields of the record the main page does not show; `edited` changes only on OK.
class MoreSelfTimedPropertiesForm : public TDialog {
  public:
    explicit MoreSelfTimedPropertiesForm(SelfTimedSettings& edited)
        : TDialog(L"More SelfTimed Properties"), edited_(edited) {}

  protected:
    void OnInitDialog() override {
        AddCheckBox(kEnableSatID2, L"Enable INSAT ID2: ", edited_.EnableSatID2);
        AddTextField(kSatID2, L"Sat ID2:", edited_.SatID2, 0, /*readOnly=*/true);
        AddButton(kSatID2Edit, L"...");
        AddEditedNumberField(*this, kSCDChannel, kSCDChannelEdit, L"SCD Chn:");
        SetInt(kSCDChannel, edited_.SCDChannel);
        AddButton(IDOK, L"OK");
        AddButton(IDCANCEL, L"Cancel");
    }
    void OnButton(int id) override {
        if (id == kSatID2Edit) {
            // No keypad limit: a limit would cut a long id to 8 characters instead of refusing it.
            EditKeypadField(*this, kSatID2, L"Sat ID2", 0, SatID2Refusal);
        } else if (id == kSCDChannelEdit) {
            EditIntField(*this, kSCDChannel, L"Enter SCD channel", kSCDChannelRange,
                         L"SCD channel must be between 1 and 20, inclusive.");
        }
    }
    bool OnOK() override {
        edited_.EnableSatID2 = GetCheck(kEnableSatID2);
        edited_.SatID2 = GetText(kSatID2);
        edited_.SCDChannel = GetInt(kSCDChannel);
        return true;
    }

  private:
    SelfTimedSettings& edited_;
};

class SelfTimedPropertiesForm : public TDialog {
  public:
    explicit SelfTimedPropertiesForm(const SelfTimedSettings& start)
        : TDialog(L"Self-Timed Properties"), edited_(start) {}

    const SelfTimedSettings& Edited() const { return edited_; }

  protected:
    void OnInitDialog() override {
        AddCheckBox(kEnabled, L"Enable Self-Timed", edited_.Enabled);
        AddCheckBox(kCenterWin, L"Center in Window", edited_.CenterWin);
        AddCheckBox(kLatLon, L"Append Lat/Lon", edited_.LatLon);
        AddCheckBox(kQuality, L"Append Batt Voltage", edited_.Quality);
        AddEditedNumberField(*this, kChannel, kChannelEdit, L"Channel:");
        SetInt(kChannel, edited_.Channel);
        AddEditedNumberField(*this, kNumVals, kNumValsEdit, L"Num Vals:");
        SetInt(kNumVals, edited_.NumVals);
        AddEditedTimeField(*this, kTime, kTimeEdit, L"Time:", edited_.Time);
        AddEditedTimeField(*this, kRate, kRateEdit, L"Rate:", edited_.Rate);
        AddEditedTimeField(*this, kWinLen, kWinLenEdit, L"Window:", edited_.WinLen);
        AddList(kFormat, L"Format:", Names(kSelfTimedFormats));
        SetSelection(kFormat, FindListItem(kFormat, edited_.Format));
        AddList(kType, L"Type:", TypeNames(), edited_.Type);
        AddList(kAntenna, L"Antenna:", Names(kAntennas), edited_.Antenna);
        AddButton(kMore, L"More...");
        AddButton(IDOK, L"OK");
        AddButton(IDCANCEL, L"Cancel");
    }
    void OnListChange(int id) override {
        if (id != kType)
            return;
        // The INSAT transmitter sends INSAT messages only, and no other type can send them.
        if (GetSelection(kType) == kSelfTimedTypeInsat) {
            SetSelection(kFormat, FindListItem(kFormat, kInsatFormat));
        } else if (GetListItem(kFormat, GetSelection(kFormat)) == kInsatFormat) {
            SetSelection(kFormat, FindListItem(kFormat, kDefaultFormat));
        }
    }
    void OnButton(int id) override {
        switch (id) {
            case kChannelEdit:
                EditIntField(*this, kChannel, L"Channel", kChannelRange,
                             RangeRefusal(kChannelRange));
                break;
            case kNumValsEdit:
                EditIntField(*this, kNumVals, L"Num Vals", kNumValsRange,
                             RangeRefusal(kNumValsRange));
                break;
            case kTimeEdit:
                EditTimeField(*this, kTime, L"Set Time");
                break;
            case kRateEdit:
                EditTimeField(*this, kRate, L"Set Rate");
                break;
            case kWinLenEdit:
                EditTimeField(*this, kWinLen, L"Set Window Length");
                break;
            case kMore: {
                MoreSelfTimedPropertiesForm more(edited_);
                more.DoModal();
                break;
            }
            default:
                break;
        }
    }
    bool OnOK() override {
        if (!ValidateTime(GetText(kTime)) || !ValidateTime(GetText(kRate)) ||
            !ValidateTime(GetText(kWinLen))) {
            MessageDlg(nullptr, L"Invalid time, rate, or window length entered.");
            return false;
        }
        edited_.Enabled = GetCheck(kEnabled);
        edited_.CenterWin = GetCheck(kCenterWin);
        edited_.LatLon = GetCheck(kLatLon);
        edited_.Quality = GetCheck(kQuality);
        edited_.Channel = GetInt(kChannel);
        edited_.NumVals = GetInt(kNumVals);
        edited_.Time = GetText(kTime);
        edited_.Rate = GetText(kRate);
        edited_.WinLen = GetText(kWinLen);
        // A list left without a selection (a value from the setup file that none of its items
        // names) keeps the value it came with.
        if (GetSelection(kFormat) >= 0)
            edited_.Format = GetListItem(kFormat, GetSelection(kFormat));
        if (GetSelection(kType) >= 0)
            edited_.Type = GetSelection(kType);
        if (GetSelection(kAntenna) >= 0)
            edited_.Antenna = GetSelection(kAntenna);
        return true;
    }

  private:
    SelfTimedSettings edited_;
};

}  // namespace
}  // namespace corvane::ui

bool RunSelfTimedPropertiesDialog(SelfTimedSettings& working) {
    corvane::ui::SelfTimedPropertiesForm form(working);
    if (form.DoModal() != IDOK || form.Edited() == working)
        return false;
    working = form.Edited();
    return true;
}
