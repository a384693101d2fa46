// The one place TReport entries pass through on their way to the sinks (host side, internal).
#pragma once

#include <string>

#include "platform/report.h"

namespace tarvo::host {

// Stamps `text` with logger time and hands it to every sink that takes its level. Thread-safe;
// entries reach each sink whole and in the order they were published.
void PublishLog(TReportLevel level, std::string text);
// Whether an entry of `level` would reach any sink now: debug lines that nobody takes are not
// even formatted (a simulated year makes millions).
bool LogWanted(TReportLevel level);

}  // namespace tarvo::host
