#include "host/dialogs/display_io.h"

#include <cwctype>

#include "host/dialogs/dialogs.h"

namespace tarvo::host {

void BackendDisplay::Write(const std::wstring& text, int line, bool clear) {
    GetOperatorBackend()->DisplayWrite(text, line, clear);
}

wchar_t BackendDisplay::Read() {
    return GetOperatorBackend()->DisplayRead();
}

DisplayIO::EditStatus BackendDisplay::EditHEX(std::wstring& text, const std::wstring& caption) {
    std::wstring edited = text;
    EditStatus status = GetOperatorBackend()->DisplayEditHex(edited, caption);
    if (status != EDIT_OK)
        return status;
    // The keypad offers hexadecimal digits only, so anything else cannot have been entered.
    for (wchar_t c : edited) {
        if (!std::iswxdigit(c))
            return EDIT_CANCEL;
    }
    text = edited;
    return EDIT_OK;
}

DisplayIO::EditStatus BackendDisplay::EditInteger(int& value, const std::wstring& caption,
                                                  bool allowNegative, int minValue, int maxValue) {
    int edited = value;
    EditStatus status = GetOperatorBackend()->DisplayEditInteger(edited, caption, allowNegative,
                                                                 minValue, maxValue);
    if (status != EDIT_OK)
        return status;
    if (!allowNegative && edited < 0)
        return EDIT_CANCEL;
    if (maxValue > minValue && (edited < minValue || edited > maxValue))
        return EDIT_CANCEL;
    value = edited;
    return EDIT_OK;
}

bool BackendDisplay::OKCancel(bool prompt) {
    return GetOperatorBackend()->DisplayOKCancel(prompt);
}

}  // namespace tarvo::host
