#include "host/dialogs/terminal_draw.h"

#include "host/dialogs/curses_wide.h"

namespace tarvo::host::terminal {

static_assert(KEY_ENTER == 0527 && KEY_BACKSPACE == 0407);

Key ReadKey(int timeoutMs) {
    timeout(timeoutMs);
    wint_t c = 0;
    const int got = get_wch(&c);
    if (got == ERR)
        return {};
    return {got == KEY_CODE_YES ? Key::Kind::Code : Key::Kind::Char, static_cast<int>(c)};
}

void Put(int row, int col, const std::wstring& text, unsigned long attributes) {
    if (row < 0 || row >= LINES || col >= COLS)
        return;
    attr_set(static_cast<attr_t>(attributes), 0, nullptr);
    mvaddnwstr(row, col, text.c_str(), COLS - col);
    attr_set(A_NORMAL, 0, nullptr);
}

void TitleBar(const std::wstring& title) {
    std::wstring bar = L" " + title;
    if (bar.size() < static_cast<std::size_t>(COLS))
        bar.resize(static_cast<std::size_t>(COLS), L' ');
    Put(0, 0, bar, A_REVERSE);
}

void Legend(const std::wstring& text) {
    move(LINES - 1, 0);
    clrtoeol();
    Put(LINES - 1, 0, text, A_BOLD);
}

std::wstring Wrap(const std::wstring& text, std::size_t width) {
    std::wstring out;
    std::size_t lineStart = 0;  // in `out`
    std::size_t lastSpace = std::wstring::npos;
    for (wchar_t c : text) {
        if (c == L'\n') {
            out += c;
            lineStart = out.size();
            lastSpace = std::wstring::npos;
            continue;
        }
        out += c;
        if (c == L' ')
            lastSpace = out.size() - 1;
        if (out.size() - lineStart > width) {
            if (lastSpace != std::wstring::npos && lastSpace > lineStart) {
                out[lastSpace] = L'\n';
                lineStart = lastSpace + 1;
            } else {
                out.insert(out.size() - 1, 1, L'\n');
                lineStart = out.size() - 1;
            }
            lastSpace = std::wstring::npos;
        }
    }
    return out;
}

}  // namespace tarvo::host::terminal
