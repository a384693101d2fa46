// A transmitter on a hand-moved clock, with the line's output collected: for tests of the model
// that need no host. Time moves only through Advance, which stops at every instant the device
// asked to be woken, as a face would.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "sim/model/time_source.h"
#include "sim/model/transmitter.h"
#include "sim/support/wake_loop.h"
#include "sim/support/wire.h"

namespace simtest {

class DeviceTest : public ::testing::Test {
  protected:
    // Logger and device start at 2024-03-01 12:00:00.
    static constexpr std::int64_t kStartMs = 1'709'294'400'000;

    void SetUp() override { Make(); }
    // A new device, the clock back at the start and packet numbers from 1 again.
    void Make(tarvo::sim::TransmitterOptions options = {}) {
        device_.reset();
        time_ = tarvo::sim::ManualTimeSource(kStartMs);
        device_ = std::make_unique<tarvo::sim::Transmitter>(time_, std::move(options));
        line_.clear();
        number_ = 0;
    }

    // Feeds `bytes` now, then lets `afterMs` pass; returns what the device put on the line.
    Bytes Send(const Bytes& bytes, std::int64_t afterMs = 50) {
        line_.clear();
        device_->Receive(bytes);
        Advance(afterMs);
        return line_;
    }
    // One request with the next packet number: what the line answers (see PayloadOf).
    Bytes Ask(std::uint16_t type, const Bytes& payload = {}, std::int64_t afterMs = 50) {
        const Bytes line = Send(Request(++number_, type, payload), afterMs);
        return PayloadOf(line, number_, type);
    }
    // Lets `ms` pass, acting at each wake; collects output into line_.
    void Advance(std::int64_t ms) {
        AdvanceDevice(time_, *device_, ms, [this](const Bytes& out) {
            line_.insert(line_.end(), out.begin(), out.end());
        });
    }
    // Each downlink entry as "kind sent|reason channel/type bytes".
    std::vector<std::string> Downlink() const {
        std::vector<std::string> entries;
        for (const tarvo::sim::DownlinkEntry& e : device_->Downlink()) {
            entries.push_back(std::string(DownlinkKindName(e.kind)) + " " +
                              (e.sent ? "sent" : e.reason) + " " + std::to_string(e.channel) + "/" +
                              std::to_string(e.typeCode) + " " +
                              std::string(e.bytes.begin(), e.bytes.end()));
        }
        return entries;
    }

    tarvo::sim::ManualTimeSource time_{kStartMs};
    std::unique_ptr<tarvo::sim::Transmitter> device_;
    Bytes line_;
    std::uint8_t number_ = 0;
};

}  // namespace simtest
