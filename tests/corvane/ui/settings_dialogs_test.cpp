// The settings pages "Self-Timed Properties" (with "More SelfTimed Properties") and "Random
// Properties", walked by a scripted operator, one row a behaviour: the range checks repeating
// their editor, the time editors and the checks on OK, the couplings between lists, and what
// reaches the caller's record on OK and on Cancel.
#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "corvane/ui/random_properties_dialog.h"
#include "corvane/ui/self_timed_properties_dialog.h"
#include "corvane/ui/support/scripted_operator.h"

namespace {

using namespace corvanetest;
using tarvo::host::FormAction;
namespace stp = corvane::ui::self_timed_properties;
namespace rp = corvane::ui::random_properties;
using Forms = std::vector<std::vector<FormAction>>;  // each form's steps, in the order they open

FormAction Click(int id) {
    return FormAction::Click(id);
}

template <class Settings>
struct Walk {
    const char* name;
    Settings start;
    Forms forms;
    std::vector<Reply> replies;
    std::vector<std::wstring> editors;  // the titles of the editors shown
    std::vector<std::wstring> messages;
    bool confirmed;  // what the page returns
    Settings end;    // the record afterwards
    std::vector<std::string> problems = {};
};

// A failing row is named, not dumped as bytes.
template <class Settings>
void PrintTo(const Walk<Settings>& w, std::ostream* os) {
    *os << w.name;
}

template <class Settings, bool (*Run)(Settings&)>
void ExpectWalk(const Walk<Settings>& w) {
    Operator o;
    o.Script(w.forms, w.replies);
    Settings working = w.start;
    EXPECT_EQ(Run(working), w.confirmed);
    EXPECT_EQ(working, w.end);
    EXPECT_EQ(o.op->Messages(), w.messages);
    EXPECT_EQ(o.Editors(), w.editors);
    o.ExpectScriptFitted(w.problems);
}

// The editor opened by the last form's first step refuses `refused`, then takes `last` and the
// record becomes `end`, or is cancelled (no `end`) and the record stays as it was.
template <class Settings>
Walk<Settings> Range(const char* name, Forms forms, const wchar_t* prompt, Reply refused,
                     const std::wstring& refusal, Reply last, std::optional<Settings> end) {
    return {name,
            {},
            std::move(forms),
            {refused, Ok(), last},
            {prompt, prompt},
            {refusal},
            end.has_value(),
            end.value_or(Settings{})};
}

// A time edited to `bad` is refused on OK with `refusal`, then "02:00:00" makes the record `end`.
template <class Settings>
Walk<Settings> TimeOnOK(const char* name, int button, const wchar_t* title, const wchar_t* bad,
                        const wchar_t* refusal, Settings end) {
    return {name,
            {},
            {{Click(button), Click(IDOK), Click(button), Click(IDOK)}},
            {Time(bad), Ok(), Time(L"02:00:00")},
            {title, title},
            {refusal},
            true,
            end};
}

// Steps on one form, then OK or Cancel.
template <class Settings>
Walk<Settings> Closing(const char* name, Settings start, Forms forms, int button, Settings end) {
    forms[0].push_back(Click(button));
    return {name, start, forms, {}, {}, {}, button == IDOK, button == IDOK ? end : start};
}

const std::wstring kTo999 = L"Please enter an integer between 1 and 999.";
const std::wstring kTo99 = L"Please enter an integer between 1 and 99.";

// ---- Self-Timed Properties ----

using ST = SelfTimedSettings;
using SelfTimedWalk = Walk<ST>;
class SelfTimedProperties : public ::testing::TestWithParam<SelfTimedWalk> {};
TEST_P(SelfTimedProperties, Walk) {
    ExpectWalk<ST, RunSelfTimedPropertiesDialog>(GetParam());
}

const Forms kChannel = {{Click(stp::kChannelEdit), Click(IDOK)}};
const std::vector<FormAction> kMoreThenOK = {Click(stp::kMore), Click(IDOK)};
const wchar_t* const kBadTime = L"Invalid time, rate, or window length entered.";
const wchar_t* const kShortSatID2 = L"The secondary satellite id must be 8 characters.";
const wchar_t* const kSCDRefusal = L"SCD channel must be between 1 and 20, inclusive.";
// Everything the page and its "More..." page show, changed.
const Forms kChangeAll = {
    {FormAction::Check(stp::kEnabled, true), FormAction::Check(stp::kCenterWin, false),
     FormAction::Check(stp::kLatLon, true), FormAction::Check(stp::kQuality, true),
     FormAction::SetText(stp::kTime, L"00:05:00"), FormAction::Select(stp::kFormat, 3),
     FormAction::Select(stp::kType, 12), FormAction::Select(stp::kAntenna, 2), Click(stp::kMore)},
    {FormAction::Check(stp::kEnableSatID2, true), Click(IDOK)}};
const ST kAllChanged{.Enabled = true,
                     .LatLon = true,
                     .Quality = true,
                     .Type = 12,
                     .Format = L"Bin Non-Int",
                     .Time = L"00:05:00",
                     .CenterWin = false,
                     .EnableSatID2 = true,
                     .Antenna = 2};

SelfTimedWalk TypeChoice(const char* name, ST start, int type, ST end) {
    return Closing(name, start, {{FormAction::Select(stp::kType, type)}}, IDOK, end);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SelfTimedProperties,
    ::testing::Values(
        Range<ST>("ChannelAsksAgainUntilInRange", kChannel, L"Channel", Number(1000), kTo999,
                  Number(999), ST{.Channel = 999}),
        Range<ST>("ChannelKeepsItsValueWhenTheEditorIsCancelled", kChannel, L"Channel", Number(0),
                  kTo999, Number({}), std::nullopt),
        Range<ST>("NumValsAsksAgainUntilInRange", {{Click(stp::kNumValsEdit), Click(IDOK)}},
                  L"Num Vals", Number(100), kTo99, Number(1), ST{.NumVals = 1}),
        Range<ST>("SatID2AsksAgainUntilEightCharacters",
                  {kMoreThenOK, {Click(stp::kSatID2Edit), Click(IDOK)}}, L"Sat ID2",
                  Keypad(L"CE0012A"), kShortSatID2, Keypad(L"CE0012AB"), ST{.SatID2 = L"CE0012AB"}),
        Range<ST>("SatID2KeepsItsValueWhenTheKeypadIsCancelled",
                  {kMoreThenOK, {Click(stp::kSatID2Edit), Click(IDOK)}}, L"Sat ID2",
                  Keypad(L"CE0012ABC"), kShortSatID2, Keypad({}), std::nullopt),
        Range<ST>("SCDChannelAsksAgainUntilInRange",
                  {kMoreThenOK, {Click(stp::kSCDChannelEdit), Click(IDOK)}}, L"Enter SCD channel",
                  Number(21), kSCDRefusal, Number(20), ST{.SCDChannel = 20}),
        TimeOnOK<ST>("TimeIsValidatedOnOK", stp::kTimeEdit, L"Set Time", L"2:00:00", kBadTime,
                     ST{.Time = L"02:00:00"}),
        TimeOnOK<ST>("RateIsValidatedOnOK", stp::kRateEdit, L"Set Rate", L"02:00", kBadTime,
                     ST{.Rate = L"02:00:00"}),
        TimeOnOK<ST>("WindowIsValidatedOnOK", stp::kWinLenEdit, L"Set Window Length", L"00:00:60",
                     kBadTime, ST{.WinLen = L"02:00:00"}),
        TypeChoice("InsatTypeForcesTheInsatFormat", ST{.Format = L"Bin Int"}, 4,
                   ST{.Type = 4, .Format = L"INSAT"}),
        TypeChoice("LeavingTheInsatFormatsTypePutsShefBack", ST{.Type = 4, .Format = L"INSAT"}, 1,
                   ST{.Type = 1}),
        TypeChoice("OtherFormatsStayOnATypeChange", ST{.Format = L"Bin Int"}, 1,
                   ST{.Type = 1, .Format = L"Bin Int"}),
        Closing("OKWritesEveryFieldBack", ST{}, kChangeAll, IDOK, kAllChanged),
        Closing("CancelLeavesEverySettingAsItWas", ST{}, kChangeAll, IDCANCEL, kAllChanged)),
    RowName<SelfTimedWalk>);

// ---- Random Properties ----

using RT = RandomSettings;
using RandomWalk = Walk<RT>;
class RandomProperties : public ::testing::TestWithParam<RandomWalk> {};
TEST_P(RandomProperties, Walk) {
    ExpectWalk<RT, RunRandomPropertiesDialog>(GetParam());
}

const Forms kBurstCount = {{Click(rp::kBurstCountEdit), Click(IDOK)}};
const wchar_t* const kTo200 = L"Please enter an integer between 1 and 200.";
const wchar_t* const kBadRate = L"Invalid rate entered.";
const std::string kRefusedAntenna = " on control " + std::to_string(rp::kAntenna);
const Forms kChangeAllRandom = {
    {FormAction::Check(rp::kEnabled, true), FormAction::Check(rp::kLatLon, true),
     FormAction::Check(rp::kQuality, true), FormAction::Select(rp::kFormat, 1),
     FormAction::Select(rp::kType, 8), FormAction::Select(rp::kAntenna, 2)}};
const RT kAllChangedRandom{
    .Enabled = true, .LatLon = true, .Quality = true, .Type = 8, .Format = 1, .Antenna = 2};

RandomWalk AntennaOfferedForSixToNine() {
    RandomWalk w = Closing("AntennaIsOfferedOnlyWhileTheTypeIsSixToNine", RT{},
                           {{FormAction::Select(rp::kAntenna, 1), FormAction::Select(rp::kType, 6),
                             FormAction::Select(rp::kAntenna, 2), FormAction::Select(rp::kType, 9),
                             FormAction::Select(rp::kAntenna, 1), FormAction::Select(rp::kType, 5),
                             FormAction::Select(rp::kAntenna, 0)}},
                           IDOK, RT{.Type = 5, .Antenna = 1});
    w.problems = {"form \"Random Properties\" refused step 1" + kRefusedAntenna,
                  "form \"Random Properties\" refused step 7" + kRefusedAntenna};
    return w;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RandomProperties,
    ::testing::Values(
        Range<RT>("ChannelAsksAgainUntilInRange", {{Click(rp::kChannelEdit), Click(IDOK)}},
                  L"Channel", Number(0), kTo999, Number(1), RT{.Channel = 1}),
        Range<RT>("BurstCountAsksAgainUntilInRange", kBurstCount, L"Burst Count", Number(201),
                  kTo200, Number(200), RT{.BurstCount = 200}),
        Range<RT>("BurstCountKeepsItsValueWhenTheEditorIsCancelled", kBurstCount, L"Burst Count",
                  Number(0), kTo200, Number({}), std::nullopt),
        Range<RT>("NumValsAsksAgainUntilInRange", {{Click(rp::kNumValsEdit), Click(IDOK)}},
                  L"Num Vals", Number(100), kTo99, Number(99), RT{.NumVals = 99}),
        TimeOnOK<RT>("NormalRateIsValidatedOnOK", rp::kNormRateEdit, L"Set Normal Rate", L"1:00:00",
                     kBadRate, RT{.NormRate = L"02:00:00"}),
        TimeOnOK<RT>("AlarmRateIsValidatedOnOK", rp::kAlarmRateEdit, L"Set Alarm Rate", L"1:00:00",
                     kBadRate, RT{.AlarmRate = L"02:00:00"}),
        TimeOnOK<RT>("BurstRateIsValidatedOnOK", rp::kBurstRateEdit, L"Set Burst Rate", L"1:00:00",
                     kBadRate, RT{.BurstRate = L"02:00:00"}),
        AntennaOfferedForSixToNine(),
        [] {
            // A change undone before OK is no change: the page ends as Cancel does.
            RandomWalk w = Closing(
                "OKWithNothingChangedEndsAsCancel", RT{},
                {{FormAction::Check(rp::kEnabled, true), FormAction::Check(rp::kEnabled, false)}},
                IDOK, RT{});
            w.confirmed = false;
            return w;
        }(),
        Closing("OKWritesEveryFieldBack", RT{}, kChangeAllRandom, IDOK, kAllChangedRandom),
        Closing("CancelLeavesEverySettingAsItWas", RT{}, kChangeAllRandom, IDCANCEL,
                kAllChangedRandom)),
    RowName<RandomWalk>);

}  // namespace
