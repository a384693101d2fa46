#include "corvane/link/single_byte_text.h"

namespace corvane {

std::vector<BYTE> ToSingleByte(const std::wstring& text) {
    std::vector<BYTE> bytes;
    bytes.reserve(text.size());
    for (wchar_t c : text) {
        const auto code = static_cast<std::uint32_t>(c);
        bytes.push_back(code <= 0xFF ? static_cast<BYTE>(code) : static_cast<BYTE>('?'));
    }
    return bytes;
}

std::wstring FromSingleByte(const BYTE* data, std::size_t count) {
    std::wstring text;
    text.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        text.push_back(static_cast<wchar_t>(data[i]));
    }
    return text;
}

}  // namespace corvane
