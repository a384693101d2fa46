#include "tests/apps/support/tmux_screen.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace tarvo::testing {
namespace {

constexpr auto kScreenBound = std::chrono::seconds(20);
constexpr auto kPollEvery = std::chrono::milliseconds(40);

// Runs tmux with `args`; returns its standard output, throws when it fails.
std::string Tmux(const std::vector<std::string>& args) {
    int pipeFds[2];
    if (pipe(pipeFds) != 0)
        throw std::runtime_error("pipe failed");
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(pipeFds[1], STDOUT_FILENO);
        close(pipeFds[0]);
        close(pipeFds[1]);
        std::vector<char*> argv{const_cast<char*>("tmux")};
        for (const std::string& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execvp("tmux", argv.data());
        _exit(127);
    }
    close(pipeFds[1]);
    std::string out;
    char buffer[4096];
    for (ssize_t n; (n = read(pipeFds[0], buffer, sizeof buffer)) > 0;)
        out.append(buffer, static_cast<std::size_t>(n));
    close(pipeFds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error("tmux " + args.front() + " failed");
    return out;
}

std::string NewSocketName() {
    static std::atomic<int> count{0};
    return "tarvo-console-test-" + std::to_string(getpid()) + "-" + std::to_string(++count);
}

template <typename Seen>
bool Poll(Seen seen) {
    const auto until = std::chrono::steady_clock::now() + kScreenBound;
    while (!seen()) {
        if (std::chrono::steady_clock::now() > until)
            return false;
        std::this_thread::sleep_for(kPollEvery);
    }
    return true;
}

}  // namespace

TmuxScreen::TmuxScreen(const std::string& cwd, int columns, int lines) : socket_(NewSocketName()) {
    Tmux({"-L", socket_, "-f", "/dev/null", "new-session", "-d", "-x", std::to_string(columns),
          "-y", std::to_string(lines), "-c", cwd, "env", "PS1=$ ", "TERM=screen", "bash", "--norc",
          "--noprofile"});
}

TmuxScreen::~TmuxScreen() {
    try {
        Tmux({"-L", socket_, "kill-server"});
    } catch (const std::exception&) {
        // Already gone.
    }
}

void TmuxScreen::Type(const std::string& line) {
    Tmux({"-L", socket_, "send-keys", "-l", line});
    Tmux({"-L", socket_, "send-keys", "Enter"});
}

void TmuxScreen::Press(const std::vector<std::string>& keys) {
    std::vector<std::string> args{"-L", socket_, "send-keys"};
    args.insert(args.end(), keys.begin(), keys.end());
    Tmux(args);
}

void TmuxScreen::Resize(int columns, int lines) {
    Tmux({"-L", socket_, "resize-window", "-x", std::to_string(columns), "-y",
          std::to_string(lines)});
}

std::string TmuxScreen::Capture() const {
    return Tmux({"-L", socket_, "capture-pane", "-p"});
}

bool TmuxScreen::WaitFor(const std::string& text) const {
    return Poll([&] { return Capture().find(text) != std::string::npos; });
}

bool TmuxScreen::WaitForGone(const std::string& text) const {
    return Poll([&] { return Capture().find(text) == std::string::npos; });
}

}  // namespace tarvo::testing
