// The host's "Log" block: writes every reading it receives to a CSV file and passes it on.
//
// Properties (in this order):
//   File       text     empty  the CSV file; a relative name is taken from the current
//                              folder (outputs go where the program runs, while inputs such
//                              as a Source's CSV file are found beside the setup); empty:
//                              "<Name>.csv"
//   Precision  integer  2      digits right of the decimal point of real values in the file
//
// Input "Input" and output "Output", both at data index 2. The file starts afresh (with its
// header "time,value,status") at the block's first recording start and is appended to at later
// starts. Each row is "YYYY-MM-DD HH:MM:SS,value,status": status "ok", "error" or "nodata";
// the value is empty for a reading without data. Every write and the close are checked: a
// failure is a Warning naming the file and the error (once until the file works again), and
// the readings it loses are counted.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>

#include "platform/module.h"

namespace tarvo::host {

class LogBlock : public TModule {
  public:
    static constexpr int kPort = 2;

    LogBlock();

    std::wstring GetInputName(int index) const override;
    std::wstring GetOutputName(int index) const override;
    bool Start() override;
    void Stop() override;
    bool Execute() override;

    // The file the block writes (resolved).
    std::string FilePath() const;
    // Readings written since the block was made, and readings lost to a failed write or
    // close (read once recording has stopped).
    std::uint64_t Written() const { return written_; }
    std::uint64_t Lost() const { return lost_; }

    // One CSV row for a reading, as the block writes it (without the line end).
    static std::string FormatRow(const CSensorData& data, int precision);

  private:
    std::ofstream file_;
    bool started_ = false;
    bool flushEachRow_ = false;
    std::uint64_t written_ = 0;
    std::uint64_t lost_ = 0;
    std::uint64_t unflushed_ = 0;  // rows written since the last flush that went through
    bool failing_ = false;         // a failure was reported and the file has not worked since

    // After a write, flush or close: whether the stream still works; reports the first failure.
    bool Check(const char* doing);
};

}  // namespace tarvo::host
