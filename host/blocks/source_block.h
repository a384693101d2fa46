// The host's measurement source block ("Source"): readings on a schedule of Interval and
// Offset, with values from a constant, a list, a CSV file or a simple function.
//
// Properties (in this order):
//   Mode        text    "Constant"  Constant | List | CSV | Ramp | Sine | Step (any case)
//   Value       real    0           Constant: the value; Ramp, Sine, Step: the base value
//   Values      texts   empty       List: the values in turn, repeating; an entry "ERROR" or
//                                   "NODATA" gives a reading marked so
//   File        text    empty       CSV: "time,value" rows; relative to the setup file
//   Amplitude   real    1           Sine: the swing either side; Step: the height of the step
//   Period      text    "24:00:00"  Sine: the period, counted from logger midnight
//   Slope       real    1           Ramp: change per hour since recording started
//   StepAt      text    "12:00:00"  Step: the time of day from which the value is
//                                   Value + Amplitude (Value before it, every day)
//   Interval    text    "00:15:00"  measure at Offset + k * Interval from logger midnight
//   Offset      text    "00:00:00"
//   RightDigits integer 2           display digits of the values
//   Integer     boolean false       emit integer values (rounded)
//   ErrorEvery  integer 0           mark every n-th reading of a run in error (0: never)
//   NoDataEvery integer 0           mark every n-th reading of a run as without data (0: never)
//
// CSV rows are "YYYY-MM-DD HH:MM:SS,value" (absolute) or "HH:MM:SS,value" (a time of day, the
// file repeating every day), in time order; a first line that is no row (a header) and lines
// starting with '#' are skipped. A reading takes the value of the last row at or before its
// time, and carries no data before the first row. A value cell "ERROR" marks the reading in
// error; "NODATA" or an empty cell marks it without data.
//
// Output "Output" at data index 2. Readings are stamped with the scheduled instant.
#pragma once

#include <string>
#include <vector>

#include "platform/module.h"

namespace tarvo::host {

class SourceBlock : public TModule {
  public:
    static constexpr int kOutput = 2;

    // `baseDirectory` resolves a relative CSV file name.
    explicit SourceBlock(std::string baseDirectory);

    std::wstring GetOutputName(int index) const override;
    bool GetNextRunTime(TTime from, TTime& next) const override;
    bool Start() override;
    bool Execute() override;
    void Reset() override;

    // The CSV file the block reads, resolved; empty unless its Mode is CSV and File is set.
    std::string InputFile() const;

  private:
    enum class Mode { Constant, List, Csv, Ramp, Sine, Step, Unknown };
    struct CsvRow {
        bool timeOfDay = false;
        std::int64_t ms = 0;  // since 1970 (absolute) or since midnight (time of day)
        double value = 0.0;
        DWORD flags = 0;
    };

    Mode ReadMode() const;
    bool LoadCsv(std::string& error);
    CSensorData Measure(TTime at);
    CSensorData FromCsv(TTime at) const;

    std::string baseDirectory_;
    // Run-time state, touched only by the thread that starts and runs the block.
    Mode mode_ = Mode::Constant;
    std::vector<CsvRow> csv_;
    std::size_t listIndex_ = 0;
    long count_ = 0;
    TTime startTime_;
};

}  // namespace tarvo::host
