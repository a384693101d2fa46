// Walking the platform setup reader's tokens within one element.
#pragma once

#include <functional>
#include <string>

#include "platform/xml_setup.h"

namespace corvane {

using AttributeHandler = std::function<void(const std::wstring& name, const std::wstring& value)>;

// Reads name/value pairs for as long as the next token is an attribute name, handing each pair
// to `onAttribute`. On return `next` holds the first token that was not an attribute name
// (kind XML_TOKEN_NONE when the reader had nothing more).
void ReadAttributes(CXMLSetup& setup, CXMLToken& next, const AttributeHandler& onAttribute);

// Called with the token that ended an element's attributes: when the element is not empty, its
// content is skipped through its closing tag, so the reader then stands after the element.
void SkipElementRest(CXMLSetup& setup, const CXMLToken& next);

}  // namespace corvane
