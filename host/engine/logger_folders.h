// Where the logger's fixed folders live on this machine. Unless set, each is a folder beside
// the loaded setup file: "flash-disk" for "\Flash Disk\" and "storage-card" for
// "\Storage Card\" (beside the current folder when no setup is loaded).
#pragma once

#include <string>

namespace tarvo::host {

enum class LoggerFolder { FlashDisk, StorageCard };

// `directory` empty goes back to the default. Not thread-safe against LoggerPathToHost: set it
// before loading a setup.
void SetLoggerFolder(LoggerFolder folder, std::string directory);
// The host folder standing for `folder` now.
std::string LoggerFolderPath(LoggerFolder folder);
// LoggerPathToHost (platform/files.h).
std::string HostPathOf(const std::wstring& loggerPath);

}  // namespace tarvo::host
