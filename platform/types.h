// Basic types of the logger platform's interfaces, with the widths the platform gives them.
#pragma once

#include <cstdint>

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using BOOL = int;

// A wait of this many milliseconds never times out.
inline constexpr DWORD INFINITE = 0xFFFFFFFFu;
