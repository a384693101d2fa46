#include "apps/tarvo/interrupt.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>

namespace tarvo::runner {
namespace {

// The write end of the watcher's pipe, for the handler (which may only make async-safe calls).
std::atomic<int> signalPipe{-1};

void OnSignal(int) {
    int saved = errno;
    int fd = signalPipe.load();
    if (fd >= 0) {
        char c = 'i';
        (void)!write(fd, &c, 1);
    }
    errno = saved;
}

struct sigaction previousInt;
struct sigaction previousTerm;

}  // namespace

InterruptWatcher::InterruptWatcher(TEvent& event, std::function<void()> announce)
    : event_(event), announce_(std::move(announce)) {
    if (pipe2(pipe_, O_CLOEXEC) != 0) {
        pipe_[0] = pipe_[1] = -1;
        return;
    }
    signalPipe.store(pipe_[1]);
    struct sigaction sa {};
    sa.sa_handler = OnSignal;
    sigemptyset(&sa.sa_mask);
    // The first signal asks for a proper stop; the handler is then reset, so a second one ends
    // the program at once.
    sa.sa_flags = SA_RESETHAND | SA_RESTART;
    sigaction(SIGINT, &sa, &previousInt);
    sigaction(SIGTERM, &sa, &previousTerm);
    watcher_ = std::thread([this] { Watch(); });
}

InterruptWatcher::~InterruptWatcher() {
    if (pipe_[1] < 0)
        return;
    sigaction(SIGINT, &previousInt, nullptr);
    sigaction(SIGTERM, &previousTerm, nullptr);
    signalPipe.store(-1);
    char c = 'q';
    (void)!write(pipe_[1], &c, 1);
    watcher_.join();
    close(pipe_[0]);
    close(pipe_[1]);
}

void InterruptWatcher::Watch() {
    for (;;) {
        char c = 0;
        ssize_t n = read(pipe_[0], &c, 1);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0 || c == 'q')
            return;
        if (!interrupted_.exchange(true) && announce_)
            announce_();
        event_.Set();
    }
}

}  // namespace tarvo::runner
