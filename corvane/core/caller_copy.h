// Strings the module hands to callers that outlive the call.
#pragma once

#include <string>

namespace corvane {

// A copy made with malloc that belongs to the caller, who releases it with free(), so that it
// depends neither on the module's allocator nor on the module staying loaded. Null only when
// that memory could not be had.
wchar_t* CallerOwnedCopy(const std::wstring& text);

}  // namespace corvane
