// Drawing and key reading shared by the terminal backend's screens.
#pragma once

#include <string>

namespace tarvo::host::terminal {

// One key: a character, or a curses key code (KEY_UP, ...); `none` when a timeout passed.
struct Key {
    enum class Kind { Char, Code, None };
    Kind kind = Kind::None;
    int value = 0;
    bool Is(wchar_t c) const { return kind == Kind::Char && value == static_cast<int>(c); }
    bool IsCode(int code) const { return kind == Kind::Code && value == code; }
    bool IsEnter() const { return Is(L'\n') || Is(L'\r') || IsCode(0527 /* KEY_ENTER */); }
    bool IsEscape() const { return Is(L'\x1b'); }
    bool IsBackspace() const {
        return Is(L'\x7f') || Is(L'\b') || IsCode(0407 /* KEY_BACKSPACE */);
    }
};

// Waits for a key; `timeoutMs` < 0 waits for ever.
Key ReadKey(int timeoutMs = -1);

// Writes `text` at (row, col), cut at the screen's right edge; `attributes` are curses ones.
void Put(int row, int col, const std::wstring& text, unsigned long attributes = 0);
// The screen's top line: the title in reverse video across the width.
void TitleBar(const std::wstring& title);
// The screen's bottom line: what the keys do.
void Legend(const std::wstring& text);
// `text` cut into lines of at most `width` characters at spaces (and at its own line breaks).
std::wstring Wrap(const std::wstring& text, std::size_t width);

}  // namespace tarvo::host::terminal
