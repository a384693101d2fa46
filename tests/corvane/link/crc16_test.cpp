#include "corvane/link/crc16.h"

#include <gtest/gtest.h>

#include <string>

#include "corvane/link/support/scripted_peer.h"

namespace {

using linktest::Bytes;

TEST(Crc16, CheckStringGivesTheCheckValueAndEveryTableEntryAgreesWithTheBitwiseDefinition) {
    const std::string check = "123456789";
    EXPECT_EQ(corvane::Crc16Of(reinterpret_cast<const BYTE*>(check.data()), check.size()), 0x31C3);
    // Every single-byte message exercises one table entry through the augmentation.
    for (int b = 0; b < 256; ++b) {
        const Bytes message = {static_cast<BYTE>(b)};
        ASSERT_EQ(corvane::Crc16Of(message.data(), 1), linktest::ReferenceCrc(message)) << b;
    }
}

TEST(Crc16, WholeGoodFrameLeavesRegisterAtZeroAndAnyFlippedBitDoesNot) {
    const Bytes frames[] = {
        linktest::BuildFrame(0xAA, 1, 4, {}),
        linktest::BuildFrame(0x55, 200, 770, linktest::TextBytes("Unknown command")),
        linktest::BuildFrame(0xAA, 255, 216, Bytes(300, 0x7E)),  // long: the whole table is used
    };
    for (const Bytes& frame : frames) {
        EXPECT_EQ(corvane::Crc16Feed(0, frame.data(), frame.size()), 0);
        for (std::size_t i = 0; i < frame.size() * 8; ++i) {
            Bytes spoiled = frame;
            spoiled[i / 8] ^= static_cast<BYTE>(1 << (i % 8));
            ASSERT_NE(corvane::Crc16Feed(0, spoiled.data(), spoiled.size()), 0) << "bit " << i;
        }
    }
}

}  // namespace
