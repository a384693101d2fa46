// SelfTimed::EditProperties (see block_dialogs.h for why it is defined here).
#include <string>

#include "corvane/selftimed/self_timed_block.h"
#include "corvane/selftimed/self_timed_settings.h"
#include "corvane/ui/block_dialogs.h"
#include "corvane/ui/internal/field_editors.h"
#include "platform/dialog.h"
#include "platform/dialogs.h"
#include "platform/time.h"

namespace corvane::ui {
namespace {

using namespace self_timed_block_properties;

constexpr IntRange kNumValsRange{.low = 1, .high = 99};
constexpr int kLabelLength = 256;
constexpr int kTimeLength = 8;

// Whether the block's NumVals may be edited: under an interleaved format every block carries
// the settings' number of values.
enum class NumValsEditing { Open, Interleaved };
// Whether UseCalcTime means anything under the current format.
enum class CalcTime { Offered, Greyed };

struct SelfTimedBlockValues {
    std::wstring label;
    std::wstring offset;
    std::wstring interval;
    int numVals = 0;
    int sequence = 0;
    bool useCalcTime = false;
};

class SelfTimedBlockForm : public TDialog {
  public:
    SelfTimedBlockForm(SelfTimedBlockValues values, NumValsEditing numVals, CalcTime calcTime)
        : TDialog(L"Self-Timed Properties"),
          values_(std::move(values)),
          numValsEditing_(numVals),
          calcTime_(calcTime) {}

    const SelfTimedBlockValues& Values() const { return values_; }

  protected:
    void OnInitDialog() override {
        AddTextField(kLabel, L"Label:", values_.label, kLabelLength, /*readOnly=*/true);
        AddButton(kLabelEdit, L"...");
        AddTextField(kOffset, L"Data Time:", values_.offset, kTimeLength);
        AddButton(kOffsetEdit, L"...");
        AddTextField(kInterval, L"Data Interval:", values_.interval, kTimeLength);
        AddButton(kIntervalEdit, L"...");
        AddEditedNumberField(*this, kNumVals, kNumValsEdit, L"Num Values:");
        SetInt(kNumVals, values_.numVals);
        AddIntField(kSequence, L"Sequence:", values_.sequence);
        AddCheckBox(kUseCalcTime, L"Use calc time:", values_.useCalcTime);
        EnableControl(kUseCalcTime, calcTime_ == CalcTime::Offered);
        AddButton(IDOK, L"OK");
        AddButton(IDCANCEL, L"Cancel");
    }
    void OnButton(int id) override {
        switch (id) {
            case kLabelEdit:
                EditKeypadField(*this, kLabel, L"Label", kLabelLength);
                break;
            case kOffsetEdit:
                EditTimeField(*this, kOffset, L"Set Offset");
                break;
            case kIntervalEdit:
                EditTimeField(*this, kInterval, L"Set Interval");
                break;
            case kNumValsEdit:
                if (numValsEditing_ == NumValsEditing::Interleaved) {
                    MessageDlg(nullptr,
                               L"The current format is interleaved. Therefore, this value can only "
                               L"be changed from the Corvane setup in the Setup tab since it "
                               L"applies to all self-timed parameters.");
                } else {
                    EditIntField(*this, kNumVals, L"Num Values", kNumValsRange,
                                 RangeRefusal(kNumValsRange));
                }
                break;
            default:
                break;
        }
    }
    bool OnOK() override {
        // Unsigned milliseconds, and an offset equal to the interval passes although the text
        // says "less than": both as the block has always judged them.
        if (StrToMS(GetText(kOffset)) > StrToMS(GetText(kInterval))) {
            MessageDlg(nullptr, L"Offset must be less than the interval.");
            return false;
        }
        values_.label = GetText(kLabel);
        values_.offset = GetText(kOffset);
        values_.interval = GetText(kInterval);
        values_.numVals = GetInt(kNumVals);
        values_.sequence = GetInt(kSequence);
        values_.useCalcTime = GetCheck(kUseCalcTime);
        return true;
    }

  private:
    SelfTimedBlockValues values_;
    const NumValsEditing numValsEditing_;
    const CalcTime calcTime_;
};

}  // namespace
}  // namespace corvane::ui

bool SelfTimed::EditProperties() {
    using namespace corvane::ui;
    const bool interleaved = IsInterleavedFormat(settings_.Format);
    if (interleaved)
        numVals_->SetInteger(settings_.NumVals);
    SelfTimedBlockForm form(
        {
            .label = Label(),
            .offset = Offset(),
            .interval = Interval(),
            .numVals = NumVals(),
            .sequence = Sequence(),
            .useCalcTime = useCalcTime_->GetInteger() != 0,
        },
        interleaved ? NumValsEditing::Interleaved : NumValsEditing::Open,
        IsShefFormat(settings_.Format) ? CalcTime::Offered : CalcTime::Greyed);
    if (form.DoModal() != IDOK)
        return false;
    const SelfTimedBlockValues& edited = form.Values();
    label_->SetText(edited.label);
    offset_->SetText(edited.offset);
    interval_->SetText(edited.interval);
    numVals_->SetInteger(edited.numVals);
    sequence_->SetInteger(edited.sequence);
    useCalcTime_->SetInteger(edited.useCalcTime ? 1 : 0);
    return true;
}
