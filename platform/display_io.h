// The logger's front-panel text display with its keypad, as a module's display procedure gets
// it (see DisplayProc in platform/plugin.h).
#pragma once

#include <string>

class DisplayIO {
  public:
    // What an edit returns; anything other than EDIT_OK means the operator did not confirm.
    enum EditStatus { EDIT_OK = 0, EDIT_CANCEL = 1, EDIT_TIMEOUT = 2 };

    // Keys as Read returns them: '0'..'9', '*', '#', '<', '>', 'U' (up), 'D' (down), and
    // KEY_ESCAPE.
    static constexpr wchar_t KEY_ESCAPE = 27;
    static constexpr int LINES = 2;

    virtual ~DisplayIO() = default;

    // Shows `text` on line 0 or 1; `clear` blanks the rest of the line.
    virtual void Write(const std::wstring& text, int line, bool clear = true) = 0;
    // Waits for one key press.
    virtual wchar_t Read() = 0;
    // Edits a hexadecimal text under `caption`; `text` changes only on EDIT_OK.
    virtual EditStatus EditHEX(std::wstring& text, const std::wstring& caption) = 0;
    // Edits an integer under `caption`; `allowNegative` permits a sign; when `maxValue` >
    // `minValue` the edit is limited to that range. `value` changes only on EDIT_OK.
    virtual EditStatus EditInteger(int& value, const std::wstring& caption, bool allowNegative,
                                   int minValue, int maxValue) = 0;
    // Waits for OK or Cancel; `prompt` shows the "OK / Cancel" hint on line 1. True for OK.
    virtual bool OKCancel(bool prompt) = 0;
};
