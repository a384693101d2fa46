// The platform's setup file as a module sees it: a stream of tokens to read, and start tags,
// attribute texts and end tags to write.
//
// A module's section is handed over positioned just after its start tag; reading returns the
// section's tokens and then, at its closing tag, an XML_TOKEN_END token, after which it returns
// false. Text made only of white space between elements is not a token.
#pragma once

#include <string>

// Token kinds, numbered as the platform numbers them.
inline constexpr int XML_TOKEN_NONE = 0;        // nothing read (end of section or an error)
inline constexpr int XML_TOKEN_START = 1;       // element start; text = element name
inline constexpr int XML_TOKEN_END = 2;         // closing tag "</name>"; text = element name
inline constexpr int XML_TOKEN_EMPTY_END = 3;   // end of an empty element "/>"; text = its name
inline constexpr int XML_TOKEN_ATTR_NAME = 4;   // attribute name; text = the name
inline constexpr int XML_TOKEN_ATTR_VALUE = 5;  // attribute value; text = the value, unescaped
inline constexpr int XML_TOKEN_TEXT = 6;        // character data; text = the data

class CXMLToken {
  public:
    CXMLToken() = default;
    CXMLToken(int type, std::wstring text, int line = 0)
        : type_(type), text_(std::move(text)), line_(line) {}
    int GetType() const { return type_; }
    const std::wstring& GetText() const { return text_; }
    // The line in the setup file the token came from (1-based; 0 when unknown).
    int GetLine() const { return line_; }

  private:
    int type_ = XML_TOKEN_NONE;
    std::wstring text_;
    int line_ = 0;
};

class CXMLSetup {
  public:
    virtual ~CXMLSetup() = default;

    // Reads the next token into `token`; false (token kind XML_TOKEN_NONE) past the end of the
    // section or on a writer.
    virtual bool ReadNextToken(CXMLToken& token) = 0;

    // Writing. WriteStartTag takes the tag as the module spells it: "<Corvane>" opens an element
    // with content, "<Common" one whose attributes follow. WriteText adds one attribute text such
    // as `Port = "0"` (written as it stands, after a blank). WriteEndTag takes "/>" to end an
    // empty element or "</Corvane>" to close one. `<Common Port = "0" SatID = "00000000" />`
    // is the form that results. False when the call does not fit what was written before.
    virtual bool WriteStartTag(const std::wstring& tag) = 0;
    virtual bool WriteText(const std::wstring& text) = 0;
    virtual bool WriteEndTag(const std::wstring& tag) = 0;
};
