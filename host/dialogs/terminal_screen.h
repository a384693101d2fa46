// The curses screen on the process's terminal, held for a scope.
//
// Opening it saves the terminal's mode; the mode is put back when the screen is closed, and also
// when the process is ended by a signal while the screen is open (Ctrl-C, a hang-up, a crash):
// the handlers restore the saved mode and the normal screen, then let the signal take its
// default course, so the shell sees the usual status (130 after Ctrl-C). One screen at a time.
#pragma once

#include <memory>
#include <string>

namespace tarvo::host {

class TerminalScreen {
  public:
    // The smallest terminal the console lays out its screens in.
    static constexpr int kMinColumns = 80;
    static constexpr int kMinLines = 24;

    // Null, with `error` saying why, when standard input or output is not a terminal, the
    // terminal type is unknown, or another screen is open.
    static std::unique_ptr<TerminalScreen> Open(std::string& error);
    ~TerminalScreen();
    TerminalScreen(const TerminalScreen&) = delete;
    TerminalScreen& operator=(const TerminalScreen&) = delete;

    // Waits, showing a plain message, while the terminal is smaller than 80x24. Call before
    // drawing a screen.
    void WaitForRoom();

  private:
    TerminalScreen() = default;
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace tarvo::host
