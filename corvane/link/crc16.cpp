#include "corvane/link/crc16.h"

namespace corvane {
namespace {

constexpr std::array<WORD, 256> MakeTable() {
    std::array<WORD, 256> table{};
    for (unsigned i = 0; i < 256; ++i) {
        unsigned crc = i << 8;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x8000) ? ((crc << 1) ^ 0x1021) : (crc << 1);
        }
        table[i] = static_cast<WORD>(crc);
    }
    return table;
}

}  // namespace

constexpr std::array<WORD, 256> kCrc16Table = MakeTable();
static_assert(kCrc16Table[1] == 0x1021 && kCrc16Table[255] == 0x1EF0);

WORD Crc16Feed(WORD crc, const BYTE* data, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        crc = Crc16Step(crc, data[i]);
    }
    return crc;
}

WORD Crc16Of(const BYTE* data, std::size_t count) {
    WORD crc = Crc16Feed(0, data, count);
    crc = Crc16Step(crc, 0);
    return Crc16Step(crc, 0);
}

}  // namespace corvane
