// The "INSAT" self-timed format: a binary message of 25 or 50 bytes. Byte 0 is the count n of
// values that follow; then, for every labelled block in message order and each of its NumVals
// values (newest first), the value scaled by its right digits (rounded half away from zero) as
// a 16-bit big-endian two's complement integer, clamped to -32767..32767, with -32768 (0x8000)
// for a missing value; then zero bytes up to 25 bytes when n is at most 12, else up to 50.
// The bytes travel as the characters 0 to 255 of the message text.
#pragma once

#include <string>

#include "corvane/formats/message_block.h"

namespace corvane {

inline constexpr int kInsatShortBytes = 25;
inline constexpr int kInsatLongBytes = 50;

// With no labelled block the message is left as it was. Values beyond the 24 that 50 bytes
// hold are dropped with a Warning. Always true.
bool FormatInsat(const MessageRequest& request, std::wstring& message);

}  // namespace corvane
