#include "corvane/ui/send_to_maker_dialog.h"

#include <string>
#include <vector>

#include "corvane/core/corvane.h"
#include "corvane/link/command_codes.h"
#include "corvane/link/commands.h"
#include "platform/dialog.h"
#include "platform/dialogs.h"
#include "platform/engine.h"

namespace {

constexpr int kLowestChannel = 1;
constexpr int kHighestChannel = 999;
constexpr int kFirstRate = 1;  // "300 bps"
constexpr std::size_t kPlatformIdLength = 8;

class SendToMakerDialog : public TDialog {
  public:
    SendToMakerDialog() : TDialog(L"Send-to-Marvek") {}

    const SendToMakerRequest& Request() const { return request_; }

  protected:
    void OnInitDialog() override {
        AddTextField(kMakerPlatformId, L"Platform ID:", kServicePlatformId);
        AddTextField(kMakerChannel, L"Channel:", std::to_wstring(request_.channel), 0, true);
        AddButton(kMakerChannelEdit, L"...");
        std::vector<std::wstring> rates;
        for (const SendToMakerRate& rate : kSendToMakerRates)
            rates.emplace_back(rate.name);
        AddList(kMakerRate, L"Rate:", rates, kFirstRate);
        AddButton(IDOK, L"OK");
        AddButton(IDCANCEL, L"Cancel");
    }

    void OnButton(int id) override {
        if (id != kMakerChannelEdit)
            return;
        int channel = request_.channel;
        while (ChangeNumberDlgInt(nullptr, L"Channel", channel)) {
            if (channel >= kLowestChannel && channel <= kHighestChannel) {
                request_.channel = channel;
                SetText(kMakerChannel, std::to_wstring(channel));
                return;
            }
            MessageDlg(nullptr, L"Please enter an integer between 1 and 999.", 0,
                       MB_OK | MB_ICONWARNING);
        }
    }

    bool OnOK() override {
        const std::wstring id = GetText(kMakerPlatformId);
        if (id.size() != kPlatformIdLength) {
            MessageDlg(nullptr, L"The satellite id must be 8 characters.", 0,
                       MB_OK | MB_ICONWARNING);
            return false;
        }
        request_.platformId = id;
        const int rate = GetSelection(kMakerRate);
        request_.rateCode =
            kSendToMakerRates[static_cast<std::size_t>(rate < 0 ? kFirstRate : rate)].code;
        return true;
    }

  private:
    SendToMakerRequest request_;
};

}  // namespace

std::vector<CPacket> SendToMakerRequests(const SendToMakerRequest& request) {
    CPacket platformId(corvane::cmd::kStmPlatformId);
    platformId.SetDword(corvane::SatIdValue(request.platformId));
    return {platformId, corvane::MakeWordRequest(corvane::cmd::kStmConfigB, request.channel),
            corvane::MakeWordRequest(corvane::cmd::kStmConfigA, request.rateCode),
            CPacket(corvane::cmd::kStmExecute)};
}

bool RunSendToMakerDialog(CCorvane& corvane, CEngine& engine) {
    SendToMakerDialog dialog;
    if (dialog.DoModal() != IDOK)
        return false;
    bool stoppedRecording = false;
    if (engine.IsRunning()) {
        if (MessageDlg(nullptr,
                       L"Warning: recording must be stopped to complete this operation. Proceed "
                       L"with recording stop?",
                       0, MB_YESNO | MB_ICONWARNING) != IDYES) {
            return false;
        }
        engine.Stop();
        stoppedRecording = true;
    }
    const bool sent = corvane.Session().WriteParameters(SendToMakerRequests(dialog.Request()));
    if (sent) {
        MessageDlg(nullptr, L"Send-to-Marvek command has been successfully output to Corvane.", 0,
                   MB_OK | MB_ICONINFORMATION);
    } else {
        MessageDlg(nullptr,
                   L"Failed sending Send-to-Marvek configuration or command to Corvane. Please "
                   L"check connections.",
                   0, MB_OK | MB_ICONERROR);
    }
    if (stoppedRecording &&
        MessageDlg(nullptr, L"Restart recording?", 0, MB_YESNO | MB_ICONQUESTION) == IDYES) {
        engine.Run();
    }
    return sent;
}
