#include "apps/tarvo/run_session.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>

#include "apps/tarvo/interrupt.h"
#include "host/engine/logger_folders.h"
#include "host/engine/plugin.h"
#include "host/log/report_sinks.h"
#include "host/serial/serial_ports.h"
#include "host/text/utf8.h"
#include "platform/clock.h"

namespace tarvo::runner {
namespace {

constexpr std::int64_t kDefaultVirtualMs = 24LL * 3'600'000;

bool LoadInto(host::HostEngine& engine, const std::vector<std::string>& paths, std::FILE* err) {
    for (const auto& path : paths) {
        std::string error;
        if (!engine.LoadPlugin(path, error)) {
            std::fprintf(err, "tarvo: %s\n", error.c_str());
            return false;
        }
    }
    return true;
}

}  // namespace

std::vector<std::string> DefaultPlugins(std::FILE* err) {
    std::vector<std::string> problems;
    auto found = host::FindPlugins(host::ProgramDirectory(), problems);
    for (const auto& p : problems)
        std::fprintf(err, "tarvo: warning: %s\n", p.c_str());
    return found;
}

RunSession::RunSession(RunOptions options, std::FILE* out, std::FILE* err)
    : options_(std::move(options)), out_(out), err_(err) {}

RunSession::~RunSession() = default;

void RunSession::AddHooks(std::unique_ptr<RunHooks> hooks) {
    hooks_.push_back(std::move(hooks));
}

int RunSession::Fail(const std::string& message) {
    std::fprintf(err_, "tarvo: %s\n", message.c_str());
    Engine().Shutdown();
    clock_.reset();
    return 1;
}

bool RunSession::LoadPlugins() {
    auto paths = options_.plugins.empty() ? DefaultPlugins(err_) : options_.plugins;
    return LoadInto(Engine(), paths, err_);
}

int RunSession::Open() {
    for (auto& h : hooks_)
        h->Configure(options_);

    host::SetStderrLevel(options_.level.value_or(TReportLevel::Warning));
    if (!options_.logFile.empty() &&
        !host::SetLogFile(options_.logFile, options_.level.value_or(TReportLevel::Debug))) {
        std::fprintf(err_, "tarvo: --log: cannot open %s for appending\n",
                     options_.logFile.c_str());
        return 1;
    }
    for (const auto& [name, path] : options_.serial)
        host::MapPortToDevice(host::FromUtf8(name), path);
    host::ResetPortTraffic();
    host::AllowMachineClockSet(options_.setMachineClock);
    host::SetLoggerFolder(host::LoggerFolder::FlashDisk, options_.flashDisk);
    host::SetLoggerFolder(host::LoggerFolder::StorageCard, options_.storageCard);

    if (options_.Virtual()) {
        TTime start = options_.start.value_or(
            TTime::FromSecondsSince1970(TTime::GetCurrentTime().GetSecondsSince1970()));
        clock_.emplace(start);
    }

    auto& engine = Engine();
    if (!LoadPlugins()) {
        engine.Shutdown();
        clock_.reset();
        return 1;
    }
    std::string error;
    if (!engine.LoadSetup(options_.setupPath, error))
        return Fail(error);
    for (std::size_t i = 0; i < hooks_.size(); ++i) {
        if (!hooks_[i]->BeforeStart(*this, error)) {
            // The hooks already prepared must end their threads before the clock goes.
            for (std::size_t j = 0; j < i; ++j)
                hooks_[j]->AfterStop(*this);
            return Fail(error);
        }
    }
    return 0;
}

void RunSession::Close() {
    for (auto& h : hooks_)
        h->AfterStop(*this);
    Engine().Shutdown();
    host::AllowMachineClockSet(false);
    clock_.reset();
}

int RunSession::Execute() {
    if (const int status = Open(); status != 0)
        return status;

    auto& engine = Engine();
    const TTime begin = TTime::GetCurrentTime();
    const host::Micros beginMicros = host::NowMicros();
    TEvent interrupt(true, false, "interrupt");
    host::Micros startedMicros = 0;
    host::Micros stoppingMicros = 0;
    {
        // Said at once: a stop asked for during the start sequence waits for it to end, which
        // against a silent transmitter on a real port takes the better part of a minute.
        std::atomic<bool> starting{true};
        InterruptWatcher watcher(interrupt, [this, &starting] {
            std::fprintf(err_, "\ntarvo: stop asked for: %s; Ctrl-C again quits at once\n",
                         starting.load() ? "the recording start sequence ends first, then "
                                           "recording stops (each plug-in's stop sequence runs)"
                                         : "recording stops now (each plug-in's stop sequence "
                                           "runs)");
            std::fflush(err_);
        });
        engine.Run();
        starting.store(false);
        startedMicros = host::NowMicros();
        for (auto& h : hooks_)
            h->Started(*this);
        Record(interrupt);
        interrupted_ = watcher.Interrupted();
        for (auto& h : hooks_)
            h->Stopping(*this);
        stoppingMicros = host::NowMicros();
        engine.Stop();
        interrupted_ = watcher.Interrupted();  // also when asked for during the stop
    }
    const host::Micros stoppedMicros = host::NowMicros();
    for (auto& h : hooks_)
        h->AfterStop(*this);

    // The recording start and stop sequences (the transmitter's exchanges) take time of their
    // own: said apart, so that "24h" reads as 24 hours of recording.
    const auto ms = [](host::Micros from, host::Micros to) { return (to - from) / 1000; };
    std::string sequences;
    if (startedMicros > beginMicros || stoppedMicros > stoppingMicros) {
        sequences = " (the recording start took " + FormatDuration(ms(beginMicros, startedMicros)) +
                    " and the stop " + FormatDuration(ms(stoppingMicros, stoppedMicros)) + ")";
    }
    std::fprintf(out_, "tarvo: %s %s of %s time, %s to %s%s, with %d block%s and %d plug-in%s\n",
                 interrupted_ ? "interrupted after" : "recorded",
                 FormatDuration(ms(startedMicros, stoppingMicros)).c_str(),
                 options_.Virtual() ? "virtual" : "real", FormatTime(begin).c_str(),
                 FormatTime(TTime::GetCurrentTime()).c_str(), sequences.c_str(),
                 engine.GetModuleCount(), engine.GetModuleCount() == 1 ? "" : "s",
                 engine.GetPluginCount(), engine.GetPluginCount() == 1 ? "" : "s");
    engine.Shutdown();
    host::AllowMachineClockSet(false);
    int status = 0;
    for (auto& h : hooks_) {
        h->Report(*this);
        status = std::max(status, h->Status());
    }
    std::fflush(out_);
    clock_.reset();
    return interrupted_ ? 130 : status;
}

void RunSession::Record(TEvent& interrupt) {
    std::optional<std::int64_t> total = options_.durationMs;
    if (!total && options_.Virtual())
        total = kDefaultVirtualMs;
    const host::Micros begin = host::NowMicros();
    // Progress is for people: only on a terminal, only for virtual runs long enough to matter.
    const bool progress =
        options_.Virtual() && total && *total >= 3'600'000 && isatty(fileno(err_)) == 1;
    auto lastPrint = std::chrono::steady_clock::now() - std::chrono::seconds(1);
    bool printed = false;

    for (;;) {
        std::int64_t elapsed = (host::NowMicros() - begin) / 1000;
        DWORD wait = INFINITE;
        if (total) {
            if (elapsed >= *total)
                break;
            std::int64_t step = *total - elapsed;
            if (progress)
                step = std::min<std::int64_t>(step, std::max<std::int64_t>(*total / 500, 1000));
            wait = static_cast<DWORD>(std::min<std::int64_t>(step, 0x7FFFFFFF));
        }
        if (WaitForSingleObject(interrupt, wait) == WAIT_OBJECT_0)
            break;
        if (progress) {
            auto now = std::chrono::steady_clock::now();
            if (now - lastPrint >= std::chrono::milliseconds(100)) {
                lastPrint = now;
                std::int64_t done = (host::NowMicros() - begin) / 1000;
                std::fprintf(err_, "\r  %3d%%  %s of %s virtual time  (logger time %s)",
                             static_cast<int>(100 * done / *total), FormatDuration(done).c_str(),
                             FormatDuration(*total).c_str(),
                             FormatTime(TTime::GetCurrentTime()).c_str());
                std::fflush(err_);
                printed = true;
            }
        }
    }
    if (printed) {
        std::fprintf(err_, "\r\033[K");
        std::fflush(err_);
    }
}

int ListBlocks(const BlocksOptions& options, std::FILE* out, std::FILE* err) {
    auto& engine = host::GetHostEngine();
    auto paths = options.plugins.empty() ? DefaultPlugins(err) : options.plugins;
    if (!LoadInto(engine, paths, err)) {
        engine.Shutdown();
        return 1;
    }
    auto types = engine.GetBlockTypes();
    std::size_t width = 0;
    for (const auto& t : types)
        width = std::max(width, host::ToUtf8(t.name).size());
    for (const auto& t : types) {
        std::string name = host::ToUtf8(t.name);
        std::fprintf(out, "%-*s  %s\n", static_cast<int>(width), name.c_str(), t.origin.c_str());
    }
    engine.Shutdown();
    return 0;
}

}  // namespace tarvo::runner
