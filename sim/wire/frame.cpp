#include "sim/wire/frame.h"

#include "sim/wire/crc16.h"

namespace tarvo::sim {

std::vector<BYTE> EncodeFrame(const Frame& frame) {
    return EncodeFrameAs(frame, static_cast<WORD>(frame.payload.size()), 0);
}

std::vector<BYTE> EncodeFrameAs(const Frame& frame, WORD lengthField, WORD crcXor) {
    std::vector<BYTE> bytes;
    bytes.reserve(kFrameOverhead + frame.payload.size());
    bytes.push_back(frame.header);
    bytes.push_back(frame.number);
    bytes.push_back(static_cast<BYTE>(frame.type >> 8));
    bytes.push_back(static_cast<BYTE>(frame.type & 0xFF));
    bytes.push_back(static_cast<BYTE>(lengthField >> 8));
    bytes.push_back(static_cast<BYTE>(lengthField & 0xFF));
    bytes.insert(bytes.end(), frame.payload.begin(), frame.payload.end());
    const WORD crc = static_cast<WORD>(Crc16(bytes) ^ crcXor);
    bytes.push_back(static_cast<BYTE>(crc >> 8));
    bytes.push_back(static_cast<BYTE>(crc & 0xFF));
    return bytes;
}

}  // namespace tarvo::sim
