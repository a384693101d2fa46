#include "sim/faces/in_process_transmitter.h"

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
    {
        std::lock_guard lock(mutex_);
        Turn(host::NowMicros());
    }
    // Logger time is stamped on everything the device records, so what happened before a clock
    // set must be recorded under the time it happened in.
    clockSetSubscription_ = host::SubscribeBeforeTimeSet([this] { CatchUp(); });
    peer_->AttachPassive(this);
}

void InProcessTransmitter::Stop() {
    {
        std::lock_guard lock(mutex_);
        if (stopped_) {
            return;
        }
        BringUpToNow();
        stopped_ = true;
    }
    // Outside the device's lock: detaching waits for a catch-up that may be waiting for it.
    peer_->AttachPassive(nullptr);
    host::UnsubscribeBeforeTimeSet(clockSetSubscription_);
}

void InProcessTransmitter::CatchUp() {
    std::lock_guard lock(mutex_);
    BringUpToNow();
}

Micros InProcessTransmitter::NextEvent() {
    std::lock_guard lock(mutex_);
    return stopped_ ? -1 : NextEventLocked();
}

Micros InProcessTransmitter::NextEventLocked() const {
    return host::EarlierDeadline(peer_->NextArrival(), wake_.value_or(-1));
}

Micros InProcessTransmitter::BringUpToNow() {
    const Micros now = host::NowMicros();
    if (stopped_) {
        return now;
    }
    // Bytes towards the device are taken only here, so the first one's arrival moves only by a
    // take, which tells it in the same step.
    Micros arrival = peer_->NextArrival();
    for (;;) {
        const Micros next = host::EarlierDeadline(arrival, wake_.value_or(-1));
        if (next < 0 || next > now) {
            break;
        }
        // A read returns what has arrived even when its time-out falls due at the same moment.
        if (arrival == next) {
            const std::size_t count =
                peer_->TakeArrivedBy(buffer_.data(), buffer_.size(), next, &arrival);
            time_.Pin(next);
            // Receiving acts on what is due first, so the turn's own Poll would find nothing.
            device_->Receive(std::span<const BYTE>(buffer_.data(), count));
            Deliver(next);
        } else {
            Turn(next);
            arrival = peer_->NextArrival();
        }
    }
    time_.Unpin();
    return now;
}

void InProcessTransmitter::Turn(Micros at) {
    time_.Pin(at);
    device_->Poll();
    Deliver(at);
}

void InProcessTransmitter::Deliver(Micros at) {
    for (;;) {
        out_.clear();
        device_->TakeDueOutput(out_);
        if (!out_.empty()) {
            peer_->WriteAt(out_.data(), out_.size(), at);
        }
        const std::optional<Micros> wake = device_->NextWake();
        if (!wake) {
            wake_.reset();
            break;
        }
        const Micros left = *wake - at;
        if (left > 0) {
            // Rounded up, as a wait in whole milliseconds would be: never a hair early.
            wake_ = at + (left + 999) / 1000 * 1000;
            break;
        }
        device_->Poll();
    }
    time_.Unpin();
}

void InProcessTransmitter::Replan(Micros at) {
    if (!stopped_) {
        Turn(at);
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
