#include "sim/support/wire.h"

#include <array>
#include <chrono>

#include "sim/model/records.h"

namespace simtest {

std::uint16_t TableCrc(const Bytes& bytes) {
    static const auto table = [] {
        std::array<std::uint16_t, 256> t{};
        for (unsigned i = 0; i < 256; ++i) {
            std::uint16_t value = static_cast<std::uint16_t>(i << 8);
            for (int bit = 0; bit < 8; ++bit) {
                value = static_cast<std::uint16_t>((value & 0x8000) ? (value << 1) ^ 0x1021
                                                                    : (value << 1));
            }
            t[i] = value;
        }
        return t;
    }();
    std::uint16_t crc = 0;
    for (const std::uint8_t b : bytes) {
        crc = static_cast<std::uint16_t>((crc << 8) ^ table[((crc >> 8) ^ b) & 0xFF]);
    }
    return crc;
}

Bytes FrameBytes(std::uint8_t header, std::uint8_t number, std::uint16_t type,
                 const Bytes& payload) {
    Bytes frame = Cat(
        {{header, number}, U16(type), U16(static_cast<std::uint16_t>(payload.size())), payload});
    return Cat({frame, U16(TableCrc(frame))});
}

Bytes Text(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

Bytes U16(std::uint16_t value) {
    return {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

Bytes U32(std::uint32_t value) {
    return Cat(
        {U16(static_cast<std::uint16_t>(value >> 16)), U16(static_cast<std::uint16_t>(value))});
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

std::uint32_t SecondsIn(const Bytes& payload) {
    return payload.size() < 4 ? 0
                              : (std::uint32_t{payload[0]} << 24) | (payload[1] << 16) |
                                    (payload[2] << 8) | payload[3];
}

Bytes PayloadOf(const Bytes& line, std::uint8_t number, std::uint16_t type) {
    if (line.empty()) {
        return kNoReply;
    }
    if (line.size() >= 8 && line == Reply(number, type, Bytes(line.begin() + 6, line.end() - 2))) {
        return Bytes(line.begin() + 6, line.end() - 2);
    }
    return Text("not the reply: " + tarvo::sim::ToHex(line));
}

std::int64_t Epoch(int year, int month, int day, int hour, int minute, int second) {
    const std::chrono::sys_days date = std::chrono::year_month_day(
        std::chrono::year(year), std::chrono::month(month), std::chrono::day(day));
    return date.time_since_epoch().count() * 86400LL + (hour * 60 + minute) * 60 + second;
}

Bytes Time7(int year, int month, int day, int hour, int minute, int second) {
    const auto b = [](int v) { return static_cast<std::uint8_t>(v); };
    return Cat(
        {U16(static_cast<std::uint16_t>(year)), {b(month), b(day), b(hour), b(minute), b(second)}});
}

}  // namespace simtest
