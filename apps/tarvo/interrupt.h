// Ctrl-C and SIGTERM turned into a platform event, so that the run's main wait (which goes
// through the clock) ends and recording is stopped properly. A second signal ends the program
// at once, for a stop that hangs.
#pragma once

#include <atomic>
#include <functional>
#include <thread>

#include "platform/sync.h"

namespace tarvo::runner {

class InterruptWatcher {
  public:
    // Installs the handlers; `event` is set when a signal arrives, and `announce` is called
    // then, on the watcher's own thread, to tell the person at once what happens next.
    explicit InterruptWatcher(TEvent& event, std::function<void()> announce = {});
    // Puts the previous handlers back.
    ~InterruptWatcher();
    InterruptWatcher(const InterruptWatcher&) = delete;
    InterruptWatcher& operator=(const InterruptWatcher&) = delete;

    bool Interrupted() const { return interrupted_.load(); }

  private:
    void Watch();

    TEvent& event_;
    std::function<void()> announce_;
    std::atomic<bool> interrupted_{false};
    int pipe_[2] = {-1, -1};
    // Not a platform thread: it never waits through the clock, it only sets the event.
    std::thread watcher_;
};

}  // namespace tarvo::runner
