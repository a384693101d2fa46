#include "apps/tarvo/section_save.h"

#include <vector>

#include "host/setup/atomic_file.h"
#include "host/setup/bounded_file.h"
#include "host/setup/setup_file.h"
#include "host/text/utf8.h"

namespace tarvo::runner {
namespace {

// The text's lines, each with its line end.
std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        end = end == std::string::npos ? text.size() : end + 1;
        lines.push_back(text.substr(start, end - start));
        start = end;
    }
    return lines;
}

std::string Trimmed(const std::string& line) {
    const auto first = line.find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return "";
    return line.substr(first, line.find_last_not_of(" \t\r\n") - first + 1);
}

}  // namespace

SectionSave SaveSectionInPlace(const std::string& path, const std::wstring& tag,
                               const std::string& elementText, std::string& error) {
    std::string text;
    if (!host::ReadBoundedFile(path, host::kSetupFileLimit, text, error))
        return SectionSave::Failed;
    host::SetupFile before;
    if (!before.Parse(text, path, error))
        return SectionSave::Failed;
    const int startLine = before.SectionLine(tag);
    if (startLine == 0)
        return SectionSave::NotInPlace;

    const std::string name = host::ToUtf8(tag);
    const std::vector<std::string> lines = Lines(text);
    const auto first = static_cast<std::size_t>(startLine - 1);
    if (first >= lines.size() || !Trimmed(lines[first]).starts_with("<" + name))
        return SectionSave::NotInPlace;
    std::size_t last = first;
    while (last < lines.size() && !Trimmed(lines[last]).ends_with("</" + name + ">"))
        ++last;
    if (last == lines.size())
        return SectionSave::NotInPlace;

    const std::string& opening = lines[first];
    const std::string indent = opening.substr(0, opening.find_first_not_of(" \t"));
    std::string result;
    for (std::size_t i = 0; i < first; ++i)
        result += lines[i];
    for (const std::string& line : Lines(elementText))
        result += indent + line;
    if (!result.empty() && result.back() != '\n')
        result += '\n';
    for (std::size_t i = last + 1; i < lines.size(); ++i)
        result += lines[i];

    // The lines found must have been the section and nothing else: the new file must read as
    // the old one with only that section replaced.
    host::SetupFile expected = before;
    expected.SetSection(tag, elementText);
    host::SetupFile after;
    std::string problem;
    if (!after.Parse(result, path, problem) || after.ToText() != expected.ToText())
        return SectionSave::NotInPlace;
    return host::WriteFileAtomically(path, result, error) ? SectionSave::Saved
                                                          : SectionSave::Failed;
}

}  // namespace tarvo::runner
