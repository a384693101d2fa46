#include "host/dialogs/terminal_screen.h"

#include <termios.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/dialogs/curses_wide.h"

namespace tarvo::host {
namespace {

// What a signal handler needs to put the terminal back. A handler cannot reach an object, so
// this is the one place the open screen is known process-wide; it is filled before the handlers
// go in and emptied after they come out.
struct Restore {
    termios mode{};
    std::array<char, 128> sequence{};  // leaves the alternate screen and shows the cursor
    std::size_t length = 0;
};
Restore g_restore;
std::atomic<bool> g_open{false};

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGSEGV,
                                 SIGBUS, SIGFPE,  SIGILL, SIGABRT};

void RestoreTerminal() {
    if (g_restore.length > 0) {
        [[maybe_unused]] ssize_t n =
            write(STDOUT_FILENO, g_restore.sequence.data(), g_restore.length);
    }
    tcsetattr(STDIN_FILENO, TCSANOW, &g_restore.mode);
}

extern "C" void OnFatalSignal(int sig) {
    RestoreTerminal();
    std::signal(sig, SIG_DFL);
    std::raise(sig);
}

void Append(const char* capability) {
    char* text = tigetstr(const_cast<char*>(capability));
    if (text == nullptr || text == reinterpret_cast<char*>(-1))
        return;
    const std::size_t n = std::strlen(text);
    if (g_restore.length + n < g_restore.sequence.size()) {
        std::memcpy(g_restore.sequence.data() + g_restore.length, text, n);
        g_restore.length += n;
    }
}

}  // namespace

struct TerminalScreen::State {
    SCREEN* screen = nullptr;
    std::array<struct sigaction, kSignals.size()> previous{};
};

std::unique_ptr<TerminalScreen> TerminalScreen::Open(std::string& error) {
    if (!isatty(STDIN_FILENO)) {
        error = "standard input is not a terminal; the console needs one to read keys from";
        return nullptr;
    }
    if (!isatty(STDOUT_FILENO)) {
        error = "standard output is not a terminal; the console needs one to draw on";
        return nullptr;
    }
    if (g_open.exchange(true)) {
        error = "the console is already open";
        return nullptr;
    }
    std::unique_ptr<TerminalScreen> screen(new TerminalScreen);
    screen->state_ = std::make_unique<State>();
    State& state = *screen->state_;
    tcgetattr(STDIN_FILENO, &g_restore.mode);
    // Wide characters need the user's character set; the other categories stay as they were.
    std::setlocale(LC_CTYPE, "");
    const char* term = std::getenv("TERM");
    state.screen = newterm(nullptr, stdout, stdin);
    if (state.screen == nullptr) {
        // No handler was installed yet: the destructor must not put back the empty saved ones.
        screen->state_.reset();
        g_open = false;
        error = std::string("the terminal type \"") + (term ? term : "") +
                "\" is unknown (set TERM, e.g. TERM=xterm)";
        return nullptr;
    }
    g_restore.length = 0;
    Append("rmcup");
    Append("cnorm");
    Append("sgr0");
    struct sigaction action {};
    action.sa_handler = OnFatalSignal;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < kSignals.size(); ++i)
        sigaction(kSignals[i], &action, &state.previous[i]);
    cbreak();  // Ctrl-C stays a signal
    noecho();
    nonl();
    keypad(stdscr, TRUE);
    set_escdelay(25);
    curs_set(0);
    return screen;
}

TerminalScreen::~TerminalScreen() {
    if (!state_)
        return;
    endwin();
    delscreen(state_->screen);
    for (std::size_t i = 0; i < kSignals.size(); ++i)
        sigaction(kSignals[i], &state_->previous[i], nullptr);
    tcsetattr(STDIN_FILENO, TCSANOW, &g_restore.mode);
    g_restore.length = 0;
    g_open = false;
}

void TerminalScreen::WaitForRoom() {
    while (COLS < kMinColumns || LINES < kMinLines) {
        erase();
        char text[160];
        std::snprintf(text, sizeof text,
                      "The terminal is %dx%d; the console needs at least %dx%d. Enlarge it.", COLS,
                      LINES, kMinColumns, kMinLines);
        mvaddnstr(0, 0, text, COLS);
        refresh();
        getch();  // a resize comes as a key
    }
}

}  // namespace tarvo::host
