// The pseudobinary value encoder: a number as 1 to 3 printable characters of six bits each,
// the most significant first. Every pseudobinary field of the module uses it: the self-timed
// "Bin Int" and "Bin Non-Int" messages and the random group messages.
#pragma once

#include <string>

namespace corvane {

// The message start and the text of a missing value.
inline constexpr const wchar_t* kPseudobinaryStart = L"B1";
inline constexpr const wchar_t* kPseudobinaryMissing = L"///";

enum class FieldSign { Unsigned, Signed };

// Encodes `value` rounded half away from zero at `rightDigits` decimals and scaled by them, as
// an integer clamped to the field: `characters` (clamped to 1..3) six-bit groups, unsigned or
// two's complement. Each group b is the character 64 + b, except 63, which is '?'. The text is
// wide, as the messages it goes into are; every character is single-byte.
std::wstring EncodePseudobinary(double value, int characters, int rightDigits, FieldSign sign);

}  // namespace corvane
