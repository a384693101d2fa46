#include "link/packet_comm.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "host/clock.h"
#include "host/report_sinks.h"
#include "host/serial_ports.h"
#include "link/support/scripted_peer.h"
#include "platform/clock.h"

namespace {

using linktest::Bytes;
using linktest::ScriptedPeer;
using tarvo::host::Micros;

constexpr Micros kMs = 1000;
// One byte at 9600 baud, 8N1: ten bit times.
constexpr double kByteMs = 10.0 * 1000.0 / 9600.0;

class PacketLink : public ::testing::Test {
  protected:
    ~PacketLink() override {
        peer_.reset();
        tarvo::host::ClearPortMap();
    }

    // Maps COM2: to an in-memory line with a scripted peer on its far end.
    void Attach(bool modelLineSpeed) {
        line_ = tarvo::host::MapPortToMemory(L"COM2:", modelLineSpeed);
        peer_ = std::make_unique<ScriptedPeer>(line_);
    }

    std::unique_ptr<CPacketComm> OpenLink() {
        auto link = std::make_unique<CPacketComm>();
        EXPECT_TRUE(link->OpenLinkPort(L"COM2:"));
        return link;
    }

    tarvo::host::ScopedVirtualClock clock_{TTime(2024, 1, 1, 0, 0, 0)};
    tarvo::host::LogCapture log_;
    std::shared_ptr<tarvo::host::SerialPeer> line_;
    std::unique_ptr<ScriptedPeer> peer_;
};

TEST_F(PacketLink, EmptyRequestGoesOutAsEightBytesAndPayloadFollowsTheLength) {
    Attach(true);
    peer_->Otherwise(linktest::Echo());
    auto link = OpenLink();
    EXPECT_EQ(line_->Baud(), 9600u);

    CPacket reply;
    ASSERT_TRUE(link->Send(CPacket(4), reply, INFINITE));
    CPacket message(216);
    const BYTE text[] = {'A', 'B', 'C'};
    message.SetBytes(text, 3);
    ASSERT_TRUE(link->Send(message, reply, INFINITE));

    const auto requests = peer_->Requests();
    ASSERT_EQ(requests.size(), 2u);
    const Bytes head = {0xAA, 0x01, 0x00, 0x04, 0x00, 0x00};
    const WORD crc = linktest::ReferenceCrc(head);
    EXPECT_EQ(requests[0].raw, (Bytes{0xAA, 0x01, 0x00, 0x04, 0x00, 0x00,
                                      static_cast<BYTE>(crc >> 8), static_cast<BYTE>(crc)}));
    EXPECT_EQ(requests[1].raw, linktest::BuildFrame(0xAA, 2, 216, {'A', 'B', 'C'}));
    EXPECT_EQ(peer_->StrayBytes(), 0u);
}

TEST_F(PacketLink, PacketNumbersStartAtOneAndWrapToZeroOnThe256thRequest) {
    Attach(false);
    peer_->Otherwise(linktest::Echo());
    auto link = OpenLink();
    EXPECT_EQ(link->GetPacketNumber(), 0);
    CPacket reply;
    for (int i = 0; i < 257; ++i) {
        ASSERT_TRUE(link->Send(CPacket(4), reply, INFINITE)) << "request " << i + 1;
    }
    const auto requests = peer_->Requests();
    ASSERT_EQ(requests.size(), 257u);
    EXPECT_EQ(requests[0].number, 1);
    EXPECT_EQ(requests[254].number, 255);
    EXPECT_EQ(requests[255].number, 0);
    EXPECT_EQ(requests[256].number, 1);
    EXPECT_EQ(link->GetPacketNumber(), 1);
    EXPECT_EQ(link->GetFailureCount(), 0u);
}

// How each spoiled reply is refused. Every attempt gets the same spoiled reply, so the Send
// fails after three attempts under one number.
struct RefusalRow {
    const char* legend;
    linktest::Responder responder;
    bool accepted;
    std::string warning;  // the Warning each attempt logs ("" for none)
    std::string debug;    // a Debug each attempt logs ("" for none)
};

Bytes Cut(Bytes frame, std::size_t keep) {
    frame.resize(keep);
    return frame;
}

TEST_F(PacketLink, EachSpoiledReplyIsRefusedWithItsOwnReport) {
    Attach(false);
    const Bytes ok = linktest::TextBytes("OK");
    const RefusalRow rows[] = {
        {"good frame", linktest::Reply(4, ok), true, "", ""},
        {"good frame of another type code (the link knows no meanings)", linktest::Reply(99, ok),
         true, "", ""},
        {"leading garbage before the reply",
         linktest::Mangled(4, ok,
                           [](Bytes f, const linktest::Frame&) {
                               f.insert(f.begin(), {0x13, 0x37});
                               return f;
                           }),
         false,
         "GetPacket: received header not inverse of one sent. Received = 0x13, expected = 0x55.",
         ""},
        {"header 0xAA, not inverted",
         linktest::Mangled(4, ok,
                           [](Bytes f, const linktest::Frame&) {
                               f[0] = 0xAA;
                               return f;
                           }),
         false,
         "GetPacket: received header not inverse of one sent. Received = 0xAA, expected = 0x55.",
         ""},
        {"wrong packet number",
         linktest::Mangled(4, ok,
                           [](Bytes f, const linktest::Frame& request) {
                               f[1] = static_cast<BYTE>(request.number + 1);
                               return f;
                           }),
         false,
         "GetPacket: received packet number not same as one sent. Received = 0x 2, expected = 0x "
         "1.",
         ""},
        {"bad CRC (low byte inverted)",
         linktest::Mangled(4, ok,
                           [](Bytes f, const linktest::Frame&) {
                               f.back() ^= 0xFF;
                               return f;
                           }),
         false, "GetPacket: computed crc = 0x00FF, should be 0.", ""},
        {"short payload: length 5, three bytes, then silence",
         linktest::Mangled(4, {1, 2, 3, 4, 5},
                           [](Bytes f, const linktest::Frame&) { return Cut(f, 6 + 3); }),
         false,
         "GetPacket: actual bytecount different from reported. Received = 0x   3, expected = 0x   "
         "5.",
         ""},
        {"interrupted frame: silence after the type code",
         linktest::Mangled(4, ok, [](Bytes f, const linktest::Frame&) { return Cut(f, 4); }), false,
         "", "GetByte: failed."},
        {"interrupted frame: silence before the CRC's last byte",
         linktest::Mangled(4, ok,
                           [](Bytes f, const linktest::Frame&) { return Cut(f, f.size() - 1); }),
         false, "", "GetByte: failed."},
    };
    std::size_t seen = 0;
    for (const RefusalRow& row : rows) {
        SCOPED_TRACE(row.legend);
        log_.Clear();
        peer_->Otherwise(row.responder);
        auto link = OpenLink();
        CPacket reply;
        EXPECT_EQ(link->Send(CPacket(4), reply, INFINITE), row.accepted);

        const auto requests = peer_->Requests();
        const std::size_t attempts = row.accepted ? 1 : 3;
        ASSERT_EQ(requests.size() - seen, attempts);
        for (std::size_t i = seen; i < requests.size(); ++i) {
            EXPECT_EQ(requests[i].number, 1) << "every attempt carries the Send's number";
        }
        seen = requests.size();
        if (row.accepted) {
            EXPECT_EQ(reply.Payload(), ok);
            EXPECT_TRUE(log_.Texts(TReportLevel::Warning).empty());
        } else {
            EXPECT_EQ(log_.Count(TReportLevel::Debug, "CPacketComm::Send(): failed sending #1."),
                      1u);
            EXPECT_EQ(link->GetFailureCount(), 1u);
            EXPECT_EQ(log_.Count(TReportLevel::Debug, "Send: retrying #1."), 2u);
        }
        if (!row.warning.empty()) {
            EXPECT_EQ(log_.Count(TReportLevel::Warning, row.warning), attempts);
            EXPECT_EQ(log_.Texts(TReportLevel::Warning).size(), attempts);
        } else {
            EXPECT_TRUE(log_.Texts(TReportLevel::Warning).empty());
        }
        if (!row.debug.empty()) {
            EXPECT_EQ(log_.Count(TReportLevel::Debug, row.debug), attempts);
        }
    }
}

TEST_F(PacketLink, RetriedRequestKeepsItsNumberAndIsAcceptedAfterTheQuietTime) {
    Attach(true);
    peer_->Then(linktest::Mangled(4, {}, [](Bytes f, const linktest::Frame&) {
        f.back() ^= 0x01;
        return f;
    }));
    peer_->Then(linktest::Reply(4, linktest::TextBytes("fine")));
    auto link = OpenLink();

    CPacket reply;
    ASSERT_TRUE(link->Send(CPacket(4), reply, INFINITE));
    EXPECT_EQ(reply.Payload(), linktest::TextBytes("fine"));
    const auto requests = peer_->Requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].number, 1);
    EXPECT_EQ(requests[1].raw, requests[0].raw) << "the retry is the same frame";
    EXPECT_EQ(log_.Count(TReportLevel::Warning, "GetPacket: computed crc = 0x0001, should be 0."),
              1u);
    EXPECT_EQ(link->GetFailureCount(), 0u);
    // The spoiled reply is found at the first poll, 100 ms after the request left; the retry
    // then waits out the 110 ms quiet time and takes eight byte times to arrive.
    const double gapMs = static_cast<double>(requests[1].at - requests[0].at) / kMs;
    EXPECT_NEAR(gapMs, 100 + 110 + 8 * kByteMs, 0.01);
}

TEST_F(PacketLink, ReplyArrivingAfterTheReplyWaitIsDiscardedBeforeTheRetry) {
    Attach(false);
    peer_->Then([](const linktest::Frame& request) {
        return linktest::Answer{
            linktest::BuildFrame(0x55, request.number, 4, linktest::TextBytes("late")), 2050};
    });
    peer_->Then(linktest::Reply(4, linktest::TextBytes("fresh")));
    auto link = OpenLink();

    const Micros start = tarvo::host::NowMicros();
    CPacket reply;
    ASSERT_TRUE(link->Send(CPacket(4), reply, INFINITE));
    EXPECT_EQ(reply.Payload(), linktest::TextBytes("fresh"));
    EXPECT_EQ(log_.Count(TReportLevel::Debug, "SendOnce: Timed-out waiting for response"), 1u);
    const auto requests = peer_->Requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[1].at - start, (2000 + 110) * kMs);
}

struct DeadLineRow {
    const char* legend;
    bool modelLineSpeed;
    double firstSendMs;   // no error pending: the first attempt starts at once
    double secondSendMs;  // the previous failure left the quiet time to wait first
};

TEST_F(PacketLink, DeadLineFailsSendAfterThreeAttemptsAndItsWaits) {
    const DeadLineRow rows[] = {
        {"no line-speed model", false, 3 * 2000 + 2 * 110, 3 * (110 + 2000)},
        {"9600 baud line", true, 3 * 2000 + 2 * 110 + 24 * kByteMs,
         3 * (110 + 2000) + 24 * kByteMs},
    };
    for (const DeadLineRow& row : rows) {
        SCOPED_TRACE(row.legend);
        log_.Clear();
        peer_.reset();
        tarvo::host::ClearPortMap();
        Attach(row.modelLineSpeed);
        peer_->Otherwise(linktest::Silence());
        auto link = OpenLink();

        CPacket reply;
        Micros start = tarvo::host::NowMicros();
        EXPECT_FALSE(link->Send(CPacket(4), reply, INFINITE));
        EXPECT_NEAR(static_cast<double>(tarvo::host::NowMicros() - start) / kMs, row.firstSendMs,
                    0.005);

        start = tarvo::host::NowMicros();
        EXPECT_FALSE(link->Send(CPacket(5), reply, INFINITE));
        EXPECT_NEAR(static_cast<double>(tarvo::host::NowMicros() - start) / kMs, row.secondSendMs,
                    0.005);

        const auto requests = peer_->Requests();
        ASSERT_EQ(requests.size(), 6u);
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(requests[i].number, i < 3 ? 1 : 2);
        }
        EXPECT_EQ(log_.Count(TReportLevel::Debug, "CPacketComm::Send(): failed sending #1."), 1u);
        EXPECT_EQ(log_.Count(TReportLevel::Debug, "CPacketComm::Send(): failed sending #2."), 1u);
        EXPECT_EQ(log_.Count(TReportLevel::Debug, "SendOnce: Timed-out waiting for response"), 6u);
        EXPECT_EQ(link->GetFailureCount(), 2u);
    }
}

TEST_F(PacketLink, BusySendLockFailsTheCallWithoutUsingANumber) {
    Attach(false);
    peer_->Then(3, linktest::Silence());
    peer_->Otherwise(linktest::Echo());
    auto link = OpenLink();

    // A first caller holds the send lock for a whole dead-line Send (6220 ms).
    std::optional<bool> firstResult;
    TThread first(
        [&] {
            CPacket reply;
            firstResult = link->Send(CPacket(4), reply, INFINITE);
        },
        "first sender");
    Sleep(1000);

    const Micros start = tarvo::host::NowMicros();
    CPacket reply;
    EXPECT_FALSE(link->Send(CPacket(5), reply, 1000));
    EXPECT_EQ(tarvo::host::NowMicros() - start, 1000 * kMs);
    EXPECT_EQ(link->GetPacketNumber(), 1);

    ASSERT_TRUE(first.Join());
    EXPECT_EQ(firstResult, false);
    EXPECT_TRUE(link->Send(CPacket(6), reply, INFINITE));
    const auto requests = peer_->Requests();
    ASSERT_EQ(requests.size(), 4u);
    EXPECT_EQ(requests[3].number, 2);
    EXPECT_EQ(requests[3].type, 6) << "the refused call never reached the line";
    EXPECT_EQ(link->GetFailureCount(), 1u);
}

}  // namespace
