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
    if (mkdtemp(pattern) == nullptr)
        std::abort();
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void TempDir::Write(const std::string& name, const std::string& text) const {
    std::ofstream(File(name)) << text;
}

std::string TempDir::Read(const std::string& name) const {
    std::stringstream s;
    s << std::ifstream(File(name)).rdbuf();
    return s.str();
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
        std::vector<char*> argv{const_cast<char*>(program.c_str())};
        for (auto& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    close(out[1]);
    close(err[1]);
    fds_[0] = out[0];
    fds_[1] = err[0];
}

Child::~Child() {
    if (!finished_) {
        kill(pid_, SIGKILL);
        Finish();
    }
}

bool Child::WaitFor(const std::string& text, bool inOut) {
    while ((inOut ? out : err).find(text) == std::string::npos) {
        if (fds_[inOut ? 0 : 1] < 0 || !ReadSome())
            return false;
    }
    return true;
}

void Child::Signal(int sig) {
    kill(pid_, sig);
}

int Child::Finish() {
    while (ReadSome()) {
    }
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    finished_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool Child::ReadSome() {
    pollfd polled[2] = {{fds_[0], POLLIN, 0}, {fds_[1], POLLIN, 0}};
    if (fds_[0] < 0 && fds_[1] < 0)
        return false;
    if (poll(polled, 2, -1) < 0)
        return errno == EINTR;
    for (int i = 0; i < 2; ++i) {
        char buf[4096];
        const ssize_t got = polled[i].revents == 0 ? 0 : read(fds_[i], buf, sizeof buf);
        if (got > 0) {
            (i == 0 ? out : err).append(buf, static_cast<size_t>(got));
        } else if (polled[i].revents != 0) {
            close(fds_[i]);
            fds_[i] = -1;
        }
    }
    return true;
}

std::string RequestTypes(const std::string& jsonLines) {
    std::string types;
    std::istringstream lines(jsonLines);
    for (std::string line; std::getline(lines, line);) {
        const auto at = line.find("\"type\":");
        if (line.find("\"direction\":\"request\"") != std::string::npos && at != std::string::npos)
            types += (types.empty() ? "" : " ") + std::to_string(std::atoi(line.c_str() + at + 7));
    }
    return types;
}

}  // namespace tarvo::testing
