#include "tests/apps/support/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace tarvo::testing {

TempDir::TempDir() {
    char pattern[] = "/tmp/tarvo-apps-XXXXXX";
    const char* made = mkdtemp(pattern);
    if (made == nullptr)
        std::abort();
    path_ = made;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void TempDir::Write(const std::string& name, const std::string& text) const {
    std::ofstream(File(name)) << text;
}

std::string TempDir::Read(const std::string& name) const {
    std::ifstream in(File(name));
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

int TempDir::Lines(const std::string& name) const {
    std::ifstream in(File(name));
    std::string line;
    int n = 0;
    while (std::getline(in, line))
        ++n;
    return n;
}

Child::Child(const std::string& program, const std::vector<std::string>& args,
             const std::string& cwd) {
    int out[2], err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0)
        std::abort();
    pid_ = fork();
    if (pid_ == 0) {
        dup2(out[1], 1);
        dup2(err[1], 2);
        if (chdir(cwd.c_str()) != 0)
            _exit(126);
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>(program.c_str()));
        for (auto& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    close(out[1]);
    close(err[1]);
    out_ = out[0];
    err_ = err[0];
}

Child::~Child() {
    if (!finished_) {
        kill(pid_, SIGKILL);
        Finish();
    }
}

bool Child::WaitForError(const std::string& text) {
    while (err.find(text) == std::string::npos) {
        if (!ReadSome(true))
            return false;
    }
    return true;
}

std::string Child::WaitForFirstLine() {
    while (out.find('\n') == std::string::npos) {
        if (outClosed_ || !ReadSome(false))
            return "";
    }
    return out.substr(0, out.find('\n'));
}

void Child::Signal(int sig) {
    kill(pid_, sig);
}

int Child::Finish() {
    while (ReadSome(false)) {
    }
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    close(out_);
    close(err_);
    finished_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool Child::ReadSome(bool errOnly) {
    pollfd fds[2] = {{err_, POLLIN, 0}, {out_, POLLIN, 0}};
    int n = errOnly ? 1 : 2;
    if (errClosed_ && (errOnly || outClosed_))
        return false;
    if (errClosed_)
        fds[0].fd = -1;
    if (outClosed_)
        fds[1].fd = -1;
    if (poll(fds, n, -1) < 0)
        return errno == EINTR;
    char buf[4096];
    for (int i = 0; i < n; ++i) {
        if (fds[i].revents == 0)
            continue;
        ssize_t got = read(fds[i].fd, buf, sizeof buf);
        if (got <= 0) {
            (i == 0 ? errClosed_ : outClosed_) = true;
        } else {
            (i == 0 ? err : out).append(buf, static_cast<size_t>(got));
        }
    }
    return true;
}

Result Run(const std::string& program, const std::vector<std::string>& args,
           const std::string& cwd) {
    Child child(program, args, cwd);
    int status = child.Finish();
    return {status, child.out, child.err};
}

}  // namespace tarvo::testing
