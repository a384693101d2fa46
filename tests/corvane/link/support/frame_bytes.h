// Request and reply frames built from the frame layout alone, with a bitwise CRC of their own:
// nothing shared with link/, so that a mistake there cannot hide by being symmetric. Free of
// gtest, so that a fuzz target can use it as the link tests do.
#pragma once

#include <cstddef>
#include <vector>

#include "platform/types.h"

namespace linktest {

using Bytes = std::vector<BYTE>;

// CRC-16 with polynomial 0x1021, register from 0, bit by bit, no augmentation: the plain
// definition the link's table-driven augmented form must agree with.
inline WORD ReferenceCrc(const Bytes& data) {
    WORD crc = 0;
    for (const BYTE byte : data) {
        crc ^= static_cast<WORD>(byte << 8);
        for (int bit = 0; bit < 8; ++bit) {
            crc = static_cast<WORD>((crc & 0x8000) ? (crc << 1) ^ 0x1021 : crc << 1);
        }
    }
    return crc;
}

// A whole frame: header, number, type, length, payload, CRC (high byte first).
inline Bytes BuildFrame(BYTE header, BYTE number, WORD type, const Bytes& payload) {
    const std::size_t size = payload.size();
    // Reserved whole and appended byte by byte: growing a vector made from a six-byte list
    // trips GCC 12's -Warray-bounds at -O2, a known false positive.
    Bytes frame;
    frame.reserve(8 + size);
    for (BYTE b : {header, number, BYTE(type >> 8), BYTE(type), BYTE(size >> 8), BYTE(size)}) {
        frame.push_back(b);
    }
    frame.insert(frame.end(), payload.begin(), payload.end());
    const WORD crc = ReferenceCrc(frame);
    frame.push_back(BYTE(crc >> 8));
    frame.push_back(BYTE(crc));
    return frame;
}

}  // namespace linktest
