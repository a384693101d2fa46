#include "host/engine.h"

namespace tarvo::host {

HostEngine::HostEngine()
    : stopEvent_(true, true, "engine stop"), setupLock_(1, 1, "engine setup") {}

HostEngine::~HostEngine() = default;

bool HostEngine::LockSetup(DWORD wait, int /*flag*/) {
    return setupLock_.Lock(wait);
}

void HostEngine::UnlockSetup() {
    setupLock_.Unlock();
}

bool HostEngine::AutoSaveSetup() {
    return true;
}

bool HostEngine::IsRunning() const {
    return running_.load();
}

bool HostEngine::Run() {
    if (running_.exchange(true))
        return true;
    stopEvent_.Reset();
    return true;
}

bool HostEngine::Stop() {
    if (!running_.exchange(false))
        return true;
    stopEvent_.Set();
    return true;
}

HostEngine& GetHostEngine() {
    // Built on first use so that it never precedes the clock and sync state it relies on.
    static HostEngine engine;
    return engine;
}

}  // namespace tarvo::host

CEngine& GetEngine() {
    return tarvo::host::GetHostEngine();
}
