// The NOS recent values: the values of the last NOS message built for transmission, kept in
// "Recent.dat" on the storage card (on the flash disk when there is no card), and the text
// report made from them for GetReportString.
#pragma once

#include <string>
#include <vector>

#include "platform/time.h"

namespace corvane {

struct NosRecentValue {
    TTime time;
    std::wstring sensor;  // the block's label
    std::wstring value;   // the reading's text, empty when missing
    std::wstring units;   // empty when not known
};

// Replaces Recent.dat with `values`: on the storage card, else on the flash disk. False, with a
// Warning, when neither can be written.
bool WriteNosRecent(const std::vector<NosRecentValue>& values);

// Reads Recent.dat from the storage card, else from the flash disk; an empty list when neither
// holds one. Lines that are not four comma-separated fields are skipped.
std::vector<NosRecentValue> ReadNosRecent();

// The report: a title, then one line per value (time, sensor, value and units) or a line that
// says there are none, ending with "\r\nREPORT COMPLETE\r\n". Lines end with "\r\n".
std::wstring NosTextReport(const std::vector<NosRecentValue>& values);

}  // namespace corvane
