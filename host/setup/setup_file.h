// The platform setup file (host side): a <TarvoSetup> root whose child elements are sections,
// one per plug-in by its setup tag, plus the host's own (such as <Blocks>).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/xml_setup.h"

namespace tarvo::host {

// A reader over one element given as text, positioned just after its start tag; for tests and
// for handing sections to plug-ins. Null with `error` set when the text is not well-formed.
std::unique_ptr<CXMLSetup> MakeSectionReader(const std::string& elementText, std::string& error);

// A writer that collects what a plug-in writes as the text of its section.
class SetupTextWriter : public CXMLSetup {
  public:
    bool ReadNextToken(CXMLToken& token) override;
    bool WriteStartTag(const std::wstring& tag) override;
    bool WriteText(const std::wstring& text) override;
    bool WriteEndTag(const std::wstring& tag) override;
    // UTF-8 text of everything written, one element per line, indented by nesting.
    const std::string& Text() const { return text_; }

  private:
    std::string text_;
    std::vector<std::string> open_;  // names of the elements open, outermost first
    bool inStartTag_ = false;        // the innermost start tag still takes attribute texts
};

class SetupFile {
  public:
    // Reads and checks a whole file. On failure returns false, leaves *this unchanged and sets
    // `error` to "FILE:LINE:COLUMN: what was expected".
    bool Load(const std::string& path, std::string& error);
    bool Parse(const std::string& text, const std::string& fileName, std::string& error);
    // Writes atomically: a temporary file beside the target, flushed, then renamed over it.
    bool Save(const std::string& path, std::string& error) const;
    // The whole file in the host's layout: each section as SetupTextWriter lays it out, one step
    // in. Everything inside a section (elements, attributes, text, comments) is kept, so
    // sections of other owners survive a save; comments outside the sections are not kept.
    std::string ToText() const;

    bool HasSection(const std::wstring& tag) const;
    // A reader positioned after the section's start tag; null when there is no such section.
    std::unique_ptr<CXMLSetup> ReadSection(const std::wstring& tag) const;
    // The line of the section's start tag in the file it was read from (0 when unknown).
    int SectionLine(const std::wstring& tag) const;
    // Replaces or appends a section by its whole element text (as SetupTextWriter::Text).
    void SetSection(const std::wstring& tag, const std::string& elementText);
    std::vector<std::wstring> SectionTags() const;

  private:
    struct Section {
        std::wstring tag;
        std::string text;        // the element as it stands in the file, indented one step
        int line = 0;            // of its start tag in the file read; 0 when set since
        std::vector<int> lines;  // the file's line for each line of `text`, when read
    };
    const Section* Find(const std::wstring& tag) const;
    std::vector<Section> sections_;
    std::string fileName_;
};

}  // namespace tarvo::host
