// "HH:MM:SS" texts and schedule points.
#include <climits>
#include <cstdint>
#include <cwctype>
#include <string>

#include "platform/time.h"

namespace {

bool IsDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}

// One field read the way the platform's wide-string-to-long conversion reads it: leading white
// space, an optional sign, then decimal digits up to the first other character. The platform's
// long is 32 bits and saturates rather than wrapping, so an absurd field cannot overflow the
// millisecond sum below.
std::int64_t FieldValue(const std::wstring& text, std::size_t begin, std::size_t end) {
    std::size_t i = begin;
    while (i < end && std::iswspace(static_cast<wint_t>(text[i]))) {
        ++i;
    }
    bool negative = false;
    if (i < end && (text[i] == L'+' || text[i] == L'-')) {
        negative = text[i] == L'-';
        ++i;
    }
    std::int64_t value = 0;
    for (; i < end && IsDigit(text[i]); ++i) {
        value = value * 10 + (text[i] - L'0');
        if (value > static_cast<std::int64_t>(INT32_MAX) + 1) {
            value = static_cast<std::int64_t>(INT32_MAX) + 1;
        }
    }
    if (negative) {
        return -value;
    }
    return value > INT32_MAX ? INT32_MAX : value;
}

std::int64_t TextToMilliseconds(const std::wstring& text) {
    std::int64_t fields[3] = {0, 0, 0};
    std::size_t begin = 0;
    for (int f = 0; f < 3 && begin <= text.size(); ++f) {
        std::size_t end = text.find(L':', begin);
        if (end == std::wstring::npos) {
            end = text.size();
        }
        fields[f] = FieldValue(text, begin, end);
        begin = end + 1;
    }
    return ((fields[0] * 60 + fields[1]) * 60 + fields[2]) * 1000;
}

// Exactly two digits forming a number below 60.
bool IsMinutesOrSeconds(const std::wstring& text, std::size_t at) {
    return at + 2 <= text.size() && IsDigit(text[at]) && IsDigit(text[at + 1]) && text[at] < L'6';
}

}  // namespace

bool ValidateTime(const std::wstring& text) {
    std::size_t hourDigits = 0;
    while (hourDigits < text.size() && IsDigit(text[hourDigits])) {
        ++hourDigits;
    }
    if (hourDigits < 2) {
        return false;
    }
    const std::size_t minutes = hourDigits + 1;
    const std::size_t seconds = minutes + 3;
    return text.size() == seconds + 2 && text[hourDigits] == L':' &&
           IsMinutesOrSeconds(text, minutes) && text[minutes + 2] == L':' &&
           IsMinutesOrSeconds(text, seconds);
}

TTimeSpan StrToTimeSpan(const std::wstring& text) {
    return TTimeSpan::FromMilliseconds(TextToMilliseconds(text));
}

DWORD StrToMS(const std::wstring& text) {
    // The platform's result is 32 bits; larger spans wrap as they do there.
    return static_cast<DWORD>(static_cast<std::uint64_t>(TextToMilliseconds(text)));
}

TTime NextScheduledTime(TTime time, TTimeSpan interval, TTimeSpan offset) {
    const std::int64_t step = interval.GetTotalMilliseconds();
    if (step <= 0) {
        return time;
    }
    const std::int64_t t = time.GetMillisecondsSince1970();
    const std::int64_t o = offset.GetTotalMilliseconds();
    // Distance past the latest schedule point at or before `time`, in 0..step-1.
    std::int64_t past = (t - o) % step;
    if (past < 0) {
        past += step;
    }
    return TTime::FromMilliseconds(past == 0 ? t : t - past + step);
}
