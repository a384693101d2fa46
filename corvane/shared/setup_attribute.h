// One attribute of a setup element as the module writes it: `Key = "value"`.
#pragma once

#include <string>

namespace corvane {

inline std::wstring AttributeText(const wchar_t* key, const std::wstring& value) {
    return std::wstring(key) + L" = \"" + value + L"\"";
}

inline std::wstring AttributeText(const wchar_t* key, int value) {
    return AttributeText(key, std::to_wstring(value));
}

}  // namespace corvane
