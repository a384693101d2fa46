// Where TReport entries go (host side).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/report.h"
#include "platform/time.h"

namespace tarvo::host {

struct LogEntry {
    TReportLevel level;
    TTime time;  // logger time when written
    std::string text;
};

// "DEBUG", "STATUS", "WARNING", "ERROR".
const char* LevelName(TReportLevel level);
// Parses a level name, any case; false when it is none.
bool ParseLevel(std::string_view text, TReportLevel& level);

// Standard error shows entries at `level` and above (default Warning); `enabled` false silences it.
void SetStderrLevel(TReportLevel level, bool enabled = true);
// Appends entries at `level` and above to a file ("" closes it). False when it cannot be opened.
bool SetLogFile(const std::string& path, TReportLevel level);

// Records every entry written while it exists, for tests to assert on.
class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogEntry> Entries() const;
    // Entries of exactly this level whose text equals `text`.
    std::size_t Count(TReportLevel level, std::string_view text) const;
    bool Contains(TReportLevel level, std::string_view text) const {
        return Count(level, text) > 0;
    }
    // Texts of the entries of one level, in order.
    std::vector<std::string> Texts(TReportLevel level) const;
    void Clear();

  private:
    int id_;
};

}  // namespace tarvo::host
