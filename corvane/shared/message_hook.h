// The hook through which another module takes over or post-processes a message: it is given
// the finished message text (which it may change) and a number (0 for a self-timed message, the
// group number for a random one), and its result becomes the result of building the message.
// Installed through the exported SetBasicHook; null means no hook.
#pragma once

#include <string>

namespace corvane {

using MessageHook = bool (*)(std::wstring& message, int number);

}  // namespace corvane
