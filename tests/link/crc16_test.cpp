#include "link/crc16.h"

#include <gtest/gtest.h>

#include <string>

#include "link/support/scripted_peer.h"

namespace {

using linktest::Bytes;

TEST(Crc16, CheckStringGivesTheXmodemCheckValue) {
    const std::string check = "123456789";
    EXPECT_EQ(corvane::Crc16Of(reinterpret_cast<const BYTE*>(check.data()), check.size()), 0x31C3);
}

TEST(Crc16, TableDrivenAugmentedFormAgreesWithBitwiseDefinition) {
    // Every single-byte message exercises one table entry through the augmentation.
    for (int b = 0; b < 256; ++b) {
        const BYTE byte = static_cast<BYTE>(b);
        ASSERT_EQ(corvane::Crc16Of(&byte, 1), linktest::ReferenceCrc(&byte, 1)) << "byte " << b;
    }
    Bytes long_message;
    for (int i = 0; i < 1000; ++i) {
        long_message.push_back(static_cast<BYTE>(i * 37 + 11));
    }
    EXPECT_EQ(corvane::Crc16Of(long_message.data(), long_message.size()),
              linktest::ReferenceCrc(long_message));
}

TEST(Crc16, WholeGoodFrameLeavesRegisterAtZeroAndAnyFlippedBitDoesNot) {
    struct Row {
        const char* legend;
        Bytes frame;
    };
    const Row rows[] = {
        {"empty request", linktest::BuildFrame(0xAA, 1, 4, {})},
        {"reply with payload",
         linktest::BuildFrame(0x55, 200, 770, linktest::TextBytes("Unknown command"))},
        {"CRC with a zero byte", linktest::BuildFrame(0xAA, 0, 0, {0x00})},
        {"long payload", linktest::BuildFrame(0xAA, 255, 216, Bytes(300, 0x7E))},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        EXPECT_EQ(corvane::Crc16Feed(0, row.frame.data(), row.frame.size()), 0);
        for (std::size_t i = 0; i < row.frame.size(); ++i) {
            for (int bit = 0; bit < 8; ++bit) {
                Bytes spoiled = row.frame;
                spoiled[i] ^= static_cast<BYTE>(1 << bit);
                ASSERT_NE(corvane::Crc16Feed(0, spoiled.data(), spoiled.size()), 0)
                    << "byte " << i << " bit " << bit;
            }
        }
    }
}

}  // namespace
