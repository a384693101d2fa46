// Conversions between the platform's wide strings and the UTF-8 the host's files and log use.
#pragma once

#include <string>
#include <string_view>

namespace tarvo::host {

// wchar_t holds one code point on this host; a value that is no code point becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);
// Malformed sequences become U+FFFD, one per offending byte.
std::wstring FromUtf8(std::string_view text);

}  // namespace tarvo::host
