// The line as the tests see it: frames built here from the byte layout with a CRC of the tests'
// own (table-driven, where the simulator computes bit by bit), so that the simulator's framing
// is checked against a second derivation rather than against itself.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace simtest {

using Bytes = std::vector<std::uint8_t>;

std::uint16_t TableCrc(const Bytes& bytes);

// header, number, type (2), length (2), payload, CRC (2), multi-byte fields high byte first.
Bytes FrameBytes(std::uint8_t header, std::uint8_t number, std::uint16_t type,
                 const Bytes& payload);
inline Bytes Request(std::uint8_t number, std::uint16_t type, const Bytes& payload = {}) {
    return FrameBytes(0xAA, number, type, payload);
}
inline Bytes Reply(std::uint8_t number, std::uint16_t type, const Bytes& payload = {}) {
    return FrameBytes(0x55, number, type, payload);
}

Bytes Text(std::string_view text);
inline Bytes U8(std::uint8_t value) {
    return {value};
}
Bytes U16(std::uint16_t value);
Bytes U32(std::uint32_t value);
// days, hours, minutes, seconds of a count of seconds
Bytes SpanOf(long seconds);
Bytes Cat(std::initializer_list<Bytes> parts);
// The seconds the payload of a reply to 35 carries.
std::uint32_t SecondsIn(const Bytes& payload);

// What `line` answers to request `number` of `type`: the payload when the line holds exactly
// that reply, byte for byte as built here; kNoReply when it holds nothing; otherwise "not the
// reply: " and the line in hex.
Bytes PayloadOf(const Bytes& line, std::uint8_t number, std::uint16_t type);
inline const Bytes kNoReply = Text("no reply");

// Seconds (and milliseconds) since 1970 of a civil time in UTC, and the line's 7-byte form of it.
std::int64_t Epoch(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);
inline std::int64_t Ms(int year, int month, int day, int hour, int minute, int second) {
    return Epoch(year, month, day, hour, minute, second) * 1000;
}
Bytes Time7(int year, int month, int day, int hour, int minute, int second);

}  // namespace simtest
