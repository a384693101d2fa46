// The logger's fixed folders ("\Flash Disk\", "\Storage Card\") as paths the host can open.
#pragma once

#include <string>

// The host path of a logger path: a path under one of the fixed folders is mapped to the host
// folder standing for it (see the host's SetLoggerFolder); any other path is returned as it is,
// its backslashes turned into slashes. UTF-8.
std::string LoggerPathToHost(const std::wstring& loggerPath);
