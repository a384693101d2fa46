// Calendar arithmetic for the transmitter's clock: proleptic Gregorian, no zones, milliseconds
// since 1970-01-01 00:00:00. Written here rather than borrowed so the device's idea of a date is
// its own.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "platform/types.h"

namespace tarvo::sim {

struct CivilTime {
    int year = 1970;
    int month = 1;  // 1..12
    int day = 1;    // 1..31
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;

    bool operator==(const CivilTime&) const = default;
};

CivilTime CivilFromMs(std::int64_t msSince1970);
// Fields must be in range.
std::int64_t MsFromCivil(const CivilTime& time);

// Floor division and modulo, for times before 1970 and negative offsets.
std::int64_t FloorDiv(std::int64_t a, std::int64_t b);
std::int64_t FloorMod(std::int64_t a, std::int64_t b);

// The 7-byte time of the line: year (2 bytes), month, day, hour, minute, second.
std::array<BYTE, 7> SevenByteTime(std::int64_t msSince1970);

// "2024-03-01T12:00:00.000", for transcripts.
std::string IsoTime(std::int64_t msSince1970);
// "2024/03/01 12:00:00", for the status report.
std::string StatusTime(std::int64_t msSince1970);

}  // namespace tarvo::sim
