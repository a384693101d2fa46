// Reading a whole input file (a setup, a CSV source) that a person named: only a regular file,
// and only up to a size limit, so that a device, a directory or an endless file is refused at
// once with the reason instead of being read without end.
#pragma once

#include <cstddef>
#include <string>

namespace tarvo::host {

struct FileLimit {
    std::size_t bytes = 0;
    const char* what = "";  // "a setup file", "a CSV file": named in the error
};

// The setup files the host reads, and the CSV files a Source reads.
inline constexpr FileLimit kSetupFileLimit{.bytes = 4u << 20, .what = "a setup file"};
inline constexpr FileLimit kCsvFileLimit{.bytes = 64u << 20, .what = "a CSV file"};

// The contents of `path`; false with `error` as "PATH: why" when it cannot be read, is not a
// regular file, or holds more than `limit.bytes` (the limit named).
bool ReadBoundedFile(const std::string& path, FileLimit limit, std::string& text,
                     std::string& error);

}  // namespace tarvo::host
