// The SelfTimed block's two hot paths: storing a reading that falls on the schedule, and the
// lookup a formatter makes for one line with a full store of 99 readings.
#include <benchmark/benchmark.h>

#include "corvane/selftimed/self_timed_block.h"
#include "corvane/selftimed/self_timed_registry.h"
#include "corvane/selftimed/self_timed_settings.h"
#include "host/log/report_sinks.h"
#include "platform/module.h"

namespace {

class Feeder : public TModule {
  public:
    Feeder() : TModule(L"Feeder") {}
    std::wstring GetOutputName(int index) const override { return index == 0 ? L"Out" : L""; }
};

const TTime kStart(2024, 6, 3, 0, 0, 0);

// A block keeping every 15-minute reading, up to 99, fed by hand.
struct Bench {
    Bench() {
        block.GetProperty(L"NumVals")->SetInteger(99);
        block.GetProperty(L"Interval")->SetText(L"00:15:00");
        block.ConnectInput(SelfTimed::kPort, &feeder, 0);
    }
    void Feed(std::int64_t slot) {
        feeder.SetOutputData(0,
                             CSensorData(TValue(1.5), kStart + TTimeSpan::FromSeconds(900 * slot)));
        benchmark::DoNotOptimize(block.Execute());
    }
    SelfTimedSettings settings;
    SelfTimedRegistry registry;
    SelfTimed block{registry, settings};
    Feeder feeder;
};

void KeptReading(benchmark::State& state) {
    Bench bench;
    std::int64_t slot = 0;
    for (auto _ : state)
        bench.Feed(slot++);
}
BENCHMARK(KeptReading);

void LookupIn99Readings(benchmark::State& state) {
    tarvo::host::SetStderrLevel(TReportLevel::Warning, false);
    Bench bench;
    for (int slot = 0; slot < 99; ++slot)
        bench.Feed(slot);
    const TTime reference = kStart + TTimeSpan::FromSeconds(900 * 98);
    int line = 0;
    for (auto _ : state) {
        CSensorData reading;
        int digits = 0;
        benchmark::DoNotOptimize(bench.block.GetSelfTimedData(line, reference, reading, digits));
        line = (line + 1) % 99;
    }
}
BENCHMARK(LookupIn99Readings);

}  // namespace

BENCHMARK_MAIN();
