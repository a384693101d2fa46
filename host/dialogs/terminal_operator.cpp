#include "host/dialogs/terminal_operator.h"

#include <climits>
#include <cwctype>

#include "host/dialogs/curses_wide.h"
#include "host/dialogs/terminal_draw.h"
#include "host/text/number_text.h"

namespace tarvo::host {

using terminal::Key;
using terminal::Legend;
using terminal::Put;
using terminal::ReadKey;
using terminal::TitleBar;

namespace {

bool AnyPrintable(wchar_t c) {
    return std::iswprint(static_cast<wint_t>(c)) != 0;
}
bool IntegerChar(wchar_t c) {
    return std::iswdigit(static_cast<wint_t>(c)) || c == L'-' || c == L'+';
}
bool RealChar(wchar_t c) {
    return IntegerChar(c) || c == L'.' || c == L'e' || c == L'E';
}
bool TimeChar(wchar_t c) {
    return std::iswdigit(static_cast<wint_t>(c)) || c == L':';
}

struct Button {
    int id;
    std::wstring label;
};

std::vector<Button> ButtonsOf(UINT type) {
    switch (type & MB_BUTTONMASK) {
        case MB_OKCANCEL:
            return {{IDOK, L"OK"}, {IDCANCEL, L"Cancel"}};
        case MB_YESNO:
            return {{IDYES, L"Yes"}, {IDNO, L"No"}};
        case MB_YESNOCANCEL:
            return {{IDYES, L"Yes"}, {IDNO, L"No"}, {IDCANCEL, L"Cancel"}};
        default:
            return {{IDOK, L"OK"}};
    }
}

std::wstring IconWord(UINT type) {
    switch (type & MB_ICONMASK) {
        case MB_ICONERROR:
            return L"Error";
        case MB_ICONQUESTION:
            return L"Question";
        case MB_ICONWARNING:
            return L"Warning";
        case MB_ICONINFORMATION:
            return L"Information";
        default:
            return L"";
    }
}

// The button Escape stands for: Cancel, else No, else the only one.
int EscapeAnswer(const std::vector<Button>& buttons) {
    for (int id : {IDCANCEL, IDNO}) {
        for (const Button& b : buttons) {
            if (b.id == id)
                return id;
        }
    }
    return buttons.front().id;
}

std::vector<std::wstring> Lines(const std::wstring& text) {
    std::vector<std::wstring> lines(1);
    for (wchar_t c : text) {
        if (c == L'\n')
            lines.emplace_back();
        else
            lines.back() += c;
    }
    return lines;
}

}  // namespace

std::unique_ptr<TerminalOperator> TerminalOperator::Open(std::string& error) {
    auto screen = TerminalScreen::Open(error);
    if (!screen)
        return nullptr;
    return std::unique_ptr<TerminalOperator>(new TerminalOperator(std::move(screen)));
}

TerminalOperator::TerminalOperator(std::unique_ptr<TerminalScreen> screen)
    : screen_(std::move(screen)) {}

int TerminalOperator::Choose(const std::wstring& title, const std::vector<ChoiceLine>& lines,
                             int& focus) {
    auto isItem = [&](int i) {
        return i >= 0 && i < static_cast<int>(lines.size()) &&
               lines[static_cast<std::size_t>(i)].kind == ChoiceLine::Kind::Item;
    };
    auto step = [&](int from, int by) {
        for (int i = from + by; i >= 0 && i < static_cast<int>(lines.size()); i += by) {
            if (isItem(i))
                return i;
        }
        return from;
    };
    if (!isItem(focus))
        focus = step(-1, 1);
    if (!isItem(focus))
        return -1;
    for (;;) {
        screen_->WaitForRoom();
        erase();
        TitleBar(title);
        const int rows = LINES - 4;
        const int top = focus < rows ? 0 : focus - rows + 1;
        for (int i = top; i < static_cast<int>(lines.size()) && i - top < rows; ++i) {
            const ChoiceLine& line = lines[static_cast<std::size_t>(i)];
            if (line.kind == ChoiceLine::Kind::Heading)
                Put(2 + i - top, 1, line.text, A_BOLD);
            else
                Put(2 + i - top, 1, (i == focus ? L"> " : L"  ") + line.text,
                    i == focus ? A_REVERSE : 0);
        }
        Legend(L"Up/Down move   Enter open   Esc or q leave");
        refresh();
        const Key key = ReadKey();
        if (key.IsCode(KEY_UP) || key.IsCode(KEY_BTAB))
            focus = step(focus, -1);
        else if (key.IsCode(KEY_DOWN) || key.Is(L'\t'))
            focus = step(focus, 1);
        else if (key.IsEnter())
            return focus;
        else if (key.IsEscape() || key.Is(L'q'))
            return -1;
    }
}

int TerminalOperator::Message(const std::wstring& text, int timeout, UINT type,
                              const std::wstring& caption) {
    const std::vector<Button> buttons = ButtonsOf(type);
    const std::wstring icon = IconWord(type);
    int chosen = 0;
    int secondsLeft = timeout;
    // The box stands over the screen it came up on, which each redraw starts from again.
    const std::unique_ptr<WINDOW, int (*)(WINDOW*)> under(dupwin(stdscr), delwin);
    for (;;) {
        screen_->WaitForRoom();
        if (under)
            overwrite(under.get(), stdscr);
        const int width = COLS - 8;
        std::vector<std::wstring> body =
            Lines(terminal::Wrap(text, static_cast<std::size_t>(width - 4)));
        if (!icon.empty())
            body.insert(body.begin(), {icon, L""});
        const int height = static_cast<int>(body.size()) + 4;
        const int top = std::max(1, (LINES - height) / 2);
        const int left = 4;
        for (int r = 0; r < height; ++r)
            Put(top + r, left, std::wstring(static_cast<std::size_t>(width), L' '));
        Put(top, left, L"+" + std::wstring(static_cast<std::size_t>(width - 2), L'-') + L"+");
        Put(top + height - 1, left,
            L"+" + std::wstring(static_cast<std::size_t>(width - 2), L'-') + L"+");
        for (int r = 1; r < height - 1; ++r) {
            Put(top + r, left, L"|");
            Put(top + r, left + width - 1, L"|");
        }
        if (!caption.empty())
            Put(top, left + 2, L" " + caption + L" ", A_BOLD);
        for (std::size_t i = 0; i < body.size(); ++i)
            Put(top + 1 + static_cast<int>(i), left + 2, body[i],
                i == 0 && !icon.empty() ? A_BOLD : 0);
        int col = left + 2;
        for (std::size_t i = 0; i < buttons.size(); ++i) {
            const std::wstring label = L"[ " + buttons[i].label + L" ]";
            Put(top + height - 2, col, label, static_cast<int>(i) == chosen ? A_REVERSE : 0);
            col += static_cast<int>(label.size()) + 2;
        }
        if (timeout > 0)
            Put(top + height - 2, col,
                L"(closes by itself in " + std::to_wstring(secondsLeft) + L" s)");
        Legend(L"Left/Right choose   Enter press   Esc " +
               std::wstring(EscapeAnswer(buttons) == IDOK ? L"OK" : L"cancel"));
        refresh();
        const Key key = ReadKey(timeout > 0 ? 1000 : -1);
        if (key.kind == Key::Kind::None) {
            if (timeout > 0 && --secondsLeft <= 0)
                return buttons.front().id;
            continue;
        }
        if (key.IsCode(KEY_LEFT) || key.IsCode(KEY_BTAB))
            chosen =
                (chosen + static_cast<int>(buttons.size()) - 1) % static_cast<int>(buttons.size());
        else if (key.IsCode(KEY_RIGHT) || key.Is(L'\t'))
            chosen = (chosen + 1) % static_cast<int>(buttons.size());
        else if (key.IsEnter())
            return buttons[static_cast<std::size_t>(chosen)].id;
        else if (key.IsEscape())
            return EscapeAnswer(buttons);
        else if (key.kind == Key::Kind::Char) {
            for (const Button& b : buttons) {
                if (std::towlower(static_cast<wint_t>(key.value)) ==
                    std::towlower(static_cast<wint_t>(b.label.front())))
                    return b.id;
            }
        }
    }
}

bool TerminalOperator::EditLine(int row, const std::wstring& prompt, std::wstring& text,
                                std::size_t maxLength, bool (*allowed)(wchar_t)) {
    std::wstring edited = text;
    curs_set(1);
    for (;;) {
        move(row, 0);
        clrtoeol();
        Put(row, 1, prompt + L" " + edited);
        move(row, std::min(COLS - 1, 2 + static_cast<int>(prompt.size() + edited.size())));
        refresh();
        const Key key = ReadKey();
        if (key.IsEnter()) {
            curs_set(0);
            text = edited;
            return true;
        }
        if (key.IsEscape()) {
            curs_set(0);
            return false;
        }
        if (key.IsBackspace()) {
            if (!edited.empty())
                edited.pop_back();
        } else if (key.kind == Key::Kind::Char && allowed(static_cast<wchar_t>(key.value)) &&
                   (maxLength == 0 || edited.size() < maxLength)) {
            edited += static_cast<wchar_t>(key.value);
        } else if (key.kind != Key::Kind::None && !key.IsCode(KEY_RESIZE)) {
            beep();
        }
    }
}

bool TerminalOperator::EditScreen(const std::wstring& title, const std::wstring& prompt,
                                  std::wstring& text, std::size_t maxLength, Accept accept) {
    bool (*allowed)(wchar_t) = accept == Accept::Integer ? IntegerChar
                               : accept == Accept::Real  ? RealChar
                               : accept == Accept::Time  ? TimeChar
                                                         : AnyPrintable;
    std::wstring problem;
    std::wstring edited = text;
    for (;;) {
        screen_->WaitForRoom();
        erase();
        TitleBar(title);
        if (maxLength > 0)
            Put(2, 1, L"At most " + std::to_wstring(maxLength) + L" characters.");
        if (accept == Accept::Time)
            Put(2, 1, L"A time as HH:MM:SS.");
        Put(4, 1, problem, A_BOLD);
        Legend(L"Type   Backspace delete   Enter confirm   Esc cancel");
        if (!EditLine(6, prompt.empty() ? std::wstring(L">") : prompt + L":", edited, maxLength,
                      allowed))
            return false;
        long whole = 0;
        double real = 0;
        if (accept == Accept::Integer &&
            (!ParseLong(edited, whole) || whole < INT_MIN || whole > INT_MAX)) {
            problem = L"\"" + edited + L"\" is not a whole number the editor can hold.";
            continue;
        }
        if (accept == Accept::Real && !ParseDouble(edited, real)) {
            problem = L"\"" + edited + L"\" is not a number.";
            continue;
        }
        text = edited;
        return true;
    }
}

bool TerminalOperator::Keypad(const std::wstring& title, std::wstring& text, int maxLength) {
    return EditScreen(title, L"", text, maxLength > 0 ? static_cast<std::size_t>(maxLength) : 0,
                      Accept::Text);
}

bool TerminalOperator::NumberInt(const std::wstring& prompt, int& value) {
    std::wstring text = std::to_wstring(value);
    if (!EditScreen(L"Number", prompt, text, 11, Accept::Integer))
        return false;
    value = static_cast<int>(LeadingLong(text));
    return true;
}

bool TerminalOperator::NumberReal(const std::wstring& prompt, double& value) {
    std::wstring text = RealToText(value);
    if (!EditScreen(L"Number", prompt, text, 24, Accept::Real))
        return false;
    value = LeadingDouble(text);
    return true;
}

bool TerminalOperator::Time(const std::wstring& title, std::wstring& text) {
    return EditScreen(title, L"Time", text, 8, Accept::Time);
}

}  // namespace tarvo::host
