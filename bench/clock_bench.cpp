// Cost of the virtual clock: what one wait and one jump of simulated time cost in wall time.
// These figures bound how many simulated station-days a wall-clock second can run.
#include <benchmark/benchmark.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "host/clock/clock.h"
#include "platform/clock.h"
#include "platform/sync.h"

namespace {

using tarvo::host::ScopedVirtualClock;

const TTime kStart(2024, 1, 1, 0, 0, 0);

// One thread sleeping: every wait is a jump, with no hand-over between threads.
void BM_VirtualSleepOneSecond(benchmark::State& state) {
    ScopedVirtualClock clock(kStart);
    for (auto _ : state) {
        Sleep(1000);
    }
    state.counters["simulated_s_per_wall_s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_VirtualSleepOneSecond);

// Two threads handing an auto-reset event back and forth, each first sleeping `workMs` of clock
// time (0: none), on whichever clock is installed.
void PingPong(benchmark::State& state, DWORD workMs) {
    TEvent ping(false, false, "ping"), pong(false, false, "pong"), stop(true, false, "stop");
    TThread partner(
        [&] {
            while (WaitForMultipleObjects({&stop, &ping}, INFINITE) == WAIT_OBJECT_0 + 1) {
                if (workMs > 0) {
                    Sleep(workMs);
                }
                pong.Set();
            }
        },
        "partner");
    for (auto _ : state) {
        ping.Set();
        WaitForSingleObject(pong, INFINITE);
        if (workMs > 0) {
            Sleep(workMs);
        }
    }
    stop.Set();
    partner.Join();
}

// A wake-up of another thread per half round, no time passing.
void BM_VirtualEventPingPong(benchmark::State& state) {
    ScopedVirtualClock clock(kStart);
    PingPong(state, 0);
}
BENCHMARK(BM_VirtualEventPingPong)->UseRealTime();

// The same hand-over with a minute of simulated work on each side, as a messenger and a
// simulator trade requests: two jumps per round.
void BM_VirtualPingPongWithSleeps(benchmark::State& state) {
    ScopedVirtualClock clock(kStart);
    PingPong(state, 60000);
    state.counters["jumps_per_round"] =
        static_cast<double>(clock.Jumps()) / static_cast<double>(state.iterations());
    state.counters["simulated_s_per_wall_s"] = benchmark::Counter(
        120.0 * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_VirtualPingPongWithSleeps)->UseRealTime();

// N periodic sleepers with distinct periods: each jump wakes one of N parked threads.
void BM_VirtualPeriodicSleepers(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    ScopedVirtualClock clock(kStart);
    std::atomic<bool> stopping{false};
    std::vector<std::unique_ptr<TThread>> threads;
    for (int i = 0; i < count; ++i) {
        threads.push_back(std::make_unique<TThread>(
            [&stopping, i] {
                while (!stopping.load()) {
                    Sleep(1000 + 7 * static_cast<DWORD>(i));
                }
            },
            "sleeper " + std::to_string(i)));
    }
    const std::uint64_t jumpsBefore = clock.Jumps();
    for (auto _ : state) {
        Sleep(1000);
    }
    const std::uint64_t jumps = clock.Jumps() - jumpsBefore;
    stopping = true;
    threads.clear();
    state.counters["jumps_per_wall_s"] =
        benchmark::Counter(static_cast<double>(jumps), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_VirtualPeriodicSleepers)->Arg(1)->Arg(4)->Arg(16)->UseRealTime();

// For comparison: the same hand-over on the real clock.
void BM_RealEventPingPong(benchmark::State& state) {
    PingPong(state, 0);
}
BENCHMARK(BM_RealEventPingPong)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
