// The host's recording engine (host side): the one CEngine of the process.
#pragma once

#include <atomic>

#include "platform/engine.h"
#include "platform/sync.h"

namespace tarvo::host {

// Exists before any setup is loaded: stopped, its stop event signalled, its setup lock free.
class HostEngine : public CEngine {
  public:
    HostEngine();
    ~HostEngine() override;

    bool LockSetup(DWORD wait, int flag) override;
    void UnlockSetup() override;
    bool AutoSaveSetup() override;
    bool IsRunning() const override;
    bool Run() override;
    bool Stop() override;
    TEvent& GetStopEvent() override { return stopEvent_; }

  private:
    TEvent stopEvent_;
    TSemaphore setupLock_;
    std::atomic<bool> running_{false};
};

// The process engine as the host sees it (the same object GetEngine returns).
HostEngine& GetHostEngine();

}  // namespace tarvo::host
