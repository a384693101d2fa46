#include "apps/tarvo/widest_message.h"

#include <algorithm>
#include <cwctype>

#include "corvane/formats/insat_format.h"
#include "platform/time.h"

namespace tarvo::runner {
namespace {

int DigitsOf(long n) {
    int digits = n < 0 ? 2 : 1;
    for (n = n < 0 ? -n : n; n >= 10; n /= 10)
        ++digits;
    return digits;
}

long Seconds(const std::wstring& text) {
    return static_cast<long>(StrToMS(text) / 1000);
}

// A value's text ("%.*f"): sign, whole digits, and the point with the digits shown.
int WidestValueText(const StationBlock& b) {
    return 1 + kWidestIntegerDigits + (b.rightDigits > 0 ? 1 + b.rightDigits : 0);
}

// ":%s %d #%d ": label, data offset in minutes, interval in minutes.
int ShefHeader(const StationBlock& b, long rateSeconds) {
    const long intervalMinutes = static_cast<long>(StrToMS(b.interval) / 60000);
    const long widestOffset = (rateSeconds + Seconds(b.interval)) / 60;
    return 1 + static_cast<int>(b.label.size()) + 1 + DigitsOf(widestOffset) + 2 +
           DigitsOf(intervalMinutes) + 1;
}

int Shef(const std::vector<StationBlock>& blocks, long rateSeconds, bool fixed) {
    int bytes = 0;
    for (const StationBlock& b : blocks) {
        const long values = std::max(0L, b.numVals);
        // With calculated times each value stands in a group of its own.
        const long headers = b.useCalcTime ? std::max(1L, values) : 1;
        bytes += static_cast<int>(headers) * ShefHeader(b, rateSeconds);
        bytes += static_cast<int>(values) * (fixed ? 8 : WidestValueText(b) + 1);
    }
    return bytes;
}

// "NFDRS": each enabled block's line, its fields as wide as its label's form.
int Nfdrs(const std::vector<StationBlock>& blocks) {
    if (blocks.empty())
        return 7;  // "no data"
    int bytes = 0;
    for (const StationBlock& b : blocks) {
        if (!b.enabled)
            continue;
        std::wstring label = b.label;
        std::ranges::transform(label, label.begin(), [](wchar_t c) { return std::towupper(c); });
        const int field = label == L"PCH" || label == L"PAH"   ? 5
                          : label == L"VBH" || label == L"RDH" ? 4
                                                               : 3;
        const long values = std::max(0L, b.numVals);
        bytes += 2 + static_cast<int>(values) * field + static_cast<int>(std::max(0L, values - 1));
    }
    return bytes;
}

int Handar(const std::vector<StationBlock>& blocks) {
    if (blocks.empty())
        return 0;
    int bytes = 2;
    for (const StationBlock& b : blocks)
        bytes += static_cast<int>(std::max(0L, b.numVals)) * (WidestValueText(b) + 1) + 2;
    return bytes;
}

// A count byte and two bytes a value, padded to the short or the long size; values beyond what
// the long one holds are dropped, and a setup without a labelled block gets no message.
int Insat(const std::vector<StationBlock>& blocks) {
    long values = 0;
    bool labelled = false;
    for (const StationBlock& b : blocks) {
        if (b.label.empty())
            continue;
        labelled = true;
        values += std::max(0L, b.numVals);
    }
    if (!labelled)
        return 0;
    return values <= (corvane::kInsatShortBytes - 1) / 2 ? corvane::kInsatShortBytes
                                                         : corvane::kInsatLongBytes;
}

}  // namespace

std::optional<int> WidestSelfTimedMessage(const std::wstring& format, long numVals,
                                          long rateSeconds,
                                          const std::vector<StationBlock>& blocks) {
    if (format == L"SHEF" || format == L"SHEF Fixed")
        return Shef(blocks, rateSeconds, format == L"SHEF Fixed");
    if (format == L"Bin Int")
        return blocks.empty() ? 0 : 3 + static_cast<int>(std::max(0L, numVals) * 3 * blocks.size());
    if (format == L"Bin Non-Int") {
        if (blocks.empty())
            return 0;
        int bytes = 3;
        for (const StationBlock& b : blocks)
            bytes += static_cast<int>(std::max(0L, b.numVals)) * 3;
        return bytes;
    }
    if (format == L"NFDRS")
        return Nfdrs(blocks);
    if (format == L"Handar")
        return Handar(blocks);
    if (format == L"INSAT")
        return Insat(blocks);
    return std::nullopt;
}

int WidestRandomMessage(long group, long format, long numVals,
                        const std::vector<StationBlock>& blocks) {
    int bytes = 0;
    bool anyRandom = false;
    bool labelled = false;
    long values = 0;
    for (const StationBlock& b : blocks) {
        if (b.kind == StationBlock::Kind::RndGroup && b.group == group && !labelled) {
            bytes += static_cast<int>(std::min<std::size_t>(3, b.label.size()));
            labelled = true;
        }
        if (b.kind != StationBlock::Kind::Random)
            continue;
        anyRandom = true;
        if (group >= 2 && group <= 9 && b.member[static_cast<std::size_t>(group)])
            values += std::max(0L, format == 0 ? numVals : b.numVals);
    }
    // A group without its RndGroup block gets no message at all.
    return labelled ? bytes + (anyRandom ? 1 : 0) + static_cast<int>(values) * 3 : 0;
}

}  // namespace tarvo::runner
