// Logger time: the calendar, spans, "HH:MM:SS" texts and schedule points.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "platform/time.h"

namespace {

constexpr std::int64_t kSecond = 1000;
constexpr std::int64_t kMinute = 60 * kSecond;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;

TEST(TimeText, ValidatesStrictlyAndConvertsLeniently) {
    struct Row {
        const wchar_t* text;
        bool valid;
        std::int64_t ms;  // StrToTimeSpan
        const char* legend;
    };
    const Row rows[] = {
        {L"00:00:59", true, 59 * kSecond, "last second of the first minute"},
        {L"24:00:00", true, kDay, "a whole day is a valid interval"},
        {L"36:00:00", true, 36 * kHour, "hours beyond a day"},
        {L"1:2:3", false, kHour + 2 * kMinute + 3 * kSecond, "single digits: lenient only"},
        {L"00:60:00", false, kHour, "minutes of 60 are read but not valid"},
        {L"00:00:75", false, 75 * kSecond, "fields are not range-checked"},
        {L"garbage", false, 0, "no digits read as zero"},
        {L"12:34", false, 12 * kHour + 34 * kMinute, "missing seconds are zero"},
        {L"01:02:03:04", false, kHour + 2 * kMinute + 3 * kSecond, "a fourth field is ignored"},
        {L" 01:00:00", false, kHour, "leading blank skipped by the converter"},
        {L"0a:00:00", false, 0, "digits stop at the letter"},
        {L"::30", false, 30 * kSecond, "empty fields"},
        {L"-01:00:00", false, -kHour, "a sign is read as the platform reads it"},
        {L"00:0:00", false, 0, "one-digit minutes"},
        {L"0:00:00", false, 0, "one-digit hours"},
        {L"1200:00:00", true, 1200 * kHour, "past 2^32 ms: StrToMS wraps"},
        {L"00:00:99999999999999999999", false, 2147483647LL * kSecond,
         "a huge field saturates at the largest 32-bit long"},
        {L"99999999999999999999:00:00", true, 2147483647LL * kHour, "in hours too"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        EXPECT_EQ(ValidateTime(row.text), row.valid);
        EXPECT_EQ(StrToTimeSpan(row.text).GetTotalMilliseconds(), row.ms);
        EXPECT_EQ(StrToMS(row.text), static_cast<DWORD>(row.ms));
    }
}

TEST(Calendar, DatesRoundTripAndStepDayByDayAcrossTwoCenturies) {
    // Every day from 1899 to 2101: the date read back builds the same instant, and each day
    // follows its predecessor (a leap day, month and year boundary each show up here).
    const std::int64_t first = TTime(1899, 1, 1, 0, 0, 0).GetMillisecondsSince1970() / kDay;
    const std::int64_t last = TTime(2101, 12, 31, 0, 0, 0).GetMillisecondsSince1970() / kDay;
    int leapDays = 0;
    TTime previous = TTime::FromMilliseconds((first - 1) * kDay);
    for (std::int64_t day = first; day <= last; ++day) {
        const TTime t = TTime::FromMilliseconds(day * kDay + 13 * kHour);
        ASSERT_EQ(TTime(t.GetYear(), t.GetMonth(), t.GetDay(), 13, 0, 0), t) << day;
        const bool nextDayOfMonth =
            t.GetDay() == previous.GetDay() + 1 && t.GetMonth() == previous.GetMonth();
        const bool newMonth = t.GetDay() == 1 && (t.GetMonth() == previous.GetMonth() % 12 + 1);
        ASSERT_TRUE(nextDayOfMonth || newMonth) << day;
        ASSERT_EQ(t.GetDayOfWeek(), (previous.GetDayOfWeek() + 1) % 7) << day;
        if (t.GetMonth() == 2 && t.GetDay() == 29) {
            ++leapDays;
            EXPECT_TRUE(t.GetYear() % 4 == 0 && (t.GetYear() % 100 != 0 || t.GetYear() % 400 == 0));
        }
        previous = t;
    }
    // 1904..2096 by fours, 2000 included, 1900 and 2100 not.
    EXPECT_EQ(leapDays, 49);
}

TEST(Calendar, KnownInstantsAndFieldsBeforeAndAfter1970) {
    const TTime origin(1970, 1, 1, 0, 0, 0);
    EXPECT_EQ(origin.GetMillisecondsSince1970(), 0);
    EXPECT_EQ(origin.GetDayOfWeek(), 4) << "a Thursday";
    EXPECT_EQ(TTime(1969, 12, 31, 23, 59, 59, 999).GetMillisecondsSince1970(), -1);
    EXPECT_EQ(TTime(2000, 2, 29, 12, 0, 0).GetMillisecondsSince1970(), 951825600000);
    EXPECT_EQ(TTime(2024, 13, 1, 0, 0, 0), TTime(2025, 1, 1, 0, 0, 0)) << "month 13 rolls over";
    const TTime before = TTime::FromMilliseconds(-1);
    EXPECT_EQ(before.GetSecondsSince1970(), -1);
    EXPECT_EQ(before.GetTimeOfDay().GetTotalMilliseconds(), kDay - 1);
    const TTime t(2031, 7, 9, 8, 7, 6, 5);
    const SYSTEMTIME st = t.GetAsSystemTime();
    EXPECT_EQ(st.wYear * 10000 + st.wMonth * 100 + st.wDay, 20310709);
    EXPECT_EQ(((st.wHour * 100 + st.wMinute) * 100 + st.wSecond) * 1000 + st.wMilliseconds,
              80706005);
    EXPECT_EQ(st.wDayOfWeek, 3);
    EXPECT_EQ(TTime::FromSystemTime(st), t);
}

TEST(TimeSpan, ComponentsOfNegativeSpansMirrorThePositiveOnes) {
    const TTimeSpan span(1, 2, 3, 4, 5);
    EXPECT_EQ(span.GetTotalMilliseconds(), kDay + 2 * kHour + 3 * kMinute + 4 * kSecond + 5);
    for (const TTimeSpan s : {span, -span}) {
        const int sign = s < TTimeSpan() ? -1 : 1;
        SCOPED_TRACE(sign);
        EXPECT_EQ(s.GetDays() * 10000 + s.GetHours() * 1000 + s.GetMinutes() * 100 +
                      s.GetSeconds() * 10 + s.GetMilliseconds(),
                  sign * 12345);
        EXPECT_EQ(s.GetTotalSeconds(),
                  sign * (kDay + 2 * kHour + 3 * kMinute + 4 * kSecond) / 1000);
        EXPECT_EQ(s.GetTotalMinutes(), sign * (24 * 60 + 2 * 60 + 3));
    }
    TTime t(2024, 3, 31, 23, 0, 0);
    t += TTimeSpan(0, 2, 0, 0);
    EXPECT_EQ(t, TTime(2024, 4, 1, 1, 0, 0));
    EXPECT_EQ(t - TTime(2024, 3, 31, 23, 0, 0), TTimeSpan(0, 2, 0, 0));
}

// Points between, on and across days are also what the engine's day of recording shows.
TEST(NextScheduledTime, LandsOnOffsetPlusWholeIntervals) {
    const TTime day(2024, 5, 17, 0, 0, 0);
    const auto at = [&](int h, int m, int s) { return day + TTimeSpan(0, h, m, s); };
    const auto span = [](int h, int m, int s) { return TTimeSpan(0, h, m, s); };
    struct Row {
        TTime time;
        TTimeSpan interval;
        TTimeSpan offset;
        TTime expected;
        const char* legend;
    };
    const Row rows[] = {
        {at(10, 20, 0) + TTimeSpan::FromMilliseconds(1), span(0, 15, 0), span(0, 5, 0),
         at(10, 35, 0), "a millisecond past a point"},
        {at(10, 7, 0), span(1, 0, 0), -span(0, 50, 0), at(10, 10, 0), "negative offset"},
        {at(10, 7, 0), TTimeSpan(), span(0, 5, 0), at(10, 7, 0), "zero interval"},
        {at(10, 7, 0), -span(0, 15, 0), span(0, 5, 0), at(10, 7, 0), "negative interval"},
        // 1440 minutes leave 5 over when divided by 7: points drift across days.
        {TTime(1970, 1, 2, 0, 0, 0), span(0, 7, 0), TTimeSpan(), TTime(1970, 1, 2, 0, 2, 0),
         "interval not dividing a day counts from 1970"},
        {TTime(1969, 12, 31, 23, 40, 0), span(0, 15, 0), span(0, 5, 0),
         TTime(1969, 12, 31, 23, 50, 0), "before 1970"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        EXPECT_EQ(NextScheduledTime(row.time, row.interval, row.offset), row.expected);
    }
}

}  // namespace
