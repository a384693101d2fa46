// A transmitter on a hand-moved clock, with the line's output collected: for tests of the model
// that need no host. Time moves only through Advance, which stops at every instant the device
// asked to be woken, as a face would.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "sim/support/wire.h"
#include "sim/time_source.h"
#include "sim/transmitter.h"

namespace simtest {

class DeviceTest : public ::testing::Test {
  protected:
    // Logger and device start at 2024-03-01 12:00:00.
    static constexpr std::int64_t kStartMs = 1'709'294'400'000;

    void SetUp() override { Make(); }
    // A new device, and the clock back at the start.
    void Make(tarvo::sim::TransmitterOptions options = {});

    // Feeds `bytes` now, then lets `afterMs` pass; returns what the device put on the line.
    Bytes Send(const Bytes& bytes, std::int64_t afterMs = 50);
    // One request with the next packet number; returns the line's bytes.
    Bytes Exchange(std::uint16_t type, const Bytes& payload = {}, std::int64_t afterMs = 50);
    // The reply expected for the last request sent by Exchange. The packet number is read only
    // when compared, so `EXPECT_EQ(Exchange(...), Expect(...))` holds in either evaluation order.
    ExpectedReply Expect(std::uint16_t type, const Bytes& payload) const {
        return ExpectedReply{type, payload, &number_};
    }
    // Lets `ms` pass, acting at each wake; collects output into line_.
    void Advance(std::int64_t ms);
    // Device time now in ms, logger time now in ms.
    std::int64_t LoggerMs() const { return time_.LoggerMs(); }

    tarvo::sim::ManualTimeSource time_{kStartMs};
    std::unique_ptr<tarvo::sim::Transmitter> device_;
    Bytes line_;
    std::uint8_t number_ = 0;
};

}  // namespace simtest
