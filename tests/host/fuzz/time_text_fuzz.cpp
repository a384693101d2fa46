// libFuzzer target: the time texts of settings and properties, read by the strict check
// (ValidateTime) and the lenient converters (StrToTimeSpan, StrToMS), and the whole-text number
// parses that setup values and dialog fields go through. None may crash or overflow, and the
// readers must agree where their contracts overlap.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "host/text/number_text.h"
#include "platform/time.h"

namespace {

// Each byte as one character, except that 0xFF takes the next two bytes as a wide character, so
// that the readers also see blanks and digits outside the single-byte range.
std::wstring Widen(const std::uint8_t* data, std::size_t size) {
    std::wstring text;
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == 0xFF && i + 2 < size) {
            text.push_back(static_cast<wchar_t>(data[i + 1] << 8 | data[i + 2]));
            i += 2;
        } else {
            text.push_back(static_cast<wchar_t>(data[i]));
        }
    }
    return text;
}

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::wstring text = Widen(data, size);

    const TTimeSpan span = StrToTimeSpan(text);
    const DWORD ms = StrToMS(text);
    // Both converters read the same fields; StrToMS keeps the low 32 bits.
    Require(ms == static_cast<DWORD>(static_cast<std::uint64_t>(span.GetTotalMilliseconds())));

    if (ValidateTime(text)) {
        // A canonical text is "H...H:MM:SS": the lenient reading of it has those minutes and
        // seconds, and no sign to make it negative.
        const std::size_t colon = text.size() - 6;
        const int minutes = (text[colon + 1] - L'0') * 10 + (text[colon + 2] - L'0');
        const int seconds = (text[colon + 4] - L'0') * 10 + (text[colon + 5] - L'0');
        Require(span >= TTimeSpan());
        Require(span.GetMinutes() == minutes && span.GetSeconds() == seconds);
        Require(span.GetMilliseconds() == 0);
    }

    // A schedule built from the text must land on or after the instant it starts from.
    const TTime from(2024, 6, 1, 12, 0, 0);
    const TTime next = NextScheduledTime(from, span, StrToTimeSpan(text.substr(text.size() / 2)));
    Require(next >= from);

    long whole = 0;
    if (tarvo::host::ParseLong(text, whole)) {
        Require(tarvo::host::LeadingLong(text) == whole);
    }
    double real = 0.0;
    (void)tarvo::host::ParseDouble(text, real);
    (void)tarvo::host::LeadingDouble(text);
    bool flag = false;
    (void)tarvo::host::ParseBool(text, flag);
    return 0;
}
