#include "corvane/ui/status_dialog.h"

#include "corvane/core/corvane.h"
#include "corvane/link/command_codes.h"
#include "corvane/link/session.h"
#include "corvane/link/single_byte_text.h"
#include "platform/dialog.h"
#include "platform/dialogs.h"

StatusDialog::StatusDialog(CCorvane& corvane) : TDialog(L"Corvane Status"), corvane_(corvane) {}

void StatusDialog::OnInitDialog() {
    AddTextField(kStatusText, L"Status:", L"", 0, true);
    AddButton(kStatusRefresh, L"Refresh");
    AddButton(kStatusReset, L"Reset");
    AddButton(kStatusResetFailsafe, L"Reset FS");
    AddButton(IDCANCEL, L"Close");
}

void StatusDialog::OnButton(int id) {
    CPacket reply;
    switch (id) {
        case kStatusRefresh:
            // No stale report stays on show when the transmitter did not answer.
            SetText(kStatusText,
                    Exchange(corvane::cmd::kStatus, reply)
                        ? corvane::FromSingleByte(reply.GetPayload(), reply.GetLength())
                        : std::wstring());
            break;
        case kStatusReset:
            if (MessageDlg(nullptr,
                           L"All Corvane TX and error counters will be cleared. Continue "
                           L"with reset?",
                           0, MB_YESNO | MB_ICONQUESTION) == IDYES &&
                !Exchange(corvane::cmd::kClearCounters, reply)) {
                MessageDlg(nullptr, L"Failure sending reset status command.", 0,
                           MB_OK | MB_ICONERROR);
            }
            break;
        case kStatusResetFailsafe:
            if (!Exchange(corvane::cmd::kResetFailsafe, reply)) {
                MessageDlg(nullptr, L"Failure sending reset failsafe command.", 0,
                           MB_OK | MB_ICONERROR);
            }
            break;
        default:
            break;
    }
}

bool StatusDialog::Exchange(WORD code, CPacket& reply) {
    return corvane_.Exchange(CPacket(code), reply, corvane::DeadTime::Skip,
                             corvane::kOperatorLockWaitMs);
}

void RunStatusDialog(CCorvane& corvane) {
    StatusDialog dialog(corvane);
    dialog.DoModal();
}
