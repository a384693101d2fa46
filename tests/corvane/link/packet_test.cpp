#include "corvane/link/packet.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "corvane/link/commands.h"
#include "corvane/link/support/scripted_peer.h"

namespace {

using linktest::Bytes;
using linktest::TextBytes;

// Each set starts from a payload already there, so that a set which appends shows.
CPacket Made(const std::function<void(CPacket&)>& fill) {
    CPacket packet;
    packet.SetByte(0xEE);
    fill(packet);
    return packet;
}

struct EncodingRow {
    const char* legend;
    CPacket packet;
    Bytes payload;
    WORD type = 0;
};

TEST(PacketEncoding, EveryEncodingLaysOutItsBytesMostSignificantFirst) {
    const TTime time(1999, 12, 31, 23, 59, 58, 999);
    CPacket appended;
    appended.AppendByte(3);
    appended.AppendFloat(2.5f);
    appended.AppendWord(0x0102);
    appended.AppendBool(true);
    appended.AppendDword(7);
    appended.AppendTimeSpan(61);
    appended.AppendTime(time);
    appended.AppendBytes(Bytes{0xEE}.data(), 1);
    const EncodingRow rows[] = {
        {"boolean true", Made([](CPacket& p) { p.SetBool(true); }), {1}},
        {"boolean false", Made([](CPacket& p) { p.SetBool(false); }), {0}},
        {"16 bits", Made([](CPacket& p) { p.SetWord(0x1234); }), {0x12, 0x34}},
        {"32 bits", Made([](CPacket& p) { p.SetDword(0x89ABCDEF); }), {0x89, 0xAB, 0xCD, 0xEF}},
        {"time, no ms", Made([&](CPacket& p) { p.SetTime(time); }), {7, 0xCF, 12, 31, 23, 59, 58}},
        {"span 90061 s", Made([](CPacket& p) { p.SetTimeSpan(90061); }), {1, 1, 1, 1}},
        {"bytes, no terminator", Made([](CPacket& p) { p.SetBytes(TextBytes("AB")); }), {'A', 'B'}},
        {"appends follow each other",
         appended,
         {3, 0x40, 0x20, 0, 0, 1, 2, 1, 0, 0, 0, 7, 0, 0, 1, 1, 7, 0xCF, 12, 31, 23, 59, 58, 0xEE}},
        {"sat id", corvane::MakeSatIdRequest(L"0000ABCD"), {0, 0, 0xAB, 0xCD}, 40},
        {"sat id, non-hex ends it", corvane::MakeSatIdRequest(L"12G45678"), {0, 0, 0, 0x12}, 40},
        {"sat id beyond 32 bits", corvane::MakeSatIdRequest(L"123456789"), Bytes(4, 0xFF), 40},
        {"local time offset -5", corvane::MakeLocalOffsetRequest(-5), {0xFF, 0xFB}, 37},
        {"offset: low 16 bits", corvane::MakeLocalOffsetRequest(0x12345), {0x23, 0x45}, 37},
        {"self-timed message, single-byte text",
         Made([](CPacket& p) {
             EXPECT_TRUE(corvane::MakeMessageRequest(L"HG\xE9", corvane::TxBuffer::SelfTimed, p));
         }),
         {'H', 'G', 0xE9},
         216},
        {"random message, wide character as '?'",
         Made([](CPacket& p) {
             EXPECT_TRUE(corvane::MakeMessageRequest(L"a\x263A", corvane::TxBuffer::Random, p));
         }),
         {'a', '?'},
         312},
    };
    for (const EncodingRow& row : rows) {
        SCOPED_TRACE(row.legend);
        EXPECT_EQ(row.packet.GetType(), row.type);
        EXPECT_EQ(row.packet.Payload(), row.payload);
        EXPECT_EQ(row.packet.GetLength(), row.payload.size());
    }
}

TEST(PacketEncoding, ReadersDecodeAtAnOffsetAndRefuseValuesPastTheEnd) {
    CPacket reply(35);
    reply.SetBytes(Bytes{0x02, 0x12, 0x34, 0xDE, 0xAD, 0xBE, 0xEF, 0x07, 0xE8, 2, 29, 13, 14, 15});
    bool flag = false;
    EXPECT_TRUE(reply.ReadBool(0, flag));
    EXPECT_TRUE(flag) << "a boolean byte of 0x02 is true";
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
    EXPECT_FALSE(reply.ReadWord(SIZE_MAX, w)) << "an offset near the top must not wrap around";

    // Seven zero bytes are the zero instant; a month 13 is no time at all.
    reply.SetBytes(Bytes(7, 0));
    EXPECT_TRUE(reply.ReadTime(0, t));
    EXPECT_EQ(t, TTime());
    reply.SetBytes(Bytes{0x07, 0xE8, 13, 1, 0, 0, 0});
    EXPECT_FALSE(reply.ReadTime(0, t));
}

TEST(ReplyRules, EachReplyRuleJudgesItsReplies) {
    const struct {
        const char* legend;
        Bytes payload;
        bool checkedAccepted;
        bool masterStartAccepted;
    } rows[] = {
        {"empty reply", {}, true, true},
        {"boolean true", {0x01}, true, true},
        {"boolean 0x02 is also true", {0x02}, true, true},
        {"boolean false", {0x00}, false, true},
        {"first byte zero decides, not the rest", {0x00, 0x01}, false, false},
        {"unknown command text", TextBytes("Unknown command"), true, true},
        {"with a character added", TextBytes("Unknown command."), true, false},
        {"with a terminator added", TextBytes({"Unknown command\0", 16}), true, false},
        {"a reason of refusal", TextBytes("Master switch on"), true, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.legend);
        CPacket reply(0);
        reply.SetBytes(Bytes(row.payload));
        EXPECT_EQ(corvane::JudgeReply(true, reply, corvane::ReplyCheck::RefuseOnText),
                  row.checkedAccepted ? corvane::CommandResult::Accepted
                                      : corvane::CommandResult::Refused);
        EXPECT_EQ(corvane::JudgeReply(true, reply, corvane::ReplyCheck::LinkOnly),
                  corvane::CommandResult::Accepted)
            << "unchecked commands are judged by the link alone";
        EXPECT_EQ(corvane::JudgeReply(false, reply, corvane::ReplyCheck::RefuseOnText),
                  corvane::CommandResult::LinkFailed);
        std::wstring reason = L"untouched";
        EXPECT_EQ(corvane::IsMasterStartAccepted(reply, reason), row.masterStartAccepted);
        EXPECT_EQ(reason, row.masterStartAccepted
                              ? L"untouched"
                              : std::wstring(row.payload.begin(), row.payload.end()));
    }
}

}  // namespace
