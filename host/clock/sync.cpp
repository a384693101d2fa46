// Events, semaphores, clock-change handles and the waits on them.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "host/clock/clock.h"
#include "host/clock/internal/kernel.h"
#include "platform/sync.h"

using tarvo::host::Micros;
using tarvo::host::kernel::KernelLock;

namespace {

Micros DeadlineAfter(DWORD ms) {
    return ms == INFINITE ? -1 : tarvo::host::NowMicros() + static_cast<Micros>(ms) * 1000;
}

}  // namespace

TWaitable::TWaitable(std::unique_ptr<TWaitState> state) : state_(std::move(state)) {}

TWaitable::~TWaitable() {
    KernelLock lock;
    if (!state_->waiters.empty()) {
        // A waiter would be left holding a dangling object; nothing sensible can follow.
        std::fprintf(stderr, "wait object '%s' destroyed while a thread waits for it\n",
                     state_->name.c_str());
        std::abort();
    }
}

DWORD WaitForSingleObject(TWaitable& object, DWORD ms) {
    TWaitable* const objects[] = {&object};
    return tarvo::host::WaitUntil(objects, DeadlineAfter(ms));
}

DWORD WaitForMultipleObjects(std::span<TWaitable* const> objects, DWORD ms) {
    if (objects.empty()) {
        return WAIT_FAILED;
    }
    return tarvo::host::WaitUntil(objects, DeadlineAfter(ms));
}

DWORD WaitForMultipleObjects(std::initializer_list<TWaitable*> objects, DWORD ms) {
    return WaitForMultipleObjects(std::span<TWaitable* const>(objects.begin(), objects.size()), ms);
}

// ---- TEvent ----

TEvent::TEvent(bool manualReset, bool initiallySet, std::string name)
    : TWaitable(std::make_unique<TWaitState>(TWaitState::Kind::Event, std::move(name),
                                             initiallySet ? 1 : 0, 1, manualReset)) {}

void TEvent::Set() {
    KernelLock lock;
    State().count = 1;
    lock.kernel().Signal(lock, State());
}

void TEvent::Reset() {
    KernelLock lock;
    State().count = 0;
}

bool TEvent::IsSet() const {
    KernelLock lock;
    return State().count > 0;
}

// ---- TSemaphore ----

TSemaphore::TSemaphore(long initialCount, long maxCount, std::string name)
    : TWaitable(std::make_unique<TWaitState>(TWaitState::Kind::Semaphore, std::move(name),
                                             initialCount, maxCount, false)) {}

bool TSemaphore::Lock(DWORD ms) {
    return WaitForSingleObject(*this, ms) == WAIT_OBJECT_0;
}

bool TSemaphore::Unlock(long count) {
    KernelLock lock;
    TWaitState& state = State();
    if (count <= 0 || count > state.maxCount - state.count) {
        return false;
    }
    state.count += count;
    lock.kernel().Signal(lock, state);
    return true;
}

// ---- TSingleLock ----

TSingleLock::TSingleLock(TSemaphore& semaphore, bool lockNow) : semaphore_(semaphore) {
    if (lockNow) {
        Lock();
    }
}

TSingleLock::~TSingleLock() {
    if (locked_) {
        Unlock();
    }
}

bool TSingleLock::Lock(DWORD ms) {
    if (!locked_) {
        locked_ = semaphore_.Lock(ms);
    }
    return locked_;
}

bool TSingleLock::Unlock() {
    if (!locked_) {
        return false;
    }
    locked_ = !semaphore_.Unlock();
    return !locked_;
}

// ---- TRTCChange ----

TRTCChange::TRTCChange()
    : TWaitable(
          std::make_unique<TWaitState>(TWaitState::Kind::ClockChange, "clock change", 0, 1, true)) {
    KernelLock lock;
    lock.kernel().clockChangeHandles.push_back(&State());
}

TRTCChange::~TRTCChange() {
    KernelLock lock;
    std::erase(lock.kernel().clockChangeHandles, &State());
}

void TRTCChange::Reset() {
    KernelLock lock;
    State().count = 0;
}
