// The line's CRC-16: polynomial 0x1021, register starting at 0, no reflection, no final XOR.
#pragma once

#include <cstdint>
#include <span>

namespace tarvo::sim {

// CRC of `bytes` continued from `crc`. Computed bit by bit on purpose: the logger side is free to
// use a table, and two different derivations that agree are evidence that both are right.
std::uint16_t Crc16(std::span<const std::uint8_t> bytes, std::uint16_t crc = 0);

}  // namespace tarvo::sim
