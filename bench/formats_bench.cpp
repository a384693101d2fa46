// The cost of one self-timed message of 10 blocks x 8 values in each format, and the
// pseudobinary encoder's rate in values.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "corvane/formats/format_catalogue.h"
#include "corvane/formats/pseudobinary.h"
#include "host/log/report_sinks.h"

namespace {

// A block that always has its values, as a full store would.
class FullBlock : public corvane::MessageBlock {
  public:
    explicit FullBlock(std::wstring label) : label_(std::move(label)) {}
    std::wstring Label() const override { return label_; }
    int NumVals() const override { return 8; }
    std::wstring Interval() const override { return L"00:15:00"; }
    bool UsesCalcTime() const override { return false; }
    bool Enabled() const override { return true; }
    bool GetSelfTimedData(int line, TTime now, CSensorData& reading, int& digits) const override {
        reading = CSensorData(TValue(12.34 + line, 2), now);
        digits = 2;
        return true;
    }
    std::int64_t DataOffset(int, TTime, TTime) const override { return 5; }

  private:
    std::wstring label_;
};

void FormatMessage(benchmark::State& state) {
    tarvo::host::SetStderrLevel(TReportLevel::Error);
    std::vector<FullBlock> blocks;
    for (int i = 0; i < 10; ++i)
        blocks.emplace_back(L"B" + std::to_wstring(i));
    corvane::MessageRequest request;
    request.format = corvane::kFormatNames[static_cast<std::size_t>(state.range(0))];
    request.numVals = 8;
    for (const FullBlock& b : blocks)
        request.blocks.push_back(&b);
    state.SetLabel(std::string(request.format.begin(), request.format.end()));
    for (auto _ : state) {
        std::wstring message;
        benchmark::DoNotOptimize(corvane::FormatSelfTimedMessage(request, message));
        benchmark::DoNotOptimize(message.data());
    }
}
// SHEF, SHEF Fixed, Bin Int, Bin Non-Int, NFDRS, Handar.
BENCHMARK(FormatMessage)->Arg(0)->Arg(1)->Arg(2)->Arg(3)->Arg(5)->Arg(7);

void EncodeValues(benchmark::State& state) {
    double value = -1000.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            corvane::EncodePseudobinary(value, 3, 2, corvane::FieldSign::Signed));
        value += 0.37;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(EncodeValues);

}  // namespace

BENCHMARK_MAIN();
