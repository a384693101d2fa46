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

// "%02d:%02d:%02d" of the hours, minutes and seconds of a span of `seconds`; its days are
// dropped (90000 s is "01:00:00").
std::wstring HmsText(long seconds);

}  // namespace corvane
