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

void KeptReading(benchmark::State& state) {
    SelfTimedSettings settings;
    SelfTimedRegistry registry;
    SelfTimed block(registry, settings);
    block.GetProperty(L"NumVals")->SetInteger(99);
    block.GetProperty(L"Interval")->SetText(L"00:15:00");
    Feeder feeder;
    block.ConnectInput(SelfTimed::kPort, &feeder, 0);
    std::int64_t i = 0;
    for (auto _ : state) {
        feeder.SetOutputData(0, CSensorData(TValue(1.5), kStart + TTimeSpan::FromSeconds(900 * i)));
        benchmark::DoNotOptimize(block.Execute());
        ++i;
    }
}
BENCHMARK(KeptReading);

void LookupIn99Readings(benchmark::State& state) {
    tarvo::host::SetStderrLevel(TReportLevel::Warning, false);
    SelfTimedSettings settings;
    SelfTimedRegistry registry;
    SelfTimed block(registry, settings);
    block.GetProperty(L"NumVals")->SetInteger(99);
    block.GetProperty(L"Interval")->SetText(L"00:15:00");
    Feeder feeder;
    block.ConnectInput(SelfTimed::kPort, &feeder, 0);
    for (int i = 0; i < 99; ++i) {
        feeder.SetOutputData(0, CSensorData(TValue(1.5), kStart + TTimeSpan::FromSeconds(900 * i)));
        block.Execute();
    }
    const TTime reference = kStart + TTimeSpan::FromSeconds(900 * 98);
    int line = 0;
    for (auto _ : state) {
        CSensorData reading;
        int digits = 0;
        benchmark::DoNotOptimize(block.GetSelfTimedData(line, reference, reading, digits));
        line = (line + 1) % 99;
    }
}
BENCHMARK(LookupIn99Readings);

}  // namespace

BENCHMARK_MAIN();
