// The transmitter side of a run: for a setup with a <Corvane> section, a simulated transmitter
// in process on the port the section selects (unless a --serial mapping puts a device there or
// --no-sim leaves the port empty), its transcript file, and the run's summary of the exchanges
// and of the downlink.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/tarvo/corvane_port.h"
#include "apps/tarvo/exchange_summary.h"
#include "apps/tarvo/exchange_watch.h"
#include "apps/tarvo/run_session.h"
#include "sim/faces/in_process_transmitter.h"

namespace tarvo::runner {

class TransmitterHooks : public RunHooks {
  public:
    TransmitterHooks() = default;
    ~TransmitterHooks() override;
    TransmitterHooks(const TransmitterHooks&) = delete;
    TransmitterHooks& operator=(const TransmitterHooks&) = delete;

    // Reads the port from the setup file and attaches the simulator. Fails when the setup
    // cannot be read again or the transcript file cannot be opened.
    bool BeforeStart(RunSession& session, std::string& error) override;
    void Started(RunSession& session) override;
    void Stopping(RunSession& session) override;
    // Brings the simulator up to the end of recording, stops it and unmaps the port.
    void AfterStop(RunSession& session) override;
    void Report(RunSession& session) override;
    // 3 when the module used the transmitter's port and not one byte ever came back.
    int Status() const override { return neverAnswered_ ? 3 : 0; }

  private:
    // Entries made from now on count in `sequence`.
    void Enter(Sequence sequence);
    // Puts the watch on the port and has it judge this thread's requests; takes it off again.
    void StartWatching();
    void StopWatching();
    // Takes the failures the watch judged in the sequence that just ended and tells each on Err().
    void TellFailures(RunSession& session, const char* sequence, std::vector<std::string>& told);

    std::optional<CorvanePort> port_;
    std::string device_;  // the --serial path mapped to the port, if any
    std::unique_ptr<sim::InProcessTransmitter> simulator_;
    bool simulated_ = false;
    bool neverAnswered_ = false;
    std::FILE* transcriptFile_ = nullptr;
    // Filled as the simulator makes its records (under its lock), read once it has stopped: a
    // long run keeps the tally and the downlink log, never the whole transcript.
    Sequence sequence_ = Sequence::Start;
    ExchangeSummary summary_;
    std::vector<sim::DownlinkEntry> downlink_;
    // The logger's side of the start and the stop sequence, with a device or the simulator.
    std::shared_ptr<ExchangeWatch> watch_;
    bool stopping_ = false;
    std::vector<std::string> startFailures_;
    std::vector<std::string> stopFailures_;
};

}  // namespace tarvo::runner
