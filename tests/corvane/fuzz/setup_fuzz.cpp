// libFuzzer target: the setup file as the host loads it. The XML is read into sections, the
// <Blocks> section into the graph description, and the <Corvane> section by the module's
// reader. The host's layout, the graph's writer and the module's writer must each reach a fixed
// point: what they write reads back to the same text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "corvane/core/corvane.h"
#include "host/log/report_sinks.h"
#include "host/setup/blocks_section.h"
#include "host/setup/setup_file.h"

namespace {

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// The module's section as it writes it after reading `section`.
std::string ReadAndWrite(CXMLSetup& section) {
    CCorvane device;
    device.ReadSetup(section);
    tarvo::host::SetupTextWriter writer;
    device.WriteSetup(writer);
    return writer.Text();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Unknown tokens are warnings; thousands a second on standard error would drown the run.
    tarvo::host::SetStderrLevel(TReportLevel::Warning, false);
    const std::string text(reinterpret_cast<const char*>(data), size);
    tarvo::host::SetupFile file;
    std::string error;
    if (!file.Parse(text, "fuzz.xml", error)) {
        return 0;
    }

    const std::string laidOut = file.ToText();
    tarvo::host::SetupFile again;
    Require(again.Parse(laidOut, "fuzz.xml", error));
    Require(again.ToText() == laidOut);

    if (auto blocks = file.ReadSection(L"Blocks")) {
        tarvo::host::GraphDescription graph;
        if (tarvo::host::ParseBlocksSection(*blocks, "fuzz.xml", graph, error)) {
            const std::string written = tarvo::host::WriteBlocksSection(graph);
            auto reread = tarvo::host::MakeSectionReader(written, error);
            Require(reread != nullptr);
            tarvo::host::GraphDescription graphAgain;
            Require(tarvo::host::ParseBlocksSection(*reread, "fuzz.xml", graphAgain, error));
            Require(tarvo::host::WriteBlocksSection(graphAgain) == written);
        }
    }

    if (auto section = file.ReadSection(CCorvane::kSetupTag)) {
        const std::string written = ReadAndWrite(*section);
        auto reread = tarvo::host::MakeSectionReader(written, error);
        Require(reread != nullptr);
        Require(ReadAndWrite(*reread) == written);
    }
    return 0;
}
