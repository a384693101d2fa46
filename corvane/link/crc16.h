// The link's CRC-16: polynomial 0x1021, register starting at 0, no reflection, no final XOR,
// computed in the table-driven augmented form the transmitter uses.
#pragma once

#include <array>
#include <cstddef>

#include "platform/types.h"

namespace corvane {

// The 256-entry table of the polynomial, generated at compile time into the module's data.
extern const std::array<WORD, 256> kCrc16Table;

// One step of the augmented register: the byte enters at the bottom while the top byte leaves
// through the table. Feeding a whole frame including its two CRC bytes leaves 0 when it is good.
inline WORD Crc16Step(WORD crc, BYTE byte) {
    return static_cast<WORD>((crc << 8) ^ kCrc16Table[crc >> 8] ^ byte);
}

// Feeds `count` bytes into `crc` and returns the new register.
WORD Crc16Feed(WORD crc, const BYTE* data, std::size_t count);

// The CRC that goes on the wire after `data`: the register from 0 over the bytes and then two
// zero bytes, which are not sent. For "123456789" this is 0x31C3.
WORD Crc16Of(const BYTE* data, std::size_t count);

}  // namespace corvane
