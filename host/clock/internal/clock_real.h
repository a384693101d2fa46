// The real clock: monotonic time from the steady clock, logger wall time from the system clock
// (UTC) plus an offset that setting the time moves. Internal to host/.
#pragma once

#include <chrono>
#include <cstdint>

#include "host/clock/internal/kernel.h"

namespace tarvo::host::kernel {

class RealClock final : public Clock {
  public:
    RealClock();
    bool IsVirtual() const override { return false; }
    Micros Now() const override;
    std::int64_t WallMs() const override;
    int SetWallMs(std::int64_t ms, bool setMachine) override;
    void Block(Waiter& waiter, KernelLock& lock) override;
    void OnReleased(Waiter&) override {}
    void OnThreadStart(ThreadCtx&) override {}
    void OnThreadEnd(ThreadCtx&, KernelLock&) override {}
    void AwaitTurn(ThreadCtx&, KernelLock&) override {}
    void Yield(ThreadCtx&, KernelLock&) override {}

  private:
    const std::chrono::steady_clock::time_point origin_;
    std::int64_t offsetMs_ = 0;  // logger time minus system time
};

}  // namespace tarvo::host::kernel
