// The platform log. Entries are stamped with logger time by the host and go to its sinks
// (standard error with a level filter, a file, an in-memory capture for tests).
#pragma once

enum class TReportLevel { Debug = 0, Status = 1, Warning = 2, Error = 3 };

class TReport {
  public:
    static void Debug(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void Status(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void Warning(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void Error(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static void Write(TReportLevel level, const char* format, ...)
        __attribute__((format(printf, 2, 3)));
};
