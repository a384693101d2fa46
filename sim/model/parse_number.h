// A number that is the whole of a text, as the command lines and fault descriptions write them.
#pragma once

#include <charconv>
#include <string_view>

namespace tarvo::sim {

// False for an empty text, trailing characters, or a value out of `T`'s range; `value` is then
// left as it was.
template <typename T>
bool ParseNumber(std::string_view text, T& value) {
    T parsed{};
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (ec != std::errc() || end != text.data() + text.size())
        return false;
    value = parsed;
    return true;
}

}  // namespace tarvo::sim
