#include "corvane/formats/nos_plan.h"

#include <cmath>
#include <cwchar>

#include "corvane/shared/wide_text.h"
#include "platform/report.h"

namespace corvane {
namespace {

// Columns as the table reader places the fields (field number in the comment).
constexpr int kFlag = 0;        // field 1
constexpr int kPrimary = 1;     // field 2
constexpr int kAux1 = 2;        // field 3
constexpr int kAux2 = 4;        // field 4
constexpr int kScale = 5;       // field 5
constexpr int kOffset = 3;      // field 8
constexpr int kAux3 = 6;        // field 9
constexpr int kAux4 = 7;        // field 10
constexpr int kUnits = 8;       // field 11
constexpr int kSamples = 10;    // field 6, #ST
constexpr int kRedundant = 11;  // field 7, #RR
constexpr int kAuxColumns[kNosAuxCount] = {kAux1, kAux2, kAux3, kAux4};

// The station line: "DCP", station id, DCP number, datum offset, sensor offset.
constexpr const wchar_t* kStationFlag = L"DCP";
constexpr int kStationId = 1;
constexpr int kDcpNumber = 2;
constexpr int kDatumOffset = 4;
constexpr int kSensorOffset = 5;
constexpr std::size_t kStationIdLength = 7;

constexpr const wchar_t* kLevelFlags = L"12!8(%&";
constexpr const wchar_t* kRedundantFlags = L">\".#)'*";
constexpr const wchar_t* kOtherFlags = L"34567:;=9<";

std::wstring Trimmed(const std::wstring& cell) {
    const std::size_t first = cell.find_first_not_of(L' ');
    if (first == std::wstring::npos)
        return L"";
    return cell.substr(first, cell.find_last_not_of(L' ') - first + 1);
}

bool ParseNumber(const std::wstring& text, double& value) {
    if (text.empty())
        return false;
    wchar_t* end = nullptr;
    value = std::wcstod(text.c_str(), &end);
    return end == text.c_str() + text.size() && std::isfinite(value);
}

bool ParseWhole(const std::wstring& text, long& value) {
    double number = 0;
    // Offsets are millimetres: far beyond any field, but within a long before the cast.
    if (!ParseNumber(text, number) || std::fabs(number) > 1e9 || number != std::floor(number))
        return false;
    value = static_cast<long>(number);
    return true;
}

int IndexOfLabel(const std::vector<const MessageBlock*>& blocks, const std::wstring& label) {
    for (std::size_t i = 0; i < blocks.size(); ++i)
        if (blocks[i]->Label() == label)
            return static_cast<int>(i);
    return -1;
}

bool LeaveOut(int line, const char* why, const std::wstring& what) {
    TReport::Warning("NOS Format: table line %d left out: %s \"%s\".", line, why,
                     ToLogText(what).c_str());
    return false;
}

void ReadStation(const std::array<std::wstring, NosFormatTable::kColumns>& row, int line,
                 NosPlan& plan) {
    std::wstring id = Trimmed(row[kStationId]);
    if (id.size() != kStationIdLength) {
        TReport::Warning("NOS Format: table line %d: station id \"%s\" is not 7 characters.", line,
                         ToLogText(id).c_str());
        id.resize(kStationIdLength, L'0');
    }
    plan.stationId = id;
    const std::wstring dcp = Trimmed(row[kDcpNumber]);
    if (dcp.size() == 1 && dcp[0] >= L'0' && dcp[0] <= L'9')
        plan.dcp = dcp[0];
    else
        TReport::Warning("NOS Format: table line %d: DCP number \"%s\" is not one digit; 1 sent.",
                         line, ToLogText(dcp).c_str());
    long number = 0;
    if (ParseWhole(Trimmed(row[kDatumOffset]), number))
        plan.datumOffset = number;
    if (ParseWhole(Trimmed(row[kSensorOffset]), number))
        plan.sensorOffset = number;
}

bool ReadLine(const std::array<std::wstring, NosFormatTable::kColumns>& row, int line,
              const std::vector<const MessageBlock*>& blocks, NosPlan& plan, NosLine& out) {
    const std::wstring flag = Trimmed(row[kFlag]);
    const bool level = flag.size() == 1 && IsNosLevelFlag(flag[0]);
    // wcschr finds the terminator too: a NUL read from the file is no flag.
    if (flag.size() != 1 || flag[0] == L'\0' ||
        (!level && std::wcschr(kOtherFlags, flag[0]) == nullptr)) {
        return LeaveOut(line, "no such block flag", flag);
    }
    out.line = line;
    out.flag = flag[0];

    const int layoutSamples = plan.layout == NosLayout::Hourly ? 10 : 1;
    const std::wstring samples = Trimmed(row[kSamples]);
    if (samples.empty())
        out.samples = layoutSamples;
    else if (samples == L"1" || samples == L"10")
        out.samples = samples == L"1" ? 1 : 10;
    else
        return LeaveOut(line, "invalid #ST", samples);
    // A water level has as many samples as its layout; other values may be one or ten an hour.
    if (out.samples != layoutSamples && (level || plan.layout == NosLayout::SixMinute)) {
        return LeaveOut(line, "#ST does not match the message type", samples);
    }
    const std::wstring redundant = Trimmed(row[kRedundant]);
    if (redundant.size() == 1 && redundant[0] >= L'1' && redundant[0] <= L'5')
        out.redundant = level ? redundant[0] - L'0' : 0;
    else if (!redundant.empty())
        return LeaveOut(line, "invalid #RR", redundant);

    const std::wstring scale = Trimmed(row[kScale]);
    if (!scale.empty() && !ParseNumber(scale, out.scale))
        return LeaveOut(line, "scale is not a number", scale);
    const std::wstring offset = Trimmed(row[kOffset]);
    if (!offset.empty() && !ParseNumber(offset, out.offset))
        return LeaveOut(line, "offset is not a number", offset);

    out.label = Trimmed(row[kPrimary]);
    out.primary = IndexOfLabel(blocks, out.label);
    if (out.primary < 0)
        return LeaveOut(line, "no SelfTimed block is labelled", out.label);
    for (int a = 0; a < kNosAuxCount; ++a) {
        const std::wstring label = Trimmed(row[static_cast<std::size_t>(kAuxColumns[a])]);
        if (label.empty())
            continue;
        out.aux[a] = IndexOfLabel(blocks, label);
        if (out.aux[a] < 0)
            return LeaveOut(line, "no SelfTimed block is labelled", label);
    }
    out.units = Trimmed(row[kUnits]);
    return true;
}

}  // namespace

bool IsNosLevelFlag(wchar_t flag) {
    return flag != L'\0' && std::wcschr(kLevelFlags, flag) != nullptr;
}

wchar_t NosRedundantFlag(wchar_t levelFlag) {
    const wchar_t* at = levelFlag == L'\0' ? nullptr : std::wcschr(kLevelFlags, levelFlag);
    return at == nullptr ? L'\0' : kRedundantFlags[at - kLevelFlags];
}

bool MakeNosPlan(const NosFormatTable& table, const std::vector<const MessageBlock*>& blocks,
                 NosPlan& plan) {
    plan = NosPlan{};
    if (table.lines < 2) {
        TReport::Warning("NOS Format: Format table missing or empty");
        return false;
    }
    const wchar_t type = table.cells[0][0].empty() ? L'P' : table.cells[0][0][0];
    if (type != L'P' && type != L'N') {
        TReport::Warning("NOS Format: message type %s is neither P nor N.",
                         ToLogText(std::wstring(1, type)).c_str());
        return false;
    }
    plan.type = type;
    plan.layout = type == L'N' ? NosLayout::Hourly : NosLayout::SixMinute;
    for (const MessageBlock* block : blocks)
        plan.labels.push_back(block->Label());

    bool station = false;
    for (int r = 1; r < table.lines; ++r) {
        const auto& row = table.cells[static_cast<std::size_t>(r)];
        if (Trimmed(row[kFlag]) == kStationFlag) {
            if (station)
                TReport::Warning("NOS Format: table line %d: a second DCP line is ignored.", r);
            else
                ReadStation(row, r, plan);
            station = true;
            continue;
        }
        NosLine line;
        if (!ReadLine(row, r, blocks, plan, line))
            continue;
        TReport::Debug("Index cache for line %d: pri %d, aux1 %d, aux2 %d, aux3 %d, aux4 %d", r,
                       line.primary, line.aux[0], line.aux[1], line.aux[2], line.aux[3]);
        plan.lines.push_back(line);
    }
    if (!station)
        TReport::Warning("NOS Format: the table has no DCP line; station id 0000000 is sent.");
    return true;
}

bool NosPlanFits(const NosPlan& plan, const std::vector<const MessageBlock*>& blocks) {
    if (plan.labels.size() != blocks.size())
        return false;
    for (std::size_t i = 0; i < blocks.size(); ++i)
        if (blocks[i]->Label() != plan.labels[i])
            return false;
    return true;
}

}  // namespace corvane
