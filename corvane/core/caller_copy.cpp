#include "corvane/core/caller_copy.h"

#include <cstdlib>
#include <cwchar>

namespace corvane {

wchar_t* CallerOwnedCopy(const std::wstring& text) {
    auto* copy = static_cast<wchar_t*>(std::malloc((text.size() + 1) * sizeof(wchar_t)));
    if (copy != nullptr) {
        std::wmemcpy(copy, text.c_str(), text.size() + 1);
    }
    return copy;
}

}  // namespace corvane
