// The NOS format table turned into what the NOS formatter needs: the message layout, the
// station's header values, and one planned block per usable table line with the blocks that
// give its values, found by label (the index cache). The meaning of each column is written
// down for technicians in docs/formats.md.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "corvane/formats/message_block.h"
#include "corvane/formats/nos_format_table.h"

namespace corvane {

// 'P': the 6-minute message, one sample a block; 'N': the hourly one, ten samples a block.
enum class NosLayout { SixMinute, Hourly };

inline constexpr int kNosAuxCount = 4;

struct NosLine {
    int line = 0;         // the table line, counted from 1 after the header line
    wchar_t flag = L' ';  // the block's flag character
    int primary = -1;     // index into the message's blocks
    int aux[kNosAuxCount] = {-1, -1, -1, -1};  // -1: no block, the value is sent as missing
    double scale = 1.0;                        // field integer = round(reading * scale + offset)
    double offset = 0.0;
    int samples = 1;     // #ST
    int redundant = 0;   // #RR; 0 when the column is blank
    std::wstring units;  // for the text report; may be empty
    std::wstring label;  // the primary block's label
};

struct NosPlan {
    NosLayout layout = NosLayout::SixMinute;
    wchar_t type = L'P';
    std::wstring stationId = L"0000000";  // seven characters
    wchar_t dcp = L'1';
    std::optional<long> datumOffset;   // mm; none: sent as missing
    std::optional<long> sensorOffset;  // mm; none: sent as missing
    std::vector<NosLine> lines;        // in table order
    std::vector<std::wstring> labels;  // the labels of the blocks the plan was made for
};

// Makes the plan of `table` for `blocks`. A line that cannot be used (an unknown flag, an
// invalid or inconsistent #ST or #RR, a bad number, a label that no block has) is logged as a
// Warning that names the line and why, and left out. Each usable line logs the debug entry
// "Index cache for line %d: pri %d, aux1 %d, aux2 %d, aux3 %d, aux4 %d". False, with nothing
// planned, when the table has fewer than 2 lines or its header value is neither P nor N.
bool MakeNosPlan(const NosFormatTable& table, const std::vector<const MessageBlock*>& blocks,
                 NosPlan& plan);

// Whether `plan` was made for these blocks (same count, same labels in the same order).
bool NosPlanFits(const NosPlan& plan, const std::vector<const MessageBlock*>& blocks);

// The water-level flags, and the redundant flag that pairs with each ('\0' for none).
bool IsNosLevelFlag(wchar_t flag);
wchar_t NosRedundantFlag(wchar_t levelFlag);

}  // namespace corvane
