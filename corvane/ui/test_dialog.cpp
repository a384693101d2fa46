#include "corvane/ui/test_dialog.h"

#include <string>
#include <vector>

#include "corvane/core/corvane.h"
#include "corvane/link/command_codes.h"
#include "platform/dialog.h"
#include "platform/dialogs.h"
#include "platform/time.h"

namespace {

constexpr int kFirstGroup = 2;
constexpr int kLastGroup = 9;

class TestDialog : public TDialog {
  public:
    TestDialog(CCorvane& corvane, TestMode mode)
        : TDialog(mode == TestMode::SelfTimed ? L"Self-Timed Test" : L"Random Test"),
          corvane_(corvane),
          mode_(mode) {}

  protected:
    void OnInitDialog() override {
        if (mode_ == TestMode::Random) {
            std::vector<std::wstring> groups;
            for (int group = kFirstGroup; group <= kLastGroup; ++group)
                groups.push_back(std::to_wstring(group));
            AddList(kTestGroup, L"Group:", groups, 0);
        }
        AddTextField(kTestMessage, L"Message:", L"", 0, true);
        AddLabel(kTestNote, L"");
        AddButton(kTestSend, L"Send Test");
        AddButton(kTestResetTransmitter, L"Reset Corvane");
        AddButton(IDCANCEL, L"Close");
        BuildMessage();
    }

    void OnListChange(int id) override {
        if (id == kTestGroup)
            BuildMessage();
    }

    void OnButton(int id) override {
        if (id == kTestSend)
            SendTest();
        if (id == kTestResetTransmitter)
            ResetTransmitter();
    }

  private:
    // The message and what the operator is shown of it: self-timed INSAT messages are shown
    // in hexadecimal but sent as they are.
    void BuildMessage() {
        std::wstring shown;
        bool built = false;
        if (mode_ == TestMode::SelfTimed) {
            built = corvane_.SelfTimed().BuildMessageForDisplay(shown) &&
                    corvane_.SelfTimed().BuildMessage(TTime::GetCurrentTime(), message_);
        } else {
            built =
                corvane_.Random().GetGroupMessage(kFirstGroup + GetSelection(kTestGroup), shown);
            message_ = shown;
        }
        if (!built) {
            SetLabel(kTestNote, shown);
            message_ = shown = kTestCharacters;
        } else {
            SetLabel(kTestNote, L"");
        }
        SetText(kTestMessage, shown);
    }

    void SendTest() {
        const bool enabled = corvane_.InitCorvane &&
                             (corvane_.SelfTimed().IsEnabled() || corvane_.Random().IsEnabled());
        const wchar_t* consent =
            enabled ? L"Warning! Transmissions are currently enabled. Proceeding may interfere "
                      L"with current transmission processing. In addition, transmissions into "
                      L"an antenna may interfere with other stations. Do you wish to proceed?"
                    : L"Warning! Transmissions into an antenna may interfere with other "
                      L"stations. Do you wish to proceed?";
        if (MessageDlg(nullptr, consent, 0, MB_YESNO | MB_ICONWARNING) != IDYES)
            return;
        const bool sent = mode_ == TestMode::SelfTimed
                              ? corvane_.SelfTimed().ApplySettingsAndLoad(message_)
                              : corvane_.Random().SendTestMessage(message_);
        if (sent) {
            MessageDlg(nullptr, L"The test message has been sent to Corvane.", 0,
                       MB_OK | MB_ICONINFORMATION);
        } else {
            MessageDlg(nullptr,
                       L"Failed sending the test message to Corvane. Please check connections.", 0,
                       MB_OK | MB_ICONERROR);
        }
    }

    void ResetTransmitter() {
        if (MessageDlg(nullptr,
                       L"This will command the attached Corvane to reset. It will take several "
                       L"minutes for Corvane to be ready to transmit. Are you sure you want to "
                       L"reset Corvane?",
                       0, MB_YESNO | MB_ICONWARNING) != IDYES) {
            return;
        }
        const bool reset =
            corvane_.SendCommand(CPacket(corvane::cmd::kReset), corvane::ReplyCheck::LinkOnly) ==
            corvane::CommandResult::Accepted;
        if (reset) {
            MessageDlg(nullptr, L"Corvane has been commanded to reset.", 0,
                       MB_OK | MB_ICONINFORMATION);
        } else {
            MessageDlg(nullptr, L"An error occurred commanding Corvane to reset.", 0,
                       MB_OK | MB_ICONERROR);
        }
    }

    CCorvane& corvane_;
    const TestMode mode_;
    std::wstring message_;
};

}  // namespace

void RunTestDialog(CCorvane& corvane, TestMode mode) {
    TestDialog dialog(corvane, mode);
    dialog.DoModal();
}
