// Frames as the transmitter sees them on the line. Every frame, either way:
//
//   header (1) | packet number (1) | type code (2) | payload length n (2) | payload (n) | CRC (2)
//
// multi-byte fields most significant byte first; the CRC covers header through payload. Requests
// carry header 0xAA, replies its bitwise inverse 0x55 and the request's packet number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/types.h"

namespace tarvo::sim {

inline constexpr BYTE kRequestHeader = 0xAA;
inline constexpr BYTE kReplyHeader = 0x55;
// Header, number, type, length and CRC: the bytes of a frame besides its payload.
inline constexpr std::size_t kFrameOverhead = 8;
// The longest payload the transmitter accepts; a header announcing more is taken for noise.
inline constexpr std::size_t kMaxPayload = 16384;

struct Frame {
    BYTE header = kRequestHeader;
    BYTE number = 0;
    WORD type = 0;
    std::vector<BYTE> payload;

    bool operator==(const Frame&) const = default;
};

// The bytes of `frame` on the line, with its true length and CRC.
std::vector<BYTE> EncodeFrame(const Frame& frame);

// The bytes of a frame with a length field and a CRC that need not be true: the length field
// says `lengthField` whatever the payload holds, and the CRC sent is the true one XOR `crcXor`.
// Used to put deliberately damaged replies on the line.
std::vector<BYTE> EncodeFrameAs(const Frame& frame, WORD lengthField, WORD crcXor);

}  // namespace tarvo::sim
