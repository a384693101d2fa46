#include "corvane/formats/insat_format.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "platform/report.h"

namespace corvane {
namespace {

constexpr int kMissing = -32768;
constexpr int kMaxValues = (kInsatLongBytes - 1) / 2;
constexpr int kShortValues = (kInsatShortBytes - 1) / 2;

int Scaled(const MessageBlock& block, int line, TTime now) {
    CSensorData reading;
    int digits = 0;
    if (!block.GetSelfTimedData(line, now, reading, digits) || !reading.IsValid())
        return kMissing;
    const double v = reading.GetValue().AsDouble() * std::pow(10.0, std::clamp(digits, 0, 9));
    return static_cast<int>(std::lround(std::clamp(v, -32767.0, 32767.0)));
}

}  // namespace

bool FormatInsat(const MessageRequest& request, std::wstring& message) {
    std::vector<int> values;
    bool labelled = false;
    for (const MessageBlock* block : request.blocks) {
        if (block->Label().empty())
            continue;
        labelled = true;
        for (int i = 0; i < block->NumVals(); ++i)
            values.push_back(Scaled(*block, i, request.now));
    }
    if (!labelled)
        return true;
    if (values.size() > static_cast<std::size_t>(kMaxValues)) {
        TReport::Warning("INSAT Format: %d values do not fit %d bytes; the last %d dropped.",
                         static_cast<int>(values.size()), kInsatLongBytes,
                         static_cast<int>(values.size()) - kMaxValues);
        values.resize(kMaxValues);
    }
    const int size = values.size() <= static_cast<std::size_t>(kShortValues) ? kInsatShortBytes
                                                                             : kInsatLongBytes;
    message.assign(1, static_cast<wchar_t>(values.size()));
    for (int v : values) {
        const unsigned bits = static_cast<unsigned>(v) & 0xFFFFu;
        message += static_cast<wchar_t>(bits >> 8);
        message += static_cast<wchar_t>(bits & 0xFFu);
    }
    message.resize(static_cast<std::size_t>(size), L'\0');
    return true;
}

}  // namespace corvane
