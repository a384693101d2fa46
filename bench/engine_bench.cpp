// The host engine's throughput and the runner's footprint.
//
// ReadingsThroughChain: a source measuring every second feeds a chain of N pass-through
// blocks; an hour of virtual time is recorded per iteration (wall time is what counts: the
// work happens on the engine's thread, not the benchmark's). Items are readings entering the
// chain; "block_runs" counts every block execution. The clock's handover between threads
// costs the same per reading whatever N is, so the growth with N is the per-block cost.
//
// RunnerPeakMemory: runs the installed `tarvo` program on a day of virtual time and reports its
// peak resident memory (getrusage's maxrss of the child, in kB): the demo gauge setup, and a
// source measuring every second into a Log block (86 400 readings).
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "host/clock/clock.h"
#include "host/engine/engine.h"
#include "host/engine/plugin.h"
#include "platform/clock.h"
#include "platform/module.h"
#include "platform/module_factory.h"

namespace {

namespace fs = std::filesystem;

class Pass : public TModule {
  public:
    Pass() : TModule(L"Pass") {}
    std::wstring GetInputName(int i) const override { return i == 2 ? L"Input" : L""; }
    std::wstring GetOutputName(int i) const override { return i == 2 ? L"Output" : L""; }
    bool Execute() override {
        CSensorData data;
        if (!GetInputData(2, data))
            return false;
        SetOutputData(2, data);
        return true;
    }
};

const wchar_t* const kPassNames[] = {L"Pass"};

class PassFactory : public TModuleFactory {
  public:
    PassFactory() { SetModules(1, kPassNames); }
    TModule* CreateModule(int index) override { return index == 0 ? new Pass : nullptr; }
};

std::string ChainSetup(int length) {
    std::string s =
        "<TarvoSetup>\n<Blocks>\n"
        "<Block Type=\"Source\" Name=\"S\" Mode=\"Sine\" Interval=\"00:00:01\" />\n";
    std::string previous = "S";
    for (int i = 0; i < length; ++i) {
        std::string name = "P" + std::to_string(i);
        s += "<Block Type=\"Pass\" Name=\"" + name + "\" />\n";
        s += "<Connection From=\"" + previous + "\" To=\"" + name + "\" />\n";
        previous = name;
    }
    return s + "</Blocks>\n</TarvoSetup>\n";
}

void ReadingsThroughChain(benchmark::State& state) {
    const int length = static_cast<int>(state.range(0));
    const DWORD virtualMs = 3'600'000;
    PassFactory factory;
    const std::string setup = ChainSetup(length);
    std::int64_t readings = 0;
    for (auto _ : state) {
        tarvo::host::ScopedVirtualClock clock(TTime(2024, 1, 1, 0, 0, 0, 500));
        tarvo::host::HostEngine engine;
        engine.AddBlockTypes(factory, "bench");
        std::string error;
        if (!engine.LoadSetupText(setup, "chain.xml", error)) {
            state.SkipWithError(error.c_str());
            return;
        }
        engine.Run();
        Sleep(virtualMs);
        engine.Stop();
        engine.Shutdown();
        readings += virtualMs / 1000;
    }
    state.SetItemsProcessed(readings);
    state.counters["block_runs"] = benchmark::Counter(static_cast<double>(readings * (length + 1)),
                                                      benchmark::Counter::kIsRate);
}
BENCHMARK(ReadingsThroughChain)
    ->Arg(1)
    ->Arg(10)
    ->Arg(100)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

std::string RepoRoot() {
    return fs::path(__FILE__).parent_path().parent_path().string();
}

void RunnerPeakMemory(benchmark::State& state) {
    const std::string program = tarvo::host::ProgramDirectory() + "/tarvo";
    if (!fs::exists(program)) {
        state.SkipWithError("the tarvo program is not built beside the benchmark");
        return;
    }
    char pattern[] = "/tmp/tarvo-bench-XXXXXX";
    const std::string dir = mkdtemp(pattern);
    std::string setup = RepoRoot() + "/examples/demo-gauge.xml";
    if (state.range(0) == 1) {
        setup = dir + "/every-second.xml";
        std::ofstream(setup) << "<TarvoSetup>\n<Blocks>\n"
                                "<Block Type=\"Source\" Name=\"S\" Mode=\"Sine\" "
                                "Interval=\"00:00:01\" />\n"
                                "<Block Type=\"Log\" Name=\"L\" File=\"every-second.csv\" />\n"
                                "<Connection From=\"S\" To=\"L\" />\n"
                                "</Blocks>\n</TarvoSetup>\n";
    }
    long maxrss = 0;
    for (auto _ : state) {
        pid_t pid = fork();
        if (pid == 0) {
            if (chdir(dir.c_str()) != 0)
                _exit(126);
            freopen("/dev/null", "w", stdout);
            execl(program.c_str(), program.c_str(), "run", setup.c_str(), "--for", "24h", "--start",
                  "2024-06-01 00:00:30", static_cast<char*>(nullptr));
            _exit(127);
        }
        int status = 0;
        rusage usage{};
        wait4(pid, &status, 0, &usage);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            state.SkipWithError("tarvo run failed");
            break;
        }
        maxrss = std::max(maxrss, usage.ru_maxrss);
    }
    fs::remove_all(dir);
    state.counters["peak_rss_kB"] = static_cast<double>(maxrss);
}
BENCHMARK(RunnerPeakMemory)
    ->ArgName("every_second")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(3)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
