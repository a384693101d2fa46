#include "sim/model/calendar.h"

#include <cstdio>

namespace tarvo::sim {
namespace {

constexpr std::int64_t kMsPerDay = 86'400'000;

// Days since 1970-01-01 of a civil date (Howard Hinnant's algorithm).
std::int64_t DaysFromCivil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2 ? 1 : 0;
    const std::int64_t era = FloorDiv(y, 400);
    const auto yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

}  // namespace

std::int64_t FloorDiv(std::int64_t a, std::int64_t b) {
    std::int64_t q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) {
        --q;
    }
    return q;
}

std::int64_t FloorMod(std::int64_t a, std::int64_t b) {
    return a - FloorDiv(a, b) * b;
}

CivilTime CivilFromMs(std::int64_t msSince1970) {
    const std::int64_t days = FloorDiv(msSince1970, kMsPerDay);
    std::int64_t msOfDay = FloorMod(msSince1970, kMsPerDay);

    const std::int64_t z = days + 719468;
    const std::int64_t era = FloorDiv(z, 146097);
    const auto doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    const unsigned d = doy - (153 * mp + 2) / 5 + 1;
    const unsigned m = mp < 10 ? mp + 3 : mp - 9;
    const std::int64_t y = static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2 ? 1 : 0);

    CivilTime civil;
    civil.year = static_cast<int>(y);
    civil.month = static_cast<int>(m);
    civil.day = static_cast<int>(d);
    civil.hour = static_cast<int>(msOfDay / 3'600'000);
    msOfDay %= 3'600'000;
    civil.minute = static_cast<int>(msOfDay / 60'000);
    msOfDay %= 60'000;
    civil.second = static_cast<int>(msOfDay / 1000);
    civil.millisecond = static_cast<int>(msOfDay % 1000);
    return civil;
}

std::int64_t MsFromCivil(const CivilTime& t) {
    const std::int64_t days =
        DaysFromCivil(t.year, static_cast<unsigned>(t.month), static_cast<unsigned>(t.day));
    return days * kMsPerDay + ((t.hour * 60LL + t.minute) * 60LL + t.second) * 1000LL +
           t.millisecond;
}

std::array<BYTE, 7> SevenByteTime(std::int64_t msSince1970) {
    const CivilTime t = CivilFromMs(msSince1970);
    return {static_cast<BYTE>((t.year >> 8) & 0xFF),
            static_cast<BYTE>(t.year & 0xFF),
            static_cast<BYTE>(t.month),
            static_cast<BYTE>(t.day),
            static_cast<BYTE>(t.hour),
            static_cast<BYTE>(t.minute),
            static_cast<BYTE>(t.second)};
}

std::string IsoTime(std::int64_t msSince1970) {
    const CivilTime t = CivilFromMs(msSince1970);
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03d", t.year, t.month, t.day,
                  t.hour, t.minute, t.second, t.millisecond);
    return text;
}

std::string StatusTime(std::int64_t msSince1970) {
    const CivilTime t = CivilFromMs(msSince1970);
    char text[40];
    std::snprintf(text, sizeof text, "%04d/%02d/%02d %02d:%02d:%02d", t.year, t.month, t.day,
                  t.hour, t.minute, t.second);
    return text;
}

}  // namespace tarvo::sim
