#include "sim/support/device_fixture.h"

namespace simtest {

void DeviceTest::Make(tarvo::sim::TransmitterOptions options) {
    device_.reset();
    time_ = tarvo::sim::ManualTimeSource(kStartMs);
    device_ = std::make_unique<tarvo::sim::Transmitter>(time_, std::move(options));
    line_.clear();
}

Bytes DeviceTest::Send(const Bytes& bytes, std::int64_t afterMs) {
    line_.clear();
    device_->Receive(bytes);
    Advance(afterMs);
    return line_;
}

Bytes DeviceTest::Exchange(std::uint16_t type, const Bytes& payload, std::int64_t afterMs) {
    ++number_;
    return Send(Request(number_, type, payload), afterMs);
}

void DeviceTest::Advance(std::int64_t ms) {
    const tarvo::sim::Micros end = time_.MonotonicMicros() + ms * 1000;
    while (true) {
        device_->Poll();
        const Bytes out = device_->TakeDueOutput();
        line_.insert(line_.end(), out.begin(), out.end());
        const auto wake = device_->NextWake();
        const tarvo::sim::Micros now = time_.MonotonicMicros();
        if (!wake || *wake > end) {
            time_.AdvanceMicros(end - now);
            device_->Poll();
            const Bytes last = device_->TakeDueOutput();
            line_.insert(line_.end(), last.begin(), last.end());
            return;
        }
        if (*wake > now) {
            time_.AdvanceMicros(*wake - now);
        }
    }
}

}  // namespace simtest
