// The operator interfaces: stock dialogs, forms and the display, through the scripted and the
// unattended backends.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "host/dialogs/dialogs.h"
#include "host/dialogs/display_io.h"
#include "host/log/report_sinks.h"
#include "platform/dialog.h"
#include "platform/dialogs.h"
#include "platform/display_io.h"

namespace {

using tarvo::host::FormAction;
using tarvo::host::ScopedOperatorBackend;
using tarvo::host::ScriptedOperator;
using Kind = ScriptedOperator::Kind;

struct Fixture {
    std::shared_ptr<ScriptedOperator> op = std::make_shared<ScriptedOperator>();
    ScopedOperatorBackend scope{op};

    // What the operator was shown, one entry each: "kind|title|text|answer".
    std::vector<std::wstring> Seen() const {
        std::vector<std::wstring> seen;
        for (const auto& shown : op->History()) {
            const std::string kind = tarvo::host::KindName(shown.kind);
            seen.push_back(std::wstring(kind.begin(), kind.end()) + L"|" + shown.title + L"|" +
                           shown.text + L"|" + shown.answer);
        }
        return seen;
    }
};

TEST(ScriptedOperator, RecordsEveryTextAndAnswersInOrder) {
    Fixture f;
    f.op->AnswerMessage(IDYES);
    f.op->AnswerKeypad(L"Gauge 7");
    f.op->AnswerNumber(12);
    f.op->AnswerReal(2.5);
    f.op->AnswerTime(std::nullopt);  // cancelled
    f.op->AnswerMessage(IDOK);

    EXPECT_EQ(MessageDlg(nullptr, L"Proceed?", 0, MB_YESNO | MB_ICONQUESTION), IDYES);
    std::wstring label = L"old";
    EXPECT_TRUE(KeypadDlg(nullptr, L"Label", label, 256));
    EXPECT_EQ(label, L"Gauge 7");
    int channel = 5;
    EXPECT_TRUE(ChangeNumberDlgInt(nullptr, L"Channel", channel));
    EXPECT_EQ(channel, 12);
    double limit = 1.0;
    EXPECT_TRUE(ChangeNumberDlgReal(nullptr, L"HiLimit", limit));
    EXPECT_EQ(limit, 2.5);
    std::wstring time = L"00:15:00";
    EXPECT_FALSE(SetTimeDlg(nullptr, L"Set Offset", time));
    EXPECT_EQ(time, L"00:15:00");  // a cancelled editor leaves the value
    EXPECT_EQ(MessageDlg(nullptr, L"Done.", 60, 0, 0), IDOK);

    EXPECT_EQ(f.Seen(), (std::vector<std::wstring>{
                            L"message||Proceed?|6", L"keypad|Label|old|Gauge 7",
                            L"integer editor|Channel|5|12", L"real editor|HiLimit|1|2.5",
                            L"time editor|Set Offset|00:15:00|", L"message||Done.|1"}));
    EXPECT_EQ(f.op->History()[0].type, MB_YESNO | MB_ICONQUESTION);
    EXPECT_EQ(f.op->History()[5].timeout, 60);
    EXPECT_EQ(f.op->Messages(), (std::vector<std::wstring>{L"Proceed?", L"Done."}));
    EXPECT_EQ(f.op->Pending(), 0u);
    EXPECT_TRUE(f.op->Problems().empty());
}

// A settings form like the module's: a check box that enables a field, a list whose change
// sets another, a "..." button opening the number editor, and an OK that refuses bad input.
class SettingsForm : public TDialog {
  public:
    enum { kEnable = 100, kChannel, kChannelButton, kFormat, kType, kSatId };
    SettingsForm() : TDialog(L"Self-Timed Properties") {}
    int channelEdits = 0;

  protected:
    void OnInitDialog() override {
        AddCheckBox(kEnable, L"Enable Self-Timed", false);
        AddIntField(kChannel, L"Channel:", 141);
        AddButton(kChannelButton, L"...");
        AddList(kFormat, L"Format:", {L"SHEF", L"SHEF Fixed", L"INSAT"}, 0);
        AddList(kType, L"Type:", {L"100 bps", L"INSAT"}, 0);
        AddTextField(kSatId, L"Sat ID:", L"", 8);
        AddButton(IDOK, L"OK");
        AddButton(IDCANCEL, L"Cancel");
        EnableControl(kChannel, false);
    }
    void OnEdit(int id) override {
        if (id == kEnable)
            EnableControl(kChannel, GetCheck(kEnable));
    }
    void OnListChange(int id) override {
        if (id == kType && GetListItem(kType, GetSelection(kType)) == L"INSAT")
            SetSelection(kFormat, FindListItem(kFormat, L"INSAT"));
    }
    void OnButton(int id) override {
        if (id != kChannelButton)
            return;
        int value = GetInt(kChannel);
        while (ChangeNumberDlgInt(nullptr, L"Channel", value)) {
            ++channelEdits;
            if (value >= 1 && value <= 999) {
                SetInt(kChannel, value);
                return;
            }
            MessageDlg(nullptr, L"Please enter an integer between 1 and 999.");
        }
    }
    bool OnOK() override {
        if (GetText(kSatId).size() != 8) {
            MessageDlg(nullptr, L"The satellite id must be 8 characters.");
            return false;
        }
        return true;
    }
};

TEST(ScriptedOperator, DrivesAFormThroughItsEventsAndNestedEditors) {
    Fixture f;
    f.op->AnswerForm({
        FormAction::SetText(SettingsForm::kChannel, L"7"),  // disabled: refused
        FormAction::Check(SettingsForm::kEnable, true),
        FormAction::Click(SettingsForm::kChannelButton),
        FormAction::Select(SettingsForm::kType, 1),
        FormAction::SetText(SettingsForm::kSatId, L"1234"),
        FormAction::Click(IDOK),  // refused: too short
        FormAction::SetText(SettingsForm::kSatId, L"CE0012AB"),
        FormAction::Click(IDOK),
    });
    f.op->AnswerNumber(1000);
    f.op->AnswerMessage(IDOK);
    f.op->AnswerNumber(195);
    f.op->AnswerMessage(IDOK);

    SettingsForm form;
    EXPECT_EQ(form.DoModal(), IDOK);
    EXPECT_TRUE(form.GetCheck(SettingsForm::kEnable));
    EXPECT_EQ(form.GetInt(SettingsForm::kChannel), 195);
    EXPECT_EQ(form.channelEdits, 2);
    EXPECT_EQ(form.GetListItem(SettingsForm::kFormat, form.GetSelection(SettingsForm::kFormat)),
              L"INSAT");
    EXPECT_EQ(form.GetText(SettingsForm::kSatId), L"CE0012AB");

    EXPECT_EQ(f.op->Messages(),
              (std::vector<std::wstring>{L"Please enter an integer between 1 and 999.",
                                         L"The satellite id must be 8 characters."}));
    auto problems = f.op->Problems();
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_EQ(problems[0], "form \"Self-Timed Properties\" refused step 1 on control 101");
    EXPECT_EQ(f.op->Pending(), 0u);
}

TEST(ScriptedOperator, AWrongOrMissingAnswerAndAFormLeftOpenAreProblemsAndDeclined) {
    Fixture f;
    f.op->AnswerNumber(3);
    std::wstring text = L"x";
    EXPECT_FALSE(KeypadDlg(nullptr, L"Sat ID2:", text));
    EXPECT_EQ(text, L"x");
    int n = 0;
    EXPECT_TRUE(ChangeNumberDlgInt(nullptr, L"Enter SCD channel", n)) << "the answer was kept";
    // A question with no answer left is declined with No; a plain message with OK.
    EXPECT_EQ(MessageDlg(nullptr, L"Restart recording?", 0, MB_YESNO), IDNO);
    EXPECT_EQ(MessageDlg(nullptr, L"Note", 0, MB_OK), IDOK);
    f.op->AnswerForm({FormAction::Check(SettingsForm::kEnable, true)});
    SettingsForm form;
    EXPECT_EQ(form.DoModal(), IDCANCEL);
    EXPECT_EQ(f.op->Problems(),
              (std::vector<std::string>{
                  "the keypad \"Sat ID2:\" came while the next answer was for a integer editor",
                  "no answer left for the message \"Restart recording?\"",
                  "no answer left for the message \"Note\"",
                  "form \"Self-Timed Properties\" was still open after its script"}));
}

TEST(Form, OperatorStepsRespectKindsLimitsAndTheEnd) {
    Fixture f;
    f.op->AnswerForm({FormAction::SetText(11, L"-12"), FormAction::SetText(11, L"12a"),
                      FormAction::SetText(13, L"ABCDE"), FormAction::SetText(14, L"x"),
                      FormAction::Select(15, 2), FormAction::Check(11, true), FormAction::Click(99),
                      FormAction::Click(IDCANCEL)});
    TDialog plain(L"Plain");
    plain.AddIntField(11, L"N", 5);
    plain.AddTextField(13, L"T", L"", 4);
    plain.AddTextField(14, L"RO", L"fixed", 0, true);
    plain.AddList(15, L"L", {L"a", L"b"});
    plain.AddButton(IDCANCEL, L"Cancel");
    EXPECT_EQ(plain.DoModal(), IDCANCEL);
    // Refused: text in a number field, text over its limit, typing in a read-only field, an
    // index past a list's items, a check on a field, an unknown control.
    std::vector<std::string> refused;
    for (const auto& [step, control] :
         std::vector<std::pair<int, int>>{{2, 11}, {3, 13}, {4, 14}, {5, 15}, {6, 11}, {7, 99}})
        refused.push_back("form \"Plain\" refused step " + std::to_string(step) + " on control " +
                          std::to_string(control));
    EXPECT_EQ(f.op->Problems(), refused);
    EXPECT_EQ(plain.GetInt(11), -12);
    EXPECT_FALSE(plain.OperatorSetText(11, L"3")) << "nothing is taken after the end";
}

TEST(Display, GoesThroughTheBackendAndRefusesEditsOutsideItsLimits) {
    Fixture f;
    f.op->PressKeys(L">*");
    f.op->AnswerEditHex(L"CE00A1B2");
    f.op->AnswerEditHex(L"XYZ");
    f.op->AnswerEditInteger(75);
    f.op->AnswerEditInteger(-5);
    f.op->AnswerOKCancel(true);

    tarvo::host::BackendDisplay display;
    display.Write(L"SatID", 0, true);
    display.Write(L"press * to select", 1, true);
    EXPECT_EQ(display.Read(), L'>');
    EXPECT_EQ(display.Read(), L'*');
    std::wstring id = L"00000000";
    EXPECT_EQ(display.EditHEX(id, L"SatID"), DisplayIO::EDIT_OK);
    EXPECT_EQ(id, L"CE00A1B2");
    EXPECT_NE(display.EditHEX(id, L"SatID"), DisplayIO::EDIT_OK);
    EXPECT_EQ(id, L"CE00A1B2");
    int minutes = 60;
    EXPECT_EQ(display.EditInteger(minutes, L"TxTime minutes", false, 0, 0), DisplayIO::EDIT_OK);
    EXPECT_EQ(minutes, 75);
    EXPECT_NE(display.EditInteger(minutes, L"TxTime minutes", false, 0, 0), DisplayIO::EDIT_OK);
    EXPECT_EQ(minutes, 75);
    EXPECT_TRUE(display.OKCancel(true));
    // Out of keys: the keypad reads escape, so a menu loop ends.
    EXPECT_EQ(display.Read(), DisplayIO::KEY_ESCAPE);

    EXPECT_EQ(f.op->DisplayLines(), (std::vector<std::wstring>{L"SatID", L"press * to select"}));
    EXPECT_EQ(f.op->History()[1].line, 1);
}

TEST(UnattendedOperator, LogsMessagesAndDeclinesWhatItCannotAnswer) {
    tarvo::host::SetOperatorBackend(nullptr);
    tarvo::host::LogCapture log;
    EXPECT_EQ(MessageDlg(nullptr, L"Corvane rejected start command.", 60, 0), IDOK);
    EXPECT_EQ(MessageDlg(nullptr, L"Restart recording?", 0, MB_YESNO), IDNO);
    EXPECT_EQ(MessageDlg(nullptr, L"Continue?", 0, MB_OKCANCEL), IDCANCEL);
    std::wstring text = L"keep";
    EXPECT_FALSE(KeypadDlg(nullptr, L"Label", text));
    SettingsForm form;
    EXPECT_EQ(form.DoModal(), IDCANCEL);
    EXPECT_TRUE(
        log.Contains(TReportLevel::Status, "Operator message: Corvane rejected start command."));
}

}  // namespace
