// The front-panel menu on the host's display, keys and edits from a scripted operator: moving
// through the items, the setup lock, and an edit saved and (while recording) sent at restart.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "corvane/ui/front_panel_menu.h"
#include "corvane/ui/support/operator_bench.h"
#include "host/dialogs/display_io.h"
#include "platform/sync.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class FrontPanelMenu : public uitest::OperatorBench {
  protected:
    void Run() { RunFrontPanelMenu(display, corvane, engine); }
    // The first lines of each screen shown, in order.
    std::vector<std::wstring> Screens() const {
        std::vector<std::wstring> screens;
        for (const auto& shown : op->History())
            if (shown.kind == tarvo::host::ScriptedOperator::Kind::DisplayWrite && shown.line == 0)
                screens.push_back(shown.text);
        return screens;
    }
    tarvo::host::BackendDisplay display;
};

TEST_F(FrontPanelMenu, BackFromTheExitPromptBeforeTheFirstItemLandsOnTheLast) {
    op->PressKeys(L"<<>x");
    Run();
    EXPECT_EQ(op->DisplayLines(),
              (std::vector<std::wstring>{L"SatID", L"press * to select", L"Exit Edit Corvane?",
                                         L"(*=exit)", L"Test Tx", L"press * to select",
                                         L"Exit Edit Corvane?", L"(*=exit)"}));
    EXPECT_EQ(op->Pending(), 0u);
}

struct ItemsRow {
    const char* legend;
    int type;
    bool secondId;
    bool fourthItem;
};

class MenuItems : public FrontPanelMenu, public testing::WithParamInterface<ItemsRow> {};

TEST_P(MenuItems, OfferTheSecondIdOnlyForInsatWithTheSecondIdInUse) {
    const ItemsRow& row = GetParam();
    corvane.SelfTimed().Settings().Type = row.type;
    corvane.SelfTimed().Settings().EnableSatID2 = row.secondId;
    op->PressKeys(row.fourthItem ? L">D>>*" : L">D>*");  // past every item, then leave
    Run();
    std::vector<std::wstring> screens = {L"SatID", L"Tx Time", L"Test Tx", L"SatID2",
                                         L"Exit Edit Corvane?"};
    if (!row.fourthItem)
        screens.erase(screens.begin() + 3);
    EXPECT_EQ(Screens(), screens);
    EXPECT_EQ(op->Pending(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Table, MenuItems,
                         testing::Values(ItemsRow{"Insat_second_id", 4, true, true},
                                         ItemsRow{"Insat_alone", 4, false, false},
                                         ItemsRow{"second_id_not_Insat", 0, true, false}),
                         uitest::LegendName<testing::TestParamInfo<ItemsRow>>);

TEST_F(FrontPanelMenu, ASetupLockedElsewhereIsRefusedWithSetupLocked) {
    TEvent held(true, false), release(true, false);
    TThread editor(
        [&] {
            engine.LockSetup(INFINITE, 0);
            held.Set();
            WaitForSingleObject(release, INFINITE);
            engine.UnlockSetup();
        },
        "another editor");
    WaitForSingleObject(held, INFINITE);
    op->PressKeys(L"*");
    op->AnswerEditHex(L"0A1B2C3D");
    const tarvo::host::Micros start = tarvo::host::NowMicros();
    Run();
    EXPECT_EQ(MsSince(start), 1000 + 2000);
    EXPECT_EQ(op->DisplayLines(),
              (std::vector<std::wstring>{L"Setup locked.", L"Can't change setup."}));
    EXPECT_EQ(op->Pending(), 2u) << "the menu read no key";
    EXPECT_EQ(corvane.SatID, L"12345678");
    release.Set();
    editor.Join();
}

// One edit confirmed, then escape and leave.
struct EditRow {
    const char* legend;
    std::wstring keys;  // to the item and '*'
    std::variant<std::wstring, int> answer;
    std::wstring offered;  // what the edit started from
    std::wstring stored;
    std::string savedAs;
};

class MenuEdits : public FrontPanelMenu, public testing::WithParamInterface<EditRow> {
  protected:
    std::wstring Stored() const {
        const std::string key = GetParam().legend;
        const SelfTimedSettings& st = corvane.SelfTimed().Settings();
        return key == "SatID" ? corvane.SatID : key == "SatID2" ? st.SatID2 : st.Time;
    }
};

TEST_P(MenuEdits, AreSavedWithoutARestartWhileStopped) {
    const EditRow& row = GetParam();
    LoadSetup(uitest::SetupText(
        "Type = \"4\" EnableSatID2 = \"1\" SatID2 = \"55667788\" Time = \"02:15:30\"", ""));
    op->PressKeys(row.keys);
    if (const auto* text = std::get_if<std::wstring>(&row.answer))
        op->AnswerEditHex(*text);
    else
        op->AnswerEditInteger(std::get<int>(row.answer));
    op->PressKeys(L"\x1b*");
    Run();
    EXPECT_EQ(Stored(), row.stored);
    EXPECT_THAT(SavedSetup(), HasSubstr(row.savedAs));
    EXPECT_THAT(Screens(), Contains(L"Saving setup."));
    EXPECT_THAT(Screens(), Not(Contains(L"Restarting recording")));
    EXPECT_EQ(Requests(), "") << "nothing goes to the transmitter until recording starts";
    for (const auto& shown : op->History()) {
        if (shown.kind == tarvo::host::ScriptedOperator::Kind::EditHex ||
            shown.kind == tarvo::host::ScriptedOperator::Kind::EditInteger) {
            EXPECT_EQ(shown.text, row.offered);
        }
    }
    EXPECT_EQ(op->Pending(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Table, MenuEdits,
                         testing::Values(EditRow{"SatID", L"*", L"0A1B2C3D", L"12345678",
                                                 L"0A1B2C3D", "SatID = \"0A1B2C3D\""},
                                         EditRow{"TxTime", L">*", 90, L"135", L"01:30:00",
                                                 "Time = \"01:30:00\""},
                                         EditRow{"SatID2", L">>>*", L"99AABBCC", L"55667788",
                                                 L"99AABBCC", "SatID2 = \"99AABBCC\""}),
                         uitest::LegendName<testing::TestParamInfo<EditRow>>);

TEST_F(FrontPanelMenu, ACancelledEditKeepsTheValue) {
    op->PressKeys(L"*");
    op->AnswerEditHex(std::nullopt);
    op->PressKeys(L"x");
    Run();
    EXPECT_THAT(Screens(), ElementsAre(L"SatID", L"Exit Edit Corvane?"));
    EXPECT_EQ(corvane.SatID, L"12345678");
}

TEST_F(FrontPanelMenu, ASatelliteIdChangedWhileRecordingGoesOutInTheRestartsStartSequence) {
    LoadSetup(uitest::SetupText("", "Enabled = \"1\""));
    ASSERT_TRUE(engine.Run());
    const std::size_t started = Mark();
    op->PressKeys(L"*");
    op->AnswerEditHex(L"0A1B2C3D");
    op->PressKeys(L"\x1b*");
    Run();
    EXPECT_THAT(Screens(), Contains(L"Restarting recording"));
    EXPECT_THAT(Requests(started), testing::StartsWith("771: 200:00 300:00 338:00 506:01 771: "
                                                       "200:00 300:00 338:00 40:0a1b2c3d "));
    EXPECT_TRUE(engine.IsRunning());
}

// The host's display, remembering when each line was written.
class TimedDisplay : public tarvo::host::BackendDisplay {
  public:
    void Write(const std::wstring& text, int line, bool clear) override {
        written.emplace_back(text, tarvo::host::NowMicros());
        BackendDisplay::Write(text, line, clear);
    }
    std::vector<std::pair<std::wstring, tarvo::host::Micros>> written;
};

TEST_F(FrontPanelMenu, TestTxShowsTheLoadsResultForThreeSeconds) {
    corvane.SelfTimed().SetHook([](std::wstring& message, int) {
        message = L"HG 2.91";
        return true;
    });
    op->PressKeys(L">>*");
    op->AnswerOKCancel(true);
    op->PressKeys(L"\x1b*");
    TimedDisplay timed;
    RunFrontPanelMenu(timed, corvane, engine);
    EXPECT_THAT(Screens(), testing::IsSupersetOf({L"Are you sure?", L"Sending...", L"Tx Sent."}));
    EXPECT_THAT(Requests(), testing::EndsWith("236: 216:484720322e3931 218:"));
    auto sent = std::find_if(timed.written.begin(), timed.written.end(),
                             [](const auto& w) { return w.first == L"Tx Sent."; });
    ASSERT_LT(sent + 1, timed.written.end());
    EXPECT_EQ(((sent + 1)->second - sent->second) / 1000, 3000) << "until the menu shows again";
}

}  // namespace
