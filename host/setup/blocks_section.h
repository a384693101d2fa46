// The <Blocks> section of the setup file: the processing graph as written (host side). The
// schema is documented in docs/setup-file.md.
#pragma once

#include <string>
#include <vector>

#include "platform/xml_setup.h"

namespace tarvo::host {

struct BlockSpec {
    struct Setting {
        std::wstring name;  // the property's name ("Property." prefix already removed)
        std::wstring value;
        int line = 0;
    };
    std::wstring type;
    std::wstring name;
    bool enabled = true;
    int line = 0;
    std::vector<Setting> settings;
};

struct ConnectionSpec {
    std::wstring from;
    std::wstring output;  // port name or data index; empty: the block's only output
    std::wstring to;
    std::wstring input;  // likewise
    int line = 0;
};

struct GraphDescription {
    std::vector<BlockSpec> blocks;
    std::vector<ConnectionSpec> connections;
};

// Reads a <Blocks> section from a reader positioned after its start tag. On failure returns
// false with `error` as "FILE:LINE: what was expected".
bool ParseBlocksSection(CXMLSetup& reader, const std::string& fileName, GraphDescription& graph,
                        std::string& error);

// Writes a graph as the text of a <Blocks> element (for SetupFile::SetSection).
std::string WriteBlocksSection(const GraphDescription& graph);

// Array properties are one attribute: entries joined with ',', where a ',' or '\' inside an
// entry is written with a '\' before it.
std::wstring JoinArray(const std::vector<std::wstring>& entries);
std::vector<std::wstring> SplitArray(const std::wstring& text);

}  // namespace tarvo::host
