// libFuzzer target: the CSV rows a Source block reads ("YYYY-MM-DD HH:MM:SS,value" or
// "HH:MM:SS,value"), through the block as the engine drives it: the file is named in its
// properties, read at Start and looked up at a few instants. The block reads only files, so the
// input goes to one scratch file per process first.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include <unistd.h>

#include "host/blocks/source_block.h"
#include "host/log/report_sinks.h"

namespace {

// The scratch file, removed when the process ends. In memory where the system offers it: a
// file opened, truncated and read back thousands of times a second is what bounds the run.
class ScratchFile {
  public:
    ScratchFile() : path_(Folder() / ("csv_source_fuzz_" + std::to_string(getpid()) + ".csv")) {}
    ~ScratchFile() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    bool Write(const std::uint8_t* data, std::size_t size) const {
        std::ofstream out(path_, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        return static_cast<bool>(out);
    }
    const std::filesystem::path& Path() const { return path_; }

  private:
    static std::filesystem::path Folder() {
        std::error_code none;
        return std::filesystem::is_directory("/dev/shm", none)
                   ? std::filesystem::path("/dev/shm")
                   : std::filesystem::temp_directory_path();
    }

    std::filesystem::path path_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchFile file;
    // A bad file is only a warning; thousands a second on standard error would drown the run.
    tarvo::host::SetStderrLevel(TReportLevel::Warning, false);
    if (!file.Write(data, size)) {
        return 0;
    }
    tarvo::host::SourceBlock block(file.Path().parent_path().string());
    block.SetName(L"Fuzzed");
    block.GetProperty(L"Mode")->SetText(L"CSV");
    block.GetProperty(L"File")->SetText(file.Path().filename().wstring());
    if (!block.Start()) {
        return 0;
    }
    // Readings before, inside and after any plausible rows, at midnight and within the day.
    for (const TTime at : {TTime(1900, 1, 1, 0, 0, 0), TTime(2024, 6, 1, 0, 0, 0),
                           TTime(2024, 6, 1, 12, 34, 56), TTime(2099, 12, 31, 23, 59, 59)}) {
        block.SetRunTime(at);
        block.Execute();
    }
    return 0;
}
