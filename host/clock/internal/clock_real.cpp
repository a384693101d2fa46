#include "host/clock/internal/clock_real.h"

#include <cerrno>
#include <ctime>

namespace tarvo::host::kernel {

namespace {

std::int64_t SystemMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

RealClock::RealClock() : origin_(std::chrono::steady_clock::now()) {}

Micros RealClock::Now() const {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now() - origin_).count();
}

std::int64_t RealClock::WallMs() const {
    return SystemMs() + offsetMs_;
}

int RealClock::SetWallMs(std::int64_t ms, bool setMachine) {
    if (setMachine) {
        if (ms < 0) {
            offsetMs_ = ms - SystemMs();
            return EINVAL;
        }
        timespec ts{};
        ts.tv_sec = static_cast<time_t>(ms / 1000);
        ts.tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
        if (clock_settime(CLOCK_REALTIME, &ts) != 0) {
            const int error = errno;
            offsetMs_ = ms - SystemMs();
            return error;
        }
        // The machine now shows logger time itself.
        offsetMs_ = 0;
        return 0;
    }
    offsetMs_ = ms - SystemMs();
    return 0;
}

void RealClock::Block(Waiter& waiter, KernelLock& lock) {
    const auto until = origin_ + std::chrono::microseconds(waiter.deadline);
    while (waiter.result == kPending) {
        if (waiter.deadline < 0) {
            waiter.thread->cv.wait(lock.lock());
        } else if (waiter.thread->cv.wait_until(lock.lock(), until) == std::cv_status::timeout &&
                   waiter.result == kPending) {
            lock.kernel().Release(lock, waiter, WAIT_TIMEOUT);
        }
    }
}

}  // namespace tarvo::host::kernel
