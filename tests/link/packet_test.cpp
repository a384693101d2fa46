#include "link/packet.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "link/command_codes.h"
#include "link/commands.h"
#include "link/support/scripted_peer.h"

namespace {

using linktest::Bytes;

struct EncodingRow {
    const char* legend;
    std::function<CPacket()> build;
    WORD type;
    Bytes payload;
};

TEST(PacketEncoding, EveryEncodingLaysOutItsBytesMostSignificantFirst) {
    const EncodingRow rows[] = {
        {"boolean true is one byte 1",
         [] {
             CPacket p(200);
             p.SetBool(true);
             return p;
         },
         200,
         {0x01}},
        {"boolean false is one byte 0",
         [] {
             CPacket p(338);
             p.SetBool(false);
             return p;
         },
         338,
         {0x00}},
        {"unsigned 8-bit",
         [] {
             CPacket p(232);
             p.SetByte(0xFE);
             return p;
         },
         232,
         {0xFE}},
        {"unsigned 16-bit",
         [] {
             CPacket p(202);
             p.SetWord(0x1234);
             return p;
         },
         202,
         {0x12, 0x34}},
        {"unsigned 32-bit",
         [] {
             CPacket p(604);
             p.SetDword(0x89ABCDEF);
             return p;
         },
         604,
         {0x89, 0xAB, 0xCD, 0xEF}},
        {"time: year in two bytes, no day of week, no milliseconds",
         [] {
             CPacket p(31);
             p.SetTime(TTime(2024, 3, 5, 6, 7, 8, 999));
             return p;
         },
         31,
         {0x07, 0xE8, 3, 5, 6, 7, 8}},
        {"time span of 90061 s is 1 day 1 h 1 min 1 s",
         [] {
             CPacket p(204);
             p.SetTimeSpan(90061);
             return p;
         },
         204,
         {1, 1, 1, 1}},
        {"time span of a whole hour",
         [] {
             CPacket p(206);
             p.SetTimeSpan(3600);
             return p;
         },
         206,
         {0, 1, 0, 0}},
        {"byte string as it stands, no terminator, no length prefix",
         [] {
             CPacket p(216);
             const BYTE text[] = {'A', 0, 'B'};
             p.SetBytes(text, 3);
             return p;
         },
         216,
         {'A', 0, 'B'}},
        {"satellite id 0000ABCD",
         [] { return corvane::MakeSatIdRequest(L"0000ABCD"); },
         40,
         {0x00, 0x00, 0xAB, 0xCD}},
        {"satellite id read up to its first non-hex character",
         [] { return corvane::MakeSatIdRequest(L"12G45678"); },
         40,
         {0x00, 0x00, 0x00, 0x12}},
        {"satellite id with no hex digit at all",
         [] { return corvane::MakeSatIdRequest(L"XYZ"); },
         40,
         {0, 0, 0, 0}},
        {"satellite id too long for 32 bits saturates",
         [] { return corvane::MakeSatIdRequest(L"123456789"); },
         40,
         {0xFF, 0xFF, 0xFF, 0xFF}},
        {"negative local time offset -5",
         [] { return corvane::MakeLocalOffsetRequest(-5); },
         37,
         {0xFF, 0xFB}},
        {"local time offset keeps its low 16 bits",
         [] { return corvane::MakeLocalOffsetRequest(0x12345); },
         37,
         {0x23, 0x45}},
        {"self-timed message as single-byte text",
         [] {
             CPacket p;
             EXPECT_TRUE(corvane::MakeMessageRequest(L"HG 1.5\xE9", true, p));
             return p;
         },
         216,
         {'H', 'G', ' ', '1', '.', '5', 0xE9}},
        {"random message, a character beyond one byte becomes '?'",
         [] {
             CPacket p;
             EXPECT_TRUE(
                 corvane::MakeMessageRequest(L"a\x263A"
                                             L"b",
                                             false, p));
             return p;
         },
         312,
         {'a', '?', 'b'}},
        {"appends follow each other",
         [] {
             CPacket p(862);
             p.AppendByte(3);
             p.AppendFloat(2.5f);
             p.AppendWord(0x0102);
             p.AppendBool(true);
             p.AppendDword(7);
             p.AppendTimeSpan(61);
             p.AppendTime(TTime(1999, 12, 31, 23, 59, 58));
             const BYTE tail[] = {0xEE};
             p.AppendBytes(tail, 1);
             return p;
         },
         862,
         {3, 0x40, 0x20, 0x00, 0x00, 0x01, 0x02, 0x01, 0,  0,  0,  7,
          0, 0,    1,    1,    0x07, 0xCF, 12,   31,   23, 59, 58, 0xEE}},
        {"a set replaces what was appended",
         [] {
             CPacket p(300);
             p.AppendDword(1);
             p.SetBool(true);
             return p;
         },
         300,
         {0x01}},
        {"clearing leaves no payload",
         [] {
             CPacket p(771);
             p.SetWord(1);
             p.Clear();
             return p;
         },
         771,
         {}},
    };
    for (const EncodingRow& row : rows) {
        SCOPED_TRACE(row.legend);
        const CPacket packet = row.build();
        EXPECT_EQ(packet.GetType(), row.type);
        EXPECT_EQ(packet.Payload(), row.payload);
        EXPECT_EQ(packet.GetLength(), row.payload.size());
        EXPECT_EQ(packet.GetPayload() == nullptr, row.payload.empty());
    }
}

TEST(PacketEncoding, ReadersDecodeAtAnOffsetAndRefuseValuesPastTheEnd) {
    CPacket reply(35);
    const Bytes bytes = {0x02, 0x12, 0x34, 0xDE, 0xAD, 0xBE, 0xEF, 0x07, 0xE8, 2, 29, 13, 14, 15};
    reply.SetBytes(bytes.data(), bytes.size());

    bool flag = false;
    EXPECT_TRUE(reply.ReadBool(0, flag));
    EXPECT_TRUE(flag) << "a boolean byte of 0x02 is true";
    BYTE b = 0;
    EXPECT_TRUE(reply.ReadByte(2, b));
    EXPECT_EQ(b, 0x34);
    WORD w = 0;
    EXPECT_TRUE(reply.ReadWord(1, w));
    EXPECT_EQ(w, 0x1234);
    DWORD d = 0;
    EXPECT_TRUE(reply.ReadDword(3, d));
    EXPECT_EQ(d, 0xDEADBEEFu);
    TTime t;
    EXPECT_TRUE(reply.ReadTime(7, t));
    EXPECT_EQ(t, TTime(2024, 2, 29, 13, 14, 15));

    // Values that would reach past the payload leave the target untouched.
    w = 0xAAAA;
    EXPECT_FALSE(reply.ReadWord(13, w));
    EXPECT_EQ(w, 0xAAAA);
    EXPECT_FALSE(reply.ReadDword(11, d));
    EXPECT_FALSE(reply.ReadTime(8, t));
    EXPECT_FALSE(reply.ReadByte(14, b));
    EXPECT_FALSE(reply.ReadWord(SIZE_MAX, w)) << "an offset near the top must not wrap around";
}

TEST(PacketEncoding, TimeReadBackFromItsOwnEncodingAndZeroTimeIsTheZeroInstant) {
    CPacket packet(219);
    packet.SetTime(TTime(2031, 7, 4, 0, 0, 1));
    TTime t;
    ASSERT_TRUE(packet.ReadTime(0, t));
    EXPECT_EQ(t, TTime(2031, 7, 4, 0, 0, 1));

    const Bytes zeros(7, 0);
    packet.SetBytes(zeros.data(), zeros.size());
    t = TTime(2000, 1, 1, 0, 0, 0);
    ASSERT_TRUE(packet.ReadTime(0, t));
    EXPECT_EQ(t, TTime());

    const Bytes month13 = {0x07, 0xE8, 13, 1, 0, 0, 0};
    packet.SetBytes(month13.data(), month13.size());
    EXPECT_FALSE(packet.ReadTime(0, t));
}

TEST(PacketRecord, CopiesOwnTheirPayloadAndCompareByTypeAndBytes) {
    CPacket a(216);
    a.SetWord(0x0102);
    CPacket b = a;
    EXPECT_EQ(a, b);
    b.AppendByte(3);
    EXPECT_NE(a, b);
    EXPECT_EQ(a.GetLength(), 2);
    CPacket c = a;
    c.SetType(217);
    EXPECT_NE(a, c);
}

TEST(PacketRecord, PayloadNeverGrowsBeyondWhatTheLengthFieldCarries) {
    CPacket p(216);
    Bytes big(CPacket::kMaxPayload, 'x');
    ASSERT_TRUE(p.SetBytes(big.data(), big.size()));
    EXPECT_EQ(p.GetLength(), 0xFFFF);
    EXPECT_FALSE(p.AppendByte(1));
    EXPECT_EQ(p.GetLength(), 0xFFFF);
    big.push_back('y');
    EXPECT_FALSE(p.SetBytes(std::move(big)));
    EXPECT_EQ(p.GetLength(), 0xFFFF);
    CPacket message;
    EXPECT_FALSE(corvane::MakeMessageRequest(std::wstring(0x10000, L'x'), true, message));
}

// The reply rules of the command set.
struct ReplyRow {
    const char* legend;
    Bytes payload;
    bool checkedAccepted;
    bool masterStartAccepted;
    std::wstring reason;
};

TEST(ReplyRules, CheckedCommandsAndMasterStartJudgeTheirReplies) {
    const ReplyRow rows[] = {
        {"empty reply", {}, true, true, L""},
        {"boolean true", {0x01}, true, true, L""},
        {"boolean 0x02 is also true", {0x02}, true, true, L""},
        {"boolean false", {0x00}, false, true, L""},
        {"first byte zero decides, not the rest",
         {0x00, 0x01},
         false,
         false,
         std::wstring(L"\0\x01", 2)},
        {"unknown command text", linktest::TextBytes("Unknown command"), true, true, L""},
        {"unknown command with a character added", linktest::TextBytes("Unknown command."), true,
         false, L"Unknown command."},
        {"unknown command with a terminator added",
         linktest::TextBytes(std::string("Unknown command\0", 16)), true, false,
         std::wstring(L"Unknown command\0", 16)},
        {"a reason of refusal", linktest::TextBytes("Master switch on"), true, false,
         L"Master switch on"},
    };
    for (const ReplyRow& row : rows) {
        SCOPED_TRACE(row.legend);
        CPacket reply(0);
        reply.SetBytes(row.payload.data(), row.payload.size());
        EXPECT_EQ(corvane::IsCheckedReplyAccepted(reply), row.checkedAccepted);
        EXPECT_EQ(corvane::JudgeReply(true, reply, true), row.checkedAccepted
                                                              ? corvane::CommandResult::Accepted
                                                              : corvane::CommandResult::Refused);
        EXPECT_EQ(corvane::JudgeReply(true, reply, false), corvane::CommandResult::Accepted)
            << "unchecked commands are judged by the link alone";
        EXPECT_EQ(corvane::JudgeReply(false, reply, true), corvane::CommandResult::LinkFailed);
        std::wstring reason = L"untouched";
        EXPECT_EQ(corvane::IsMasterStartAccepted(reply, reason), row.masterStartAccepted);
        EXPECT_EQ(reason, row.masterStartAccepted ? std::wstring(L"untouched") : row.reason);
    }
}

}  // namespace
