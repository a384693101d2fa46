#include "host/clock_real.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
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

bool RealClock::SetWallMs(std::int64_t ms, bool setMachine) {
    if (setMachine) {
        timespec ts{};
        ts.tv_sec = static_cast<time_t>(ms / 1000);
        ts.tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
        if (ms < 0 || clock_settime(CLOCK_REALTIME, &ts) != 0) {
            const int error = ms < 0 ? EINVAL : errno;
            offsetMs_ = ms - SystemMs();
            std::fprintf(stderr,
                         "Setting the machine's clock failed (%s); only logger time was set.\n",
                         std::strerror(error));
            return false;
        }
        offsetMs_ = 0;
        return true;
    }
    offsetMs_ = ms - SystemMs();
    return true;
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
