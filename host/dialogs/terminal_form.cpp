// A TDialog form on the terminal: one control a row (a label's lines each a row), scrolled so
// that the control in use stays in sight.
#include <algorithm>

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

bool IsField(const TDialogControl& c) {
    return c.kind == TControlKind::IntField || c.kind == TControlKind::RealField ||
           c.kind == TControlKind::TextField;
}

// Whether the operator can act on the control (what TDialog's Operator* calls accept).
bool CanUse(const TDialogControl& c) {
    if (!c.enabled || c.kind == TControlKind::Label)
        return false;
    return !(IsField(c) && c.readOnly);
}

// The caption before a value, with one colon whether or not the module wrote one.
std::wstring Caption(const std::wstring& label) {
    return label.empty() || label.back() == L':' ? label + L" " : label + L": ";
}

std::vector<std::wstring> RowsOf(const TDialogControl& c) {
    std::wstring text;
    switch (c.kind) {
        case TControlKind::Label:
            text = c.label;
            break;
        case TControlKind::CheckBox:
            text = std::wstring(c.checked ? L"[x] " : L"[ ] ") + c.label;
            break;
        case TControlKind::IntField:
        case TControlKind::RealField:
        case TControlKind::TextField:
            text = Caption(c.label) + (c.readOnly ? c.text : L"[" + c.text + L"]");
            break;
        case TControlKind::List: {
            const bool any = c.selection >= 0 && c.selection < static_cast<int>(c.items.size());
            text = Caption(c.label) + L"< " +
                   (any ? c.items[static_cast<std::size_t>(c.selection)] : L"(none)") + L" >";
            break;
        }
        case TControlKind::Button:
            text = L"< " + c.label + L" >";
            break;
    }
    if (IsField(c) && c.readOnly)
        text += L"  (read-only)";
    if (!c.enabled)
        text += L"  (disabled)";
    std::vector<std::wstring> rows(1);
    for (wchar_t ch : text) {
        if (ch == L'\n')
            rows.emplace_back();
        else if (ch != L'\r')
            rows.back() += ch;
    }
    return rows;
}

// Why a field refused `text`, in the operator's words.
std::wstring Refusal(const TDialogControl& c, const std::wstring& text) {
    if (c.kind == TControlKind::IntField)
        return L"\"" + text + L"\" is not a whole number.";
    if (c.kind == TControlKind::RealField)
        return L"\"" + text + L"\" is not a number.";
    if (c.maxLength > 0 && text.size() > static_cast<std::size_t>(c.maxLength))
        return L"At most " + std::to_wstring(c.maxLength) + L" characters.";
    return L"Not accepted.";
}

bool AnyText(wchar_t c) {
    return c >= L' ' && c != 0x7f;
}

}  // namespace

int TerminalOperator::RunForm(TDialog& form) {
    std::size_t focus = 0;  // index into the form's controls
    std::wstring problem;
    auto usable = [&](std::size_t i) {
        const auto& controls = form.GetControls();
        return i < controls.size() && CanUse(controls[i]);
    };
    auto step = [&](std::size_t from, int by) {
        const auto n = static_cast<long>(form.GetControls().size());
        for (long i = static_cast<long>(from) + by; i >= 0 && i < n; i += by) {
            if (usable(static_cast<std::size_t>(i)))
                return static_cast<std::size_t>(i);
        }
        return from;
    };
    while (!form.IsEnded()) {
        if (!usable(focus)) {
            const std::size_t next = step(focus, 1);
            focus = usable(next) ? next : step(focus, -1);
        }
        const auto& controls = form.GetControls();
        screen_->WaitForRoom();
        erase();
        TitleBar(form.GetTitle());
        // Rows of every control, then the window onto them that keeps the focus in sight.
        std::vector<std::pair<std::size_t, std::wstring>> rows;
        std::size_t focusRow = 0;
        for (std::size_t i = 0; i < controls.size(); ++i) {
            if (i == focus)
                focusRow = rows.size();
            for (auto& r : RowsOf(controls[i]))
                rows.emplace_back(i, std::move(r));
        }
        const std::size_t height = static_cast<std::size_t>(LINES - 5);
        std::size_t top = 0;
        if (focusRow >= height)
            top = focusRow - height + 1;
        if (step(focus, 1) == focus && rows.size() > height)
            top = std::max(top, rows.size() - height);  // the last usable control: show the end
        for (std::size_t r = top; r < rows.size() && r - top < height; ++r) {
            const auto& [index, text] = rows[r];
            const TDialogControl& c = controls[index];
            const bool focused = index == focus && usable(focus);
            unsigned long attributes = !c.enabled ? A_DIM : 0;
            if (focused)
                attributes |= A_REVERSE;
            Put(2 + static_cast<int>(r - top), 1, (focused && r == focusRow ? L"> " : L"  ") + text,
                attributes);
        }
        if (top > 0)
            Put(1, COLS - 10, L"(more ^)");
        if (rows.size() > top + height)
            Put(LINES - 3, COLS - 10, L"(more v)");
        Put(LINES - 2, 1, problem, A_BOLD);
        Legend(L"Up/Down move  Enter edit/press  Space toggle  Left/Right list  Esc cancel");
        refresh();
        const Key key = ReadKey();
        if (key.kind == Key::Kind::None || key.IsCode(KEY_RESIZE))
            continue;
        problem.clear();
        if (key.IsEscape()) {
            if (!form.OperatorClick(IDCANCEL))
                form.EndDialog(IDCANCEL);
            continue;
        }
        if (key.IsCode(KEY_UP) || key.IsCode(KEY_BTAB)) {
            focus = step(focus, -1);
            continue;
        }
        if (key.IsCode(KEY_DOWN) || key.Is(L'\t')) {
            focus = step(focus, 1);
            continue;
        }
        if (!usable(focus))
            continue;
        const TDialogControl c = controls[focus];  // a copy: the form may change its controls
        switch (c.kind) {
            case TControlKind::CheckBox:
                if (key.IsEnter() || key.Is(L' '))
                    form.OperatorCheck(c.id, !c.checked);
                break;
            case TControlKind::Button:
                if (key.IsEnter() || key.Is(L' '))
                    form.OperatorClick(c.id);
                break;
            case TControlKind::List: {
                const int n = static_cast<int>(c.items.size());
                if (n == 0)
                    break;
                if (key.IsCode(KEY_LEFT))
                    form.OperatorSelect(c.id, std::max(0, c.selection - 1));
                else if (key.IsCode(KEY_RIGHT))
                    form.OperatorSelect(c.id, std::min(n - 1, c.selection + 1));
                else if (key.IsEnter()) {
                    std::vector<ChoiceLine> lines;
                    for (const auto& item : c.items)
                        lines.push_back({ChoiceLine::Kind::Item, item});
                    int at = std::max(0, c.selection);
                    const int picked = Choose(form.GetTitle() + L": " + c.label, lines, at);
                    if (picked >= 0)
                        form.OperatorSelect(c.id, picked);
                }
                break;
            }
            case TControlKind::IntField:
            case TControlKind::RealField:
            case TControlKind::TextField:
                if (key.IsEnter()) {
                    std::wstring text = c.text;
                    Legend(L"Type   Backspace delete   Enter confirm   Esc cancel");
                    if (EditLine(LINES - 2, c.label + L":", text, 0, AnyText) &&
                        !form.OperatorSetText(c.id, text))
                        problem = Refusal(c, text);
                }
                break;
            case TControlKind::Label:
                break;
        }
    }
    return form.GetResult();
}

}  // namespace tarvo::host
