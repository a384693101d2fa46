// The self-timed message formats by name, and the dispatch that builds a message with the one
// the settings name and gives the self-timed hook the last word.
#pragma once

#include <array>
#include <string>

#include "corvane/formats/message_block.h"

namespace corvane {

// In the order the Format setting lists them; names compare exactly, case and all.
inline constexpr std::array<const wchar_t*, 8> kFormatNames = {
    L"SHEF", L"SHEF Fixed", L"Bin Int", L"Bin Non-Int", L"NOS", L"NFDRS", L"INSAT", L"Handar"};

// Builds the message of `request.format` into `message`. With a hook installed its result (given
// the possibly formatted text and 0) is the result, whatever the formatter said; without one,
// the formatter's result, or false for a name that is no format. "NOS" uses `request.nos` when
// given (the messenger's, with its index cache) and a formatter of its own otherwise.
bool FormatSelfTimedMessage(const MessageRequest& request, std::wstring& message);

}  // namespace corvane
