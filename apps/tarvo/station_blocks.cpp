#include "apps/tarvo/station_blocks.h"

#include <cwchar>
#include <optional>

#include "host/setup/blocks_section.h"
#include "host/setup/setup_file.h"
#include "platform/module.h"
#include "platform/property.h"

namespace tarvo::runner {
namespace {

std::optional<StationBlock::Kind> KindOf(const std::wstring& moduleName) {
    if (moduleName == L"SelfTimed")
        return StationBlock::Kind::SelfTimed;
    if (moduleName == L"Random")
        return StationBlock::Kind::Random;
    if (moduleName == L"RndGroup")
        return StationBlock::Kind::RndGroup;
    return std::nullopt;
}

std::wstring Text(const TModule& block, const wchar_t* name) {
    const TProperty* p = block.GetProperty(name);
    return p == nullptr ? L"" : p->GetText();
}

long Integer(const TModule& block, const wchar_t* name) {
    const TProperty* p = block.GetProperty(name);
    return p == nullptr ? 0 : p->GetInteger();
}

// The digits the block's values are shown with: those of the block feeding its one input, as the
// module's blocks take them ("Precision" of a Log block, "RightDigits" of any other); 2 when the
// feeder has neither or the input is not connected.
int FeederDigits(const TModule& block) {
    for (int index = 0; index < MODULE_DATA_COUNT; ++index) {
        if (block.GetInputName(index).empty())
            continue;
        const TModule* feeder = block.GetInputModule(index);
        if (feeder == nullptr)
            return 2;
        const wchar_t* name = feeder->GetModuleName() == L"Log" ? L"Precision" : L"RightDigits";
        const TProperty* digits = feeder->GetProperty(name);
        return digits == nullptr ? 2 : static_cast<int>(digits->GetInteger());
    }
    return 2;
}

void Collect(std::unique_ptr<CXMLSetup> reader, SectionInFile& section) {
    CXMLToken token;
    std::wstring element;
    std::wstring attribute;
    while (reader->ReadNextToken(token)) {
        switch (token.GetType()) {
            case XML_TOKEN_START:
                element = token.GetText();
                section.elementLines.emplace(element, token.GetLine());
                break;
            case XML_TOKEN_ATTR_NAME:
                attribute = token.GetText();
                section.attributeLines[element][attribute] = token.GetLine();
                break;
            case XML_TOKEN_ATTR_VALUE:
                section.values[element][attribute] = token.GetText();
                break;
            default:
                break;
        }
    }
}

}  // namespace

std::vector<StationBlock> ReadStationBlocks(const host::HostEngine& engine) {
    std::vector<StationBlock> blocks;
    for (int i = 0; i < engine.GetModuleCount(); ++i) {
        const TModule* module = engine.GetModule(i);
        const auto kind = KindOf(module->GetModuleName());
        if (!kind)
            continue;
        StationBlock b{.kind = *kind,
                       .name = module->GetName(),
                       .enabled = module->IsEnabled(),
                       .label = Text(*module, L"Label"),
                       .numVals = Integer(*module, L"NumVals"),
                       .sequence = Integer(*module, L"Sequence"),
                       .offset = Text(*module, L"Offset"),
                       .interval = Text(*module, L"Interval"),
                       .useCalcTime = Integer(*module, L"UseCalcTime") != 0,
                       .group = Integer(*module, L"Group"),
                       .rightDigits = FeederDigits(*module)};
        if (const TProperty* map = module->GetProperty(L"GroupMap")) {
            const std::vector<std::wstring> entries = map->GetTexts();
            for (std::size_t g = 2; g < b.member.size() && g - 2 < entries.size(); ++g)
                b.member[g] = entries[g - 2] == L"1";
        }
        blocks.push_back(std::move(b));
    }
    return blocks;
}

std::wstring SettingOf(const SectionElements& elements, const std::wstring& element,
                       const std::wstring& key) {
    const auto e = elements.find(element);
    if (e == elements.end())
        return L"";
    const auto v = e->second.find(key);
    return v == e->second.end() ? L"" : v->second;
}

long NumberOf(const SectionElements& elements, const std::wstring& element,
              const std::wstring& key) {
    return std::wcstol(SettingOf(elements, element, key).c_str(), nullptr, 10);
}

int SectionInFile::LineOf(const std::wstring& element, const std::wstring& attribute) const {
    if (const auto e = attributeLines.find(element); e != attributeLines.end()) {
        if (const auto a = e->second.find(attribute); a != e->second.end())
            return a->second;
    }
    const auto e = elementLines.find(element);
    return e != elementLines.end() ? e->second : sectionLine;
}

bool ReadSectionInFile(const std::string& path, SectionInFile& section,
                       std::vector<StationBlock>& blocks, std::string& error) {
    host::SetupFile file;
    if (!file.Load(path, error))
        return false;
    if (auto reader = file.ReadSection(L"Corvane")) {
        section.sectionLine = file.SectionLine(L"Corvane");
        Collect(std::move(reader), section);
    }
    if (auto reader = file.ReadSection(L"Blocks")) {
        host::GraphDescription graph;
        if (!host::ParseBlocksSection(*reader, path, graph, error))
            return false;
        for (const host::BlockSpec& declared : graph.blocks) {
            for (StationBlock& b : blocks) {
                if (b.name != declared.name)
                    continue;
                b.line = declared.line;
                for (const auto& s : declared.settings)
                    b.settingLines[s.name] = s.line;
            }
        }
    }
    return true;
}

SectionElements ParseSectionText(const std::string& text) {
    std::string error;
    SectionInFile parsed;
    if (auto reader = host::MakeSectionReader(text, error))
        Collect(std::move(reader), parsed);
    return parsed.values;
}

}  // namespace tarvo::runner
