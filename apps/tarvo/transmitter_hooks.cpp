#include "apps/tarvo/transmitter_hooks.h"

#include <cerrno>
#include <cstring>

#include "apps/tarvo/exchange_summary.h"
#include "host/serial/serial_ports.h"
#include "host/setup/setup_file.h"
#include "host/text/utf8.h"

namespace tarvo::runner {

TransmitterHooks::~TransmitterHooks() {
    // Normally done in AfterStop; this covers a run that ended before recording.
    if (watch_)
        host::ObservePort(port_->name, nullptr);
    simulator_.reset();
    if (transcriptFile_ != nullptr)
        std::fclose(transcriptFile_);
}

bool TransmitterHooks::BeforeStart(RunSession& session, std::string& error) {
    const RunOptions& options = session.Options();
    host::SetupFile setup;
    if (!setup.Load(options.setupPath, error))
        return false;
    port_ = FindCorvanePort(setup);
    if (!port_)
        return true;
    const std::string name = host::ToUtf8(port_->name);
    if (port_->name.empty()) {
        std::fprintf(session.Err(),
                     "tarvo: warning: the <Corvane> section's Port %d names no serial port (0 to "
                     "7 select COM2: to COM9:); no transmitter is attached\n",
                     port_->index);
        return true;
    }
    for (const auto& [mapped, path] : options.serial) {
        if (mapped == name)
            device_ = path;
    }
    watch_ = std::make_shared<ExchangeWatch>();
    StartWatching();
    if (!options.SimulatorWanted())
        return true;

    sim::TransmitterOptions device;
    device.clockOffsetMs = options.simClockOffsetMs.value_or(0);
    device.lineFaults = options.simLineFaults;
    device.keepRecords = false;
    device.onTranscript = [this](const sim::TranscriptEntry& entry) {
        AddToSummary(summary_, entry, sequence_);
    };
    device.onDownlink = [this](const sim::DownlinkEntry& entry) { downlink_.push_back(entry); };
    if (!options.transcriptPath.empty()) {
        transcriptFile_ = std::fopen(options.transcriptPath.c_str(), "we");
        if (transcriptFile_ == nullptr) {
            error = "--transcript: cannot open " + options.transcriptPath +
                    " for writing: " + std::strerror(errno);
            return false;
        }
        std::FILE* file = transcriptFile_;
        device.sink = [file](const std::string& line) { std::fprintf(file, "%s\n", line.c_str()); };
    }
    simulator_ = std::make_unique<sim::InProcessTransmitter>(port_->name, std::move(device));
    for (const auto& fault : options.simFaults)
        simulator_->InjectFault(fault);
    simulated_ = true;
    return true;
}

void TransmitterHooks::Enter(Sequence sequence) {
    // Under the simulator's lock, once it has caught up with everything made before now.
    simulator_->With([this, sequence](sim::Transmitter&) { sequence_ = sequence; });
}

void TransmitterHooks::TellFailures(RunSession& session, const char* sequence,
                                    std::vector<std::string>& told) {
    for (const FailedRequest& failure : watch_->TakeFailures()) {
        told.push_back(DescribeFailure(failure));
        std::fprintf(session.Err(), "tarvo: %s: %s\n", sequence, told.back().c_str());
    }
    std::fflush(session.Err());
}

void TransmitterHooks::StartWatching() {
    host::ObservePort(port_->name, watch_);
    watch_->Watch(true);
}

void TransmitterHooks::StopWatching() {
    host::ObservePort(port_->name, nullptr);
    watch_->Watch(false);
}

void TransmitterHooks::Started(RunSession& session) {
    if (watch_) {
        // The ports that recording opens go unobserved: a year of polls should not pay for a
        // watch that has nothing to judge.
        StopWatching();
        TellFailures(session, "recording start", startFailures_);
    }
    if (simulator_)
        Enter(Sequence::Recording);
}

void TransmitterHooks::Stopping(RunSession&) {
    stopping_ = true;
    if (watch_) {
        watch_->TakeFailures();
        StartWatching();
    }
    if (simulator_)
        Enter(Sequence::Stop);
}

void TransmitterHooks::AfterStop(RunSession& session) {
    if (watch_) {
        // A session that never recorded (tarvo call) has no stop sequence to tell of.
        if (stopping_)
            TellFailures(session, "recording stop", stopFailures_);
        StopWatching();
        watch_.reset();
    }
    if (!simulator_)
        return;
    simulator_->Stop();
    simulator_.reset();
    if (transcriptFile_ != nullptr) {
        std::fclose(transcriptFile_);
        transcriptFile_ = nullptr;
    }
}

void TransmitterHooks::Report(RunSession& session) {
    if (!port_)
        return;
    if (port_->name.empty()) {
        neverAnswered_ = true;
        std::fprintf(session.Err(),
                     "tarvo: the transmitter was never reached: Port %d names no serial port\n",
                     port_->index);
        return;
    }
    // Told apart from a transmitter that refused or failed now and then: a wrong port, a device
    // that is not there or not powered, a cable that is not connected.
    const host::PortTraffic traffic = host::TrafficOf(port_->name);
    if (traffic.opens + traffic.failedOpens > 0 && traffic.bytesReceived == 0) {
        neverAnswered_ = true;
        std::fprintf(session.Err(),
                     "tarvo: the transmitter on %s never answered: the port opened %llu times "
                     "(%llu more failed to open), %llu bytes went out and none came back\n",
                     host::ToUtf8(port_->name).c_str(),
                     static_cast<unsigned long long>(traffic.opens),
                     static_cast<unsigned long long>(traffic.failedOpens),
                     static_cast<unsigned long long>(traffic.bytesSent));
    }
    std::FILE* out = session.Out();
    const std::string name = host::ToUtf8(port_->name);
    const auto printFailures = [&] {
        for (const std::string& failure : startFailures_)
            std::fprintf(out, "  at recording start, %s\n", failure.c_str());
        for (const std::string& failure : stopFailures_)
            std::fprintf(out, "  at recording stop, %s\n", failure.c_str());
    };
    if (!simulated_) {
        if (!device_.empty()) {
            std::fprintf(
                out,
                "\nTransmitter on %s device %s\n  (tarvo does not see the "
                "transmitter's side of the line; corvane-sim --transcript FILE records it)\n",
                name.c_str(), device_.c_str());
            printFailures();
        } else {
            std::fprintf(
                out, "\nTransmitter on %s none attached (%s)\n", name.c_str(),
                session.Options().serial.empty() ? "--no-sim" : "no --serial mapping for it");
        }
        return;
    }
    std::fprintf(out, "\nTransmitter on %s simulated in process\n", name.c_str());
    printFailures();
    PrintExchanges(out, summary_);
    std::fprintf(out, "\nDownlink log of the simulated transmitter\n");
    PrintDownlink(out, downlink_);
}

}  // namespace tarvo::runner
