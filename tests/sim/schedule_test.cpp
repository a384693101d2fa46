// Self-timed windows: where they lie, what 219 answers, and which loads make their window.
#include <gtest/gtest.h>

#include <string>

#include "sim/model/self_timed_schedule.h"
#include "sim/support/device_fixture.h"

using namespace tarvo::sim;
using namespace simtest;

namespace {

SelfTimedConfig Schedule(std::int64_t first, std::int64_t interval, std::int64_t window,
                         bool centred) {
    return {.intervalSeconds = interval,
            .firstSeconds = first,
            .windowSeconds = window,
            .centred = centred};
}

}  // namespace

TEST(SelfTimedSchedule, ClosesWindowsWhereTheSettingsPutThem) {
    const SelfTimedConfig hourly = Schedule(0, 3600, 60, false);
    const struct {
        const char* legend;
        SelfTimedConfig config;
        std::int64_t at;
        std::int64_t close;  // expected, or -1 for no schedule
    } rows[] = {
        {"exactly at a close: the next window", hourly, Ms(2024, 3, 1, 12, 1, 0),
         Ms(2024, 3, 1, 13, 1, 0)},
        {"a millisecond before a close: that close", hourly, Ms(2024, 3, 1, 13, 1, 0) - 1,
         Ms(2024, 3, 1, 13, 1, 0)},
        {"centred: the slot is the window's middle", Schedule(0, 3600, 60, true),
         Ms(2024, 3, 1, 11, 59, 20), Ms(2024, 3, 1, 12, 0, 30)},
        {"centred, odd length: opens floor(W/2) before the slot", Schedule(0, 3600, 61, true),
         Ms(2024, 3, 1, 12, 0, 0), Ms(2024, 3, 1, 12, 0, 31)},
        {"across midnight into March of a leap year", Schedule(86390, 86400, 30, false),
         Ms(2024, 2, 29, 23, 59, 55), Ms(2024, 3, 1, 0, 0, 20)},
        {"centred across midnight into a new year", Schedule(0, 86400, 120, true),
         Ms(2023, 12, 31, 23, 59, 30), Ms(2024, 1, 1, 0, 1, 0)},
        {"7 h interval carries on across midnight (21:00 then 04:00)",
         Schedule(0, 25200, 60, false), Ms(2024, 2, 29, 21, 30, 0), Ms(2024, 3, 1, 4, 1, 0)},
        {"90 min interval, 10 min offset (22:40 then 00:10)", Schedule(600, 5400, 30, false),
         Ms(2024, 2, 29, 23, 50, 0), Ms(2024, 3, 1, 0, 10, 30)},
        {"window as long as the interval", Schedule(0, 60, 60, false), Ms(2024, 3, 1, 12, 0, 0),
         Ms(2024, 3, 1, 12, 1, 0)},
        {"no interval: no schedule", Schedule(0, 0, 60, false), 0, -1},
        {"no window: no schedule", Schedule(0, 3600, 0, false), 0, -1},
        {"window longer than the interval: no schedule", Schedule(0, 60, 61, false), 0, -1},
    };
    for (const auto& row : rows) {
        const auto window = WindowClosingAfter(row.config, row.at);
        EXPECT_EQ(window ? window->closeMs : -1, row.close) << row.legend;
        if (window) {
            EXPECT_EQ(window->closeMs - window->openMs, row.config.windowSeconds * 1000)
                << row.legend;
        }
    }
}

namespace {

class SelfTimedDevice : public DeviceTest {
  protected:
    // Channel 151, type 300, battery voltage appended, SHEF, and windows as given; then the
    // master switch on.
    void Upload(std::int64_t first, std::int64_t interval, std::int64_t window, bool centred) {
        const std::pair<std::uint16_t, Bytes> writes[] = {
            {202, U16(151)}, {206, SpanOf(first)},  {204, SpanOf(interval)},
            {208, U16(300)}, {212, SpanOf(window)}, {214, U8(centred)},
            {223, U8(1)},    {225, U8(0)},          {42, U32(0x1234ABCD)},
            {232, U8(2)},    {251, U16(7)},         {200, U8(1)}};
        for (const auto& [type, payload] : writes) {
            ASSERT_EQ(Ask(type, payload, 10), Bytes{1}) << "code " << type;
        }
        ASSERT_EQ(Ask(770, {}, 10), Bytes{});
    }
    // Advances to a device time of the test day (2024-03-01).
    void AdvanceTo(int hour, int minute, int second) {
        Advance(Ms(2024, 3, 1, hour, minute, second) - device_->DeviceTimeMs());
    }
    Bytes Load(const std::string& text) { return Ask(216, Text(text), 10); }
};

}  // namespace

TEST_F(SelfTimedDevice, SendsAMessageLoadedInTimeAndCountsLateOrEmptyWindowsMissed) {
    Upload(0, 3600, 60, false);
    EXPECT_EQ(Ask(219, {}, 10), Time7(2024, 3, 1, 12, 1, 0)) << "the close of the next window";

    AdvanceTo(12, 0, 35);  // 25 s before the 12:01:00 close
    EXPECT_EQ(Load("FIRST"), Bytes{1});
    AdvanceTo(13, 1, 5);  // 5 s after the 13:01:00 close
    EXPECT_EQ(Load("SECOND"), Bytes{1});
    AdvanceTo(15, 0, 50);  // exactly at the load deadline (10 s before the close)
    EXPECT_EQ(Load("THIRD"), Bytes{1});
    AdvanceTo(16, 0, 50);
    Advance(1);  // a millisecond after it
    EXPECT_EQ(Load("FOURTH"), Bytes{1});
    AdvanceTo(17, 30, 0);

    EXPECT_EQ(Downlink(), (std::vector<std::string>{
                              "self-timed sent 151/300 FIRST",
                              "self-timed empty 151/300 ",       // SECOND came after this close...
                              "self-timed sent 151/300 SECOND",  // ...and went in the next window
                              "self-timed sent 151/300 THIRD",
                              "self-timed late 151/300 ",
                              "self-timed sent 151/300 FOURTH",
                          }));
    const auto& log = device_->Downlink();
    for (std::size_t i = 0; i < log.size(); ++i) {
        EXPECT_EQ(log[i].windowCloseMs, Ms(2024, 3, 1, 12 + static_cast<int>(i), 1, 0)) << i;
        EXPECT_EQ(log[i].deviceMs, log[i].windowCloseMs) << i << ": logged as the window closes";
    }
    EXPECT_EQ(ToJson(log[0]),
              "{\"log\":\"downlink\",\"time\":\"2024-03-01T12:01:00.000\","
              "\"device_time\":\"2024-03-01T12:01:00.000\",\"kind\":\"self-timed\",\"sent\":true,"
              "\"channel\":151,\"type\":300,\"bytes\":\"4649525354\","
              "\"window_open\":\"2024-03-01T12:00:00.000\","
              "\"window_close\":\"2024-03-01T12:01:00.000\",\"battery\":true,"
              "\"position\":false,\"data_format\":2,\"secondary_id\":\"1234abcd\","
              "\"scd_channel\":7}");
    EXPECT_NE(ToJson(log[1]).find("\"sent\":false,\"reason\":\"empty\""), std::string::npos);
    EXPECT_EQ(device_->Counts().selfTimedSent, 4u);
    EXPECT_EQ(device_->Counts().selfTimedMissed, 2u);

    EXPECT_EQ(Ask(219, {}, 10), Time7(2024, 3, 1, 18, 1, 0));
    device_->SetClockTime(Ms(2024, 3, 1, 23, 30, 0));
    EXPECT_EQ(Ask(219, {}, 10), Time7(2024, 3, 2, 0, 1, 0)) << "across midnight";
    device_->SetClockValid(false);
    EXPECT_EQ(Ask(219, {}, 10), Bytes(7, 0)) << "zero without valid time, as without a schedule";
}

TEST_F(SelfTimedDevice, TransmitsOnlyWhileSwitchedOn) {
    Upload(0, 600, 30, true);
    Load("ON");  // the 12:00 slot's centred window is open: 11:59:45 to 12:00:15
    AdvanceTo(12, 0, 30);
    ASSERT_EQ(Downlink(), (std::vector<std::string>{"self-timed sent 151/300 ON"}));
    EXPECT_EQ(device_->Downlink()[0].windowOpenMs, Ms(2024, 3, 1, 11, 59, 45));

    EXPECT_EQ(Ask(771, {}, 10), Bytes{1});
    Load("OFF");
    AdvanceTo(13, 0, 0);
    EXPECT_EQ(device_->Downlink().size(), 1u) << "no window is served with the master off";
    EXPECT_EQ(device_->SelfTimedBuffer(), Text("OFF")) << "the buffer is kept";
}
