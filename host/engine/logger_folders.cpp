#include "host/engine/logger_folders.h"

#include <array>
#include <cwctype>
#include <string_view>

#include "host/engine/engine.h"
#include "host/text/utf8.h"
#include "platform/files.h"

namespace tarvo::host {
namespace {

struct Folder {
    std::wstring_view loggerPrefix;
    const char* defaultName;
};

constexpr std::array<Folder, 2> kFolders = {{
    {L"\\Flash Disk\\", "flash-disk"},
    {L"\\Storage Card\\", "storage-card"},
}};

std::array<std::string, 2>& ChosenFolders() {
    static std::array<std::string, 2> chosen;
    return chosen;
}

bool StartsWithNoCase(std::wstring_view text, std::wstring_view prefix) {
    if (text.size() < prefix.size())
        return false;
    for (std::size_t i = 0; i < prefix.size(); ++i)
        if (std::towlower(text[i]) != std::towlower(prefix[i]))
            return false;
    return true;
}

std::string Slashed(std::string path) {
    for (char& c : path)
        if (c == '\\')
            c = '/';
    return path;
}

}  // namespace

void SetLoggerFolder(LoggerFolder folder, std::string directory) {
    ChosenFolders()[static_cast<std::size_t>(folder)] = std::move(directory);
}

std::string LoggerFolderPath(LoggerFolder folder) {
    const auto index = static_cast<std::size_t>(folder);
    const std::string& chosen = ChosenFolders()[index];
    if (!chosen.empty())
        return chosen;
    return GetHostEngine().SetupDirectory() + "/" + kFolders[index].defaultName;
}

std::string HostPathOf(const std::wstring& loggerPath) {
    for (std::size_t i = 0; i < kFolders.size(); ++i) {
        if (StartsWithNoCase(loggerPath, kFolders[i].loggerPrefix)) {
            const std::wstring rest = loggerPath.substr(kFolders[i].loggerPrefix.size());
            return LoggerFolderPath(static_cast<LoggerFolder>(i)) + "/" + Slashed(ToUtf8(rest));
        }
    }
    return Slashed(ToUtf8(loggerPath));
}

}  // namespace tarvo::host

std::string LoggerPathToHost(const std::wstring& loggerPath) {
    return tarvo::host::HostPathOf(loggerPath);
}
