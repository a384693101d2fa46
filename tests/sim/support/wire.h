// The line as the tests see it: frames built here from the byte layout with a CRC of the tests'
// own (table-driven, where the simulator computes bit by bit), so that the simulator's framing
// is checked against a second derivation rather than against itself.
#pragma once

#include <cstdint>
#include <ostream>
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
Bytes U16(std::uint16_t value);
Bytes U32(std::uint32_t value);
// days, hours, minutes, seconds of a count of seconds
Bytes SpanOf(long seconds);
Bytes Cat(std::initializer_list<Bytes> parts);
std::string Hex(const Bytes& bytes);

// A reply frame whose packet number is read only when it is compared, so that
// `EXPECT_EQ(Exchange(...), Expect(...))` holds whichever argument is evaluated first.
struct ExpectedReply {
    std::uint16_t type;
    Bytes payload;
    const std::uint8_t* number;
    Bytes Frame() const { return Reply(*number, type, payload); }
};
inline bool operator==(const Bytes& line, const ExpectedReply& expected) {
    return line == expected.Frame();
}
inline void PrintTo(const ExpectedReply& expected, std::ostream* os) {
    *os << Hex(expected.Frame());
}

// Seconds since 1970 of a civil time, computed the slow obvious way (day by day).
std::int64_t Epoch(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);
// The 7-byte time of the line for a civil time.
Bytes Time7(int year, int month, int day, int hour, int minute, int second);

}  // namespace simtest
