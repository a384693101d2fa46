#include "corvane/link/crc16.h"

#include <gtest/gtest.h>

#include <string>

#include "corvane/link/support/scripted_peer.h"

namespace {

using linktest::Bytes;

TEST(Crc16, MatchesTheBitwiseDefinition) {
    const std::string check = "123456789";
    EXPECT_EQ(corvane::Crc16Of(reinterpret_cast<const BYTE*>(check.data()), check.size()), 0x31C3);
    // Every single-byte message exercises one table entry through the augmentation.
    for (int b = 0; b < 256; ++b) {
        const Bytes message = {static_cast<BYTE>(b)};
        ASSERT_EQ(corvane::Crc16Of(message.data(), 1), linktest::ReferenceCrc(message)) << b;
    }
}

}  // namespace
