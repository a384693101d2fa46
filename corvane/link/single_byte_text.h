// Text on the transmitter link is one byte per character. The module's wide strings are mapped
// character for character: codes 0..255 as they are (Latin-1), anything wider as '?', so that
// the count of characters never changes on the way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/types.h"

namespace corvane {

std::vector<BYTE> ToSingleByte(const std::wstring& text);
std::wstring FromSingleByte(const BYTE* data, std::size_t count);
inline std::wstring FromSingleByte(const std::vector<BYTE>& data) {
    return FromSingleByte(data.data(), data.size());
}

}  // namespace corvane
