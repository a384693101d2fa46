#include "host/setup/setup_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "host/setup/atomic_file.h"
#include "host/setup/bounded_file.h"
#include "host/setup/internal/setup_xml.h"
#include "host/text/utf8.h"

namespace tarvo::host {

namespace {

constexpr std::string_view kRoot = "TarvoSetup";
constexpr std::string_view kHeader = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

std::string Located(const std::string& fileName, int line, int column, const std::string& what) {
    return fileName + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + what;
}

}  // namespace

const SetupFile::Section* SetupFile::Find(const std::wstring& tag) const {
    for (const Section& section : sections_) {
        if (section.tag == tag)
            return &section;
    }
    return nullptr;
}

bool SetupFile::Load(const std::string& path, std::string& error) {
    std::string text;
    if (!ReadBoundedFile(path, kSetupFileLimit, text, error))
        return false;
    return Parse(text, path, error);
}

bool SetupFile::Parse(const std::string& text, const std::string& fileName, std::string& error) {
    std::vector<XmlEvent> events;
    if (!ReadXmlEvents(text, fileName, events, error))
        return false;
    std::size_t i = 0;
    while (events[i].kind != XmlEvent::Kind::Start)
        ++i;  // comments or instructions before the root
    const XmlEvent& root = events[i];
    if (root.name != kRoot) {
        const auto [line, column] = LocateStartTag(text, root.line, root.name);
        error = Located(
            fileName, line, column,
            "expected root element <" + std::string(kRoot) + ">, found <" + root.name + ">");
        return false;
    }

    std::vector<Section> sections;
    ++i;
    while (!root.empty && i < events.size() && events[i].depth > 0) {
        const XmlEvent& event = events[i];
        switch (event.kind) {
            case XmlEvent::Kind::Start: {
                Section section;
                section.tag = FromUtf8(event.name);
                const auto [line, column] = LocateStartTag(text, event.line, event.name);
                section.line = line;
                for (const Section& earlier : sections) {
                    if (earlier.tag == section.tag) {
                        error = Located(fileName, line, column,
                                        "expected each section once, found a second <" +
                                            event.name + "> (the first is at line " +
                                            std::to_string(earlier.line) + ")");
                        return false;
                    }
                }
                WriteElement(events, i, 0, section.text, &section.lines);
                sections.push_back(std::move(section));
                break;
            }
            case XmlEvent::Kind::Text:
            case XmlEvent::Kind::CData:
                error = Located(
                    fileName, event.line, 1,
                    "expected a section element, found text in <" + std::string(kRoot) + ">");
                return false;
            default:
                ++i;  // comments between sections are not kept
                break;
        }
    }
    sections_ = std::move(sections);
    fileName_ = fileName;
    return true;
}

bool SetupFile::Save(const std::string& path, std::string& error) const {
    const std::string text = ToText();
    // Never replace a good file with one that could not be read back.
    SetupFile check;
    std::string problem;
    if (!check.Parse(text, path, problem)) {
        error = "refusing to save an unreadable setup: " + problem;
        return false;
    }
    return WriteFileAtomically(path, text, error);
}

std::string SetupFile::ToText() const {
    std::string text(kHeader);
    text += "<" + std::string(kRoot) + ">\n";
    for (const Section& section : sections_)
        text += section.text;
    text += "</" + std::string(kRoot) + ">\n";
    return text;
}

bool SetupFile::HasSection(const std::wstring& tag) const {
    return Find(tag) != nullptr;
}

std::unique_ptr<CXMLSetup> SetupFile::ReadSection(const std::wstring& tag) const {
    const Section* section = Find(tag);
    if (section == nullptr)
        return nullptr;
    std::string error;
    return MakeMappedSectionReader(section->text, fileName_.empty() ? "setup" : fileName_,
                                   &section->lines, error);
}

int SetupFile::SectionLine(const std::wstring& tag) const {
    const Section* section = Find(tag);
    return section != nullptr ? section->line : 0;
}

void SetupFile::SetSection(const std::wstring& tag, const std::string& elementText) {
    Section section;
    section.tag = tag;
    std::vector<XmlEvent> events;
    std::string error;
    if (ReadXmlEvents(elementText, "section", events, error)) {
        std::size_t i = 0;
        while (events[i].kind != XmlEvent::Kind::Start)
            ++i;
        // One step in from the root, as it will stand in the file.
        WriteElement(events, i, -1, section.text, nullptr);
    } else {
        // Kept as given; Save refuses it with the reason.
        section.text = elementText;
        if (!section.text.empty() && section.text.back() != '\n')
            section.text += '\n';
    }
    for (Section& existing : sections_) {
        if (existing.tag == tag) {
            existing = std::move(section);
            return;
        }
    }
    sections_.push_back(std::move(section));
}

std::vector<std::wstring> SetupFile::SectionTags() const {
    std::vector<std::wstring> tags;
    for (const Section& section : sections_)
        tags.push_back(section.tag);
    return tags;
}

}  // namespace tarvo::host
