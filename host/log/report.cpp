#include <cstdarg>
#include <cstdio>
#include <string>

#include "host/log/internal/log_hub.h"
#include "platform/report.h"

namespace {

void WriteV(TReportLevel level, const char* format, va_list args) {
    if (format == nullptr || !tarvo::host::LogWanted(level))
        return;
    va_list sizing;
    va_copy(sizing, args);
    const int length = std::vsnprintf(nullptr, 0, format, sizing);
    va_end(sizing);
    if (length < 0)
        return;  // an encoding error in a wide argument; nothing sensible to log
    std::string text(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, args);
    tarvo::host::PublishLog(level, std::move(text));
}

}  // namespace

void TReport::Debug(const char* format, ...) {
    va_list args;
    va_start(args, format);
    WriteV(TReportLevel::Debug, format, args);
    va_end(args);
}

void TReport::Status(const char* format, ...) {
    va_list args;
    va_start(args, format);
    WriteV(TReportLevel::Status, format, args);
    va_end(args);
}

void TReport::Warning(const char* format, ...) {
    va_list args;
    va_start(args, format);
    WriteV(TReportLevel::Warning, format, args);
    va_end(args);
}

void TReport::Error(const char* format, ...) {
    va_list args;
    va_start(args, format);
    WriteV(TReportLevel::Error, format, args);
    va_end(args);
}

void TReport::Write(TReportLevel level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    WriteV(level, format, args);
    va_end(args);
}
