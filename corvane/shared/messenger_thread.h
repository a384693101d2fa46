// The life of one messenger's worker thread, shared by the self-timed and random messengers:
// a manual-reset stop event, created set (stopped), and the thread that runs while it is clear.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/sync.h"

class CMessengerThread {
  public:
    // `name` names the thread and its stop event in the clock's diagnostics.
    explicit CMessengerThread(const std::string& name);
    // Stops the thread if it still runs.
    ~CMessengerThread();
    CMessengerThread(const CMessengerThread&) = delete;
    CMessengerThread& operator=(const CMessengerThread&) = delete;

    // The event that ends the thread and every wait of its body.
    TEvent& StopEvent() { return stopEvent_; }

    // False when the thread runs already; otherwise clears the stop event and runs `body` on a
    // new platform thread.
    bool Start(std::function<void()> body);
    // False when no thread runs; otherwise sets the stop event and waits without limit for the
    // body to return.
    bool Stop();
    bool IsRunning() const { return thread_ != nullptr; }

  private:
    std::string name_;
    TEvent stopEvent_;
    std::unique_ptr<TThread> thread_;
};
