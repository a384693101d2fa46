#include <utility>

#include "host/setup/internal/setup_xml.h"
#include "host/setup/setup_file.h"
#include "host/text/utf8.h"

namespace tarvo::host {

namespace {

// The tokens of one section, read ahead whole so that a malformed text is refused before a
// plug-in sees any of it.
class SectionReader : public CXMLSetup {
  public:
    explicit SectionReader(std::vector<CXMLToken> tokens) : tokens_(std::move(tokens)) {}

    bool ReadNextToken(CXMLToken& token) override {
        if (next_ >= tokens_.size()) {
            token = CXMLToken();
            return false;
        }
        token = tokens_[next_++];
        return true;
    }
    bool WriteStartTag(const std::wstring&) override { return false; }
    bool WriteText(const std::wstring&) override { return false; }
    bool WriteEndTag(const std::wstring&) override { return false; }

  private:
    std::vector<CXMLToken> tokens_;
    std::size_t next_ = 0;
};

std::vector<CXMLToken> TokensOf(const std::vector<XmlEvent>& events,
                                const std::vector<int>* lineMap) {
    const auto lineOf = [lineMap](const XmlEvent& event) {
        if (lineMap == nullptr)
            return event.line;
        const auto at = static_cast<std::size_t>(event.line - 1);
        return event.line >= 1 && at < lineMap->size() ? (*lineMap)[at] : 0;
    };
    std::vector<CXMLToken> tokens;
    // Comments or instructions may stand before the element.
    std::size_t first = 0;
    while (events[first].kind != XmlEvent::Kind::Start)
        ++first;
    const XmlEvent& section = events[first];
    if (section.empty) {
        tokens.emplace_back(XML_TOKEN_EMPTY_END, FromUtf8(section.name), lineOf(section));
        return tokens;
    }
    // The section's own start tag and attributes are behind the reader already; its end tag
    // is the last token.
    for (std::size_t i = first + 1; i < events.size(); ++i) {
        const XmlEvent& event = events[i];
        const int line = lineOf(event);
        switch (event.kind) {
            case XmlEvent::Kind::Start:
                tokens.emplace_back(XML_TOKEN_START, FromUtf8(event.name), line);
                for (const auto& [name, value] : event.attributes) {
                    tokens.emplace_back(XML_TOKEN_ATTR_NAME, FromUtf8(name), line);
                    tokens.emplace_back(XML_TOKEN_ATTR_VALUE, FromUtf8(value), line);
                }
                if (event.empty)
                    tokens.emplace_back(XML_TOKEN_EMPTY_END, FromUtf8(event.name), line);
                break;
            case XmlEvent::Kind::End:
                tokens.emplace_back(XML_TOKEN_END, FromUtf8(event.name), line);
                break;
            case XmlEvent::Kind::Text:
            case XmlEvent::Kind::CData:
                tokens.emplace_back(XML_TOKEN_TEXT, FromUtf8(event.text), line);
                break;
            case XmlEvent::Kind::Comment:
            case XmlEvent::Kind::Instruction:
                break;
        }
        if (event.depth == 0)
            break;  // the section's end tag
    }
    return tokens;
}

}  // namespace

std::unique_ptr<CXMLSetup> MakeMappedSectionReader(const std::string& elementText,
                                                   const std::string& fileName,
                                                   const std::vector<int>* lineMap,
                                                   std::string& error) {
    std::vector<XmlEvent> events;
    if (!ReadXmlEvents(elementText, fileName, events, error))
        return nullptr;
    return std::make_unique<SectionReader>(TokensOf(events, lineMap));
}

std::unique_ptr<CXMLSetup> MakeSectionReader(const std::string& elementText, std::string& error) {
    return MakeMappedSectionReader(elementText, "section", nullptr, error);
}

}  // namespace tarvo::host
