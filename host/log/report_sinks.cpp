#include "host/log/report_sinks.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>

#include "host/log/internal/log_hub.h"

namespace tarvo::host {

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

struct LogHub {
    std::mutex mutex;
    bool stderrEnabled = true;
    TReportLevel stderrLevel = TReportLevel::Warning;
    std::unique_ptr<std::FILE, FileCloser> file;
    TReportLevel fileLevel = TReportLevel::Debug;
    int nextCaptureId = 1;
    std::map<int, std::vector<LogEntry>> captures;

    // Whether an entry at `level` goes to standard error, to the file; under `mutex`.
    bool ToStderr(TReportLevel level) const;
    bool ToFile(TReportLevel level) const;
};

LogHub& Hub() {
    // Never destroyed: code running during static destruction may still log.
    static LogHub* const hub = new LogHub;
    return *hub;
}

bool AtLeast(TReportLevel level, TReportLevel threshold) {
    return static_cast<int>(level) >= static_cast<int>(threshold);
}

bool LogHub::ToStderr(TReportLevel level) const {
    return stderrEnabled && AtLeast(level, stderrLevel);
}

bool LogHub::ToFile(TReportLevel level) const {
    return file && AtLeast(level, fileLevel);
}

// "2024-03-01 12:00:00.250 WARNING text"
std::string FormatLine(const LogEntry& entry) {
    char stamp[40];
    std::snprintf(stamp, sizeof stamp, "%04d-%02d-%02d %02d:%02d:%02d.%03d ", entry.time.GetYear(),
                  entry.time.GetMonth(), entry.time.GetDay(), entry.time.GetHour(),
                  entry.time.GetMinute(), entry.time.GetSecond(), entry.time.GetMillisecond());
    std::string line = stamp;
    line += LevelName(entry.level);
    line += ' ';
    line += entry.text;
    if (line.empty() || line.back() != '\n')
        line += '\n';
    return line;
}

}  // namespace

const char* LevelName(TReportLevel level) {
    switch (level) {
        case TReportLevel::Debug:
            return "DEBUG";
        case TReportLevel::Status:
            return "STATUS";
        case TReportLevel::Warning:
            return "WARNING";
        case TReportLevel::Error:
            return "ERROR";
    }
    return "UNKNOWN";
}

bool ParseLevel(std::string_view text, TReportLevel& level) {
    for (auto candidate :
         {TReportLevel::Debug, TReportLevel::Status, TReportLevel::Warning, TReportLevel::Error}) {
        const std::string_view name = LevelName(candidate);
        const bool same = std::equal(
            text.begin(), text.end(), name.begin(), name.end(),
            [](char a, char b) { return std::toupper(static_cast<unsigned char>(a)) == b; });
        if (same) {
            level = candidate;
            return true;
        }
    }
    return false;
}

void SetStderrLevel(TReportLevel level, bool enabled) {
    LogHub& hub = Hub();
    std::lock_guard lock(hub.mutex);
    hub.stderrLevel = level;
    hub.stderrEnabled = enabled;
}

bool SetLogFile(const std::string& path, TReportLevel level) {
    std::unique_ptr<std::FILE, FileCloser> file;
    if (!path.empty()) {
        file.reset(std::fopen(path.c_str(), "ae"));
        if (!file)
            return false;
    }
    LogHub& hub = Hub();
    std::lock_guard lock(hub.mutex);
    hub.file = std::move(file);
    hub.fileLevel = level;
    return true;
}

bool LogWanted(TReportLevel level) {
    LogHub& hub = Hub();
    std::lock_guard lock(hub.mutex);
    return hub.ToStderr(level) || hub.ToFile(level) || !hub.captures.empty();
}

void PublishLog(TReportLevel level, std::string text) {
    // Read the clock before taking the hub's lock so that the clock may itself log.
    LogEntry entry{level, TTime::GetCurrentTime(), std::move(text)};
    LogHub& hub = Hub();
    std::lock_guard lock(hub.mutex);
    const bool toStderr = hub.ToStderr(level);
    const bool toFile = hub.ToFile(level);
    if (toStderr || toFile) {
        const std::string line = FormatLine(entry);
        if (toStderr)
            std::fputs(line.c_str(), stderr);
        if (toFile) {
            std::fputs(line.c_str(), hub.file.get());
            std::fflush(hub.file.get());  // a crash must not take the last lines with it
        }
    }
    for (auto& [id, entries] : hub.captures)
        entries.push_back(entry);
}

LogCapture::LogCapture() {
    LogHub& hub = Hub();
    std::lock_guard lock(hub.mutex);
    id_ = hub.nextCaptureId++;
    hub.captures[id_];
}

LogCapture::~LogCapture() {
    LogHub& hub = Hub();
    std::lock_guard lock(hub.mutex);
    hub.captures.erase(id_);
}

std::vector<LogEntry> LogCapture::Entries() const {
    LogHub& hub = Hub();
    std::lock_guard lock(hub.mutex);
    return hub.captures.at(id_);
}

std::size_t LogCapture::Count(TReportLevel level, std::string_view text) const {
    LogHub& hub = Hub();
    std::lock_guard lock(hub.mutex);
    const auto& entries = hub.captures.at(id_);
    return static_cast<std::size_t>(std::count_if(
        entries.begin(), entries.end(),
        [&](const LogEntry& entry) { return entry.level == level && entry.text == text; }));
}

std::vector<std::string> LogCapture::Texts(TReportLevel level) const {
    LogHub& hub = Hub();
    std::lock_guard lock(hub.mutex);
    std::vector<std::string> texts;
    for (const LogEntry& entry : hub.captures.at(id_)) {
        if (entry.level == level)
            texts.push_back(entry.text);
    }
    return texts;
}

void LogCapture::Clear() {
    LogHub& hub = Hub();
    std::lock_guard lock(hub.mutex);
    hub.captures.at(id_).clear();
}

}  // namespace tarvo::host
