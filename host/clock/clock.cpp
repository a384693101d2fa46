// The process clock's public face: ticks, sleeps, logger time, setting it, and installing the
// virtual clock.
#include "host/clock/clock.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/clock/internal/clock_virtual.h"
#include "host/clock/internal/kernel.h"
#include "platform/clock.h"
#include "platform/report.h"

namespace tarvo::host {

using kernel::Kernel;
using kernel::KernelLock;
using kernel::VirtualClock;

namespace {

[[noreturn]] void Fail(const char* message) {
    std::fprintf(stderr, "virtual clock: %s\n", message);
    std::fflush(stderr);
    std::abort();
}

bool IsLeapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

bool IsPossible(const SYSTEMTIME& st) {
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (st.wYear < 1601 || st.wMonth < 1 || st.wMonth > 12 || st.wDay < 1) {
        return false;
    }
    const int days = kDays[st.wMonth - 1] + (st.wMonth == 2 && IsLeapYear(st.wYear) ? 1 : 0);
    return st.wDay <= days && st.wHour < 24 && st.wMinute < 60 && st.wSecond < 60 &&
           st.wMilliseconds < 1000;
}

// The callbacks of `subscribers`, copied under the kernel's lock to be called once it is released.
template <typename Subscribers>
std::vector<std::function<void()>> Callbacks(const Subscribers& subscribers) {
    std::vector<std::function<void()>> calls;
    calls.reserve(subscribers.size());
    for (const auto& entry : subscribers) {
        calls.push_back(entry.second);
    }
    return calls;
}

// Signals every clock-change handle and returns the subscribers to call once unlocked.
std::vector<std::function<void()>> AnnounceTimeChange(KernelLock& lock, bool signalHandles) {
    Kernel& k = lock.kernel();
    if (signalHandles) {
        for (TWaitState* handle : k.clockChangeHandles) {
            handle->count = 1;
            k.Signal(lock, *handle);
        }
    }
    return Callbacks(k.subscribers);
}

}  // namespace

Micros NowMicros() {
    // Asked for at every step of a simulated exchange; virtual time moves only while every
    // participant is blocked, so a running thread reads a settled value without the lock.
    return Kernel::Instance().lockFreeClock.load(std::memory_order_acquire)->Now();
}

bool IsVirtualClock() {
    KernelLock lock;
    return lock.kernel().clock->IsVirtual();
}

DWORD WaitUntil(std::span<TWaitable* const> objects, Micros deadline) {
    KernelLock lock;
    return lock.kernel().Wait(lock, objects, deadline);
}

ScopedVirtualClock::ScopedVirtualClock(TTime start) {
    KernelLock lock;
    Kernel& k = lock.kernel();
    if (k.virtualClock) {
        Fail("a virtual clock is already installed");
    }
    // Threads started before would not be counted, and their pending deadlines are real time.
    if (k.liveThreads != 0 || k.BlockedCount() != 0) {
        Fail("install the virtual clock before starting platform threads or waiting");
    }
    k.virtualClock =
        std::make_unique<VirtualClock>(start.GetMillisecondsSince1970(), kernel::CurrentThread());
    k.clock = k.virtualClock.get();
    k.lockFreeClock.store(k.clock, std::memory_order_release);
}

ScopedVirtualClock::~ScopedVirtualClock() {
    KernelLock lock;
    Kernel& k = lock.kernel();
    if (static_cast<VirtualClock&>(*k.virtualClock).Threads() != 0) {
        Fail("a platform thread outlives the virtual clock; join it before the clock goes");
    }
    k.clock = k.realClock.get();
    k.lockFreeClock.store(k.clock, std::memory_order_release);
    k.virtualClock.reset();
}

std::uint64_t ScopedVirtualClock::Jumps() const {
    KernelLock lock;
    return static_cast<VirtualClock&>(*lock.kernel().virtualClock).Jumps();
}

void AllowMachineClockSet(bool allow) {
    KernelLock lock;
    lock.kernel().allowMachineClockSet = allow;
}

namespace {

using Subscribers = std::vector<std::pair<int, std::function<void()>>> kernel::Kernel::*;

int Subscribe(Subscribers list, std::function<void()> callback) {
    KernelLock lock;
    Kernel& k = lock.kernel();
    const int id = k.nextSubscriberId++;
    (k.*list).emplace_back(id, std::move(callback));
    return id;
}

void Unsubscribe(Subscribers list, int id) {
    KernelLock lock;
    std::erase_if(lock.kernel().*list, [id](const auto& entry) { return entry.first == id; });
}

}  // namespace

int SubscribeTimeChange(std::function<void()> callback) {
    return Subscribe(&Kernel::subscribers, std::move(callback));
}

void UnsubscribeTimeChange(int id) {
    Unsubscribe(&Kernel::subscribers, id);
}

int SubscribeBeforeTimeSet(std::function<void()> callback) {
    return Subscribe(&Kernel::beforeSetSubscribers, std::move(callback));
}

void UnsubscribeBeforeTimeSet(int id) {
    Unsubscribe(&Kernel::beforeSetSubscribers, id);
}

}  // namespace tarvo::host

using tarvo::host::kernel::KernelLock;

DWORD GetTickCount() {
    // Truncation to 32 bits is the platform's wrap-around every 49.7 days.
    return static_cast<DWORD>(static_cast<std::uint64_t>(tarvo::host::NowMicros() / 1000));
}

void Sleep(DWORD ms) {
    const tarvo::host::Micros deadline =
        ms == INFINITE ? -1
                       : tarvo::host::NowMicros() + static_cast<tarvo::host::Micros>(ms) * 1000;
    tarvo::host::WaitUntil({}, deadline);
}

TTime TTime::GetCurrentTime() {
    KernelLock lock;
    return FromMilliseconds(lock.kernel().clock->WallMs());
}

bool SetSystemTime(const SYSTEMTIME& time) {
    if (!tarvo::host::IsPossible(time)) {
        return false;
    }
    std::vector<std::function<void()>> calls;
    {
        KernelLock lock;
        calls = tarvo::host::Callbacks(lock.kernel().beforeSetSubscribers);
    }
    for (const auto& call : calls) {
        call();
    }
    calls.clear();
    int machineError = 0;
    {
        KernelLock lock;
        tarvo::host::kernel::Kernel& k = lock.kernel();
        const bool setMachine = k.allowMachineClockSet && !k.clock->IsVirtual();
        machineError =
            k.clock->SetWallMs(TTime::FromSystemTime(time).GetMillisecondsSince1970(), setMachine);
        calls = tarvo::host::AnnounceTimeChange(lock, true);
    }
    // Logged only now: the log stamps entries with logger time, which takes the kernel lock.
    if (machineError != 0) {
        TReport::Warning("Setting the machine's clock failed (%s); only logger time was set.",
                         std::strerror(machineError));
    }
    for (const auto& call : calls) {
        call();
    }
    // Logger time moved whatever the machine's clock did (that failure is logged above).
    return true;
}

void BroadcastTimeChange() {
    std::vector<std::function<void()>> calls;
    {
        KernelLock lock;
        calls = tarvo::host::AnnounceTimeChange(lock, false);
    }
    for (const auto& call : calls) {
        call();
    }
}
