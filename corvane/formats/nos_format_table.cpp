#include "corvane/formats/nos_format_table.h"

#include <fstream>

#include "corvane/shared/wide_text.h"
#include "platform/report.h"

namespace corvane {
namespace {

// The column of each field, by field number from 1: fields 4 to 7 land in columns 4, 5, 10
// and 11, and field 8 in column 3, as the NOS formatter reads them.
constexpr int kColumnOfField[NosFormatTable::kColumns] = {0, 1, 2, 4, 5, 10, 11, 3, 6, 7, 8, 9};
constexpr int kStColumn = 10;
constexpr int kRrColumn = 11;

std::wstring Widen(const std::string& text) {
    std::wstring out;
    out.reserve(text.size());
    for (char c : text)
        out += static_cast<wchar_t>(static_cast<unsigned char>(c));
    return out;
}

wchar_t HeaderValue(const std::wstring& line) {
    const std::size_t slash = line.find(L'/');
    const std::wstring text = slash == std::wstring::npos ? line : line.substr(slash + 1);
    const std::size_t equals = text.find(L'=');
    if (equals == std::wstring::npos || equals == 0 || equals + 1 >= text.size())
        return L'P';
    return text[equals + 1];
}

void Check(std::wstring& cell, bool valid, const char* name) {
    if (valid)
        return;
    TReport::Error("NOS GOES Format Table invalid #%s %s", name, ToLogText(cell).c_str());
    cell = L"??";
}

void ReadDataLine(const std::wstring& line,
                  std::array<std::wstring, NosFormatTable::kColumns>& row) {
    row.fill(L" ");
    std::size_t start = 0;
    for (int field = 0; field < NosFormatTable::kColumns; ++field) {
        const std::size_t comma = line.find(L',', start);
        const bool last = comma == std::wstring::npos;
        std::wstring text = line.substr(start, last ? std::wstring::npos : comma - start);
        if (text.empty()) {
            if (!last)
                return;  // an empty field between commas ends the line
            text = L" ";
        }
        std::wstring& cell = row[static_cast<std::size_t>(kColumnOfField[field])];
        cell = text;
        if (kColumnOfField[field] == kStColumn)
            Check(cell, cell == L"1" || cell == L"10", "ST");
        if (kColumnOfField[field] == kRrColumn)
            Check(cell, cell.size() == 1 && cell[0] >= L'1' && cell[0] <= L'5', "RR");
        if (last)
            return;
        start = comma + 1;
    }
}

}  // namespace

int ReadNosFormatTable(const std::string& path, NosFormatTable& table) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        table.lines = 0;
        return 0;
    }
    int count = 0;
    std::string raw;
    while (count < NosFormatTable::kRows && std::getline(in, raw)) {
        if (!raw.empty() && raw.back() == '\r')
            raw.pop_back();
        const std::wstring line = Widen(raw);
        if (count == 0)
            table.cells[0][0] = std::wstring(1, HeaderValue(line));
        else
            ReadDataLine(line, table.cells[static_cast<std::size_t>(count)]);
        ++count;
    }
    table.lines = count;
    return count;
}

}  // namespace corvane
