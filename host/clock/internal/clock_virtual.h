// The virtual clock: time stands still while any participant can run and jumps to the earliest
// deadline once every participant is blocked in a platform wait. Participants take turns: one
// runs at a time, and when it blocks in a platform wait (or ends) the turn passes to the one
// that has waited longest for it, so that a run interleaves its threads the same way every
// time. Internal to host/.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "host/clock/internal/kernel.h"

namespace tarvo::host::kernel {

class VirtualClock final : public Clock {
  public:
    // `driver` is the installing thread; it takes part from now on.
    VirtualClock(std::int64_t startWallMs, std::shared_ptr<ThreadCtx> driver);
    ~VirtualClock() override;

    bool IsVirtual() const override { return true; }
    Micros Now() const override { return now_.load(std::memory_order_acquire); }
    std::int64_t WallMs() const override;
    int SetWallMs(std::int64_t ms, bool setMachine) override;
    void Block(Waiter& waiter, KernelLock& lock) override;
    void OnReleased(Waiter& waiter) override;
    void OnThreadStart(ThreadCtx& thread) override;
    void OnThreadEnd(ThreadCtx& thread, KernelLock& lock) override;
    void AwaitTurn(ThreadCtx& thread, KernelLock& lock) override;
    void Yield(ThreadCtx& thread, KernelLock& lock) override;
    // The running participant waits alone and first: time jumps without a turn being passed,
    // which is what blocking would do, at a fraction of the cost.
    bool EndAtOnce(ThreadCtx& thread, Micros deadline, const Waiter* earliest) override;

    std::uint64_t Jumps() const { return jumps_; }
    // Participants other than the driver (platform threads whose bodies have not returned).
    std::size_t Threads() const { return participants_.size() - 1; }

  private:
    // Every participant is blocked: release the earliest timed waiter, moving time to its
    // deadline, or report the deadlock and abort when no waiter has a deadline.
    void Advance(KernelLock& lock);
    [[noreturn]] void ReportDeadlock() const;
    // The running participant gives up its turn: the first ready one takes it, released by a
    // jump of time when none is ready.
    void PassTurn(KernelLock& lock);
    std::string NameOf(const ThreadCtx& thread) const;

    std::atomic<Micros> now_{0};  // written under the kernel lock
    std::int64_t wallBaseMs_;     // logger time at monotonic zero
    std::uint64_t jumps_ = 0;
    std::shared_ptr<ThreadCtx> driver_;
    // In the order they joined, so the deadlock report reads the same every run.
    std::vector<ThreadCtx*> participants_;
    // The participant whose turn it is (null only while the turn passes), and those able to run
    // in the order they became so: released from a wait, or started.
    ThreadCtx* running_;
    std::deque<ThreadCtx*> ready_;
};

}  // namespace tarvo::host::kernel
