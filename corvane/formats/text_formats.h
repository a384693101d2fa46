// The self-timed text formatters: SHEF and SHEF Fixed (one line of groups, newest value first),
// NFDRS (fixed fields chosen by label, oldest first) and Handar (one line a block, oldest
// first). Each appends to or replaces `message` as its layout says and returns true.
#pragma once

#include <string>

#include "corvane/formats/message_block.h"

namespace corvane {

// `fixed`: the "SHEF Fixed" columns of seven characters.
enum class ShefLayout { Plain, Fixed };

bool FormatShef(const MessageRequest& request, ShefLayout layout, std::wstring& message);
bool FormatNfdrs(const MessageRequest& request, std::wstring& message);
bool FormatHandar(const MessageRequest& request, std::wstring& message);

// The NFDRS field of one value: its form by label (case-insensitive), or the solidus field of
// that form's width when the value is missing (`present` false) or out of range.
std::wstring NfdrsField(const std::wstring& label, bool present, const TValue& value);

}  // namespace corvane
