#include "apps/tarvo/corvane_port.h"

#include <cwchar>

namespace tarvo::runner {
namespace {

// Leading blanks, an optional sign and the digits that follow; 0 when there are none (the
// platform's wide-string-to-long conversion, which the module uses).
int LeadingInteger(const std::wstring& text) {
    return static_cast<int>(std::wcstol(text.c_str(), nullptr, 10));
}

}  // namespace

std::wstring PortNameOfIndex(int index) {
    if (index < 0 || index > 7)
        return L"";
    return L"COM" + std::to_wstring(index + 2) + L":";
}

std::optional<CorvanePort> FindCorvanePort(const host::SetupFile& setup) {
    auto reader = setup.ReadSection(L"Corvane");
    if (!reader)
        return std::nullopt;
    CorvanePort port;
    int depth = 0;  // elements open inside the section
    bool inCommon = false;
    std::wstring attribute;
    CXMLToken token;
    while (reader->ReadNextToken(token)) {
        switch (token.GetType()) {
            case XML_TOKEN_START:
                inCommon = depth == 0 && token.GetText() == L"Common";
                ++depth;
                break;
            case XML_TOKEN_END:
            case XML_TOKEN_EMPTY_END:
                if (depth == 0)
                    break;  // the section's own closing tag
                --depth;
                inCommon = false;
                break;
            case XML_TOKEN_ATTR_NAME:
                attribute = token.GetText();
                break;
            case XML_TOKEN_ATTR_VALUE:
                if (inCommon && attribute == L"Port")
                    port.index = LeadingInteger(token.GetText());
                break;
            default:
                break;
        }
    }
    port.name = PortNameOfIndex(port.index);
    return port;
}

}  // namespace tarvo::runner
