#include "corvane/formats/nos_formatter.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "corvane/formats/nos_recent.h"
#include "corvane/formats/pseudobinary.h"
#include "platform/files.h"
#include "platform/report.h"

namespace corvane {
namespace {

using Whole = std::optional<long>;

// A field of `characters` six-bit characters; a missing value is the code receivers drop, and a
// present one is kept off that code.
std::wstring Unsigned(Whole value, int characters) {
    const long missing = (1L << (6 * characters)) - 1;
    const long v = value ? std::clamp(*value, 0L, missing - 1) : missing;
    return EncodePseudobinary(static_cast<double>(v), characters, 0, FieldSign::Unsigned);
}

// Two signed characters; 2047 is missing, and receivers take -2048 as missing too.
std::wstring Signed2(Whole value) {
    const long v = value ? std::clamp(*value, -2047L, 2046L) : 2047L;
    return EncodePseudobinary(static_cast<double>(v), 2, 0, FieldSign::Signed);
}

Whole Scaled(std::optional<double> reading, double scale, double offset) {
    if (!reading || !std::isfinite(*reading * scale + offset))
        return std::nullopt;
    const double v = std::clamp(*reading * scale + offset, -1e9, 1e9);
    return std::lround(v);
}

struct Reader {
    const MessageRequest& request;

    // Value `line` of block `index` (none when there is no such block or reading).
    std::optional<double> Value(int index, int line) const {
        if (index < 0)
            return std::nullopt;
        CSensorData reading;
        int digits = 0;
        if (!request.blocks[static_cast<std::size_t>(index)]->GetSelfTimedData(line, request.now,
                                                                               reading, digits) ||
            !reading.IsValid())
            return std::nullopt;
        return reading.GetValue().AsDouble();
    }
};

struct Segment {
    std::wstring text;
    bool redundant = false;
};

constexpr long kHourlyStepMm = 250;

// The hourly water levels: a 1-character offset in steps of 250 mm (that below the lowest
// level), then per sample the 2-character rest; a level that does not fit is sent as missing.
std::wstring HourlyOffset(const std::vector<Whole>& levels, long& base) {
    long lowest = -1;
    for (const Whole& level : levels)
        if (level && (lowest < 0 || *level < lowest))
            lowest = std::max(0L, *level);
    base = lowest < 0 ? 0 : std::min(lowest / kHourlyStepMm, 62L);
    return Unsigned(base, 1);
}

Whole AboveBase(Whole level, long base) {
    if (!level)
        return std::nullopt;
    const long rest = *level - base * kHourlyStepMm;
    return rest >= 0 && rest < 4095 ? Whole(rest) : std::nullopt;
}

class Builder {
  public:
    Builder(const NosPlan& plan, const MessageRequest& request) : plan_(plan), reader_{request} {}

    std::vector<Segment> Blocks(std::vector<NosRecentValue>& recent, TTime dataTime) {
        std::vector<Segment> out;
        // In the 6-minute message only a '1' that no '1' or '(' precedes carries temperatures.
        bool acousticSeen = false;
        for (const NosLine& line : plan_.lines) {
            const bool temperatures = plan_.layout == NosLayout::Hourly
                                          ? line.flag == L'1' || line.flag == L'('
                                          : line.flag == L'1' && !acousticSeen;
            acousticSeen = acousticSeen || line.flag == L'1' || line.flag == L'(';
            out.push_back({std::wstring(1, line.flag) + Samples(line, 0, temperatures), false});
            for (int j = 1; j <= line.redundant; ++j)
                out.push_back(
                    {std::wstring(1, NosRedundantFlag(line.flag)) + RedundantLevels(line, j),
                     true});
            Remember(line, dataTime, recent);
        }
        return out;
    }

  private:
    Whole Level(const NosLine& line, int sample) const {
        return Scaled(reader_.Value(line.primary, sample), line.scale, line.offset);
    }
    Whole Sigma(const NosLine& line, int sample) const {
        return Scaled(reader_.Value(line.aux[0], sample), line.scale, 0);
    }
    Whole Plain(int index, int sample, double scale = 1.0) const {
        return Scaled(reader_.Value(index, sample), scale, 0);
    }

    std::wstring Samples(const NosLine& line, int first, bool temperatures) const {
        if (IsNosLevelFlag(line.flag))
            return plan_.layout == NosLayout::Hourly ? HourlyLevels(line, first, temperatures)
                                                     : SixMinuteLevel(line, temperatures);
        std::wstring text;
        for (int k = 0; k < line.samples; ++k) {
            if (line.flag == L'3') {
                text += Unsigned(Level(line, k), 2);
                text += Unsigned(Plain(line.aux[0], k), 2);
                text += Unsigned(Scaled(reader_.Value(line.aux[1], k), line.scale, line.offset), 2);
            } else if (line.flag == L'4' || line.flag == L'5') {
                text += Signed2(Level(line, k));
            } else {
                text += Unsigned(Level(line, k), 2);
            }
        }
        return text;
    }

    std::wstring Temperatures(const NosLine& line, int sample) const {
        return Signed2(Plain(line.aux[2], sample, 10.0)) +
               Signed2(Plain(line.aux[3], sample, 10.0));
    }

    std::wstring SixMinuteLevel(const NosLine& line, bool temperatures) const {
        std::wstring text = Unsigned(Level(line, 0), 3) + Unsigned(Sigma(line, 0), 2) +
                            Unsigned(Plain(line.aux[1], 0), 1);
        if (temperatures)
            text += Temperatures(line, 0);
        return text;
    }

    std::wstring HourlyLevels(const NosLine& line, int first, bool temperatures) const {
        std::vector<Whole> levels;
        for (int k = 0; k < line.samples; ++k)
            levels.push_back(Level(line, first + k));
        long base = 0;
        std::wstring text = HourlyOffset(levels, base);
        for (int k = 0; k < line.samples; ++k) {
            text += Unsigned(AboveBase(levels[static_cast<std::size_t>(k)], base), 2);
            if (line.flag == L'2')
                continue;  // a backup carries its levels alone
            text +=
                Unsigned(Sigma(line, first + k), 2) + Unsigned(Plain(line.aux[1], first + k), 1);
            if (temperatures)
                text += Temperatures(line, first + k);
        }
        return text;
    }

    // Redundant block `j`: the levels j times 6 minutes before the line's own.
    std::wstring RedundantLevels(const NosLine& line, int j) const {
        if (plan_.layout == NosLayout::SixMinute)
            return Unsigned(Level(line, j), 3);
        std::vector<Whole> levels;
        for (int k = 0; k < line.samples; ++k)
            levels.push_back(Level(line, j + k));
        long base = 0;
        std::wstring text = HourlyOffset(levels, base);
        for (const Whole& level : levels)
            text += Unsigned(AboveBase(level, base), 2);
        return text;
    }

    void Remember(const NosLine& line, TTime dataTime, std::vector<NosRecentValue>& recent) const {
        const auto add = [&](int index, const std::wstring& units) {
            if (index < 0)
                return;
            const MessageBlock& block = *reader_.request.blocks[static_cast<std::size_t>(index)];
            CSensorData reading;
            int digits = 0;
            std::wstring text;
            if (block.GetSelfTimedData(0, reader_.request.now, reading, digits) &&
                reading.IsValid())
                text = reading.GetValue().AsWString();
            // A value that two lines send is reported once, with the units a line gives it.
            for (NosRecentValue& known : recent)
                if (known.sensor == block.Label()) {
                    if (known.units.empty())
                        known.units = units;
                    return;
                }
            recent.push_back({dataTime, block.Label(), text, units});
        };
        add(line.primary, line.units);
        for (int a = 0; a < kNosAuxCount; ++a)
            add(line.aux[a], L"");
    }

    const NosPlan& plan_;
    Reader reader_;
};

std::wstring Header(const NosPlan& plan, TTime dataTime) {
    std::wstring text(1, plan.type);
    text += plan.stationId;
    text += plan.dcp;
    text += Unsigned(plan.datumOffset, 3);
    text +=
        plan.sensorOffset
            ? EncodePseudobinary(static_cast<double>(std::clamp(*plan.sensorOffset, -2048L, 2046L)),
                                 2, 0, FieldSign::Signed)
            : Signed2(std::nullopt);
    text += Unsigned(0L, 2);  // system status: nothing to report
    if (plan.layout == NosLayout::Hourly)
        text += L"@@@";  // unused by receivers
    text += Unsigned(static_cast<long>(dataTime.GetMinute()), 1);
    return text;
}

// Day numbers count from 1984-12-31, modulo 4096.
std::wstring TimeTag(TTime dataTime) {
    const TTime midnight = dataTime - dataTime.GetTimeOfDay();
    const long day = (midnight - TTime(1984, 12, 31, 0, 0, 0)).GetDays() % 4096;
    return L"0" + Unsigned(day, 2) + Unsigned(static_cast<long>(dataTime.GetHour()), 1);
}

// The time of the values: the primary block's latest slot before the transmission, to the minute.
TTime DataTime(const NosPlan& plan, const MessageRequest& request) {
    TTime t = request.now;
    if (!plan.lines.empty()) {
        const MessageBlock& first =
            *request.blocks[static_cast<std::size_t>(plan.lines.front().primary)];
        t = request.transmission -
            TTimeSpan::FromSeconds(60 * first.DataOffset(0, request.now, request.transmission));
    }
    return TTime::FromSecondsSince1970(t.GetSecondsSince1970() / 60 * 60);
}

std::size_t Length(const std::vector<Segment>& segments) {
    std::size_t n = 0;
    for (const Segment& s : segments)
        n += s.text.size();
    return n;
}

void Fit(std::vector<Segment>& blocks, std::size_t fixed, int available) {
    if (available <= 0 || fixed + Length(blocks) <= static_cast<std::size_t>(available))
        return;
    TReport::Warning(
        "NOS Format: %d characters do not fit the %d available in the window; "
        "redundant blocks dropped.",
        static_cast<int>(fixed + Length(blocks)), available);
    for (std::size_t i = blocks.size();
         i-- > 0 && fixed + Length(blocks) > static_cast<std::size_t>(available);)
        if (blocks[i].redundant)
            blocks.erase(blocks.begin() + static_cast<std::ptrdiff_t>(i));
    if (fixed + Length(blocks) <= static_cast<std::size_t>(available))
        return;
    TReport::Warning(
        "NOS Format: %d characters still do not fit the %d available; the last "
        "blocks dropped.",
        static_cast<int>(fixed + Length(blocks)), available);
    while (!blocks.empty() && fixed + Length(blocks) > static_cast<std::size_t>(available))
        blocks.pop_back();
}

}  // namespace

int NosCharactersAvailable(int windowSeconds, int bitsPerSecond) {
    if (windowSeconds <= 0 || bitsPerSecond <= 0)
        return 0;
    return static_cast<int>((static_cast<long long>(windowSeconds) - 1) * bitsPerSecond / 8);
}

bool CNOSFormatter::Prepare(const std::vector<const MessageBlock*>& blocks) {
    NosFormatTable table;
    ReadNosFormatTable(LoggerPathToHost(kNosFormatTablePath), table);
    auto plan = std::make_shared<NosPlan>();
    const bool made = MakeNosPlan(table, blocks, *plan);
    const std::lock_guard<std::mutex> hold(mutex_);
    plan_ = made ? std::move(plan) : nullptr;
    return made;
}

std::shared_ptr<const NosPlan> CNOSFormatter::PlanFor(
    const std::vector<const MessageBlock*>& blocks) {
    {
        const std::lock_guard<std::mutex> hold(mutex_);
        if (plan_ && NosPlanFits(*plan_, blocks))
            return plan_;
    }
    if (!Prepare(blocks))
        return nullptr;
    const std::lock_guard<std::mutex> hold(mutex_);
    return plan_;
}

bool CNOSFormatter::Format(const MessageRequest& request, std::wstring& message) {
    const std::shared_ptr<const NosPlan> plan = PlanFor(request.blocks);
    if (!plan)
        return false;
    const TTime dataTime = DataTime(*plan, request);
    const std::wstring head = Header(*plan, dataTime) + TimeTag(dataTime);
    std::vector<NosRecentValue> recent;
    std::vector<Segment> blocks = Builder(*plan, request).Blocks(recent, dataTime);
    Fit(blocks, head.size(), NosCharactersAvailable(request.windowSeconds, request.bitsPerSecond));
    message = head;
    for (const Segment& s : blocks)
        message += s.text;
    if (request.use == MessageUse::Transmission)
        WriteNosRecent(recent);
    return true;
}

}  // namespace corvane
