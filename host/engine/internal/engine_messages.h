// Pieces of the engine's messages to people, shared by its files.
#pragma once

#include <string>

#include "host/text/utf8.h"

namespace tarvo::host {

inline std::string Quote(const std::wstring& text) {
    return "\"" + ToUtf8(text) + "\"";
}

inline std::string Where(const std::string& fileName, int line) {
    return fileName + ":" + std::to_string(line) + ": ";
}

}  // namespace tarvo::host
