#include "corvane/link/packet_comm.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "corvane/link/support/scripted_peer.h"
#include "platform/clock.h"
#include "platform/sync.h"

namespace {

using linktest::Bytes;
using linktest::Reply;
using linktest::TextBytes;
using tarvo::host::Micros;

constexpr Micros kMs = 1000;
// One byte at 9600 baud, 8N1: ten bit times.
constexpr double kByteMs = 10.0 * 1000.0 / 9600.0;

class PacketLink : public linktest::PeerTest {
  protected:
    // A link open on a fresh line.
    std::unique_ptr<CPacketComm> Open(bool lineSpeed) {
        Attach(lineSpeed);
        auto link = std::make_unique<CPacketComm>();
        EXPECT_TRUE(link->OpenLinkPort(L"COM2:"));
        return link;
    }

    CPacket reply_;
};

TEST_F(PacketLink, EmptyRequestGoesOutAsEightBytesAndPayloadFollowsTheLength) {
    auto link = Open(true);
    // A reply of another type code: the link knows no meanings.
    peer_->Script({Reply(99, {'O', 'K'})});
    EXPECT_EQ(line_->Baud(), 9600u);
    ASSERT_TRUE(link->Send(CPacket(4), reply_, INFINITE));
    EXPECT_EQ(reply_.GetType(), 99);
    EXPECT_EQ(reply_.Payload(), (Bytes{'O', 'K'}));
    CPacket message(216);
    message.SetBytes(Bytes{'A', 'B', 'C'});
    ASSERT_TRUE(link->Send(message, reply_, INFINITE));

    const auto requests = peer_->Requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].raw.size(), 8u);
    EXPECT_EQ(requests[0].raw, linktest::BuildFrame(0xAA, 1, 4, {}));
    EXPECT_EQ(requests[1].raw, linktest::BuildFrame(0xAA, 2, 216, {'A', 'B', 'C'}));
}

TEST_F(PacketLink, PacketNumbersCountFromOneModulo256) {
    auto link = Open(false);
    peer_->Script({Reply(4)});
    EXPECT_EQ(link->GetPacketNumber(), 0);
    for (int i = 0; i < 257; ++i) {
        ASSERT_TRUE(link->Send(CPacket(4), reply_, INFINITE)) << "request " << i + 1;
    }
    const auto requests = peer_->Requests();
    ASSERT_EQ(requests.size(), 257u);
    EXPECT_EQ(requests[0].number, 1);
    EXPECT_EQ(requests[254].number, 255);
    EXPECT_EQ(requests[255].number, 0);
    EXPECT_EQ(requests[256].number, 1);
}

// Every attempt gets the same spoiled reply, so the Send fails after three attempts under one
// number, each attempt logging the row's report.
TEST_F(PacketLink, EachSpoiledReplyIsRefusedWithItsOwnReport) {
    const std::string header = "GetPacket: received header not inverse of one sent. Received = ";
    const struct {
        const char* legend;
        std::function<void(Bytes&)> mangle;  // of a reply with a 5-byte payload
        TReportLevel level;
        std::string report;
    } rows[] = {
        {"leading garbage", [](Bytes& f) { f.insert(f.begin(), 2, 0x13); }, TReportLevel::Warning,
         header + "0x13, expected = 0x55."},
        {"header 0xAA, not inverted", [](Bytes& f) { f[0] = 0xAA; }, TReportLevel::Warning,
         header + "0xAA, expected = 0x55."},
        {"wrong packet number", [](Bytes& f) { ++f[1]; }, TReportLevel::Warning,
         "GetPacket: received packet number not same as one sent. Received = 0x 2, expected = 0x "
         "1."},
        {"bad CRC (low byte inverted)", [](Bytes& f) { f.back() ^= 0xFF; }, TReportLevel::Warning,
         "GetPacket: computed crc = 0x00FF, should be 0."},
        {"short payload: three bytes, then silence", [](Bytes& f) { f.resize(6 + 3); },
         TReportLevel::Warning,
         "GetPacket: actual bytecount different from reported. Received = 0x   3, expected = 0x   "
         "5."},
        {"silence after the type code", [](Bytes& f) { f.resize(4); }, TReportLevel::Debug,
         "GetByte: failed."},
        {"silence before the CRC's last byte", [](Bytes& f) { f.pop_back(); }, TReportLevel::Debug,
         "GetByte: failed."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.legend);
        log_.Clear();
        auto link = Open(false);
        peer_->Script({Reply(4, {1, 2, 3, 4, 5}, row.mangle)});
        EXPECT_FALSE(link->Send(CPacket(4), reply_, INFINITE));
        EXPECT_EQ(peer_->Requests().size(), 3u);
        EXPECT_EQ(log_.Count(row.level, row.report), 3u);
        EXPECT_EQ(log_.Texts(TReportLevel::Warning).size(),
                  row.level == TReportLevel::Warning ? 3u : 0u);
        EXPECT_EQ(log_.Count(TReportLevel::Debug, "Send: retrying #1."), 2u);
        EXPECT_EQ(link->GetFailureCount(), 1u);
    }
}

TEST_F(PacketLink, RetriedRequestKeepsItsNumberAndIsAcceptedAfterTheQuietTime) {
    auto link = Open(true);
    peer_->Script({Reply(4, {}, [](Bytes& f) { f.back() ^= 0x01; }), Reply(4, TextBytes("fine"))});
    ASSERT_TRUE(link->Send(CPacket(4), reply_, INFINITE));
    EXPECT_EQ(reply_.Payload(), TextBytes("fine"));
    const auto requests = peer_->Requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].number, 1);
    EXPECT_EQ(requests[1].raw, requests[0].raw) << "the retry is the same frame";
    EXPECT_EQ(log_.Count(TReportLevel::Warning, "GetPacket: computed crc = 0x0001, should be 0."),
              1u);
    EXPECT_EQ(link->GetFailureCount(), 0u);
    // The spoiled reply is found at the first poll, 100 ms after the request left; the retry
    // then waits out the 110 ms quiet time and takes eight byte times to arrive.
    EXPECT_NEAR(static_cast<double>(requests[1].at - requests[0].at) / kMs, 100 + 110 + 8 * kByteMs,
                0.01);
}

TEST_F(PacketLink, ReplyArrivingAfterTheReplyWaitIsDiscardedBeforeTheRetry) {
    auto link = Open(false);
    peer_->Script({Reply(4, TextBytes("late"), {}, 2050), Reply(4, TextBytes("fresh"))});
    const Micros start = tarvo::host::NowMicros();
    ASSERT_TRUE(link->Send(CPacket(4), reply_, INFINITE));
    EXPECT_EQ(reply_.Payload(), TextBytes("fresh"));
    EXPECT_EQ(log_.Count(TReportLevel::Debug, "SendOnce: Timed-out waiting for response"), 1u);
    ASSERT_EQ(peer_->Requests().size(), 2u);
    EXPECT_EQ(peer_->Requests()[1].at - start, (2000 + 110) * kMs);
}

TEST_F(PacketLink, DeadLineFailsSendAfterThreeAttemptsAndItsWaits) {
    auto link = Open(true);
    peer_->Script({linktest::kSilence});
    // Three 8-byte requests, each followed by the 2000 ms reply wait, the quiet time between.
    Micros start = tarvo::host::NowMicros();
    EXPECT_FALSE(link->Send(CPacket(4), reply_, INFINITE));
    EXPECT_NEAR(MsSince(start), 3 * 2000 + 2 * 110 + 24 * kByteMs, 0.005);
    // The failure left the quiet time pending: the next Send waits it out first.
    start = tarvo::host::NowMicros();
    EXPECT_FALSE(link->Send(CPacket(5), reply_, INFINITE));
    EXPECT_NEAR(MsSince(start), 3 * (110 + 2000) + 24 * kByteMs, 0.005);

    const auto requests = peer_->Requests();
    ASSERT_EQ(requests.size(), 6u);
    EXPECT_EQ(requests[2].number, 1) << "all three attempts under one number";
    EXPECT_EQ(requests[3].number, 2);
    EXPECT_EQ(log_.Count(TReportLevel::Debug, "CPacketComm::Send(): failed sending #1."), 1u);
    EXPECT_EQ(log_.Count(TReportLevel::Debug, "CPacketComm::Send(): failed sending #2."), 1u);
    EXPECT_EQ(log_.Count(TReportLevel::Debug, "SendOnce: Timed-out waiting for response"), 6u);
    EXPECT_EQ(link->GetFailureCount(), 2u);
}

// A Send that gives up waiting for the send lock takes no packet number: the exchange that holds
// the lock still matches its reply's number, and the next request carries the following one.
TEST_F(PacketLink, ASendThatCannotTakeTheLockLeavesThePacketNumberAlone) {
    auto link = Open(false);
    peer_->Script({Reply(4, {}, {}, 1000), Reply(5)});
    bool heldOk = false;
    CPacket heldReply;
    TThread holder([&] { heldOk = link->Send(CPacket(4), heldReply, INFINITE); }, "holder");
    Sleep(100);
    EXPECT_FALSE(link->Send(CPacket(5), reply_, 200)) << "the lock is held for about a second";
    holder.Join();
    EXPECT_TRUE(heldOk) << "its reply's number is still the one it sent";
    ASSERT_TRUE(link->Send(CPacket(5), reply_, INFINITE));

    const auto requests = peer_->Requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].number, 1);
    EXPECT_EQ(requests[1].number, 2);
}

}  // namespace
