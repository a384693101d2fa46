// Conversions between the module's wide strings, numbers and the log's narrow text.
#pragma once

#include <string>

namespace corvane {

// The platform's wide-string-to-long: leading blanks, an optional sign, then the leading
// decimal digits; 0 when there are none. The platform's long is 32 bits, so a number beyond
// that range saturates at its ends.
long WToL(const std::wstring& text);

// A wide string as UTF-8, for the narrow printf of the log.
std::string ToLogText(const std::wstring& text);

// "%02d:%02d:%02d" of a span's hours, minutes and seconds (its days are not shown).
std::wstring HmsText(int hours, int minutes, int seconds);

}  // namespace corvane
