// corvane-sim: a simulated Corvane transmitter on a pseudo-terminal. See --help.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "apps/corvane-sim/options.h"
#include "sim/faces/host_time_source.h"
#include "sim/faces/pty_line.h"
#include "sim/model/transmitter.h"

namespace {

int stopPipe[2] = {-1, -1};

void OnSignal(int) {
    // The interrupted code may be between a failing call and its look at errno.
    const int saved = errno;
    const char byte = 's';
    [[maybe_unused]] const ssize_t n = ::write(stopPipe[1], &byte, 1);
    errno = saved;
}

bool InstallSignals() {
    if (::pipe2(stopPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
        return false;
    }
    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    if (::sigaction(SIGINT, &action, nullptr) != 0 || ::sigaction(SIGTERM, &action, nullptr) != 0) {
        return false;
    }
    ::signal(SIGPIPE, SIG_IGN);
    return true;
}

// Makes `path` a symbolic link to `target`, replacing an older link but nothing else.
bool MakeLink(const std::string& path, const std::string& target, std::string& error) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) == 0) {
        if (!S_ISLNK(st.st_mode)) {
            error = path + " exists and is not a symbolic link";
            return false;
        }
        ::unlink(path.c_str());
    }
    if (::symlink(target.c_str(), path.c_str()) != 0) {
        error = "symlink " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace tarvo::sim;
    ProgramOptions options;
    std::string error;
    if (!ParseProgramOptions(argc, argv, options, error)) {
        std::fprintf(stderr, "corvane-sim: %s\nTry 'corvane-sim --help'.\n", error.c_str());
        return 2;
    }
    if (options.help) {
        std::fputs(Usage(), stdout);
        return 0;
    }
    if (options.version) {
        std::printf("corvane-sim %s\n", CORVANE_SIM_VERSION);
        return 0;
    }

    FILE* transcript = nullptr;
    if (!options.transcriptPath.empty()) {
        transcript = std::fopen(options.transcriptPath.c_str(), "ae");
        if (transcript == nullptr) {
            std::fprintf(stderr, "corvane-sim: cannot open %s: %s\n",
                         options.transcriptPath.c_str(), std::strerror(errno));
            return 1;
        }
    }
    const bool verbose = options.verbose;
    // A long run must not grow without bound: the lines go to the file and standard error only.
    options.device.keepRecords = false;
    options.device.sink = [transcript, verbose](const std::string& line) {
        if (transcript != nullptr) {
            std::fprintf(transcript, "%s\n", line.c_str());
            std::fflush(transcript);
        }
        if (verbose) {
            std::fprintf(stderr, "%s\n", line.c_str());
        }
    };

    if (!InstallSignals()) {
        std::fprintf(stderr, "corvane-sim: cannot install signal handlers: %s\n",
                     std::strerror(errno));
        return 1;
    }
    PtyLine line;
    if (!line.Open(error)) {
        std::fprintf(stderr, "corvane-sim: %s\n", error.c_str());
        return 1;
    }
    if (!options.linkPath.empty() && !MakeLink(options.linkPath, line.SlavePath(), error)) {
        std::fprintf(stderr, "corvane-sim: %s\n", error.c_str());
        return 1;
    }

    HostTimeSource time;
    Transmitter device(time, options.device);
    for (const Fault& fault : options.faults) {
        device.InjectFault(fault);
    }

    std::printf("%s\n", line.SlavePath().c_str());
    std::fflush(stdout);

    const bool served = ServePty(device, time, line, stopPipe[0], error);
    if (!options.linkPath.empty()) {
        ::unlink(options.linkPath.c_str());
    }
    if (transcript != nullptr) {
        std::fclose(transcript);
    }
    if (!served) {
        std::fprintf(stderr, "corvane-sim: %s\n", error.c_str());
        return 1;
    }
    return 0;
}
