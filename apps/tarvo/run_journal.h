// What a run showed the operator and did to the logger's clock, by the phase of the run it
// happened in. The journal installs the runner's operator backend: each message box is printed
// the moment it is shown (nobody is there to read a dialog) and answered as the unattended
// operator answers; the run's summary repeats the messages.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "apps/tarvo/run_session.h"
#include "host/dialogs/dialogs.h"

namespace tarvo::runner {

enum class RunPhase { Loading, Starting, Recording, Stopping, Ending };

// "while loading", "at recording start", "while recording", "at recording stop", "at the end".
const char* PhaseName(RunPhase phase);

struct OperatorMessage {
    RunPhase phase = RunPhase::Loading;
    std::int64_t loggerMs = 0;  // logger time when shown
    std::string text;           // UTF-8
    std::string caption;
};

struct ClockSet {
    RunPhase phase = RunPhase::Loading;
    std::int64_t loggerMs = 0;  // the logger time it was set to
    std::int64_t movedMs = 0;   // how far it moved (positive: ahead)
};

class RunJournal : public RunHooks {
  public:
    // Installs the backend and subscribes to clock changes at once, so that nothing shown while
    // the setup loads is missed. `live` takes each message as it is shown.
    explicit RunJournal(std::FILE* live);
    ~RunJournal() override;
    RunJournal(const RunJournal&) = delete;
    RunJournal& operator=(const RunJournal&) = delete;

    bool BeforeStart(RunSession& session, std::string& error) override;
    void Started(RunSession& session) override;
    void Stopping(RunSession& session) override;
    void AfterStop(RunSession& session) override;
    void Report(RunSession& session) override;

    std::vector<OperatorMessage> Messages() const;
    std::vector<ClockSet> ClockSets() const;

    // Called by the backend and the clock subscription, from any thread.
    void Shown(const std::wstring& text, const std::wstring& caption);
    void ClockChanged();

  private:
    void Enter(RunPhase phase);
    // Logger time minus monotonic time: constant between clock sets.
    static std::int64_t ClockOffsetMs();

    std::FILE* live_;
    mutable std::mutex mutex_;
    RunPhase phase_ = RunPhase::Loading;
    std::int64_t offsetMs_ = 0;
    std::vector<OperatorMessage> messages_;
    std::vector<ClockSet> clockSets_;
    bool pluginsLoaded_ = false;
    int subscription_ = -1;
    std::unique_ptr<host::ScopedOperatorBackend> backend_;
};

}  // namespace tarvo::runner
