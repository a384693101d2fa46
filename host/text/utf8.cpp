#include "host/text/utf8.h"

#include <cstdint>

namespace tarvo::host {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsCodePoint(char32_t c) {
    return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
}

void Append(std::string& out, char32_t c) {
    if (!IsCodePoint(c))
        c = kReplacement;
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

}  // namespace

std::string ToUtf8(std::wstring_view text) {
    std::string out;
    out.reserve(text.size());
    for (wchar_t w : text)
        Append(out, static_cast<char32_t>(static_cast<std::make_unsigned_t<wchar_t>>(w)));
    return out;
}

std::wstring FromUtf8(std::string_view text) {
    std::wstring out;
    out.reserve(text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        const auto lead = static_cast<std::uint8_t>(text[i]);
        int extra = 0;
        char32_t c = 0;
        char32_t least = 0;  // overlong forms decode below this and are refused
        if (lead < 0x80) {
            c = lead;
        } else if ((lead & 0xE0) == 0xC0) {
            extra = 1, c = lead & 0x1F, least = 0x80;
        } else if ((lead & 0xF0) == 0xE0) {
            extra = 2, c = lead & 0x0F, least = 0x800;
        } else if ((lead & 0xF8) == 0xF0) {
            extra = 3, c = lead & 0x07, least = 0x10000;
        } else {
            out += static_cast<wchar_t>(kReplacement);
            ++i;
            continue;
        }
        bool ok = i + extra < text.size();
        for (int k = 1; ok && k <= extra; ++k) {
            const auto next = static_cast<std::uint8_t>(text[i + k]);
            if ((next & 0xC0) != 0x80)
                ok = false;
            else
                c = (c << 6) | (next & 0x3F);
        }
        if (!ok || c < least || !IsCodePoint(c)) {
            out += static_cast<wchar_t>(kReplacement);
            ++i;
            continue;
        }
        out += static_cast<wchar_t>(c);
        i += extra + 1;
    }
    return out;
}

}  // namespace tarvo::host
