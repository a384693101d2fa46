#include "corvane/ui/internal/field_editors.h"

#include <cwchar>

#include "platform/dialog.h"
#include "platform/dialogs.h"

namespace corvane::ui {

std::wstring RangeRefusal(IntRange range) {
    wchar_t text[80];
    std::swprintf(text, sizeof text / sizeof text[0], L"Please enter an integer between %d and %d.",
                  range.low, range.high);
    return text;
}

bool EditIntInRange(const std::wstring& prompt, int& value, IntRange range,
                    const std::wstring& refusal) {
    int entered = value;
    while (ChangeNumberDlgInt(nullptr, prompt, entered)) {
        if (entered >= range.low && entered <= range.high) {
            value = entered;
            return true;
        }
        MessageDlg(nullptr, refusal);
    }
    return false;
}

void AddEditedNumberField(TDialog& form, int fieldId, int buttonId, const std::wstring& label) {
    form.AddTextField(fieldId, label, {}, 0, /*readOnly=*/true);
    form.AddButton(buttonId, L"...");
}

void AddEditedTimeField(TDialog& form, int fieldId, int buttonId, const std::wstring& label,
                        const std::wstring& text) {
    form.AddTextField(fieldId, label, text);
    form.AddButton(buttonId, L"...");
}

void EditIntField(TDialog& form, int fieldId, const std::wstring& prompt, IntRange range,
                  const std::wstring& refusal) {
    int value = form.GetInt(fieldId);
    if (EditIntInRange(prompt, value, range, refusal))
        form.SetInt(fieldId, value);
}

void EditRealField(TDialog& form, int fieldId, const std::wstring& prompt) {
    double value = form.GetReal(fieldId);
    if (ChangeNumberDlgReal(nullptr, prompt, value))
        form.SetReal(fieldId, value);
}

void EditTimeField(TDialog& form, int fieldId, const std::wstring& title) {
    std::wstring text = form.GetText(fieldId);
    if (SetTimeDlg(nullptr, title, text))
        form.SetText(fieldId, text);
}

void EditKeypadField(TDialog& form, int fieldId, const std::wstring& title, int maxLength,
                     TextCheck accept) {
    std::wstring text = form.GetText(fieldId);
    while (KeypadDlg(nullptr, title, text, maxLength)) {
        const std::wstring refusal = accept ? accept(text) : std::wstring();
        if (refusal.empty()) {
            form.SetText(fieldId, text);
            return;
        }
        MessageDlg(nullptr, refusal);
    }
}

}  // namespace corvane::ui
