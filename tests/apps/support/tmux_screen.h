// A terminal for the console tests: a tmux session (80x24 unless asked otherwise) of its own (its
// own server socket) running a plain shell, driven with send-keys and read with capture-pane.
#pragma once

#include <string>
#include <vector>

namespace tarvo::testing {

class TmuxScreen {
  public:
    // Starts the session with `cwd` as the shell's folder.
    explicit TmuxScreen(const std::string& cwd, int columns = 80, int lines = 24);
    // Ends the session's server and everything in it.
    ~TmuxScreen();
    TmuxScreen(const TmuxScreen&) = delete;
    TmuxScreen& operator=(const TmuxScreen&) = delete;

    // Types `text` as it is, then Enter.
    void Type(const std::string& line);
    // Presses keys by tmux's names ("Down", "Enter", "Escape", "BSpace", "C-c", "y").
    void Press(const std::vector<std::string>& keys);
    // Resizes the terminal, as a person enlarging the window would.
    void Resize(int columns, int lines);
    // The screen's text, one line per row.
    std::string Capture() const;
    // Polls the screen until it shows `text`, for up to 20 s: true once it does.
    bool WaitFor(const std::string& text) const;
    // Polls until the screen no longer shows `text`.
    bool WaitForGone(const std::string& text) const;

  private:
    std::string socket_;
};

}  // namespace tarvo::testing
