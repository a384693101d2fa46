#include "sim/faces/in_process_transmitter.h"

#include <algorithm>
#include <span>

#include "host/clock/clock.h"

namespace tarvo::sim {

InProcessTransmitter::InProcessTransmitter(std::wstring portName, TransmitterOptions options,
                                           bool modelLineSpeed)
    : mappedName_(std::move(portName)),
      peer_(host::MapPortToMemory(mappedName_, modelLineSpeed)),
      device_(std::make_unique<Transmitter>(time_, std::move(options))) {
    Start();
}

InProcessTransmitter::InProcessTransmitter(std::shared_ptr<host::SerialPeer> peer,
                                           TransmitterOptions options)
    : peer_(std::move(peer)), device_(std::make_unique<Transmitter>(time_, std::move(options))) {
    Start();
}

InProcessTransmitter::~InProcessTransmitter() {
    Stop();
    if (!mappedName_.empty()) {
        host::UnmapPort(mappedName_);
    }
}

void InProcessTransmitter::Start() {
    thread_ = std::make_unique<TThread>([this] { Serve(); }, "corvane-sim");
}

void InProcessTransmitter::Stop() {
    stop_.store(true);
    if (thread_) {
        peer_->Wake();
        thread_.reset();
    }
}

void InProcessTransmitter::Nudge() {
    peer_->Wake();
}

void InProcessTransmitter::Serve() {
    std::vector<BYTE> buffer(4096);
    while (!stop_.load()) {
        std::vector<BYTE> out;
        std::optional<Micros> wake;
        {
            std::lock_guard lock(mutex_);
            device_->Poll();
            out = device_->TakeDueOutput();
            wake = device_->NextWake();
        }
        if (!out.empty()) {
            peer_->Write(out.data(), out.size());
        }
        DWORD timeoutMs = INFINITE;
        if (wake) {
            const Micros left = *wake - host::NowMicros();
            if (left <= 0) {
                continue;  // already due: act on it before listening again
            }
            // Round up, so the thread never wakes a hair early and spins.
            timeoutMs = static_cast<DWORD>(std::min<Micros>((left + 999) / 1000, INFINITE - 1));
        }
        const std::size_t count = peer_->Read(buffer.data(), buffer.size(), timeoutMs);
        if (stop_.load()) {
            break;
        }
        if (count > 0) {
            std::lock_guard lock(mutex_);
            device_->Receive(std::span<const BYTE>(buffer.data(), count));
        }
    }
}

std::vector<TranscriptEntry> InProcessTransmitter::Transcript() {
    return With([](Transmitter& t) { return t.Transcript(); });
}

std::vector<DownlinkEntry> InProcessTransmitter::Downlink() {
    return With([](Transmitter& t) { return t.Downlink(); });
}

ConfigStore InProcessTransmitter::Config() {
    return With([](Transmitter& t) { return t.Config(); });
}

Counters InProcessTransmitter::Counts() {
    return With([](Transmitter& t) { return t.Counts(); });
}

void InProcessTransmitter::InjectFault(const Fault& fault) {
    With([&fault](Transmitter& t) { t.InjectFault(fault); });
}

void InProcessTransmitter::ClearFaults() {
    With([](Transmitter& t) { t.ClearFaults(); });
}

void InProcessTransmitter::SetClockOffset(std::int64_t offsetMs) {
    With([offsetMs](Transmitter& t) { t.SetClockOffset(offsetMs); });
}

void InProcessTransmitter::SetClockDrift(double ppm) {
    With([ppm](Transmitter& t) { t.SetClockDrift(ppm); });
}

void InProcessTransmitter::SetClockValid(bool valid) {
    With([valid](Transmitter& t) { t.SetClockValid(valid); });
}

void InProcessTransmitter::SetResetSilence(DWORD ms) {
    With([ms](Transmitter& t) { t.SetResetSilence(ms); });
}

}  // namespace tarvo::sim
