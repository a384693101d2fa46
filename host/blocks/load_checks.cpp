#include "host/blocks/load_checks.h"

#include <filesystem>
#include <map>

#include "host/blocks/log_block.h"
#include "host/blocks/source_block.h"
#include "host/text/number_text.h"
#include "host/text/utf8.h"
#include "platform/time.h"

namespace tarvo::host {
namespace {

namespace fs = std::filesystem;

// A Source's settings that are time texts, read strictly: "HH:MM:SS" with minutes and seconds
// below 60. (The module's own settings keep the platform's lenient reading.)
constexpr const wchar_t* kTimeSettings[] = {L"Interval", L"Offset", L"Period", L"StepAt"};

bool IsListEntry(const std::wstring& entry) {
    double value = 0.0;
    return ParseDouble(entry, value) || EqualsNoCase(entry, L"ERROR") ||
           EqualsNoCase(entry, L"NODATA");
}

std::string Quoted(const std::wstring& text) {
    return "\"" + ToUtf8(text) + "\"";
}

std::string Describe(const TModule& block) {
    return "block " + Quoted(block.GetName()) + " (" + ToUtf8(block.GetModuleName()) + ")";
}

// One identity for every spelling of a path: absolute, with links and "..", "." resolved as far
// as the path exists.
std::string Identity(const std::string& path) {
    std::error_code ec;
    fs::path canonical = fs::weakly_canonical(fs::absolute(path, ec), ec);
    return ec ? fs::absolute(path).lexically_normal().string() : canonical.string();
}

}  // namespace

bool CheckHostSetting(const TModule& block, const std::wstring& name, std::string& error,
                      std::string& warning) {
    warning.clear();
    if (dynamic_cast<const SourceBlock*>(&block) == nullptr)
        return true;
    const TProperty* property = block.GetProperty(name);
    for (const wchar_t* time : kTimeSettings) {
        if (name == time && !ValidateTime(property->GetText())) {
            error = "property " + Quoted(name) + " of " + Describe(block) +
                    " must be a time as HH:MM:SS, with minutes and seconds below 60, not " +
                    Quoted(property->GetText());
            return false;
        }
    }
    if (name == L"Values") {
        const auto entries = property->GetTexts();
        int bad = 0;
        std::wstring first;
        for (const auto& entry : entries) {
            if (!IsListEntry(entry) && bad++ == 0)
                first = entry;
        }
        if (bad > 0) {
            warning = std::to_string(bad) + " of the " + std::to_string(entries.size()) +
                      " entries of \"Values\" of " + Describe(block) +
                      " are no number, ERROR or NODATA (the first: " + Quoted(first) +
                      "); they give readings without data";
        }
    }
    return true;
}

bool CheckBlockFiles(const std::vector<PlacedBlock>& blocks, const std::string& setupPath,
                     int& line, std::string& error) {
    struct Use {
        const PlacedBlock* by;
        bool writes;
    };
    std::map<std::string, Use> uses;
    if (!setupPath.empty())
        uses.emplace(Identity(setupPath), Use{nullptr, false});
    // Readers first, so that a writer is told about a reader whatever their order in the file.
    for (bool writers : {false, true}) {
        for (const PlacedBlock& placed : blocks) {
            const auto* log = dynamic_cast<const LogBlock*>(placed.block);
            const auto* source = dynamic_cast<const SourceBlock*>(placed.block);
            const std::string path =
                writers ? (log ? log->FilePath() : "") : (source ? source->InputFile() : "");
            if (path.empty())
                continue;
            const auto [it, fresh] = uses.emplace(Identity(path), Use{&placed, writers});
            if (fresh || (!writers && !it->second.writes))
                continue;  // a file read by several blocks is fine
            line = placed.line;
            const Use& other = it->second;
            const std::string who = Describe(*placed.block);
            if (other.by == nullptr) {
                error = who + " would write its readings over the setup file " + path;
            } else {
                error = who + " would write " + path + ", which " + Describe(*other.by->block) +
                        " (line " + std::to_string(other.by->line) + ") " +
                        (other.writes ? "writes too" : "reads");
            }
            return false;
        }
    }
    return true;
}

}  // namespace tarvo::host
