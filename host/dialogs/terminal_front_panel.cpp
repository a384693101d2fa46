// The logger's front panel on the terminal: its two display lines in a frame, and the keypad
// on the keyboard.
#include <climits>
#include <cwctype>

#include "host/dialogs/curses_wide.h"
#include "host/dialogs/terminal_draw.h"
#include "host/dialogs/terminal_operator.h"

namespace tarvo::host {

using terminal::Key;
using terminal::Legend;
using terminal::Put;
using terminal::ReadKey;
using terminal::TitleBar;

namespace {

constexpr int kDisplayWidth = 40;

// The keypad key a keyboard key stands for; 0 for none.
wchar_t KeypadKey(const Key& key) {
    if (key.IsCode(KEY_LEFT))
        return L'<';
    if (key.IsCode(KEY_RIGHT))
        return L'>';
    if (key.IsCode(KEY_UP))
        return L'U';
    if (key.IsCode(KEY_DOWN))
        return L'D';
    if (key.IsEnter())
        return L'*';
    if (key.IsEscape())
        return DisplayIO::KEY_ESCAPE;
    if (key.kind != Key::Kind::Char)
        return 0;
    const auto c = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(key.value)));
    if ((c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'F') || c == L'*' || c == L'#')
        return c;
    return 0;
}

}  // namespace

void TerminalOperator::DrawFrontPanel(const std::wstring& hint) {
    screen_->WaitForRoom();
    erase();
    TitleBar(L"Front panel");
    const std::wstring rule = L"+" + std::wstring(kDisplayWidth, L'-') + L"+";
    Put(3, 4, rule);
    for (int line = 0; line < 2; ++line) {
        std::wstring text = display_[line].substr(0, kDisplayWidth);
        text.resize(kDisplayWidth, L' ');
        Put(4 + line, 4, L"|" + text + L"|");
    }
    Put(6, 4, rule);
    Put(8, 4, hint, A_BOLD);
    Put(10, 4, L"Keys of the keypad:");
    Put(11, 6, L"Left  <      Right  >      Up  U      Down  D");
    Put(12, 6, L"*  (or Enter)   #   0-9   A-F   Esc  escape");
    Legend(L"The module reads the keys above; others are ignored.");
    refresh();
}

void TerminalOperator::DisplayWrite(const std::wstring& text, int line, bool clear) {
    if (line < 0 || line > 1)
        return;
    std::wstring& shown = display_[line];
    if (clear || text.size() >= shown.size())
        shown = text;
    else
        shown.replace(0, text.size(), text);
    DrawFrontPanel(L"");
}

wchar_t TerminalOperator::DisplayRead() {
    for (;;) {
        DrawFrontPanel(L"");
        const wchar_t key = KeypadKey(ReadKey());
        if (key != 0)
            return key;
    }
}

DisplayIO::EditStatus TerminalOperator::DisplayEditHex(std::wstring& text,
                                                       const std::wstring& caption) {
    std::wstring edited = text;
    display_[0] = caption;
    for (;;) {
        display_[1] = edited + L"_";
        DrawFrontPanel(L"0-9 A-F type   Backspace delete   * or Enter OK   Esc cancel");
        const Key key = ReadKey();
        const wchar_t k = KeypadKey(key);
        if (k == L'*') {
            text = edited;
            return DisplayIO::EDIT_OK;
        }
        if (k == DisplayIO::KEY_ESCAPE)
            return DisplayIO::EDIT_CANCEL;
        if (key.IsBackspace() || k == L'<') {
            if (!edited.empty())
                edited.pop_back();
        } else if ((k >= L'0' && k <= L'9') || (k >= L'A' && k <= L'F')) {
            if (edited.size() < kDisplayWidth)
                edited += k;
        }
    }
}

DisplayIO::EditStatus TerminalOperator::DisplayEditInteger(int& value, const std::wstring& caption,
                                                           bool allowNegative, int minValue,
                                                           int maxValue) {
    std::wstring edited = std::to_wstring(value);
    std::wstring hint;
    display_[0] = caption;
    const bool ranged = maxValue > minValue;
    for (;;) {
        display_[1] = edited + L"_";
        DrawFrontPanel(hint.empty() ? L"0-9 type   Backspace delete   * or Enter OK   Esc cancel"
                                    : hint);
        hint.clear();
        const Key key = ReadKey();
        const wchar_t k = KeypadKey(key);
        if (k == DisplayIO::KEY_ESCAPE)
            return DisplayIO::EDIT_CANCEL;
        if (k == L'*') {
            long v = 0;
            bool digits = !edited.empty() && edited != L"-";
            for (std::size_t i = 0; digits && i < edited.size(); ++i) {
                if (!(std::iswdigit(static_cast<wint_t>(edited[i])) ||
                      (i == 0 && edited[i] == L'-')))
                    digits = false;
            }
            if (digits && edited.size() <= 11)
                v = std::stol(edited);
            if (!digits || v < INT_MIN || v > INT_MAX ||
                (ranged && (v < minValue || v > maxValue))) {
                hint = ranged ? L"Out of range: " + std::to_wstring(minValue) + L" to " +
                                    std::to_wstring(maxValue)
                              : std::wstring(L"Not a whole number");
                continue;
            }
            value = static_cast<int>(v);
            return DisplayIO::EDIT_OK;
        }
        if (key.IsBackspace() || k == L'<') {
            if (!edited.empty())
                edited.pop_back();
        } else if (k >= L'0' && k <= L'9' && edited.size() < 11) {
            edited += k;
        } else if (key.Is(L'-') && allowNegative && edited.empty()) {
            edited = L"-";
        }
    }
}

bool TerminalOperator::DisplayOKCancel(bool prompt) {
    if (prompt)
        display_[1] = L"OK / Cancel";
    for (;;) {
        DrawFrontPanel(L"* or Enter OK   Esc cancel");
        const wchar_t k = KeypadKey(ReadKey());
        if (k == L'*')
            return true;
        if (k == DisplayIO::KEY_ESCAPE)
            return false;
    }
}

}  // namespace tarvo::host
