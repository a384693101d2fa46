#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlreader.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>

#include "host/setup/internal/setup_xml.h"

namespace tarvo::host {

namespace {

struct ReaderFree {
    void operator()(xmlTextReader* reader) const { xmlFreeTextReader(reader); }
};

struct FirstError {
    bool seen = false;
    int line = 0;
    int column = 0;
    std::string message;
};

#if LIBXML_VERSION >= 21200
void RecordError(void* context, const xmlError* error)
#else
void RecordError(void* context, xmlErrorPtr error)
#endif
{
    auto& first = *static_cast<FirstError*>(context);
    if (first.seen || error == nullptr || error->level < XML_ERR_ERROR)
        return;
    first.seen = true;
    first.line = error->line;
    first.column = error->int2;
    first.message = error->message != nullptr ? error->message : "malformed XML";
    while (!first.message.empty() && (first.message.back() == '\n' || first.message.back() == ' '))
        first.message.pop_back();
    // The parser's own limits, said in a person's words rather than the parser's.
    if (first.message.find("Huge input lookup") != std::string::npos ||
        first.message.find("too long") != std::string::npos ||
        first.message.find("too large") != std::string::npos) {
        first.message =
            "a name, attribute value or text here is longer than the XML reader takes (names up "
            "to " +
            std::to_string(XML_MAX_NAME_LENGTH) + " bytes, values and texts up to " +
            std::to_string(XML_MAX_TEXT_LENGTH) + ")";
    } else if (first.message.find("Excessive depth") != std::string::npos) {
        first.message = "elements are nested deeper than the XML reader takes (" +
                        std::to_string(xmlParserMaxDepth) + " levels)";
    }
}

std::string Located(const std::string& fileName, int line, int column, const std::string& what) {
    return fileName + ":" + std::to_string(std::max(line, 1)) + ":" +
           std::to_string(std::max(column, 1)) + ": " + what;
}

std::string Str(const xmlChar* text) {
    return text != nullptr ? reinterpret_cast<const char*>(text) : std::string();
}

bool IsBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

int LineOf(xmlTextReader* reader) {
    const xmlNode* node = xmlTextReaderCurrentNode(reader);
    return node != nullptr ? static_cast<int>(xmlGetLineNo(node)) : 0;
}

}  // namespace

bool ReadXmlEvents(std::string_view text, const std::string& fileName,
                   std::vector<XmlEvent>& events, std::string& error) {
    events.clear();
    if (IsBlank(text)) {
        error = Located(fileName, 1, 1, "expected an XML document, found no content");
        return false;
    }
    // libxml2 wants its one-time set-up done before threads parse side by side.
    static std::once_flag initialised;
    std::call_once(initialised, xmlInitParser);
    std::unique_ptr<xmlTextReader, ReaderFree> reader(
        xmlReaderForMemory(text.data(), static_cast<int>(text.size()), fileName.c_str(), nullptr,
                           XML_PARSE_NONET | XML_PARSE_BIG_LINES));
    if (!reader) {
        error = Located(fileName, 1, 1, "cannot start the XML reader");
        return false;
    }
    FirstError first;
    xmlTextReaderSetStructuredErrorHandler(reader.get(), RecordError, &first);

    int status;
    while ((status = xmlTextReaderRead(reader.get())) == 1) {
        XmlEvent event;
        event.depth = xmlTextReaderDepth(reader.get());
        event.line = LineOf(reader.get());
        switch (xmlTextReaderNodeType(reader.get())) {
            case XML_READER_TYPE_ELEMENT:
                event.kind = XmlEvent::Kind::Start;
                event.name = Str(xmlTextReaderConstName(reader.get()));
                event.empty = xmlTextReaderIsEmptyElement(reader.get()) == 1;
                while (xmlTextReaderMoveToNextAttribute(reader.get()) == 1) {
                    event.attributes.emplace_back(Str(xmlTextReaderConstName(reader.get())),
                                                  Str(xmlTextReaderConstValue(reader.get())));
                }
                break;
            case XML_READER_TYPE_END_ELEMENT:
                event.kind = XmlEvent::Kind::End;
                event.name = Str(xmlTextReaderConstName(reader.get()));
                break;
            case XML_READER_TYPE_TEXT:
                event.kind = XmlEvent::Kind::Text;
                event.text = Str(xmlTextReaderConstValue(reader.get()));
                if (IsBlank(event.text))
                    continue;
                break;
            case XML_READER_TYPE_CDATA:
                event.kind = XmlEvent::Kind::CData;
                event.text = Str(xmlTextReaderConstValue(reader.get()));
                break;
            case XML_READER_TYPE_COMMENT:
                event.kind = XmlEvent::Kind::Comment;
                event.text = Str(xmlTextReaderConstValue(reader.get()));
                break;
            case XML_READER_TYPE_PROCESSING_INSTRUCTION:
                event.kind = XmlEvent::Kind::Instruction;
                event.name = Str(xmlTextReaderConstName(reader.get()));
                event.text = Str(xmlTextReaderConstValue(reader.get()));
                break;
            default:
                // White space, document type declarations and unexpanded entity references
                // carry nothing a setup needs.
                continue;
        }
        events.push_back(std::move(event));
    }
    if (status != 0 || first.seen) {
        events.clear();
        if (first.message == "Document is empty")
            first.message = "expected an XML element, found no markup";
        error = first.seen ? Located(fileName, first.line, first.column, first.message)
                           : Located(fileName, 1, 1, "malformed XML");
        return false;
    }
    return true;
}

std::pair<int, int> LocateStartTag(std::string_view text, int endLine, std::string_view name) {
    // The end of line `endLine`: the tag starts before it.
    std::size_t end = 0;
    for (int line = 1; line <= endLine && end != std::string_view::npos; ++line)
        end = text.find('\n', line == 1 ? 0 : end + 1);
    if (end == std::string_view::npos)
        end = text.size();
    const std::string needle = "<" + std::string(name);
    std::size_t at = text.rfind(needle, end);
    if (at == std::string_view::npos)
        return {std::max(endLine, 1), 1};
    const auto line = 1 + static_cast<int>(std::count(text.begin(), text.begin() + at, '\n'));
    const std::size_t lineStart = text.rfind('\n', at);
    const auto column =
        static_cast<int>(at - (lineStart == std::string_view::npos ? 0 : lineStart + 1)) + 1;
    return {line, column};
}

}  // namespace tarvo::host
