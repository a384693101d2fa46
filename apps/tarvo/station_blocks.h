// What `tarvo check` knows of a loaded station: the module's blocks as the engine made them
// (with the defaults the module gave them), the module's settings as the module writes them back
// (after its own conversions of older values), and where each element and attribute stands in
// the setup file, for problems that name a line.
#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

#include "host/engine/engine.h"

namespace tarvo::runner {

struct StationBlock {
    enum class Kind { SelfTimed, Random, RndGroup };
    Kind kind = Kind::SelfTimed;
    std::wstring name{};
    bool enabled = true;
    int line = 0;  // of the block's element; 0 when unknown
    std::map<std::wstring, int> settingLines{};
    std::wstring label{};
    long numVals = 0;
    long sequence = 0;
    std::wstring offset{};    // SelfTimed, RndGroup
    std::wstring interval{};  // SelfTimed, RndGroup
    bool useCalcTime = false;
    long group = 0;                 // RndGroup
    std::array<bool, 10> member{};  // Random: member[g] for groups 2..9
    int rightDigits = 2;            // of the block that feeds the input, as the blocks take them

    int LineOf(const std::wstring& setting) const {
        const auto it = settingLines.find(setting);
        return it == settingLines.end() ? line : it->second;
    }
};

// The module's blocks of the engine's graph, in the engine's order.
std::vector<StationBlock> ReadStationBlocks(const host::HostEngine& engine);

// One element of the module's section: its attributes by name.
using SectionElement = std::map<std::wstring, std::wstring>;

using SectionElements = std::map<std::wstring, SectionElement>;

// An attribute's value; empty when the element or the attribute is absent.
std::wstring SettingOf(const SectionElements& elements, const std::wstring& element,
                       const std::wstring& key);
// The same read as a number the way the module reads one: leading digits, 0 when none.
long NumberOf(const SectionElements& elements, const std::wstring& element,
              const std::wstring& key);

// The module's section as it stands in the file, with lines.
struct SectionInFile {
    int sectionLine = 0;
    std::map<std::wstring, int> elementLines{};
    std::map<std::wstring, std::map<std::wstring, int>> attributeLines{};
    SectionElements values{};  // as written in the file

    // The attribute's line, else its element's, else the section's.
    int LineOf(const std::wstring& element, const std::wstring& attribute = L"") const;
};

// Reads the setup file's <Corvane> section and the lines of the blocks of its <Blocks> section
// (filled into `blocks` by name). False with `error` when the file cannot be read.
bool ReadSectionInFile(const std::string& path, SectionInFile& section,
                       std::vector<StationBlock>& blocks, std::string& error);

// Element by element, the attributes of a section text such as the module writes.
SectionElements ParseSectionText(const std::string& text);

}  // namespace tarvo::runner
