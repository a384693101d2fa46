// Logger time: instants, spans, the "HH:MM:SS" texts of settings, and schedule points.
//
// Logger time is a calendar without zones or daylight saving: TTime counts milliseconds from
// 1970-01-01 00:00:00 logger time. Because that origin is a midnight and every day has exactly
// 86 400 000 ms, a schedule of Offset + k * Interval lands on the same time-of-day points every
// day for any interval that divides a day.
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

// The calendar record the platform uses to set the clock; wDayOfWeek is 0 for Sunday.
struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

// A signed duration with millisecond resolution. Components of a negative span are all
// negative or zero (as -(the positive span's components)).
class TTimeSpan {
  public:
    TTimeSpan() = default;
    TTimeSpan(long days, int hours, int minutes, int seconds, int milliseconds = 0);
    static TTimeSpan FromMilliseconds(std::int64_t ms);
    static TTimeSpan FromSeconds(std::int64_t seconds);

    long GetDays() const;
    int GetHours() const;         // 0..23 within the day
    int GetMinutes() const;       // 0..59
    int GetSeconds() const;       // 0..59
    int GetMilliseconds() const;  // 0..999
    std::int64_t GetTotalSeconds() const;
    std::int64_t GetTotalMinutes() const;
    std::int64_t GetTotalMilliseconds() const;

    TTimeSpan operator+(TTimeSpan other) const;
    TTimeSpan operator-(TTimeSpan other) const;
    TTimeSpan operator-() const;
    auto operator<=>(const TTimeSpan&) const = default;

  private:
    std::int64_t ms_ = 0;
};

// An instant of logger time.
class TTime {
  public:
    TTime() = default;  // 1970-01-01 00:00:00.000
    TTime(int year, int month, int day, int hour, int minute, int second, int millisecond = 0);
    static TTime FromMilliseconds(std::int64_t msSince1970);
    static TTime FromSecondsSince1970(std::int64_t seconds);
    static TTime FromSystemTime(const SYSTEMTIME& st);

    // The logger's current time, from the process clock (real or virtual).
    static TTime GetCurrentTime();

    int GetYear() const;
    int GetMonth() const;   // 1..12
    int GetDay() const;     // 1..31
    int GetHour() const;    // 0..23
    int GetMinute() const;  // 0..59
    int GetSecond() const;  // 0..59
    int GetMillisecond() const;
    int GetDayOfWeek() const;  // 0 = Sunday
    std::int64_t GetMillisecondsSince1970() const;
    std::int64_t GetSecondsSince1970() const;  // rounded towards minus infinity
    SYSTEMTIME GetAsSystemTime() const;
    // The time of day, as a span from the instant's midnight.
    TTimeSpan GetTimeOfDay() const;

    TTime operator+(TTimeSpan span) const;
    TTime operator-(TTimeSpan span) const;
    TTimeSpan operator-(TTime other) const;
    TTime& operator+=(TTimeSpan span);
    auto operator<=>(const TTime&) const = default;

  private:
    std::int64_t ms_ = 0;
};

// Time texts. The canonical form is "HH:MM:SS": hours of two or more digits (so "24:00:00" and
// "36:00:00" are valid intervals), minutes and seconds of exactly two digits below 60.
//
// ValidateTime is strict: it accepts the canonical form only.
bool ValidateTime(const std::wstring& text);

// The converters are lenient, like the platform's wide-string-to-long conversion: the text is
// split at ':' into hours, minutes and seconds (missing fields are 0), each field contributes
// its leading decimal digits (none read as 0), and fields are not range-checked, so "1:2:3" is
// 1 h 2 min 3 s, "00:00:75" is 75 s and "garbage" is 0.
TTimeSpan StrToTimeSpan(const std::wstring& text);
DWORD StrToMS(const std::wstring& text);

// The first instant at or after `time` that lies on Offset + k * Interval (k any integer)
// counted from logger midnight 1970-01-01. An interval of zero or less gives `time` itself.
TTime NextScheduledTime(TTime time, TTimeSpan interval, TTimeSpan offset);
