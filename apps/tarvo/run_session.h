// One `tarvo run`: the log sinks, port mappings, clock, plug-ins, setup, the recording and its
// end, in that order, with hooks for what a run may add around the recording (such as an
// in-process transmitter simulator, its reports and its summary).
#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/tarvo/options.h"
#include "host/clock/clock.h"
#include "host/engine/engine.h"

namespace tarvo::runner {

class RunSession;

// What a run may add. Hooks run on the main thread, in the order they were added; while they
// run, the run's clock is installed (virtual or real) and the engine holds the loaded setup.
class RunHooks {
  public:
    virtual ~RunHooks() = default;
    // Before anything else: the options may still be adjusted (e.g. to map a port in memory
    // when none is mapped to a device).
    virtual void Configure(RunOptions& /*options*/) {}
    // After the plug-ins and the setup are loaded, before recording starts. False ends the
    // run with exit status 1 and `error` shown.
    virtual bool BeforeStart(RunSession& /*session*/, std::string& /*error*/) { return true; }
    // Recording has started: every plug-in's OnEngineStart has returned.
    virtual void Started(RunSession& /*session*/) {}
    // Recording is about to stop: no plug-in's OnEngineStop has run yet.
    virtual void Stopping(RunSession& /*session*/) {}
    // After recording has stopped (also after an interrupt), before the engine unloads the
    // setup and the plug-ins. Any threads the hook started must end here.
    virtual void AfterStop(RunSession& /*session*/) {}
    // After the run's one-line summary: the hook's part of the summary, on the session's Out().
    // Runs also after an interrupt; nothing here may wait.
    virtual void Report(RunSession& /*session*/) {}
    // After Report: non-zero when the run did not do what it was for (the exit status then,
    // unless the run was interrupted), with the reason already on the session's Err().
    virtual int Status() const { return 0; }
};

class RunSession {
  public:
    // `out` takes the run's summary; `err` its error messages and progress.
    RunSession(RunOptions options, std::FILE* out = stdout, std::FILE* err = stderr);
    ~RunSession();

    void AddHooks(std::unique_ptr<RunHooks> hooks);

    // Runs the whole session; returns the exit status (0, 1, or 130 after an interrupt).
    int Execute();

    // A session's preparations without the recording, for a command that does something else
    // with the loaded setup: the log sinks, port mappings, clock, plug-ins, setup and each
    // hook's BeforeStart. 0 when all is ready (Close must follow); otherwise the exit status,
    // with the error shown and everything undone.
    int Open();
    // Ends what Open began: each hook's AfterStop, the engine's shutdown, the clock.
    void Close();

    const RunOptions& Options() const { return options_; }
    host::HostEngine& Engine() { return host::GetHostEngine(); }
    std::FILE* Out() const { return out_; }
    std::FILE* Err() const { return err_; }
    bool Interrupted() const { return interrupted_; }

  private:
    int Fail(const std::string& message);
    bool LoadPlugins();
    void Record(TEvent& interrupt);

    RunOptions options_;
    std::FILE* out_;
    std::FILE* err_;
    std::vector<std::unique_ptr<RunHooks>> hooks_;
    bool interrupted_ = false;
    // The clock comes first and goes last: every platform thread of the session lives inside it.
    std::optional<host::ScopedVirtualClock> clock_;
};

// `tarvo blocks`: the block types of the host and of the plug-ins, one per line.
int ListBlocks(const BlocksOptions& options, std::FILE* out, std::FILE* err);

// The plug-ins a run loads when none are named: those installed beside the program.
std::vector<std::string> DefaultPlugins(std::FILE* err);

}  // namespace tarvo::runner
