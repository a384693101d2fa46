#include "host/engine/engine.h"

#include <thread>

#include "host/engine/plugin.h"
#include "host/text/utf8.h"
#include "platform/report.h"

namespace tarvo::host {

bool HostEngine::Run() {
    TSingleLock lock(runLock_, true);
    if (running_.load())
        return true;
    running_.store(true);
    stopEvent_.Reset();
    for (auto& p : plugins_) {
        if (!p->OnEngineStart()) {
            TReport::Warning("%s: OnEngineStart failed", p->FileName().c_str());
        }
    }
    for (int i : graph_.order) {
        TModule& b = *graph_.blocks[static_cast<std::size_t>(i)];
        if (!b.IsEnabled())
            continue;
        b.Reset();
    }
    for (int i : graph_.order) {
        TModule& b = *graph_.blocks[static_cast<std::size_t>(i)];
        if (!b.IsEnabled())
            continue;
        if (!b.Start()) {
            TReport::Warning("Block \"%s\" (%s) did not start cleanly", ToUtf8(b.GetName()).c_str(),
                             ToUtf8(b.GetModuleName()).c_str());
        }
    }
    processing_ = std::make_unique<TThread>([this] { ProcessingLoop(); }, "engine processing");
    TReport::Status("Recording started");
    return true;
}

bool HostEngine::Stop() {
    // A block cannot stop the recording it is running in: the processing thread would wait
    // for itself to end.
    if (processingThread_.load() == std::this_thread::get_id()) {
        TReport::Warning("Recording cannot be stopped from the processing thread");
        return false;
    }
    TSingleLock lock(runLock_, true);
    if (!running_.load())
        return true;
    stopEvent_.Set();
    if (processing_) {
        processing_->Join();
        processing_.reset();
        processingThread_.store(std::thread::id());
    }
    for (int i : graph_.order) {
        TModule& b = *graph_.blocks[static_cast<std::size_t>(i)];
        if (b.IsEnabled())
            b.Stop();
    }
    for (auto it = plugins_.rbegin(); it != plugins_.rend(); ++it) {
        if (!(*it)->OnEngineStop()) {
            TReport::Warning("%s: OnEngineStop failed", (*it)->FileName().c_str());
        }
    }
    running_.store(false);
    TReport::Status("Recording stopped");
    return true;
}

void HostEngine::ProcessingLoop() {
    processingThread_.store(std::this_thread::get_id());
    const std::size_t n = graph_.blocks.size();
    // Position of each block in the processing order, and which are scheduled and when next.
    std::vector<bool> scheduled(n, false);
    std::vector<TTime> due(n);
    std::vector<bool> fired(n, false);
    TRTCChange clockChange;

    auto scheduleAll = [&](TTime from) {
        for (std::size_t i = 0; i < n; ++i) {
            const TModule& b = *graph_.blocks[i];
            TTime next;
            scheduled[i] = b.IsEnabled() && b.GetNextRunTime(from, next);
            due[i] = next;
        }
    };
    scheduleAll(TTime::GetCurrentTime());

    for (;;) {
        bool any = false;
        TTime earliest;
        for (std::size_t i = 0; i < n; ++i) {
            if (scheduled[i] && (!any || due[i] < earliest)) {
                earliest = due[i];
                any = true;
            }
        }
        TTime now = TTime::GetCurrentTime();
        if (!any || earliest > now) {
            DWORD wait = INFINITE;
            if (any) {
                std::int64_t ms = (earliest - now).GetTotalMilliseconds();
                wait = static_cast<DWORD>(std::min<std::int64_t>(ms, 0x7FFFFFFF));
            }
            DWORD r = WaitForMultipleObjects({&stopEvent_, &clockChange}, wait);
            if (r == WAIT_OBJECT_0)
                return;
            if (r == WAIT_OBJECT_0 + 1) {
                // The logger's clock was set: the schedule starts again from the new time
                // rather than catching up (or waiting out) the jump.
                clockChange.Reset();
                scheduleAll(TTime::GetCurrentTime());
            }
            continue;
        }

        // One pass at `earliest`: the blocks due then, and every block fed by one that produced.
        std::fill(fired.begin(), fired.end(), false);
        for (int i : graph_.order) {
            const auto k = static_cast<std::size_t>(i);
            TModule& b = *graph_.blocks[k];
            if (!b.IsEnabled())
                continue;
            bool run = scheduled[k] && due[k] == earliest;
            if (!run) {
                for (int f : graph_.feeders[k]) {
                    if (fired[static_cast<std::size_t>(f)]) {
                        run = true;
                        break;
                    }
                }
            }
            if (!run)
                continue;
            b.SetRunTime(earliest);
            fired[k] = b.Execute();
        }
        for (std::size_t k = 0; k < n; ++k) {
            if (scheduled[k] && due[k] == earliest) {
                TTime next;
                scheduled[k] = graph_.blocks[k]->GetNextRunTime(
                    earliest + TTimeSpan::FromMilliseconds(1), next);
                due[k] = next;
            }
        }
    }
}

}  // namespace tarvo::host
