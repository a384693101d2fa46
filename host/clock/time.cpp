// TTime and TTimeSpan: plain millisecond counts with a proleptic Gregorian calendar on top.
#include "platform/time.h"

#include <cstdint>

namespace {

constexpr std::int64_t kMsPerSecond = 1000;
constexpr std::int64_t kMsPerMinute = 60 * kMsPerSecond;
constexpr std::int64_t kMsPerHour = 60 * kMsPerMinute;
constexpr std::int64_t kMsPerDay = 24 * kMsPerHour;

// Floor division, so that instants before 1970 still fall into the right day and second.
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

// Days since 1970-01-01 of a civil date; months and days outside their ranges roll over
// arithmetically, as the day count simply continues.
std::int64_t DaysFromCivil(std::int64_t y, std::int64_t m, std::int64_t d) {
    // Normalise the month first so that month 13 is January of the next year.
    y += FloorDiv(m - 1, 12);
    m = FloorMod(m - 1, 12) + 1;
    y -= m <= 2 ? 1 : 0;
    const std::int64_t era = FloorDiv(y, 400);
    const std::int64_t yoe = y - era * 400;
    const std::int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const std::int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

struct Civil {
    std::int64_t year;
    int month;
    int day;
};

Civil CivilFromDays(std::int64_t z) {
    z += 719468;
    const std::int64_t era = FloorDiv(z, 146097);
    const std::int64_t doe = z - era * 146097;
    const std::int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const std::int64_t mp = (5 * doy + 2) / 153;
    const int day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    const int month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    return {yoe + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

}  // namespace

// ---- TTimeSpan ----

TTimeSpan::TTimeSpan(long days, int hours, int minutes, int seconds, int milliseconds)
    : ms_(days * kMsPerDay + hours * kMsPerHour + minutes * kMsPerMinute + seconds * kMsPerSecond +
          milliseconds) {}

TTimeSpan TTimeSpan::FromMilliseconds(std::int64_t ms) {
    TTimeSpan span;
    span.ms_ = ms;
    return span;
}

TTimeSpan TTimeSpan::FromSeconds(std::int64_t seconds) {
    return FromMilliseconds(seconds * kMsPerSecond);
}

// C++ division truncates towards zero, which gives a negative span the negated components of
// its positive counterpart.
long TTimeSpan::GetDays() const {
    return static_cast<long>(ms_ / kMsPerDay);
}
int TTimeSpan::GetHours() const {
    return static_cast<int>(ms_ / kMsPerHour % 24);
}
int TTimeSpan::GetMinutes() const {
    return static_cast<int>(ms_ / kMsPerMinute % 60);
}
int TTimeSpan::GetSeconds() const {
    return static_cast<int>(ms_ / kMsPerSecond % 60);
}
int TTimeSpan::GetMilliseconds() const {
    return static_cast<int>(ms_ % kMsPerSecond);
}
std::int64_t TTimeSpan::GetTotalSeconds() const {
    return ms_ / kMsPerSecond;
}
std::int64_t TTimeSpan::GetTotalMinutes() const {
    return ms_ / kMsPerMinute;
}
std::int64_t TTimeSpan::GetTotalMilliseconds() const {
    return ms_;
}

TTimeSpan TTimeSpan::operator+(TTimeSpan other) const {
    return FromMilliseconds(ms_ + other.ms_);
}
TTimeSpan TTimeSpan::operator-(TTimeSpan other) const {
    return FromMilliseconds(ms_ - other.ms_);
}
TTimeSpan TTimeSpan::operator-() const {
    return FromMilliseconds(-ms_);
}

// ---- TTime ----

TTime::TTime(int year, int month, int day, int hour, int minute, int second, int millisecond)
    : ms_(DaysFromCivil(year, month, day) * kMsPerDay + hour * kMsPerHour + minute * kMsPerMinute +
          second * kMsPerSecond + millisecond) {}

TTime TTime::FromMilliseconds(std::int64_t msSince1970) {
    TTime time;
    time.ms_ = msSince1970;
    return time;
}

TTime TTime::FromSecondsSince1970(std::int64_t seconds) {
    return FromMilliseconds(seconds * kMsPerSecond);
}

TTime TTime::FromSystemTime(const SYSTEMTIME& st) {
    return TTime(st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond, st.wMilliseconds);
}

int TTime::GetYear() const {
    return static_cast<int>(CivilFromDays(FloorDiv(ms_, kMsPerDay)).year);
}
int TTime::GetMonth() const {
    return CivilFromDays(FloorDiv(ms_, kMsPerDay)).month;
}
int TTime::GetDay() const {
    return CivilFromDays(FloorDiv(ms_, kMsPerDay)).day;
}
int TTime::GetHour() const {
    return static_cast<int>(FloorMod(ms_, kMsPerDay) / kMsPerHour);
}
int TTime::GetMinute() const {
    return static_cast<int>(FloorMod(ms_, kMsPerHour) / kMsPerMinute);
}
int TTime::GetSecond() const {
    return static_cast<int>(FloorMod(ms_, kMsPerMinute) / kMsPerSecond);
}
int TTime::GetMillisecond() const {
    return static_cast<int>(FloorMod(ms_, kMsPerSecond));
}

// 1970-01-01 was a Thursday.
int TTime::GetDayOfWeek() const {
    return static_cast<int>(FloorMod(FloorDiv(ms_, kMsPerDay) + 4, 7));
}

std::int64_t TTime::GetMillisecondsSince1970() const {
    return ms_;
}
std::int64_t TTime::GetSecondsSince1970() const {
    return FloorDiv(ms_, kMsPerSecond);
}

SYSTEMTIME TTime::GetAsSystemTime() const {
    const Civil c = CivilFromDays(FloorDiv(ms_, kMsPerDay));
    SYSTEMTIME st{};
    st.wYear = static_cast<WORD>(c.year);
    st.wMonth = static_cast<WORD>(c.month);
    st.wDayOfWeek = static_cast<WORD>(GetDayOfWeek());
    st.wDay = static_cast<WORD>(c.day);
    st.wHour = static_cast<WORD>(GetHour());
    st.wMinute = static_cast<WORD>(GetMinute());
    st.wSecond = static_cast<WORD>(GetSecond());
    st.wMilliseconds = static_cast<WORD>(GetMillisecond());
    return st;
}

TTimeSpan TTime::GetTimeOfDay() const {
    return TTimeSpan::FromMilliseconds(FloorMod(ms_, kMsPerDay));
}

TTime TTime::operator+(TTimeSpan span) const {
    return FromMilliseconds(ms_ + span.GetTotalMilliseconds());
}
TTime TTime::operator-(TTimeSpan span) const {
    return FromMilliseconds(ms_ - span.GetTotalMilliseconds());
}
TTimeSpan TTime::operator-(TTime other) const {
    return TTimeSpan::FromMilliseconds(ms_ - other.ms_);
}
TTime& TTime::operator+=(TTimeSpan span) {
    ms_ += span.GetTotalMilliseconds();
    return *this;
}
