#include "sim/support/wire.h"

#include <array>

namespace simtest {
namespace {

std::array<std::uint16_t, 256> MakeTable() {
    std::array<std::uint16_t, 256> table{};
    for (unsigned i = 0; i < 256; ++i) {
        std::uint16_t value = static_cast<std::uint16_t>(i << 8);
        for (int bit = 0; bit < 8; ++bit) {
            value =
                static_cast<std::uint16_t>((value & 0x8000) ? (value << 1) ^ 0x1021 : (value << 1));
        }
        table[i] = value;
    }
    return table;
}

bool Leap(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

}  // namespace

std::uint16_t TableCrc(const Bytes& bytes) {
    static const auto table = MakeTable();
    std::uint16_t crc = 0;
    for (const std::uint8_t b : bytes) {
        crc = static_cast<std::uint16_t>((crc << 8) ^ table[((crc >> 8) ^ b) & 0xFF]);
    }
    return crc;
}

Bytes FrameBytes(std::uint8_t header, std::uint8_t number, std::uint16_t type,
                 const Bytes& payload) {
    Bytes frame{header,
                number,
                static_cast<std::uint8_t>(type >> 8),
                static_cast<std::uint8_t>(type),
                static_cast<std::uint8_t>(payload.size() >> 8),
                static_cast<std::uint8_t>(payload.size())};
    frame.insert(frame.end(), payload.begin(), payload.end());
    const std::uint16_t crc = TableCrc(frame);
    frame.push_back(static_cast<std::uint8_t>(crc >> 8));
    frame.push_back(static_cast<std::uint8_t>(crc));
    return frame;
}

Bytes Text(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

Bytes U16(std::uint16_t value) {
    return {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

Bytes U32(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
            static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

Bytes SpanOf(long seconds) {
    return {static_cast<std::uint8_t>(seconds / 86400),
            static_cast<std::uint8_t>(seconds / 3600 % 24),
            static_cast<std::uint8_t>(seconds / 60 % 60), static_cast<std::uint8_t>(seconds % 60)};
}

Bytes Cat(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

std::string Hex(const Bytes& bytes) {
    static const char* digits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t b : bytes) {
        text += digits[b >> 4];
        text += digits[b & 15];
    }
    return text;
}

std::int64_t Epoch(int year, int month, int day, int hour, int minute, int second) {
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    std::int64_t days = 0;
    for (int y = 1970; y < year; ++y) {
        days += Leap(y) ? 366 : 365;
    }
    for (int m = 1; m < month; ++m) {
        days += kDays[m - 1] + (m == 2 && Leap(year) ? 1 : 0);
    }
    days += day - 1;
    return ((days * 24 + hour) * 60 + minute) * 60 + second;
}

Bytes Time7(int year, int month, int day, int hour, int minute, int second) {
    return {static_cast<std::uint8_t>(year >> 8), static_cast<std::uint8_t>(year),
            static_cast<std::uint8_t>(month),     static_cast<std::uint8_t>(day),
            static_cast<std::uint8_t>(hour),      static_cast<std::uint8_t>(minute),
            static_cast<std::uint8_t>(second)};
}

}  // namespace simtest
