#include <algorithm>
#include <initializer_list>
#include <utility>

#include "host/setup/internal/setup_xml.h"

namespace tarvo::host {

namespace {

using Kind = XmlEvent::Kind;

// Adds one entry of the layout (possibly several lines when text holds line breaks).
void Emit(std::string& out, std::vector<int>* lineMap, int steps, std::string_view content,
          int sourceLine) {
    out.append(static_cast<std::size_t>(std::max(steps, 0) * kIndentWidth), ' ');
    out += content;
    out += '\n';
    if (lineMap != nullptr) {
        const auto lines = 1 + std::count(content.begin(), content.end(), '\n');
        lineMap->insert(lineMap->end(), static_cast<std::size_t>(lines), sourceLine);
    }
}

std::string StartTag(const XmlEvent& start) {
    std::string tag = "<" + start.name;
    for (const auto& [name, value] : start.attributes)
        tag += " " + name + " = \"" + EscapeAttribute(value) + "\"";
    return tag;
}

std::string_view Trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos)
        return {};
    const auto last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
}

std::string Leaf(const XmlEvent& event, bool inline_) {
    switch (event.kind) {
        case Kind::Text:
            // Alone in its element the text is kept exactly; among elements its edges are
            // only layout.
            return EscapeText(inline_ ? std::string_view(event.text) : Trimmed(event.text));
        case Kind::CData:
            return "<![CDATA[" + event.text + "]]>";
        case Kind::Comment:
            return "<!--" + event.text + "-->";
        case Kind::Instruction:
            return "<?" + event.name + (event.text.empty() ? "" : " " + event.text) + "?>";
        default:
            return {};
    }
}

}  // namespace

namespace {

// Replaces each character of `escapes` (given as pairs: the character, its entity) in `text`.
std::string Escape(std::string_view text,
                   std::initializer_list<std::pair<char, const char*>> escapes) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        const auto* hit = std::find_if(escapes.begin(), escapes.end(),
                                       [c](const auto& e) { return e.first == c; });
        if (hit != escapes.end()) {
            out += hit->second;
        } else {
            out += c;
        }
    }
    return out;
}

}  // namespace

std::string EscapeAttribute(std::string_view value) {
    // Line breaks and tabs as references, or a reader would fold them into blanks.
    return Escape(value, {{'&', "&amp;"},
                          {'<', "&lt;"},
                          {'"', "&quot;"},
                          {'\n', "&#10;"},
                          {'\r', "&#13;"},
                          {'\t', "&#9;"}});
}

std::string EscapeText(std::string_view text) {
    return Escape(text, {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'\r', "&#13;"}});
}

void WriteElement(std::span<const XmlEvent> events, std::size_t& index, int baseDepth,
                  std::string& out, std::vector<int>* lineMap) {
    const XmlEvent& start = events[index++];
    const int steps = start.depth - baseDepth;
    if (start.empty) {
        Emit(out, lineMap, steps, StartTag(start) + " />", start.line);
        return;
    }
    // An element holding one piece of text and nothing else stays on one line.
    if (index + 1 < events.size() &&
        (events[index].kind == Kind::Text || events[index].kind == Kind::CData) &&
        events[index + 1].kind == Kind::End) {
        Emit(out, lineMap, steps,
             StartTag(start) + ">" + Leaf(events[index], true) + "</" + start.name + ">",
             start.line);
        index += 2;
        return;
    }
    Emit(out, lineMap, steps, StartTag(start) + ">", start.line);
    while (index < events.size() && events[index].kind != Kind::End) {
        const XmlEvent& child = events[index];
        if (child.kind == Kind::Start) {
            WriteElement(events, index, baseDepth, out, lineMap);
        } else {
            const std::string leaf = Leaf(child, false);
            if (!leaf.empty())
                Emit(out, lineMap, child.depth - baseDepth, leaf, child.line);
            ++index;
        }
    }
    // libxml2 gives an end tag no line of its own: it counts as its element's.
    Emit(out, lineMap, steps, "</" + start.name + ">", start.line);
    if (index < events.size())
        ++index;
}

}  // namespace tarvo::host
