// The editors behind the property dialogs' "..." buttons, with the dialogs' common rule: a value
// outside its range shows a refusal and asks again until a valid value or a cancel, and a cancel
// keeps the value the field held. All run modally on the interface thread.
#pragma once

#include <string>

class TDialog;

namespace corvane::ui {

// Inclusive bounds of an integer field.
struct IntRange {
    int low = 0;
    int high = 0;
};

// "Please enter an integer between %d and %d." for `range`.
std::wstring RangeRefusal(IntRange range);

// Asks for an integer with `prompt`, starting from `value`, until one within `range` (each value
// outside it shows `refusal`) or a cancel. True with `value` set when one was accepted; `value`
// is untouched on cancel.
bool EditIntInRange(const std::wstring& prompt, int& value, IntRange range,
                    const std::wstring& refusal);

// Adds a number field the operator cannot type into and its "..." button: the number changes only
// through its editor, so every value in it has passed the field's range check. Read and write it
// with the form's GetInt/SetInt (GetReal/SetReal for a real number).
void AddEditedNumberField(TDialog& form, int fieldId, int buttonId, const std::wstring& label);

// Adds a time text field the operator may type into and its "..." button for the time editor.
void AddEditedTimeField(TDialog& form, int fieldId, int buttonId, const std::wstring& label,
                        const std::wstring& text);

// The integer field `fieldId` of `form` edited as EditIntInRange does; the field keeps its value
// on cancel.
void EditIntField(TDialog& form, int fieldId, const std::wstring& prompt, IntRange range,
                  const std::wstring& refusal);
// The real field `fieldId` edited with the real-number editor (no range).
void EditRealField(TDialog& form, int fieldId, const std::wstring& prompt);
// The time text field `fieldId` edited with the time editor titled `title`. The text is taken
// as entered: the dialog validates it on OK.
void EditTimeField(TDialog& form, int fieldId, const std::wstring& title);
// The text field `fieldId` edited on the keypad titled `title`, at most `maxLength` characters.
// `accept` judges the text: while it gives a refusal text (non-empty), that is shown and the
// keypad opens again. Null `accept` takes any text.
using TextCheck = std::wstring (*)(const std::wstring& text);
void EditKeypadField(TDialog& form, int fieldId, const std::wstring& title, int maxLength,
                     TextCheck accept = nullptr);

}  // namespace corvane::ui
