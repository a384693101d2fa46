#include "corvane/ui/corvane_properties_dialog.h"

#include <string>
#include <vector>

#include "corvane/link/session.h"
#include "corvane/ui/send_to_maker_dialog.h"
#include "corvane/ui/status_dialog.h"
#include "platform/dialog.h"
#include "platform/dialogs.h"

namespace {

constexpr int kPortCount = 8;
constexpr std::size_t kSatIdLength = 8;

class CorvanePropertiesDialog : public TDialog {
  public:
    CorvanePropertiesDialog(CommonSettings& working, CCorvane& corvane, CEngine& engine)
        : TDialog(L"Corvane Properties"), working_(working), corvane_(corvane), engine_(engine) {}

  protected:
    void OnInitDialog() override {
        std::vector<std::wstring> ports;
        for (int index = 0; index < kPortCount; ++index)
            ports.push_back(corvane::PortNameFromIndex(index));
        // A port index from the file outside the list selects nothing and is kept unless the
        // operator picks a port.
        AddList(kPropertiesPort, L"Port:", ports,
                working_.Port >= 0 && working_.Port < kPortCount ? working_.Port : -1);
        AddTextField(kPropertiesSatId, L"Satellite ID:", working_.SatID);
        AddCheckBox(kPropertiesInitCorvane, L"Initialize Corvane on recording start",
                    working_.InitCorvane);
        AddIntField(kPropertiesLocalOffset, L"Local Time Offset", working_.LTO);
        AddButton(kPropertiesStatus, L"Status...");
        AddButton(kPropertiesSendToMaker, L"Send-to-Marvek...");
        AddButton(IDOK, L"OK");
        AddButton(IDCANCEL, L"Cancel");
    }

    void OnButton(int id) override {
        if (id == kPropertiesStatus)
            RunStatusDialog(corvane_);
        if (id == kPropertiesSendToMaker)
            RunSendToMakerDialog(corvane_, engine_);
    }

    bool OnOK() override {
        const std::wstring satId = GetText(kPropertiesSatId);
        if (satId.size() != kSatIdLength) {
            MessageDlg(nullptr, L"The satellite id must be 8 characters.", 0,
                       MB_OK | MB_ICONWARNING);
            return false;
        }
        if (GetSelection(kPropertiesPort) >= 0)
            working_.Port = GetSelection(kPropertiesPort);
        working_.SatID = satId;
        working_.InitCorvane = GetCheck(kPropertiesInitCorvane);
        working_.LTO = GetInt(kPropertiesLocalOffset);
        return true;
    }

  private:
    CommonSettings& working_;
    CCorvane& corvane_;
    CEngine& engine_;
};

}  // namespace

bool RunCorvanePropertiesDialog(CommonSettings& working, CCorvane& corvane, CEngine& engine) {
    CorvanePropertiesDialog dialog(working, corvane, engine);
    return dialog.DoModal() == IDOK;
}
