// The setup file's XML as the host handles it (host side, internal): libxml2 reads a text into a
// flat list of events, and one layout writes elements back as text. The layout is the one
// SetupTextWriter produces, so a section read and written again comes out byte for byte.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/xml_setup.h"

namespace tarvo::host {

struct XmlEvent {
    enum class Kind { Start, End, Text, CData, Comment, Instruction };
    Kind kind = Kind::Start;
    int depth = 0;     // 0 for the document's root element
    int line = 0;      // where the node ends in the text: a start tag's last line
    std::string name;  // element name, or an instruction's target
    std::vector<std::pair<std::string, std::string>> attributes;  // unescaped values
    bool empty = false;  // a Start written as <name ... />; no End follows it
    std::string text;    // Text, CData, Comment and Instruction content
};

// Reads a whole XML text. Text made only of white space is left out. On failure returns false
// with `error` set to "FILE:LINE:COLUMN: message" for the first error libxml2 reports.
bool ReadXmlEvents(std::string_view text, const std::string& fileName,
                   std::vector<XmlEvent>& events, std::string& error);

// Where the start tag of element `name` whose last line is `endLine` begins: line and column,
// both 1-based (for messages about elements the parser accepted).
std::pair<int, int> LocateStartTag(std::string_view text, int endLine, std::string_view name);

// Escapes an attribute value for a double-quoted attribute (also line breaks and tabs, which
// attribute-value normalisation would otherwise turn into blanks).
std::string EscapeAttribute(std::string_view value);
// Escapes character data.
std::string EscapeText(std::string_view text);

inline constexpr int kIndentWidth = 4;

// Writes the element that starts at events[index] (through its End) in the setup layout, its
// start tag indented by (its depth - baseDepth) steps; advances `index` past it. When `lineMap`
// is given, appends for every line written the line of the source node it came from.
void WriteElement(std::span<const XmlEvent> events, std::size_t& index, int baseDepth,
                  std::string& out, std::vector<int>* lineMap);

// A reader over the element `elementText`, positioned after its start tag. Token lines are the
// text's own, or, with `lineMap`, lineMap[text line - 1]. Null with `error` set when the text is
// not well-formed XML.
std::unique_ptr<CXMLSetup> MakeMappedSectionReader(const std::string& elementText,
                                                   const std::string& fileName,
                                                   const std::vector<int>* lineMap,
                                                   std::string& error);

}  // namespace tarvo::host
