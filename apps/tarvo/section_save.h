// Saving one plug-in's section of a setup file in place: the section's lines are replaced by what
// the plug-in writes now and every other byte of the file (comments, the <Blocks> section as the
// person wrote it, blank lines) stays as it was. A whole-setup save would lay the file out
// anew; a command that changed one setting should change one section.
#pragma once

#include <string>

namespace tarvo::runner {

enum class SectionSave { Saved, NotInPlace, Failed };

// Replaces the section `tag` of the setup file at `path` with `elementText` (the whole element,
// as the plug-in wrote it), indented as the old one was, and writes the file atomically.
// NotInPlace, with the file untouched, when the section cannot be replaced on whole lines of its
// own (it is missing, or shares a line with other content); Failed with `error` when the file
// cannot be read or written.
SectionSave SaveSectionInPlace(const std::string& path, const std::wstring& tag,
                               const std::string& elementText, std::string& error);

}  // namespace tarvo::runner
