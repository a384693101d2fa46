// Text helpers shared by the host's engine, blocks and dialogs: strict number parsing for setup
// values and the lenient reads the platform's property conversions use.
#pragma once

#include <string>
#include <string_view>

#include "host/text/utf8.h"

namespace tarvo::host {

// Whole-text parses: leading and trailing blanks allowed, nothing else. False when the text is
// not such a number.
bool ParseLong(std::wstring_view text, long& value);
bool ParseDouble(std::wstring_view text, double& value);
// "true"/"false"/"1"/"0"/"yes"/"no", any case.
bool ParseBool(std::wstring_view text, bool& value);
// The number the text starts with (after blanks), 0 when none: the lenient read.
long LeadingLong(std::wstring_view text);
double LeadingDouble(std::wstring_view text);

bool EqualsNoCase(std::wstring_view a, std::wstring_view b);

// Shortest text that reads back as the same double ("2.5", "0.1", "1e+30").
std::wstring RealToText(double value);

}  // namespace tarvo::host
