// The property dialogs of the SelfTimed, Random and RndGroup blocks, opened through
// EditProperties and walked by a scripted operator, one row a behaviour: the range checks
// repeating their editor, the interleaved refusals, the checks on OK, and what reaches the
// block's properties on OK and on Cancel.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "corvane/random/random_block.h"
#include "corvane/random/rnd_group.h"
#include "corvane/selftimed/self_timed_block.h"
#include "corvane/selftimed/self_timed_registry.h"
#include "corvane/selftimed/self_timed_settings.h"
#include "corvane/support/random_lists.h"
#include "corvane/ui/block_dialogs.h"
#include "corvane/ui/support/scripted_operator.h"

namespace {

using namespace corvanetest;
using tarvo::host::FormAction;
namespace stb = corvane::ui::self_timed_block_properties;
namespace rb = corvane::ui::random_block_properties;
namespace rg = corvane::ui::rnd_group_properties;

enum BlockType { kSelfTimed, kRandom, kRndGroup };
using Properties = std::vector<std::pair<std::wstring, std::wstring>>;

FormAction Click(int id) {
    return FormAction::Click(id);
}

struct Walk {
    const char* name;
    BlockType type;
    Properties preset;  // set on the block before the dialog opens
    std::vector<FormAction> form;
    std::vector<Reply> replies;
    std::vector<std::wstring> editors;  // the titles of the editors shown
    std::vector<std::wstring> messages;
    bool confirmed;  // what EditProperties returns; when false no property may change
    Properties end;  // properties checked afterwards
    std::wstring selfTimedFormat = L"SHEF";
    int randomFormat = 1;  // not interleaved
    std::vector<std::string> problems = {};
};

// A failing row is named, not dumped as bytes.
void PrintTo(const Walk& w, std::ostream* os) {
    *os << w.name;
}

class BlockDialogs : public ::testing::TestWithParam<Walk> {};

TEST_P(BlockDialogs, Walk) {
    const Walk& w = GetParam();
    Operator o;
    SelfTimedRegistry registry;
    const SelfTimedSettings settings{.Format = w.selfTimedFormat, .NumVals = 5};
    RandomLists lists;
    lists.settings.Format = w.randomFormat;
    std::unique_ptr<TModule> block;
    if (w.type == kSelfTimed)
        block = std::make_unique<SelfTimed>(registry, settings);
    if (w.type == kRandom)
        block = std::make_unique<Random>(lists);
    if (w.type == kRndGroup)
        block = std::make_unique<RndGroup>(lists);
    for (const auto& [name, text] : w.preset)
        block->GetProperty(name)->SetText(text);
    std::vector<std::wstring> before;
    for (int i = 0; i < block->GetPropertyCount(); ++i)
        before.push_back(block->GetProperty(i)->GetText());

    o.Script({w.form}, w.replies);
    EXPECT_EQ(block->EditProperties(), w.confirmed);
    EXPECT_EQ(o.op->Messages(), w.messages);
    EXPECT_EQ(o.Editors(), w.editors);
    o.ExpectScriptFitted(w.problems);
    for (int i = 0; !w.confirmed && i < block->GetPropertyCount(); ++i)
        EXPECT_EQ(block->GetProperty(i)->GetText(), before[static_cast<std::size_t>(i)]);
    for (const auto& [name, text] : w.end)
        EXPECT_EQ(block->GetProperty(name)->GetText(), text) << name;
}

const std::wstring kTo99 = L"Please enter an integer between 1 and 99.";

Walk Row(const char* name, BlockType type, Properties preset, std::vector<FormAction> form,
         std::vector<Reply> replies, std::vector<std::wstring> editors,
         std::vector<std::wstring> messages, bool confirmed, Properties end,
         std::wstring selfTimedFormat = L"SHEF", int randomFormat = 1) {
    return {name,
            type,
            std::move(preset),
            std::move(form),
            std::move(replies),
            std::move(editors),
            std::move(messages),
            confirmed,
            std::move(end),
            std::move(selfTimedFormat),
            randomFormat};
}

// The editor behind `button` refuses `refused`, then takes `last` (OK follows either way); the
// property holds `end` afterwards.
Walk Range(const char* name, BlockType type, int button, const wchar_t* prompt, int refused,
           const std::wstring& refusal, std::optional<int> last, const wchar_t* property,
           const wchar_t* end) {
    return Row(name, type, {}, {Click(button), Click(IDOK)}, {Number(refused), Ok(), Number(last)},
               {prompt, prompt}, {refusal}, true, {{property, end}});
}

// NumVals under an interleaved format: the editor is refused with `refusal`.
Walk Interleaved(const char* name, BlockType type, int button, const wchar_t* refusal) {
    return Row(name, type, {}, {Click(button), Click(IDOK)}, {Ok()}, {}, {refusal}, true, {},
               L"Bin Int", 0);
}

// The RndGroup page's checks on OK: `refusal` keeps the page open (then cancelled); none accepts.
Walk GroupOK(const char* name, const wchar_t* offset, const wchar_t* interval, int rocMode,
             const wchar_t* refusal) {
    Walk w = Row(name, kRndGroup, {{L"ROCAlarm", std::to_wstring(rocMode)}},
                 {FormAction::SetText(rg::kOffset, offset),
                  FormAction::SetText(rg::kInterval, interval), Click(IDOK)},
                 {}, {}, {}, true, {{L"Offset", offset}});
    if (*refusal) {
        w.form.push_back(Click(IDCANCEL));
        w.replies = {Ok()};
        w.messages = {refusal};
        w.confirmed = false;
        w.end = {};
    }
    return w;
}

// The operator changes group 2 to 7 with the label `label`.
Walk Relabel(const char* name, const wchar_t* label, const wchar_t* after) {
    return Row(name, kRndGroup, {{L"Label", label}}, {Click(rg::kGroupEdit), Click(IDOK)},
               {Number(7)}, {L"Group"}, {}, true, {{L"Group", L"7"}, {L"Label", after}});
}

Walk CalcTime(const char* name, const wchar_t* format, bool offered) {
    Walk w = Row(name, kSelfTimed, {}, {FormAction::Check(stb::kUseCalcTime, true), Click(IDOK)},
                 {}, {}, {}, true, {{L"UseCalcTime", offered ? L"1" : L"0"}}, format);
    if (!offered)
        w.problems = {"form \"Self-Timed Properties\" refused step 1 on control " +
                      std::to_string(stb::kUseCalcTime)};
    return w;
}

// The edits of a whole walk through each dialog, closed by `button`.
Walk ChangeAll(const char* name, BlockType type, int button) {
    Walk w{name, type, {}, {}, {}, {}, {}, button == IDOK, {}};
    if (type == kSelfTimed) {
        w.form = {Click(stb::kLabelEdit), Click(stb::kOffsetEdit),
                  FormAction::SetText(stb::kInterval, L"01:00:00"),
                  FormAction::SetText(stb::kSequence, L"12"),
                  FormAction::Check(stb::kUseCalcTime, true)};
        w.replies = {Keypad(L"HG"), Time(L"00:05:00")};
        w.editors = {L"Label", L"Set Offset"};
        w.end = {{L"Label", L"HG"},
                 {L"Sequence", L"12"},
                 {L"Offset", L"00:05:00"},
                 {L"Interval", L"01:00:00"},
                 {L"UseCalcTime", L"1"}};
    } else if (type == kRandom) {
        w.form = {FormAction::Check(rb::kGroup2 + 1, true),
                  FormAction::Check(rb::kGroup2 + 7, true), FormAction::SetText(rb::kLabel, L"HG")};
        w.end = {{L"GroupMap", L"0,1,0,0,0,0,0,1"}, {L"Label", L"HG"}};
    } else {
        w.form = {Click(rg::kHiLimitEdit),
                  Click(rg::kLowLimitEdit),
                  Click(rg::kROCMagEdit),
                  Click(rg::kDeadbandEdit),
                  Click(rg::kIntervalEdit),
                  FormAction::SetText(rg::kLabel, L"B7"),
                  FormAction::Check(rg::kHiAlarm, false),
                  FormAction::Check(rg::kROCFixed, false),
                  FormAction::Select(rg::kROCMode, 2)};
        w.replies = {Real(7.5), Real(-1.25), Real(4), Real(2), Time(L"00:30:00")};
        w.editors = {L"Hi Limit", L"Low Limit", L"ROC Mag", L"Deadband", L"Set Data Interval"};
        w.end = {{L"Label", L"B7"},       {L"Interval", L"00:30:00"}, {L"HiLimit", L"7.5"},
                 {L"LowLimit", L"-1.25"}, {L"ROCMag", L"4"},          {L"ROCFixed", L"false"},
                 {L"Deadband", L"2"},     {L"HiAlarm", L"false"},     {L"ROCAlarm", L"2"}};
    }
    w.form.push_back(Click(button));
    if (button == IDCANCEL)
        w.end = {};
    return w;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BlockDialogs,
    ::testing::Values(
        Range("SelfTimedNumValuesAsksAgainUntilInRange", kSelfTimed, stb::kNumValsEdit,
              L"Num Values", 100, kTo99, 99, L"NumVals", L"99"),
        Range("SelfTimedNumValuesKeepsItsValueWhenTheEditorIsCancelled", kSelfTimed,
              stb::kNumValsEdit, L"Num Values", 0, kTo99, std::nullopt, L"NumVals", L"5"),
        Range("RandomSequenceAsksAgainUntilInRange", kRandom, rb::kSequenceEdit, L"Sequence", 0,
              kTo99, 42, L"Sequence", L"42"),
        Range("RandomNumValsAsksAgainUntilInRange", kRandom, rb::kNumValsEdit, L"Num Vals", 100,
              kTo99, 7, L"NumVals", L"7"),
        Range("GroupAsksAgainUntilTwoToNine", kRndGroup, rg::kGroupEdit, L"Group", 10,
              L"Please enter an integer between 2 and 9.", 9, L"Group", L"9"),
        Interleaved("SelfTimedNumValuesIsRefusedWhileInterleaved", kSelfTimed, stb::kNumValsEdit,
                    L"The current format is interleaved. Therefore, this value can only be "
                    L"changed from the Corvane setup in the Setup tab since it applies to all "
                    L"self-timed parameters."),
        Interleaved("RandomNumValsIsRefusedWhileInterleaved", kRandom, rb::kNumValsEdit,
                    L"The current format is interleaved. Therefore, this value can only be "
                    L"changed from the Corvane setup in Control Panel since it applies to all "
                    L"random parameters."),
        Row("SelfTimedNumValuesFollowsTheSettingsOnOpeningUnderBinInt", kSelfTimed,
            {{L"NumVals", L"8"}}, {Click(IDOK)}, {}, {}, {}, true, {{L"NumVals", L"5"}},
            L"Bin Int"),
        Row("OffsetAboveTheIntervalIsRefused", kSelfTimed, {{L"Interval", L"00:15:00"}},
            {FormAction::SetText(stb::kOffset, L"00:15:01"), Click(IDOK), Click(IDCANCEL)}, {Ok()},
            {}, {L"Offset must be less than the interval."}, false, {}),
        Row("OffsetEqualToTheIntervalIsAccepted", kSelfTimed, {{L"Interval", L"00:15:00"}},
            {Click(stb::kOffsetEdit), Click(IDOK)}, {Time(L"00:15:00")}, {L"Set Offset"}, {}, true,
            {{L"Offset", L"00:15:00"}}),
        CalcTime("UseCalcTimeIsOfferedUnderShef", L"SHEF", true),
        CalcTime("UseCalcTimeIsOfferedUnderShefFixed", L"SHEF Fixed", true),
        CalcTime("UseCalcTimeIsGreyedUnderOtherFormats", L"Bin Non-Int", false),
        GroupOK("AnInvalidTimeIsRefusedFirst", L"0:20:00", L"00:00:00", 9,
                L"Invalid time or interval entered."),
        GroupOK("AZeroIntervalIsRefusedBeforeTheOffset", L"00:20:00", L"00:00:00", 9,
                L"Data Interval must be greater than 0."),
        GroupOK("AnOffsetAboveTheIntervalIsRefusedBeforeTheRocMode", L"00:20:00", L"00:15:00", 9,
                L"DTime must be less than the interval."),
        GroupOK("AMissingRocModeIsRefused", L"00:15:00", L"00:15:00", 9,
                L"Please select a ROC mode from the list."),
        GroupOK("ADataTimeEqualToTheIntervalIsAccepted", L"00:15:00", L"00:15:00", 2, L""),
        Relabel("TheOldGroupsDigitFollowsTheGroup", L"2", L"7"),
        Relabel("AnotherDigitStays", L"3", L"3"),
        ChangeAll("SelfTimedOKWritesEveryFieldBack", kSelfTimed, IDOK),
        ChangeAll("SelfTimedCancelLeavesEveryProperty", kSelfTimed, IDCANCEL),
        ChangeAll("RandomOKWritesEveryFieldBack", kRandom, IDOK),
        ChangeAll("RandomCancelLeavesEveryProperty", kRandom, IDCANCEL),
        ChangeAll("RndGroupOKWritesEveryFieldBack", kRndGroup, IDOK),
        ChangeAll("RndGroupCancelLeavesEveryProperty", kRndGroup, IDCANCEL)),
    RowName<Walk>);

}  // namespace
