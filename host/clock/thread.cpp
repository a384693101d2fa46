// Platform threads: a std::thread that takes part in the process clock from construction until
// its body returns, and a wait handle signalled at that moment.
#include <thread>

#include "host/clock/internal/kernel.h"
#include "platform/sync.h"

using tarvo::host::kernel::KernelLock;
using tarvo::host::kernel::ThreadCtx;

struct TThread::Runner {
    std::thread thread;
};

TThread::TThread(std::function<void()> body, std::string name)
    : TWaitable(std::make_unique<TWaitState>(TWaitState::Kind::Thread, name, 0, 1, true)),
      name_(std::move(name)),
      runner_(std::make_unique<Runner>()) {
    auto ctx = std::make_shared<ThreadCtx>();
    ctx->name = name_;
    {
        // Counted before the thread exists, so time cannot move on before it first runs.
        KernelLock lock;
        ++lock.kernel().liveThreads;
        lock.kernel().clock->OnThreadStart(*ctx);
    }
    runner_->thread = std::thread([this, ctx, body = std::move(body)] {
        tarvo::host::kernel::AdoptThread(ctx);
        {
            // Under the virtual clock the thread runs only in its turn.
            KernelLock lock;
            lock.kernel().clock->AwaitTurn(*ctx, lock);
        }
        body();
        KernelLock lock;
        tarvo::host::kernel::Kernel& k = lock.kernel();
        --k.liveThreads;
        State().count = 1;
        k.Signal(lock, State());
        k.clock->OnThreadEnd(*ctx, lock);
    });
}

TThread::~TThread() {
    Join(INFINITE);
    runner_->thread.join();
}

bool TThread::Join(DWORD ms) {
    return WaitForSingleObject(*this, ms) == WAIT_OBJECT_0;
}
