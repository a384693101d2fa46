#include "sim/wire/crc16.h"

namespace tarvo::sim {

std::uint16_t Crc16(std::span<const std::uint8_t> bytes, std::uint16_t crc) {
    for (std::uint8_t byte : bytes) {
        crc ^= static_cast<std::uint16_t>(byte << 8);
        for (int bit = 0; bit < 8; ++bit) {
            // The polynomial goes in when the bit shifted out was set; without a branch, since
            // that bit is as good as random.
            const std::uint16_t top = static_cast<std::uint16_t>(crc >> 15);
            crc = static_cast<std::uint16_t>((crc << 1) ^ (0x1021u & (0u - top)));
        }
    }
    return crc;
}

}  // namespace tarvo::sim
