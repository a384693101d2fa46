#include "host/clock/internal/clock_virtual.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/time.h"

namespace tarvo::host::kernel {

namespace {

// Floor division, so that wall time before 1970 still advances smoothly.
std::int64_t FloorDiv(std::int64_t a, std::int64_t b) {
    std::int64_t q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) {
        --q;
    }
    return q;
}

std::string FormatTime(std::int64_t wallMs) {
    const TTime t = TTime::FromMilliseconds(wallMs);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", t.GetYear(),
                  t.GetMonth(), t.GetDay(), t.GetHour(), t.GetMinute(), t.GetSecond(),
                  t.GetMillisecond());
    return text;
}

}  // namespace

VirtualClock::VirtualClock(std::int64_t startWallMs, std::shared_ptr<ThreadCtx> driver)
    : wallBaseMs_(startWallMs), driver_(std::move(driver)), running_(driver_.get()) {
    driver_->participant = true;
    participants_.push_back(driver_.get());
}

VirtualClock::~VirtualClock() {
    driver_->participant = false;
}

std::int64_t VirtualClock::WallMs() const {
    return wallBaseMs_ + FloorDiv(now_.load(), 1000);
}

int VirtualClock::SetWallMs(std::int64_t ms, bool) {
    // The machine's clock is never touched while time is simulated.
    wallBaseMs_ = ms - FloorDiv(now_.load(), 1000);
    return 0;
}

void VirtualClock::Block(Waiter& waiter, KernelLock& lock) {
    ThreadCtx& self = *waiter.thread;
    if (!self.participant) {
        std::fprintf(stderr,
                     "virtual clock: a thread that is neither a TThread nor the thread that "
                     "installed the clock would block waiting for %s; start it as a TThread\n",
                     Describe(waiter).c_str());
        std::abort();
    }
    PassTurn(lock);
    // Threads released above must wake before this one blocks, or nobody would wake them.
    lock.WakeNow();
    while (waiter.result == kPending || running_ != &self) {
        self.cv.wait(lock.lock());
    }
}

void VirtualClock::PassTurn(KernelLock& lock) {
    running_ = nullptr;
    while (ready_.empty()) {
        Advance(lock);
    }
    running_ = ready_.front();
    ready_.pop_front();
    running_->cv.notify_one();
}

void VirtualClock::OnReleased(Waiter& waiter) {
    // Ready now, before it wakes, so that time cannot jump past it.
    if (waiter.thread->participant) {
        ready_.push_back(waiter.thread.get());
    }
}

void VirtualClock::OnThreadStart(ThreadCtx& thread) {
    thread.participant = true;
    participants_.push_back(&thread);
    ready_.push_back(&thread);
}

void VirtualClock::Yield(ThreadCtx& thread, KernelLock& lock) {
    if (!thread.participant || running_ != &thread || ready_.empty()) {
        return;
    }
    ready_.push_back(&thread);
    PassTurn(lock);
    lock.WakeNow();
    AwaitTurn(thread, lock);
}

bool VirtualClock::EndAtOnce(ThreadCtx& thread, Micros deadline, const Waiter* earliest) {
    // A timed waiter due at the same instant was there first and goes first.
    if (!thread.participant || running_ != &thread || !ready_.empty() ||
        (earliest != nullptr && earliest->deadline <= deadline)) {
        return false;
    }
    now_.store(deadline, std::memory_order_release);
    ++jumps_;
    return true;
}

void VirtualClock::AwaitTurn(ThreadCtx& thread, KernelLock& lock) {
    while (thread.participant && running_ != &thread) {
        thread.cv.wait(lock.lock());
    }
}

void VirtualClock::OnThreadEnd(ThreadCtx& thread, KernelLock& lock) {
    if (!thread.participant) {
        return;
    }
    thread.participant = false;
    std::erase(participants_, &thread);
    std::erase(ready_, &thread);
    if (running_ == &thread) {
        PassTurn(lock);
    }
}

void VirtualClock::Advance(KernelLock& lock) {
    Waiter* first = lock.kernel().EarliestTimed();
    if (first == nullptr) {
        ReportDeadlock();
    }
    // One waiter at a time, even when several are due at the same instant: the next one is
    // released only when everybody is blocked again, so ties resolve in a fixed order.
    if (first->deadline > now_.load()) {
        now_.store(first->deadline, std::memory_order_release);
        ++jumps_;
    }
    lock.kernel().Release(lock, *first, WAIT_TIMEOUT);
}

std::string VirtualClock::NameOf(const ThreadCtx& thread) const {
    if (&thread == driver_.get()) {
        return "driver";
    }
    return thread.name.empty() ? "(unnamed thread)" : thread.name;
}

void VirtualClock::ReportDeadlock() const {
    std::string report = "virtual clock: deadlock at " + FormatTime(WallMs()) +
                         ": every thread waits without a time limit\n";
    for (const ThreadCtx* thread : participants_) {
        report += "  " + NameOf(*thread) + " waits for " +
                  (thread->waiting != nullptr ? Describe(*thread->waiting) : "nothing") + "\n";
    }
    std::fputs(report.c_str(), stderr);
    std::fflush(stderr);
    std::abort();
}

}  // namespace tarvo::host::kernel
