// Self-timed windows: where they lie, what 219 answers, and which loads make their window.
#include <gtest/gtest.h>

#include <string>

#include "sim/self_timed_schedule.h"
#include "sim/support/device_fixture.h"
#include "sim/support/wire.h"

using namespace tarvo::sim;
using namespace simtest;

namespace {

SelfTimedConfig Schedule(std::int64_t first, std::int64_t interval, std::int64_t window,
                         bool centred) {
    SelfTimedConfig config;
    config.firstSeconds = first;
    config.intervalSeconds = interval;
    config.windowSeconds = window;
    config.centred = centred;
    return config;
}

std::int64_t Ms(int y, int mo, int d, int h, int mi, int s) {
    return Epoch(y, mo, d, h, mi, s) * 1000;
}

}  // namespace

TEST(SelfTimedSchedule, ClosesWindowsWhereTheSettingsPutThem) {
    struct Row {
        const char* legend;
        SelfTimedConfig config;
        std::int64_t at;
        std::int64_t close;  // expected, or -1 for no schedule
    };
    const Row rows[] = {
        {"inside a window: its own close", Schedule(0, 3600, 60, false), Ms(2024, 3, 1, 12, 0, 30),
         Ms(2024, 3, 1, 12, 1, 0)},
        {"exactly at a close: the next window", Schedule(0, 3600, 60, false),
         Ms(2024, 3, 1, 12, 1, 0), Ms(2024, 3, 1, 13, 1, 0)},
        {"between windows: the next", Schedule(0, 3600, 60, false), Ms(2024, 3, 1, 12, 30, 0),
         Ms(2024, 3, 1, 13, 1, 0)},
        {"a millisecond before a close: that close", Schedule(0, 3600, 60, false),
         Ms(2024, 3, 1, 13, 1, 0) - 1, Ms(2024, 3, 1, 13, 1, 0)},
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
        {"no interval: no schedule", Schedule(0, 0, 60, false), Ms(2024, 3, 1, 12, 0, 0), -1},
        {"no window: no schedule", Schedule(0, 3600, 0, false), Ms(2024, 3, 1, 12, 0, 0), -1},
        {"window longer than the interval: no schedule", Schedule(0, 60, 61, false),
         Ms(2024, 3, 1, 12, 0, 0), -1},
    };
    for (const Row& row : rows) {
        const auto window = WindowClosingAfter(row.config, row.at);
        if (row.close < 0) {
            EXPECT_FALSE(window.has_value()) << row.legend;
            continue;
        }
        ASSERT_TRUE(window.has_value()) << row.legend;
        EXPECT_EQ(window->closeMs, row.close) << row.legend;
        EXPECT_EQ(window->closeMs - window->openMs, row.config.windowSeconds * 1000) << row.legend;
    }
}

namespace {

class SelfTimedDevice : public DeviceTest {
  protected:
    // Hourly windows of 60 s starting on the hour, uncentred, battery voltage appended.
    void Upload(std::int64_t first = 0, std::int64_t interval = 3600, std::int64_t window = 60,
                bool centred = false) {
        const std::pair<std::uint16_t, Bytes> writes[] = {
            {202, U16(151)},
            {206, SpanOf(first)},
            {204, SpanOf(interval)},
            {208, U16(300)},
            {212, SpanOf(window)},
            {214, {centred ? std::uint8_t{1} : std::uint8_t{0}}},
            {223, {1}},
            {225, {0}},
            {42, U32(0x1234ABCD)},
            {232, {2}},
            {251, U16(7)},
            {200, {1}},
        };
        for (const auto& [type, payload] : writes) {
            ASSERT_EQ(Exchange(type, payload, 10), Expect(type, {1})) << "code " << type;
        }
        ASSERT_EQ(Exchange(770, {}, 10), Expect(770, {}));
    }
    // Advances to a device time of the test day (2024-03-01).
    void AdvanceTo(int hour, int minute, int second) {
        Advance(Ms(2024, 3, 1, hour, minute, second) - device_->DeviceTimeMs());
    }
    Bytes Load(const std::string& text) { return Exchange(216, Text(text), 10); }
};

}  // namespace

TEST_F(SelfTimedDevice, AnswersTheCloseOfTheCurrentOrNextWindow) {
    Upload(0, 3600, 60, false);
    EXPECT_EQ(Exchange(219, {}, 10), Expect(219, Time7(2024, 3, 1, 12, 1, 0)));
    AdvanceTo(12, 1, 0);
    EXPECT_EQ(Exchange(219, {}, 10), Expect(219, Time7(2024, 3, 1, 13, 1, 0)));
    EXPECT_EQ(Exchange(31, {}, 10), Expect(31, Time7(2024, 3, 1, 12, 1, 0)));

    // A device clock set across midnight answers the next day's window.
    device_->SetClockTime(Ms(2024, 3, 1, 23, 30, 0));
    EXPECT_EQ(Exchange(219, {}, 10), Expect(219, Time7(2024, 3, 2, 0, 1, 0)));

    // Without valid time it answers zero, as it does without a schedule.
    device_->SetClockValid(false);
    EXPECT_EQ(Exchange(219, {}, 10), Expect(219, Bytes(7, 0)));
}

TEST_F(SelfTimedDevice, SendsAMessageLoadedInTimeAndCountsLateOrEmptyWindowsMissed) {
    Upload(0, 3600, 60, false);

    AdvanceTo(12, 0, 35);  // 25 s before the 12:01:00 close
    EXPECT_EQ(Load("FIRST"), Expect(216, {1}));
    AdvanceTo(12, 59, 0);

    AdvanceTo(13, 1, 5);  // 5 s after the 13:01:00 close
    EXPECT_EQ(Load("SECOND"), Expect(216, {1}));
    AdvanceTo(14, 30, 0);

    AdvanceTo(15, 0, 55);  // after the load deadline (10 s before the close), before the close
    EXPECT_EQ(Load("THIRD"), Expect(216, {1}));
    AdvanceTo(16, 30, 0);

    struct Row {
        int closeHour;
        bool sent;
        const char* reason;
        const char* bytes;
    };
    const Row expected[] = {
        {12, true, "", "FIRST"},  {13, false, "empty", ""},  // SECOND came after this close...
        {14, true, "", "SECOND"},                            // ...and went in the next window
        {15, false, "late", ""},  {16, true, "", "THIRD"},
    };
    const auto& log = device_->Downlink();
    ASSERT_EQ(log.size(), std::size(expected));
    for (std::size_t i = 0; i < log.size(); ++i) {
        SCOPED_TRACE("window closing at " + std::to_string(expected[i].closeHour) + ":01");
        EXPECT_EQ(log[i].kind, DownlinkKind::SelfTimed);
        EXPECT_EQ(log[i].windowOpenMs, Ms(2024, 3, 1, expected[i].closeHour, 0, 0));
        EXPECT_EQ(log[i].windowCloseMs, Ms(2024, 3, 1, expected[i].closeHour, 1, 0));
        EXPECT_EQ(log[i].deviceMs, log[i].windowCloseMs) << "logged as the window closes";
        EXPECT_EQ(log[i].sent, expected[i].sent);
        EXPECT_EQ(log[i].reason, expected[i].reason);
        EXPECT_EQ(log[i].bytes, Text(expected[i].bytes));
        EXPECT_EQ(log[i].channel, 151);
        EXPECT_EQ(log[i].typeCode, 300);
        EXPECT_TRUE(log[i].battery);
        EXPECT_FALSE(log[i].position);
        EXPECT_EQ(log[i].dataFormat, 2);
        EXPECT_EQ(log[i].secondaryId, 0x1234ABCDu);
        EXPECT_EQ(log[i].scdChannel, 7);
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
    EXPECT_EQ(device_->Counts().selfTimedSent, 3u);
    EXPECT_EQ(device_->Counts().selfTimedMissed, 2u);
}

TEST_F(SelfTimedDevice, TheLoadDeadlineIsTheCloseMinusTheMargin) {
    struct Row {
        const char* legend;
        std::int64_t loadBeforeCloseMs;
        bool sent;
    };
    const Row rows[] = {
        {"25 s before the close", 25'000, true},
        {"exactly at the deadline", 10'000, true},
        {"one millisecond after the deadline", 9'999, false},
    };
    for (const Row& row : rows) {
        Make();
        Upload(0, 3600, 60, false);
        Advance(Ms(2024, 3, 1, 12, 1, 0) - row.loadBeforeCloseMs - device_->DeviceTimeMs());
        ++number_;
        device_->Receive(Request(number_, 216, Text("M")));
        Advance(60'000);
        ASSERT_FALSE(device_->Downlink().empty()) << row.legend;
        EXPECT_EQ(device_->Downlink()[0].sent, row.sent) << row.legend;
    }
}

TEST_F(SelfTimedDevice, TransmitsOnlyWhileSwitchedOn) {
    Upload(0, 600, 30, true);
    Load("ON");  // the 12:00 slot's centred window is open: 11:59:45 to 12:00:15
    AdvanceTo(12, 0, 30);
    ASSERT_EQ(device_->Downlink().size(), 1u);
    EXPECT_TRUE(device_->Downlink()[0].sent);
    EXPECT_EQ(device_->Downlink()[0].windowOpenMs, Ms(2024, 3, 1, 11, 59, 45));

    EXPECT_EQ(Exchange(771, {}, 10), Expect(771, {1}));
    Load("OFF");
    AdvanceTo(13, 0, 0);
    EXPECT_EQ(device_->Downlink().size(), 1u) << "no window is served with the master off";
    EXPECT_EQ(device_->SelfTimedBuffer(), Text("OFF")) << "the buffer is kept";
}
