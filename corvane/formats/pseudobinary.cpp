#include "corvane/formats/pseudobinary.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace corvane {
namespace {

// The rounding step's powers of ten: exact for 0..15 digits, and 100 for any other count. The
// scaling step uses the true power instead; the two stay apart on purpose, so that a digit
// count outside the table rounds at two decimals but still scales by its own power.
double RoundingPower(int rightDigits) {
    static constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    if (rightDigits < 0 || rightDigits > 15)
        return 100.0;
    return kPowers[rightDigits];
}

std::int32_t SaturatingInt32(double scaled) {
    if (std::isnan(scaled))
        return 0;
    if (scaled >= static_cast<double>(std::numeric_limits<std::int32_t>::max()))
        return std::numeric_limits<std::int32_t>::max();
    if (scaled <= static_cast<double>(std::numeric_limits<std::int32_t>::min()))
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(scaled);  // truncation toward zero
}

wchar_t SixBitCharacter(std::uint32_t group) {
    return group == 63 ? L'?' : static_cast<wchar_t>(64 + group);
}

}  // namespace

std::wstring EncodePseudobinary(double value, int characters, int rightDigits, FieldSign sign) {
    const int n = std::clamp(characters, 1, 3);
    const double p = RoundingPower(rightDigits);
    const double rounded = value >= 0 ? value + 0.5 / p : value - 0.5 / p;
    std::int32_t integer = SaturatingInt32(rounded * std::pow(10.0, rightDigits));

    const std::int32_t span = std::int32_t{1} << (6 * n);
    const std::int32_t maximum = sign == FieldSign::Signed ? span / 2 - 1 : span - 1;
    const std::int32_t minimum = sign == FieldSign::Signed ? -span / 2 : 0;
    integer = std::min(integer, maximum);
    integer = std::max(integer, minimum);

    const auto bits = static_cast<std::uint32_t>(integer);
    std::wstring out(static_cast<std::size_t>(n), L'\0');
    for (int k = 0; k < n; ++k)
        out[static_cast<std::size_t>(n - 1 - k)] = SixBitCharacter((bits >> (6 * k)) & 0x3F);
    return out;
}

}  // namespace corvane
