// The status, test and send-to-maker dialogs walked by a scripted operator against the
// simulated transmitter, with the requests it heard checked byte for byte.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "corvane/ui/send_to_maker_dialog.h"
#include "corvane/ui/status_dialog.h"
#include "corvane/ui/support/operator_bench.h"
#include "corvane/ui/test_dialog.h"
#include "platform/sync.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using uitest::FormAction;
using Texts = std::vector<std::wstring>;

class MaintenanceDialogs : public uitest::OperatorBench {};

std::string Hex(const std::wstring& text) {
    return tarvo::sim::ToHex(std::vector<BYTE>(text.begin(), text.end()));
}

// ---------------------------------------------------------------------------- status dialog

const std::wstring kResetQ =
    L"All Corvane TX and error counters will be cleared. Continue with "
    L"reset?";
const std::wstring kResetFailed = L"Failure sending reset status command.";
const std::wstring kFsFailed = L"Failure sending reset failsafe command.";

struct StatusRow {
    const char* legend;
    int button;
    std::vector<int> answers;  // to the message boxes, in order
    std::optional<WORD> deaf;
    std::string requests;
    Texts messages;
};

class StatusButtons : public uitest::OperatorBench,
                      public testing::WithParamInterface<StatusRow> {};

TEST_P(StatusButtons, SendTheirCommandAsTheRowSays) {
    const StatusRow& row = GetParam();
    if (row.deaf)
        Deafen(row.deaf);
    op->AnswerForm({FormAction::Click(row.button), FormAction::Click(IDCANCEL)});
    for (int answer : row.answers)
        op->AnswerMessage(answer);
    StatusDialog dialog(corvane);
    dialog.DoModal();
    EXPECT_EQ(Requests(), row.requests);
    EXPECT_EQ(op->Messages(), row.messages);
    // Refresh shows the reply's text, and nothing when there was none.
    std::wstring replied;
    for (const auto& entry : sim.Transcript()) {
        if (entry.direction == tarvo::sim::Direction::Reply && entry.type == 4)
            replied.assign(entry.payload.begin(), entry.payload.end());
    }
    EXPECT_EQ(dialog.GetText(kStatusText), replied);
    EXPECT_EQ(replied.find(L"Time: ") != std::wstring::npos, row.requests == "4:");
}

INSTANTIATE_TEST_SUITE_P(
    Table, StatusButtons,
    testing::Values(
        StatusRow{"refresh", kStatusRefresh, {}, {}, "4:", {}},
        StatusRow{"refresh unanswered", kStatusRefresh, {}, 4, "4: 4: 4:", {}},
        StatusRow{"reset on yes", kStatusReset, {IDYES}, {}, "5:", {kResetQ}},
        StatusRow{"reset on no", kStatusReset, {IDNO}, {}, "", {kResetQ}},
        StatusRow{"reset unanswered",
                  kStatusReset,
                  {IDYES, IDOK},
                  5,
                  "5: 5: 5:",
                  {kResetQ, kResetFailed}},
        StatusRow{"reset failsafe", kStatusResetFailsafe, {}, {}, "7:", {}},
        StatusRow{
            "reset failsafe unanswered", kStatusResetFailsafe, {IDOK}, 7, "7: 7: 7:", {kFsFailed}}),
    uitest::LegendName<testing::TestParamInfo<StatusRow>>);

TEST_F(MaintenanceDialogs, StatusDialogFailsAfterFiveSecondsWhileAnotherThreadHoldsTheSession) {
    TEvent held(true, false), release(true, false);
    TThread holder(
        [&] {
            TSingleLock session(corvane.SessionLock(), true);
            held.Set();
            WaitForSingleObject(release, INFINITE);
        },
        "transmission in progress");
    WaitForSingleObject(held, INFINITE);
    op->AnswerForm({FormAction::Click(kStatusResetFailsafe), FormAction::Click(IDCANCEL)});
    op->AnswerMessage(IDOK);
    const tarvo::host::Micros start = tarvo::host::NowMicros();
    RunStatusDialog(corvane);
    EXPECT_EQ(MsSince(start), 5000);
    EXPECT_EQ(op->Messages(), Texts{kFsFailed});
    EXPECT_EQ(Requests(), "");
    release.Set();
    holder.Join();
}

// ------------------------------------------------------------------------------ test dialog

const std::wstring kWarnEnabled =
    L"Warning! Transmissions are currently enabled. Proceeding may interfere with current "
    L"transmission processing. In addition, transmissions into an antenna may interfere with "
    L"other stations. Do you wish to proceed?";
const std::wstring kWarn =
    L"Warning! Transmissions into an antenna may interfere with other stations. Do you wish to "
    L"proceed?";
const std::wstring kSent = L"The test message has been sent to Corvane.";
const std::wstring kNotSent =
    L"Failed sending the test message to Corvane. Please check connections.";
const std::wstring kResetCorvane =
    L"This will command the attached Corvane to reset. It will take several minutes for Corvane "
    L"to be ready to transmit. Are you sure you want to reset Corvane?";
const std::wstring kReset = L"Corvane has been commanded to reset.";
const std::wstring kNotReset = L"An error occurred commanding Corvane to reset.";

// What a test transmission pushes first, with the values of a fresh setup: satellite id and
// offset, then the self-timed upload or the random push.
const std::string kId = "40:12345678 37:0000 ";
const std::string kUpload =
    "202:0097 206:00000000 204:00040000 208:012c 212:00000100 214:01 "
    "223:00 225:00 42:ffffffff 232:00 ";
const std::string kPush = "302:0097 306:0064 318:00 320:00 304:00000000 310:01 ";
constexpr TestMode kSt = TestMode::SelfTimed;
constexpr TestMode kRt = TestMode::Random;

struct TestRow {
    const char* legend;
    TestMode mode;
    bool enabled;  // the mode's transmissions
    int button;
    int answer;  // to the question
    bool deaf;
    std::string requests;
    Texts messages;
};

class TestButtons : public uitest::OperatorBench, public testing::WithParamInterface<TestRow> {};

TEST_P(TestButtons, SendWhatTheModeSendsAfterTheQuestion) {
    const TestRow& row = GetParam();
    corvane.SelfTimed().Settings().Enabled = row.mode == kSt && row.enabled;
    corvane.Random().Settings().Enabled = row.mode == kRt && row.enabled;
    // The self-timed messenger's message, so that the test is seen to send it.
    corvane.SelfTimed().SetHook([](std::wstring& message, int) {
        message = L"HG 2.91";
        return true;
    });
    if (row.deaf)
        Deafen(std::nullopt);
    op->AnswerForm({FormAction::Click(row.button), FormAction::Click(IDCANCEL)});
    op->AnswerMessage(row.answer);
    op->AnswerMessage(IDOK);
    RunTestDialog(corvane, row.mode);
    EXPECT_EQ(Requests(), row.requests);
    EXPECT_EQ(op->Messages(), row.messages);
}

const std::string kStTest = kId + kUpload + "236: 216:" + Hex(L"HG 2.91") + " 218:";
const std::string kRtTest = kId + kPush + "312:" + Hex(kTestCharacters) + " 314:";
// Three attempts each; the offset is sent although the id failed.
const std::string kIdUnheard = "40:12345678 40:12345678 40:12345678 37:0000 37:0000 37:0000";

INSTANTIATE_TEST_SUITE_P(
    Table, TestButtons,
    testing::Values(
        TestRow{"self timed", kSt, true, kTestSend, IDYES, false, kStTest, {kWarnEnabled, kSent}},
        TestRow{"random test text", kRt, false, kTestSend, IDYES, false, kRtTest, {kWarn, kSent}},
        TestRow{"no", kRt, true, kTestSend, IDNO, false, "", {kWarnEnabled}},
        TestRow{"unanswered", kRt, false, kTestSend, IDYES, true, kIdUnheard, {kWarn, kNotSent}},
        TestRow{"reset",
                kSt,
                false,
                kTestResetTransmitter,
                IDYES,
                false,
                "6:",
                {kResetCorvane, kReset}},
        TestRow{"reset unanswered",
                kRt,
                false,
                kTestResetTransmitter,
                IDYES,
                true,
                "6: 6: 6:",
                {kResetCorvane, kNotReset}}),
    uitest::LegendName<testing::TestParamInfo<TestRow>>);

// ------------------------------------------------------------------------ send-to-maker dialog

const std::wstring kChannelRange = L"Please enter an integer between 1 and 999.";
const std::wstring kMakerSent = L"Send-to-Marvek command has been successfully output to Corvane.";

struct MakerRow {
    const char* legend;
    std::vector<std::optional<int>> channelEdits;  // empty optional: the editor is cancelled
    int rate;                                      // -1: as offered
    std::string channelAndRate;                    // 602 and 600
};

class SendToMakerFields : public uitest::OperatorBench,
                          public testing::WithParamInterface<MakerRow> {};

TEST_P(SendToMakerFields, ReachTheTransmitterOnlyOnceValid) {
    const MakerRow& row = GetParam();
    std::vector<FormAction> actions;
    if (!row.channelEdits.empty())
        actions.push_back(FormAction::Click(kMakerChannelEdit));
    if (row.rate >= 0)
        actions.push_back(FormAction::Select(kMakerRate, row.rate));
    actions.push_back(FormAction::Click(IDOK));
    op->AnswerForm(actions);
    Texts messages;
    for (const std::optional<int>& edit : row.channelEdits) {
        op->AnswerNumber(edit);
        if (edit && (*edit < 1 || *edit > 999)) {
            op->AnswerMessage(IDOK);
            messages.push_back(kChannelRange);
        }
    }
    op->AnswerMessage(IDOK);
    messages.push_back(kMakerSent);
    EXPECT_TRUE(RunSendToMakerDialog(corvane, engine));
    EXPECT_EQ(Requests(), "604:53544d31 " + row.channelAndRate + " 606:");
    EXPECT_EQ(op->Messages(), messages);
    EXPECT_TRUE(op->Problems().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Table, SendToMakerFields,
    testing::Values(MakerRow{"as offered", {}, -1, "602:0001 600:012c"},
                    MakerRow{"0 then 5 at 100 bps", {0, 5}, 0, "602:0005 600:0064"},
                    MakerRow{"1000 then 999 at 300 G13", {1000, 999}, 2, "602:03e7 600:012d"},
                    MakerRow{
                        "cancel keeps 1 at 1200 G13", {-3, std::nullopt}, 3, "602:0001 600:04b1"}),
    uitest::LegendName<testing::TestParamInfo<MakerRow>>);

TEST_F(MaintenanceDialogs, SendToMakerStopsAtTheFirstUnansweredRequest) {
    Deafen(602);
    op->AnswerForm({FormAction::Click(IDOK)});
    op->AnswerMessage(IDOK);
    EXPECT_FALSE(RunSendToMakerDialog(corvane, engine));
    EXPECT_EQ(Requests(), "604:53544d31 602:0001 602:0001 602:0001");
    EXPECT_EQ(op->Messages(), Texts{L"Failed sending Send-to-Marvek configuration or command to "
                                    L"Corvane. Please check connections."});
}

TEST_F(MaintenanceDialogs, SendToMakerWhileRecordingStopsItFirstAndRestartsItOnYes) {
    LoadSetup(uitest::SetupText("Enabled = \"0\"", "Enabled = \"1\""));
    ASSERT_TRUE(engine.Run());
    const std::size_t started = Mark();
    op->AnswerForm({FormAction::Click(IDOK)});
    op->AnswerMessage(IDYES);  // stop recording
    op->AnswerMessage(IDOK);
    op->AnswerMessage(IDYES);  // restart it
    EXPECT_TRUE(RunSendToMakerDialog(corvane, engine));
    EXPECT_EQ(op->Messages(), (Texts{L"Warning: recording must be stopped to complete this "
                                     L"operation. Proceed with recording stop?",
                                     kMakerSent, L"Restart recording?"}));
    EXPECT_THAT(Requests(started), StartsWith("771: 200:00 300:00 338:00 604:53544d31 602:0001 "
                                              "600:012c 606: 506:01 771:"));
    EXPECT_THAT(Requests(started), EndsWith(" 770:"));
    EXPECT_TRUE(engine.IsRunning());
}

}  // namespace
