// The NOS format table: the text file that drives the NOS self-timed format, read into a grid
// of 30 rows by 12 columns. Row 0 is the header line (its value in column 0); rows 1 to 29 hold
// the numbered data lines, their fields placed in the columns the NOS formatter expects.
#pragma once

#include <array>
#include <string>

namespace corvane {

// Where the table lives on the logger; the host maps the logger's fixed folders to its own.
inline constexpr const wchar_t* kNosFormatTablePath = L"\\Flash Disk\\NOSGOESFormat.txt";

struct NosFormatTable {
    static constexpr int kRows = 30;
    static constexpr int kColumns = 12;
    std::array<std::array<std::wstring, kColumns>, kRows> cells;
    int lines = 0;  // lines read, the header included (at most kRows)
};

// Reads the file at `path` (a host path) into `table` and returns the number of lines read; 0
// when the file cannot be opened. Lines beyond the 30th are not read; a carriage return before
// a line end is dropped. An invalid #ST field (column 10: "1" or "10") or #RR field (column 11:
// "1" to "5") becomes "??" with the Error "NOS GOES Format Table invalid #ST %s" or "... #RR %s".
int ReadNosFormatTable(const std::string& path, NosFormatTable& table);

}  // namespace corvane
