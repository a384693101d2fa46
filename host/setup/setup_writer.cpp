#include <string_view>

#include "host/setup/internal/setup_xml.h"
#include "host/setup/setup_file.h"
#include "host/text/utf8.h"

namespace tarvo::host {

namespace {

bool IsName(std::string_view name) {
    return !name.empty() && name.find_first_of(" \t\r\n<>/\"'=&") == std::string_view::npos;
}

// Outside the quotes only '&' and '<' could harm the markup.
std::string EscapeMarkup(std::string_view text) {
    std::string out;
    for (char c : text) {
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else
            out += c;
    }
    return out;
}

// `Name = "value"` as a plug-in writes it, with the value escaped so that whatever it holds
// reads back as it was.
std::string EscapeAttributeText(std::string_view text) {
    const auto open = text.find('"');
    const auto close = text.rfind('"');
    if (open == std::string_view::npos || open == close)
        return EscapeMarkup(text);
    return EscapeMarkup(text.substr(0, open + 1)) +
           EscapeAttribute(text.substr(open + 1, close - open - 1)) +
           EscapeMarkup(text.substr(close));
}

std::string Indent(std::size_t steps) {
    return std::string(steps * kIndentWidth, ' ');
}

}  // namespace

bool SetupTextWriter::ReadNextToken(CXMLToken& token) {
    token = CXMLToken();
    return false;
}

bool SetupTextWriter::WriteStartTag(const std::wstring& tag) {
    const std::string utf8 = ToUtf8(tag);
    std::string_view name(utf8);
    if (name.empty() || name.front() != '<')
        return false;
    name.remove_prefix(1);
    const bool complete = !name.empty() && name.back() == '>';
    if (complete)
        name.remove_suffix(1);
    if (!IsName(name))
        return false;
    if (open_.empty() && !text_.empty())
        return false;  // one element per writer: its section
    if (inStartTag_) {
        text_ += ">\n";
        inStartTag_ = false;
    }
    text_ += Indent(open_.size()) + "<" + std::string(name);
    if (complete)
        text_ += ">\n";
    else
        inStartTag_ = true;
    open_.emplace_back(name);
    return true;
}

bool SetupTextWriter::WriteText(const std::wstring& text) {
    if (!inStartTag_)
        return false;
    text_ += " " + EscapeAttributeText(ToUtf8(text));
    return true;
}

bool SetupTextWriter::WriteEndTag(const std::wstring& tag) {
    const std::string utf8 = ToUtf8(tag);
    if (utf8 == "/>") {
        if (!inStartTag_)
            return false;
        text_ += " />\n";
        inStartTag_ = false;
        open_.pop_back();
        return true;
    }
    if (open_.empty() || utf8 != "</" + open_.back() + ">")
        return false;
    if (inStartTag_) {
        text_ += ">\n";
        inStartTag_ = false;
    }
    open_.pop_back();
    text_ += Indent(open_.size()) + utf8 + "\n";
    return true;
}

}  // namespace tarvo::host
