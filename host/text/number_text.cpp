#include "host/text/number_text.h"

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwctype>

namespace tarvo::host {

namespace {

std::wstring_view Trim(std::wstring_view text) {
    while (!text.empty() && std::iswspace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && std::iswspace(text.back()))
        text.remove_suffix(1);
    return text;
}

}  // namespace

bool ParseLong(std::wstring_view text, long& value) {
    std::wstring t(Trim(text));
    if (t.empty())
        return false;
    wchar_t* end = nullptr;
    errno = 0;
    long v = std::wcstol(t.c_str(), &end, 10);
    if (errno != 0 || end != t.c_str() + t.size())
        return false;
    value = v;
    return true;
}

bool ParseDouble(std::wstring_view text, double& value) {
    std::wstring t(Trim(text));
    if (t.empty())
        return false;
    wchar_t* end = nullptr;
    double v = std::wcstod(t.c_str(), &end);
    if (end != t.c_str() + t.size() || !std::isfinite(v))
        return false;
    value = v;
    return true;
}

bool ParseBool(std::wstring_view text, bool& value) {
    std::wstring_view t = Trim(text);
    if (EqualsNoCase(t, L"true") || EqualsNoCase(t, L"yes") || t == L"1") {
        value = true;
        return true;
    }
    if (EqualsNoCase(t, L"false") || EqualsNoCase(t, L"no") || t == L"0") {
        value = false;
        return true;
    }
    return false;
}

long LeadingLong(std::wstring_view text) {
    std::wstring t(text);
    return std::wcstol(t.c_str(), nullptr, 10);
}

double LeadingDouble(std::wstring_view text) {
    std::wstring t(text);
    double v = std::wcstod(t.c_str(), nullptr);
    return std::isfinite(v) ? v : 0.0;
}

bool EqualsNoCase(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (std::towlower(a[i]) != std::towlower(b[i]))
            return false;
    }
    return true;
}

std::wstring RealToText(double value) {
    char buf[40];
    for (int precision = 1; precision <= 17; ++precision) {
        std::snprintf(buf, sizeof buf, "%.*g", precision, value);
        if (std::strtod(buf, nullptr) == value)
            break;
    }
    return FromUtf8(buf);
}

}  // namespace tarvo::host
