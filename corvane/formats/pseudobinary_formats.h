// The self-timed pseudobinary messages: "B1", the data-offset character, then three characters
// a value ("///" when missing), interleaved ("Bin Int": value i of every block in turn, for the
// messenger's NumVals) or not ("Bin Non-Int": each block's own NumVals in turn).
#pragma once

#include <string>

#include "corvane/formats/message_block.h"

namespace corvane {

enum class Interleaving { Interleaved, BlockByBlock };

// With no blocks the message is left as it was. Always true.
bool FormatPseudobinary(const MessageRequest& request, Interleaving interleaving,
                        std::wstring& message);

}  // namespace corvane
