#include "core/corvane.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/clock.h"
#include "host/report_sinks.h"
#include "host/serial_ports.h"
#include "link/command_codes.h"
#include "link/support/scripted_peer.h"
#include "platform/clock.h"
#include "platform/engine.h"

namespace {

using corvane::CommandResult;
using linktest::Bytes;
using linktest::ScriptedPeer;
using tarvo::host::Micros;

constexpr Micros kMs = 1000;

TEST(DeviceObject, ConstructionValuesAndTheResetForAFreshSetupDiffer) {
    CCorvane corvane;
    EXPECT_EQ(corvane.Port, 0);
    EXPECT_EQ(corvane.SatID, L"00000000");
    EXPECT_TRUE(corvane.InitCorvane);
    EXPECT_EQ(corvane.LTO, 0);
    EXPECT_FALSE(corvane.IsRunning());
    EXPECT_FALSE(corvane.HasTimeBeenObtained());
    EXPECT_EQ(corvane.GetPacketNumber(), 0);
    EXPECT_FALSE(corvane.IsPortOpen());
    EXPECT_TRUE(corvane.SelfTimed().StopEvent().IsSet()) << "messengers are created stopped";
    EXPECT_TRUE(corvane.Random().StopEvent().IsSet());

    // Change everything, including both antennas, then reset for a fresh setup.
    corvane.Port = 5;
    corvane.SatID = L"DEADBEEF";
    corvane.InitCorvane = false;
    corvane.LTO = -7;
    SelfTimedSettings& st = corvane.SelfTimed().Settings();
    RandomSettings& rt = corvane.Random().Settings();
    EXPECT_EQ(st.Rate, L"01:00:00");
    EXPECT_EQ(st.WinLen, L"00:00:10");
    EXPECT_EQ(st.NumVals, 8);
    st = SelfTimedSettings{true,     true,        true,        9,     4,
                           L"INSAT", L"01:02:03", L"00:30:00", false, L"00:00:20",
                           3,        true,        L"ABCDEF01", 7,     2};
    rt = RandomSettings{true, true, true, 9, 8, 1, L"06:00:00", L"00:30:00", 9, L"00:02:00", 4, 2};

    ASSERT_TRUE(corvane.InitSetup());
    EXPECT_EQ(corvane.Port, 0);
    EXPECT_EQ(corvane.SatID, L"00000000");
    EXPECT_TRUE(corvane.InitCorvane);
    EXPECT_EQ(corvane.LTO, 0);

    SelfTimedSettings expectedSt;  // the reset column: differs from construction in three fields
    expectedSt.Rate = L"04:00:00";
    expectedSt.WinLen = L"00:01:00";
    expectedSt.NumVals = 1;
    expectedSt.Antenna = 2;  // kept
    EXPECT_EQ(st, expectedSt);
    RandomSettings expectedRt;
    expectedRt.Antenna = 2;  // kept
    EXPECT_EQ(rt, expectedRt);
}

class Device : public ::testing::Test {
  protected:
    Device() {
        line_ = tarvo::host::MapPortToMemory(L"COM2:", false);
        peer_ = std::make_unique<ScriptedPeer>(line_);
        corvane_ = std::make_unique<CCorvane>();
    }
    ~Device() override {
        corvane_.reset();
        peer_.reset();
        tarvo::host::ClearPortMap();
    }
    Micros Now() const { return tarvo::host::NowMicros(); }

    tarvo::host::ScopedVirtualClock clock_{TTime(2024, 6, 1, 12, 0, 0)};
    tarvo::host::LogCapture log_;
    std::shared_ptr<tarvo::host::SerialPeer> line_;
    std::unique_ptr<ScriptedPeer> peer_;
    std::unique_ptr<CCorvane> corvane_;
};

TEST_F(Device, ExchangesGoThroughThePortThatPortNames) {
    auto com3 = tarvo::host::MapPortToMemory(L"COM3:", false);
    ScriptedPeer peer3(com3);
    peer3.Otherwise(linktest::Echo());
    peer_->Otherwise(linktest::Echo());

    corvane_->Port = 1;
    CPacket reply;
    EXPECT_TRUE(corvane_->Exchange(CPacket(corvane::cmd::kStatus), reply, false));
    EXPECT_EQ(peer3.Requests().size(), 1u);
    EXPECT_TRUE(peer_->Requests().empty());
    peer3.Stop();
}

TEST_F(Device, ExchangeUsesTheDeviceSessionLock) {
    ASSERT_TRUE(corvane_->SessionLock().Lock(0));
    const Micros start = Now();
    CPacket reply;
    EXPECT_FALSE(corvane_->Exchange(CPacket(corvane::cmd::kStatus), reply, false, 5000));
    EXPECT_EQ(Now() - start, 5000 * kMs);
    EXPECT_TRUE(peer_->Requests().empty());
    corvane_->SessionLock().Unlock();
}

TEST_F(Device, SatelliteIdAndOffsetAreBothSentEvenWhenTheFirstFails) {
    corvane_->SatID = L"0000ABCD";
    corvane_->LTO = -5;
    peer_->Then(3, linktest::Silence());  // 40 goes unanswered three times
    peer_->Otherwise(linktest::Echo());
    EXPECT_FALSE(corvane_->SendSatIdAndOffset());
    EXPECT_TRUE(corvane_->SendSatIdAndOffset());

    const auto requests = peer_->Requests();
    ASSERT_EQ(requests.size(), 6u);
    for (int i : {0, 1, 2, 4}) {
        EXPECT_EQ(requests[i].type, 40);
        EXPECT_EQ(requests[i].payload, (Bytes{0x00, 0x00, 0xAB, 0xCD}));
    }
    for (int i : {3, 5}) {
        EXPECT_EQ(requests[i].type, 37);
        EXPECT_EQ(requests[i].payload, (Bytes{0xFF, 0xFB}));
    }
}

TEST_F(Device, MessagesLoadAsSingleByteTextIntoTheirOwnBuffer) {
    peer_->Otherwise(linktest::Echo());
    EXPECT_TRUE(corvane_->LoadMessage(L"HG 12.5 \"x\"", true, false));
    EXPECT_TRUE(corvane_->LoadMessage(L"@A/", false, false));
    const auto requests = peer_->Requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].type, 216);
    EXPECT_EQ(requests[0].payload, linktest::TextBytes("HG 12.5 \"x\""));
    EXPECT_EQ(requests[1].type, 312);
    EXPECT_EQ(requests[1].payload, linktest::TextBytes("@A/"));
}

TEST_F(Device, FailedMessageLoadWaitsTheDeadTimeOnlyWhenAsked) {
    corvane_->Port = 3;  // nothing there
    GetEngine().Run();   // recording: the engine's stop event is clear
    Micros start = Now();
    EXPECT_FALSE(corvane_->LoadMessage(L"x", true, false));
    EXPECT_EQ(Now(), start);
    EXPECT_FALSE(corvane_->LoadMessage(L"x", true, true));
    EXPECT_EQ(Now() - start, 30000 * kMs);

    // Recording stops 3 s into the next dead time.
    TThread stopper(
        [] {
            Sleep(3000);
            GetEngine().Stop();
        },
        "engine stop");
    start = Now();
    EXPECT_FALSE(corvane_->LoadMessage(L"x", false, true));
    EXPECT_EQ(Now() - start, 3000 * kMs);
    stopper.Join();
    EXPECT_EQ(log_.Count(TReportLevel::Debug, "WaitForDeadtime(): received stop signal."), 1u);

    // While recording is stopped the dead time is no wait at all.
    start = Now();
    EXPECT_TRUE(corvane_->WaitForDeadtime());
    EXPECT_EQ(Now(), start);
}

struct MasterStartRow {
    const char* legend;
    linktest::Responder responder;
    CommandResult result;
    std::wstring reason;
};

TEST_F(Device, MasterStartIsRefusedOnlyByAReasonText) {
    const MasterStartRow rows[] = {
        {"empty reply", linktest::Reply(770), CommandResult::Accepted, L""},
        {"one byte", linktest::Reply(770, {0x00}), CommandResult::Accepted, L""},
        {"a transmitter that does not know the command",
         linktest::Reply(770, linktest::TextBytes("Unknown command")), CommandResult::Accepted,
         L""},
        {"that text with a character added",
         linktest::Reply(770, linktest::TextBytes("Unknown commands")), CommandResult::Refused,
         L"Unknown commands"},
        {"a reason", linktest::Reply(770, linktest::TextBytes("Transmission in progress")),
         CommandResult::Refused, L"Transmission in progress"},
        {"no reply", linktest::Silence(), CommandResult::LinkFailed, L""},
    };
    for (const MasterStartRow& row : rows) {
        SCOPED_TRACE(row.legend);
        peer_->Otherwise(row.responder);
        std::wstring reason;
        EXPECT_EQ(corvane_->MasterStart(reason), row.result);
        EXPECT_EQ(reason, row.reason);
        EXPECT_EQ(peer_->Requests().back().type, 770);
        EXPECT_TRUE(peer_->Requests().back().payload.empty());
    }
}

TEST_F(Device, CheckedCommandsAreRefusedByAFalseFirstByte) {
    const struct {
        const char* legend;
        Bytes reply;
        bool checked;
        CommandResult result;
    } rows[] = {
        {"checked, false", {0x00}, true, CommandResult::Refused},
        {"checked, 0x02", {0x02}, true, CommandResult::Accepted},
        {"checked, empty", {}, true, CommandResult::Accepted},
        {"unchecked, false", {0x00}, false, CommandResult::Accepted},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.legend);
        peer_->Otherwise(linktest::Reply(200, row.reply));
        EXPECT_EQ(corvane_->SendCommand(
                      corvane::MakeBoolRequest(corvane::cmd::kSelfTimedEnable, false), row.checked),
                  row.result);
        EXPECT_EQ(peer_->Requests().back().payload, Bytes{0x00});
    }
}

}  // namespace
