// Random::EditProperties (see block_dialogs.h for why it is defined here).
#include <array>
#include <string>

#include "corvane/random/random_block.h"
#include "corvane/random/random_block_roster.h"
#include "corvane/random/random_settings.h"
#include "corvane/ui/block_dialogs.h"
#include "corvane/ui/internal/field_editors.h"
#include "platform/dialog.h"
#include "platform/dialogs.h"

namespace corvane::ui {
namespace {

using namespace random_block_properties;

constexpr IntRange kSequenceRange{.low = 1, .high = 99};
constexpr IntRange kNumValsRange{.low = 1, .high = 99};
constexpr int kGroupCount = Random::kLastGroup - Random::kFirstGroup + 1;

// Whether the block's NumVals may be edited: under the interleaved random format every block
// carries the settings' number of values.
enum class NumValsEditing { Open, Interleaved };

struct RandomBlockValues {
    std::array<bool, kGroupCount> member{};  // index g - 2 for group g
    int sequence = 0;
    int numVals = 0;
    std::wstring label;
};

class RandomBlockForm : public TDialog {
  public:
    RandomBlockForm(RandomBlockValues values, NumValsEditing numVals)
        : TDialog(L"Random Properties"), values_(std::move(values)), numValsEditing_(numVals) {}

    const RandomBlockValues& Values() const { return values_; }

  protected:
    void OnInitDialog() override {
        AddLabel(kMembership, L"Group Membership");
        for (int i = 0; i < kGroupCount; ++i) {
            AddCheckBox(kGroup2 + i, L"Group " + std::to_wstring(Random::kFirstGroup + i),
                        values_.member[static_cast<std::size_t>(i)]);
        }
        AddEditedNumberField(*this, kSequence, kSequenceEdit, L"Sequence:");
        SetInt(kSequence, values_.sequence);
        AddEditedNumberField(*this, kNumVals, kNumValsEdit, L"Num Vals:");
        SetInt(kNumVals, values_.numVals);
        AddTextField(kLabel, L"Label:", values_.label);
        AddButton(IDOK, L"OK");
        AddButton(IDCANCEL, L"Cancel");
    }
    void OnButton(int id) override {
        if (id == kSequenceEdit) {
            EditIntField(*this, kSequence, L"Sequence", kSequenceRange,
                         RangeRefusal(kSequenceRange));
        } else if (id == kNumValsEdit) {
            if (numValsEditing_ == NumValsEditing::Interleaved) {
                MessageDlg(nullptr,
                           L"The current format is interleaved. Therefore, this value can only be "
                           L"changed from the Corvane setup in Control Panel since it applies to "
                           L"all random parameters.");
            } else {
                EditIntField(*this, kNumVals, L"Num Vals", kNumValsRange,
                             RangeRefusal(kNumValsRange));
            }
        }
    }
    bool OnOK() override {
        for (int i = 0; i < kGroupCount; ++i)
            values_.member[static_cast<std::size_t>(i)] = GetCheck(kGroup2 + i);
        values_.sequence = GetInt(kSequence);
        values_.numVals = GetInt(kNumVals);
        values_.label = GetText(kLabel);
        return true;
    }

  private:
    RandomBlockValues values_;
    const NumValsEditing numValsEditing_;
};

}  // namespace
}  // namespace corvane::ui

bool Random::EditProperties() {
    using namespace corvane::ui;
    RandomBlockValues values{
        .sequence = Sequence(),
        .numVals = NumVals(),
        .label = GetProperty(L"Label")->GetText(),
    };
    for (int g = kFirstGroup; g <= kLastGroup; ++g)
        values.member[static_cast<std::size_t>(g - kFirstGroup)] = IsMemberOf(g);
    // Format 0 is "Bin Int", the interleaved one.
    const bool interleaved = roster_.RandomSetup().Format == 0;
    RandomBlockForm form(values, interleaved ? NumValsEditing::Interleaved : NumValsEditing::Open);
    if (form.DoModal() != IDOK)
        return false;
    const RandomBlockValues& edited = form.Values();
    for (int g = kFirstGroup; g <= kLastGroup; ++g) {
        groupMap_->SetText(g - kFirstGroup,
                           edited.member[static_cast<std::size_t>(g - kFirstGroup)] ? L"1" : L"0");
    }
    sequence_->SetInteger(edited.sequence);
    numVals_->SetInteger(edited.numVals);
    GetProperty(L"Label")->SetText(edited.label);
    return true;
}
