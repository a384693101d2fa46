#include "host/dialogs/dialogs.h"

#include "host/text/utf8.h"
#include "platform/control_panel.h"
#include "platform/report.h"

namespace tarvo::host {
namespace {

std::mutex& BackendMutex() {
    static std::mutex mutex;
    return mutex;
}

std::shared_ptr<OperatorBackend>& InstalledBackend() {
    static std::shared_ptr<OperatorBackend> backend;
    return backend;
}

}  // namespace

std::shared_ptr<OperatorBackend> GetOperatorBackend() {
    std::lock_guard lock(BackendMutex());
    auto& installed = InstalledBackend();
    if (!installed)
        installed = std::make_shared<UnattendedOperator>();
    return installed;
}

void SetOperatorBackend(std::shared_ptr<OperatorBackend> backend) {
    std::lock_guard lock(BackendMutex());
    InstalledBackend() = std::move(backend);
}

ScopedOperatorBackend::ScopedOperatorBackend(std::shared_ptr<OperatorBackend> backend)
    : previous_(GetOperatorBackend()) {
    SetOperatorBackend(std::move(backend));
}

ScopedOperatorBackend::~ScopedOperatorBackend() {
    SetOperatorBackend(std::move(previous_));
}

int UnattendedOperator::Message(const std::wstring& text, int /*timeout*/, UINT type,
                                const std::wstring& /*caption*/) {
    TReport::Status("Operator message: %s", ToUtf8(text).c_str());
    switch (type & MB_BUTTONMASK) {
        case MB_YESNO:
            return IDNO;
        case MB_OKCANCEL:
        case MB_YESNOCANCEL:
            return IDCANCEL;
        default:
            return IDOK;
    }
}

bool UnattendedOperator::Keypad(const std::wstring&, std::wstring&, int) {
    return false;
}
bool UnattendedOperator::NumberInt(const std::wstring&, int&) {
    return false;
}
bool UnattendedOperator::NumberReal(const std::wstring&, double&) {
    return false;
}
bool UnattendedOperator::Time(const std::wstring&, std::wstring&) {
    return false;
}

int UnattendedOperator::RunForm(TDialog& form) {
    if (!form.OperatorClick(IDCANCEL))
        form.EndDialog(IDCANCEL);
    return form.GetResult();
}

void UnattendedOperator::DisplayWrite(const std::wstring&, int, bool) {}
wchar_t UnattendedOperator::DisplayRead() {
    return DisplayIO::KEY_ESCAPE;
}

DisplayIO::EditStatus UnattendedOperator::DisplayEditHex(std::wstring&, const std::wstring&) {
    return DisplayIO::EDIT_CANCEL;
}

DisplayIO::EditStatus UnattendedOperator::DisplayEditInteger(int&, const std::wstring&, bool, int,
                                                             int) {
    return DisplayIO::EDIT_CANCEL;
}

bool UnattendedOperator::DisplayOKCancel(bool) {
    return false;
}

}  // namespace tarvo::host

using tarvo::host::GetOperatorBackend;

int MessageDlg(HWND /*parent*/, const std::wstring& text, int timeout, UINT type,
               const wchar_t* caption) {
    return GetOperatorBackend()->Message(text, timeout, type, caption ? caption : L"");
}

bool KeypadDlg(HWND /*parent*/, const std::wstring& title, std::wstring& text, int maxLength) {
    std::wstring edited = text;
    if (!GetOperatorBackend()->Keypad(title, edited, maxLength))
        return false;
    if (maxLength > 0 && edited.size() > static_cast<std::size_t>(maxLength)) {
        edited.resize(static_cast<std::size_t>(maxLength));
    }
    text = edited;
    return true;
}

bool ChangeNumberDlgInt(HWND /*parent*/, const std::wstring& prompt, int& value) {
    int edited = value;
    if (!GetOperatorBackend()->NumberInt(prompt, edited))
        return false;
    value = edited;
    return true;
}

bool ChangeNumberDlgReal(HWND /*parent*/, const std::wstring& prompt, double& value) {
    double edited = value;
    if (!GetOperatorBackend()->NumberReal(prompt, edited))
        return false;
    value = edited;
    return true;
}

bool SetTimeDlg(HWND /*parent*/, const std::wstring& title, std::wstring& timeText) {
    std::wstring edited = timeText;
    if (!GetOperatorBackend()->Time(title, edited))
        return false;
    timeText = edited;
    return true;
}

CControlPanelEntry::~CControlPanelEntry() = default;
