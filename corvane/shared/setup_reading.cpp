#include "corvane/shared/setup_reading.h"

namespace corvane {

void ReadAttributes(CXMLSetup& setup, CXMLToken& next, const AttributeHandler& onAttribute) {
    for (;;) {
        if (!setup.ReadNextToken(next)) {
            next = CXMLToken();
            return;
        }
        if (next.GetType() != XML_TOKEN_ATTR_NAME) {
            return;
        }
        const std::wstring name = next.GetText();
        CXMLToken value;
        if (!setup.ReadNextToken(value)) {
            next = CXMLToken();
            return;
        }
        if (value.GetType() != XML_TOKEN_ATTR_VALUE) {
            next = value;
            return;
        }
        onAttribute(name, value.GetText());
    }
}

void SkipElementRest(CXMLSetup& setup, const CXMLToken& next) {
    int depth = 0;
    switch (next.GetType()) {
        case XML_TOKEN_START:
            depth = 1;  // a child element has begun
            break;
        case XML_TOKEN_TEXT:
            break;
        default:  // the element's end, or nothing more to read
            return;
    }
    CXMLToken token;
    while (setup.ReadNextToken(token)) {
        const int type = token.GetType();
        if (type == XML_TOKEN_START) {
            ++depth;
        } else if (type == XML_TOKEN_END || type == XML_TOKEN_EMPTY_END) {
            if (depth == 0) {
                return;
            }
            --depth;
        }
    }
}

}  // namespace corvane
