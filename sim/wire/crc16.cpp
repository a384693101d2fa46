#include "sim/wire/crc16.h"

namespace tarvo::sim {

std::uint16_t Crc16(std::span<const std::uint8_t> bytes, std::uint16_t crc) {
    for (std::uint8_t byte : bytes) {
        crc ^= static_cast<std::uint16_t>(byte << 8);
        for (int bit = 0; bit < 8; ++bit) {
            const bool top = (crc & 0x8000u) != 0;
            crc = static_cast<std::uint16_t>(crc << 1);
            if (top) {
                crc ^= 0x1021u;
            }
        }
    }
    return crc;
}

}  // namespace tarvo::sim
