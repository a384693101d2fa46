#include "apps/tarvo/nos_widest.h"

#include "corvane/formats/nos_format_table.h"
#include "host/text/utf8.h"

namespace tarvo::runner {
namespace {

// Type, station id, DCP number, datum offset (3), sensor offset (2), status (2), the hourly
// message's three unused characters, the minute (1); then the time tag: "0", day (2), hour (1).
int HeaderAndTimeTag(const corvane::NosPlan& plan) {
    return 1 + static_cast<int>(plan.stationId.size()) + 1 + 3 + 2 + 2 +
           (plan.layout == corvane::NosLayout::Hourly ? 3 : 0) + 1 + 4;
}

// Level (3), sigma (2), outliers (1) and, when the block carries them, two temperatures (2 each).
int LevelSample(bool temperatures) {
    return 3 + 2 + 1 + (temperatures ? 4 : 0);
}

int LineBlock(const corvane::NosPlan& plan, const corvane::NosLine& line, bool temperatures) {
    const bool hourly = plan.layout == corvane::NosLayout::Hourly;
    if (corvane::IsNosLevelFlag(line.flag)) {
        if (!hourly)
            return 1 + LevelSample(temperatures);
        // The hourly levels share a one-character offset; a backup sends its levels alone.
        const int sample = line.flag == L'2' ? 2 : LevelSample(temperatures) - 1;
        return 1 + 1 + line.samples * sample;
    }
    return 1 + line.samples * (line.flag == L'3' ? 6 : 2);
}

int RedundantBlock(const corvane::NosPlan& plan, const corvane::NosLine& line) {
    return plan.layout == corvane::NosLayout::Hourly ? 1 + 1 + line.samples * 2 : 1 + 3;
}

struct Segment {
    int size = 0;
    bool redundant = false;
    std::string what;
};

std::string Flag(wchar_t flag) {
    return "'" + host::ToUtf8(std::wstring(1, flag)) + "'";
}

// A SelfTimed block as the plan sees it: only its label matters to which lines are kept.
class LabelOnly : public corvane::MessageBlock {
  public:
    explicit LabelOnly(std::wstring label) : label_(std::move(label)) {}
    std::wstring Label() const override { return label_; }
    int NumVals() const override { return 0; }
    std::wstring Interval() const override { return L""; }
    bool UsesCalcTime() const override { return false; }
    bool Enabled() const override { return true; }
    bool GetSelfTimedData(int, TTime, CSensorData&, int&) const override { return false; }
    std::int64_t DataOffset(int, TTime, TTime) const override { return 0; }

  private:
    std::wstring label_;
};

}  // namespace

bool PlanNosTable(const std::string& tablePath, const std::vector<StationBlock>& blocks,
                  corvane::NosPlan& plan) {
    corvane::NosFormatTable table;
    corvane::ReadNosFormatTable(tablePath, table);
    std::vector<LabelOnly> labelled;
    for (const StationBlock& b : blocks)
        if (b.kind == StationBlock::Kind::SelfTimed)
            labelled.emplace_back(b.label);
    std::vector<const corvane::MessageBlock*> views;
    for (const LabelOnly& b : labelled)
        views.push_back(&b);
    return corvane::MakeNosPlan(table, views, plan);
}

NosWidest WidestNosMessage(const corvane::NosPlan& plan, int available) {
    std::vector<Segment> segments;
    bool acousticSeen = false;
    for (const corvane::NosLine& line : plan.lines) {
        const bool temperatures = plan.layout == corvane::NosLayout::Hourly
                                      ? line.flag == L'1' || line.flag == L'('
                                      : line.flag == L'1' && !acousticSeen;
        acousticSeen = acousticSeen || line.flag == L'1' || line.flag == L'(';
        const std::string where = " of table line " + std::to_string(line.line);
        segments.push_back({LineBlock(plan, line, temperatures), false, Flag(line.flag) + where});
        for (int j = 1; j <= line.redundant; ++j)
            segments.push_back(
                {RedundantBlock(plan, line), true,
                 Flag(corvane::NosRedundantFlag(line.flag)) + " " + std::to_string(j) + where});
    }
    NosWidest w;
    w.available = available;
    w.built = HeaderAndTimeTag(plan);
    for (const Segment& s : segments)
        w.built += s.size;
    w.sent = w.built;
    if (available <= 0)
        return w;
    std::vector<std::string> redundant;
    for (std::size_t i = segments.size(); i-- > 0 && w.sent > available;) {
        if (segments[i].redundant) {
            w.sent -= segments[i].size;
            redundant.insert(redundant.begin(), segments[i].what);
            segments.erase(segments.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
    w.droppedRedundant = redundant;
    while (!segments.empty() && w.sent > available) {
        w.sent -= segments.back().size;
        w.droppedBlocks.insert(w.droppedBlocks.begin(), segments.back().what);
        segments.pop_back();
    }
    return w;
}

}  // namespace tarvo::runner
