#include "corvane/shared/wide_text.h"

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <iterator>

#include "platform/time.h"

namespace corvane {

long WToL(const std::wstring& text) {
    const long long value = std::wcstoll(text.c_str(), nullptr, 10);
    if (value > INT32_MAX) {
        return INT32_MAX;
    }
    if (value < INT32_MIN) {
        return INT32_MIN;
    }
    return static_cast<long>(value);
}

std::string ToLogText(const std::wstring& text) {
    std::string out;
    out.reserve(text.size());
    for (wchar_t wc : text) {
        auto c = static_cast<std::uint32_t>(wc);
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
            c = 0xFFFD;
        }
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
        } else if (c < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (c >> 6)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else if (c < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (c >> 12)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (c >> 18)));
            out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
    }
    return out;
}

std::wstring HmsText(long seconds) {
    const TTimeSpan span = TTimeSpan::FromSeconds(seconds);
    wchar_t buffer[48];
    std::swprintf(buffer, std::size(buffer), L"%02d:%02d:%02d", span.GetHours(), span.GetMinutes(),
                  span.GetSeconds());
    return buffer;
}

}  // namespace corvane
