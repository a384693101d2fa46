#include "host/clock/internal/kernel.h"

#include <algorithm>

#include "host/clock/internal/clock_real.h"

namespace tarvo::host::kernel {

namespace {

thread_local std::shared_ptr<ThreadCtx> tCurrent;

// A successful wait on a signalled object takes what the object's kind gives away.
bool TryTake(TWaitState& state) {
    if (state.count <= 0) {
        return false;
    }
    if (!state.manualReset) {
        --state.count;
    }
    return true;
}

}  // namespace

std::shared_ptr<ThreadCtx> CurrentThread() {
    CurrentThreadRecord();
    return tCurrent;
}

ThreadCtx& CurrentThreadRecord() {
    if (!tCurrent) {
        tCurrent = std::make_shared<ThreadCtx>();
    }
    return *tCurrent;
}

void AdoptThread(std::shared_ptr<ThreadCtx> ctx) {
    tCurrent = std::move(ctx);
}

Kernel& Kernel::Instance() {
    // Never destroyed: platform threads may still finish while static objects are torn down.
    static Kernel* const instance = [] {
        auto* k = new Kernel;
        k->realClock = std::make_unique<RealClock>();
        k->clock = k->realClock.get();
        k->lockFreeClock.store(k->clock);
        return k;
    }();
    return *instance;
}

void Kernel::YieldIfVirtual(KernelLock& lock) {
    // Only the virtual clock takes turns; the real one must not touch the thread's record, which
    // may already be gone while static objects are torn down at exit.
    if (clock->IsVirtual()) {
        clock->Yield(CurrentThreadRecord(), lock);
    }
}

DWORD Kernel::Wait(KernelLock& lock, std::span<TWaitable* const> objects, Micros deadline) {
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (TryTake(objects[i]->State())) {
            YieldIfVirtual(lock);
            return WAIT_OBJECT_0 + static_cast<DWORD>(i);
        }
    }
    if (deadline >= 0 && deadline <= clock->Now()) {
        YieldIfVirtual(lock);
        return WAIT_TIMEOUT;
    }
    if (deadline >= 0 && clock->EndAtOnce(CurrentThreadRecord(), deadline, EarliestTimed())) {
        return WAIT_TIMEOUT;
    }
    Waiter waiter{objects, deadline, nextSeq_++, CurrentThread()};
    for (TWaitable* object : objects) {
        object->State().waiters.push_back(&waiter);
    }
    if (deadline >= 0) {
        timed_.insert(&waiter);
    }
    ++blocked_;
    waiter.thread->waiting = &waiter;
    clock->Block(waiter, lock);
    return waiter.result;
}

void Kernel::Signal(KernelLock& lock, TWaitState& state) {
    while (state.count > 0 && !state.waiters.empty()) {
        Waiter& waiter = *state.waiters.front();
        // The earliest listing of this object is the one reported (an object may be listed twice).
        std::size_t index = 0;
        while (&waiter.objects[index]->State() != &state) {
            ++index;
        }
        TryTake(state);
        Release(lock, waiter, WAIT_OBJECT_0 + static_cast<DWORD>(index));
    }
}

void Kernel::Release(KernelLock& lock, Waiter& waiter, DWORD result) {
    for (TWaitable* object : waiter.objects) {
        std::erase(object->State().waiters, &waiter);
    }
    if (waiter.deadline >= 0) {
        timed_.erase(&waiter);
    }
    --blocked_;
    waiter.thread->waiting = nullptr;
    waiter.result = result;
    clock->OnReleased(waiter);
    lock.Wake(waiter.thread);
}

Waiter* Kernel::EarliestTimed() const {
    return timed_.empty() ? nullptr : *timed_.begin();
}

KernelLock::KernelLock() : kernel_(Kernel::Instance()), lock_(kernel_.mutex) {}

KernelLock::~KernelLock() {
    if (lock_.owns_lock()) {
        lock_.unlock();
    }
    for (const auto& thread : wake_) {
        thread->cv.notify_one();
    }
}

void KernelLock::Wake(std::shared_ptr<ThreadCtx> thread) {
    wake_.push_back(std::move(thread));
}

void KernelLock::WakeNow() {
    if (wake_.empty()) {
        return;
    }
    std::vector<std::shared_ptr<ThreadCtx>> wake;
    wake.swap(wake_);
    lock_.unlock();
    for (const auto& thread : wake) {
        thread->cv.notify_one();
    }
    lock_.lock();
}

std::string Describe(const TWaitState& state) {
    switch (state.kind) {
        case TWaitState::Kind::Thread:
            return "join " + state.name;
        case TWaitState::Kind::ClockChange:
            return "clock change";
        case TWaitState::Kind::Event:
        case TWaitState::Kind::Semaphore:
            break;
    }
    return state.name;
}

std::string Describe(const Waiter& waiter) {
    if (waiter.objects.empty()) {
        return "sleep";
    }
    std::string text;
    for (const TWaitable* object : waiter.objects) {
        if (!text.empty()) {
            text += " or ";
        }
        text += Describe(object->State());
    }
    return text;
}

}  // namespace tarvo::host::kernel
