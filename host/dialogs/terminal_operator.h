// The operator at a terminal: the platform's dialogs, forms and front panel drawn with curses
// and answered from the keyboard (no mouse).
//
// Every screen is laid out for 80x24 and waits with a plain message while the terminal is
// smaller. Keys, on every screen: Escape leaves or cancels, Enter confirms.
//   Forms: Up/Down (or Tab/Shift-Tab) move between the controls that can be used; Enter edits a
//     field, presses a button or toggles a check box (so does Space); Left/Right change a list's
//     selection, Enter on a list shows all of its items. Disabled controls are dimmed and marked
//     "(disabled)", fields the operator cannot type into "(read-only)".
//   Message boxes: Left/Right choose a button, Enter presses it, or the button's first letter;
//     the icon is shown as a word ("Error", "Warning", "Question", "Information").
//   Editors: type, Backspace deletes; a number that does not parse is refused in place.
//   Front panel: the display's two lines, with a legend of the keys the module reads: arrows
//     for '<' '>' 'U' 'D', '*' (or Enter), '#', Escape, digits and the letters A-F.
// One thread at a time may use it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/dialogs/dialogs.h"
#include "host/dialogs/terminal_screen.h"

namespace tarvo::host {

class TerminalOperator : public OperatorBackend {
  public:
    // A line of a chooser: a heading shown as it is, or an item the operator can open.
    struct ChoiceLine {
        enum class Kind { Heading, Item };
        Kind kind = Kind::Item;
        std::wstring text;
    };

    // Null, with `error`, when the terminal cannot be opened (see TerminalScreen::Open).
    static std::unique_ptr<TerminalOperator> Open(std::string& error);

    // Shows `lines` under `title` and returns the index of the item the operator opened
    // (Enter), or -1 when the operator left (Escape or q). `focus` is where the cursor starts
    // and is left where it ended.
    int Choose(const std::wstring& title, const std::vector<ChoiceLine>& lines, int& focus);

    int Message(const std::wstring& text, int timeout, UINT type,
                const std::wstring& caption) override;
    bool Keypad(const std::wstring& title, std::wstring& text, int maxLength) override;
    bool NumberInt(const std::wstring& prompt, int& value) override;
    bool NumberReal(const std::wstring& prompt, double& value) override;
    bool Time(const std::wstring& title, std::wstring& text) override;
    int RunForm(TDialog& form) override;
    void DisplayWrite(const std::wstring& text, int line, bool clear) override;
    wchar_t DisplayRead() override;
    DisplayIO::EditStatus DisplayEditHex(std::wstring& text, const std::wstring& caption) override;
    DisplayIO::EditStatus DisplayEditInteger(int& value, const std::wstring& caption,
                                             bool allowNegative, int minValue,
                                             int maxValue) override;
    bool DisplayOKCancel(bool prompt) override;

  private:
    explicit TerminalOperator(std::unique_ptr<TerminalScreen> screen);

    // What an editor line accepts, character by character and as a whole.
    enum class Accept { Text, Integer, Real, Time };
    // Edits `text` on a screen of its own; true when confirmed with a text `accept` allows.
    bool EditScreen(const std::wstring& title, const std::wstring& prompt, std::wstring& text,
                    std::size_t maxLength, Accept accept);
    // Edits `text` on row `row` of the current screen after `prompt`; true when confirmed.
    // `allowed` says whether a typed character may go in.
    bool EditLine(int row, const std::wstring& prompt, std::wstring& text, std::size_t maxLength,
                  bool (*allowed)(wchar_t));
    void DrawFrontPanel(const std::wstring& hint);

    std::unique_ptr<TerminalScreen> screen_;
    std::wstring display_[2];  // the front panel's lines
};

}  // namespace tarvo::host
