#include "host/setup/blocks_section.h"

#include <cwctype>

#include "host/setup/setup_file.h"
#include "host/text/number_text.h"
#include "host/text/utf8.h"

namespace tarvo::host {
namespace {

// Attributes that describe the block itself; a property of the same name is written with the
// "Property." prefix.
constexpr const wchar_t* kReserved[] = {L"Type", L"Name", L"Enabled"};
constexpr std::wstring_view kPropertyPrefix = L"Property.";

bool IsReserved(const std::wstring& name) {
    for (auto* r : kReserved) {
        if (name == r)
            return true;
    }
    return false;
}

std::string Where(const std::string& fileName, int line) {
    return fileName + ":" + std::to_string(line) + ": ";
}

std::string Quote(const std::wstring& text) {
    return "\"" + ToUtf8(text) + "\"";
}

struct Attribute {
    std::wstring name;
    std::wstring value;
    int line = 0;
};

struct Element {
    std::wstring name;
    int line = 0;
    std::vector<Attribute> attributes;
};

class Parser {
  public:
    Parser(CXMLSetup& reader, const std::string& fileName) : reader_(reader), file_(fileName) {}

    bool Parse(GraphDescription& graph, std::string& error) {
        CXMLToken token;
        while (reader_.ReadNextToken(token)) {
            switch (token.GetType()) {
                case XML_TOKEN_END:
                    return true;  // </Blocks>
                case XML_TOKEN_TEXT:
                    if (!IsBlank(token.GetText())) {
                        return Fail(token.GetLine(),
                                    "unexpected text " + Quote(token.GetText()) +
                                        " in <Blocks>; expected <Block .../> or "
                                        "<Connection .../>",
                                    error);
                    }
                    break;
                case XML_TOKEN_ATTR_NAME:
                    return Fail(
                        token.GetLine(),
                        "<Blocks> takes no attributes (found " + Quote(token.GetText()) + ")",
                        error);
                case XML_TOKEN_START: {
                    Element element;
                    if (!ReadEmptyElement(token, element, error))
                        return false;
                    if (element.name == L"Block") {
                        if (!TakeBlock(element, graph, error))
                            return false;
                    } else if (element.name == L"Connection") {
                        if (!TakeConnection(element, graph, error))
                            return false;
                    } else {
                        return Fail(element.line,
                                    "unknown element <" + ToUtf8(element.name) +
                                        "> in <Blocks>; expected <Block .../> or <Connection .../>",
                                    error);
                    }
                    break;
                }
                default:
                    return Fail(token.GetLine(),
                                "unexpected " + Quote(token.GetText()) + " in <Blocks>", error);
            }
        }
        // The reader ended without the closing tag: the section text was cut short.
        return Fail(token.GetLine(), "<Blocks> ended without </Blocks>", error);
    }

  private:
    static bool IsBlank(const std::wstring& text) {
        for (wchar_t c : text) {
            if (!std::iswspace(c))
                return false;
        }
        return true;
    }

    bool Fail(int line, const std::string& what, std::string& error) {
        error = Where(file_, line) + what;
        return false;
    }

    // Blocks and connections are empty elements: attributes only.
    bool ReadEmptyElement(const CXMLToken& start, Element& element, std::string& error) {
        element.name = start.GetText();
        element.line = start.GetLine();
        CXMLToken token;
        while (reader_.ReadNextToken(token)) {
            switch (token.GetType()) {
                case XML_TOKEN_ATTR_NAME: {
                    Attribute attribute{token.GetText(), {}, token.GetLine()};
                    CXMLToken value;
                    if (!reader_.ReadNextToken(value) || value.GetType() != XML_TOKEN_ATTR_VALUE) {
                        return Fail(token.GetLine(),
                                    "attribute " + Quote(attribute.name) + " has no value", error);
                    }
                    attribute.value = value.GetText();
                    for (auto& a : element.attributes) {
                        if (a.name == attribute.name) {
                            return Fail(token.GetLine(),
                                        "attribute " + Quote(a.name) + " given twice", error);
                        }
                    }
                    element.attributes.push_back(std::move(attribute));
                    break;
                }
                case XML_TOKEN_EMPTY_END:
                    return true;
                case XML_TOKEN_TEXT:
                    if (IsBlank(token.GetText()))
                        break;
                    [[fallthrough]];
                default:
                    return Fail(
                        token.GetLine(),
                        "<" + ToUtf8(element.name) +
                            "> must be an empty element (attributes only, ending in \"/>\")",
                        error);
            }
        }
        return Fail(element.line, "<" + ToUtf8(element.name) + "> is not closed", error);
    }

    bool TakeBlock(const Element& element, GraphDescription& graph, std::string& error) {
        BlockSpec block;
        block.line = element.line;
        bool haveType = false;
        bool haveName = false;
        for (const auto& a : element.attributes) {
            if (a.name == L"Type") {
                block.type = a.value;
                haveType = true;
            } else if (a.name == L"Name") {
                block.name = a.value;
                haveName = true;
            } else if (a.name == L"Enabled") {
                if (!ParseBool(a.value, block.enabled)) {
                    return Fail(a.line, "Enabled must be true or false, not " + Quote(a.value),
                                error);
                }
            } else {
                std::wstring name = a.name;
                if (name.starts_with(kPropertyPrefix))
                    name = name.substr(kPropertyPrefix.size());
                block.settings.push_back({name, a.value, a.line});
            }
        }
        if (!haveType || block.type.empty()) {
            return Fail(element.line, "<Block> needs a Type attribute naming the block type",
                        error);
        }
        if (!haveName || block.name.empty()) {
            return Fail(element.line, "<Block> needs a Name attribute (unique in the graph)",
                        error);
        }
        for (const auto& other : graph.blocks) {
            if (other.name == block.name) {
                return Fail(element.line,
                            "duplicate block name " + Quote(block.name) + " (first used on line " +
                                std::to_string(other.line) + ")",
                            error);
            }
        }
        graph.blocks.push_back(std::move(block));
        return true;
    }

    bool TakeConnection(const Element& element, GraphDescription& graph, std::string& error) {
        ConnectionSpec c;
        c.line = element.line;
        for (const auto& a : element.attributes) {
            if (a.name == L"From") {
                c.from = a.value;
            } else if (a.name == L"Output") {
                c.output = a.value;
            } else if (a.name == L"To") {
                c.to = a.value;
            } else if (a.name == L"Input") {
                c.input = a.value;
            } else {
                return Fail(a.line,
                            "unknown attribute " + Quote(a.name) +
                                " of <Connection>; expected From, Output, To or Input",
                            error);
            }
        }
        if (c.from.empty() || c.to.empty()) {
            return Fail(element.line, "<Connection> needs From and To attributes naming blocks",
                        error);
        }
        graph.connections.push_back(std::move(c));
        return true;
    }

    CXMLSetup& reader_;
    std::string file_;
};

// The writer escapes what lies between the quotes, so the value goes in as it stands.
std::wstring AttributeText(const std::wstring& name, const std::wstring& value) {
    return name + L" = \"" + value + L"\"";
}

}  // namespace

bool ParseBlocksSection(CXMLSetup& reader, const std::string& fileName, GraphDescription& graph,
                        std::string& error) {
    GraphDescription parsed;
    Parser parser(reader, fileName);
    if (!parser.Parse(parsed, error))
        return false;
    graph = std::move(parsed);
    return true;
}

std::string WriteBlocksSection(const GraphDescription& graph) {
    SetupTextWriter writer;
    writer.WriteStartTag(L"<Blocks>");
    for (const auto& block : graph.blocks) {
        writer.WriteStartTag(L"<Block");
        writer.WriteText(AttributeText(L"Type", block.type));
        writer.WriteText(AttributeText(L"Name", block.name));
        writer.WriteText(AttributeText(L"Enabled", block.enabled ? L"true" : L"false"));
        for (const auto& s : block.settings) {
            std::wstring name =
                IsReserved(s.name) ? std::wstring(kPropertyPrefix) + s.name : s.name;
            writer.WriteText(AttributeText(name, s.value));
        }
        writer.WriteEndTag(L"/>");
    }
    for (const auto& c : graph.connections) {
        writer.WriteStartTag(L"<Connection");
        writer.WriteText(AttributeText(L"From", c.from));
        if (!c.output.empty())
            writer.WriteText(AttributeText(L"Output", c.output));
        writer.WriteText(AttributeText(L"To", c.to));
        if (!c.input.empty())
            writer.WriteText(AttributeText(L"Input", c.input));
        writer.WriteEndTag(L"/>");
    }
    writer.WriteEndTag(L"</Blocks>");
    return writer.Text();
}

std::wstring JoinArray(const std::vector<std::wstring>& entries) {
    std::wstring out;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (i)
            out.push_back(L',');
        for (wchar_t c : entries[i]) {
            if (c == L',' || c == L'\\')
                out.push_back(L'\\');
            out.push_back(c);
        }
    }
    return out;
}

std::vector<std::wstring> SplitArray(const std::wstring& text) {
    std::vector<std::wstring> out;
    if (text.empty())
        return out;
    std::wstring current;
    for (std::size_t i = 0; i < text.size(); ++i) {
        wchar_t c = text[i];
        if (c == L'\\' && i + 1 < text.size()) {
            current.push_back(text[++i]);
        } else if (c == L',') {
            out.push_back(std::move(current));
            current.clear();
        } else {
            current.push_back(c);
        }
    }
    out.push_back(std::move(current));
    return out;
}

}  // namespace tarvo::host
