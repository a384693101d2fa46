// The platform's reading: a value, the logger time it stands for, a quality code and the marks
// with which the platform flags a reading in error or without data.
#pragma once

#include "platform/time.h"
#include "platform/types.h"
#include "platform/value.h"

// Marks of a reading (bits of GetFlags()).
inline constexpr DWORD SENSOR_FLAG_ERROR = 0x1;   // the measurement failed; the value is not usable
inline constexpr DWORD SENSOR_FLAG_NODATA = 0x2;  // there was nothing to measure; no value

class CSensorData {
  public:
    // A reading that carries no data (SENSOR_FLAG_NODATA) at time 0: what a block's data reads
    // as before the block has produced anything.
    CSensorData();
    // A good reading (no marks).
    CSensorData(const TValue& value, TTime time, int quality = 0);

    const TValue& GetValue() const { return value_; }
    TValue& GetValue() { return value_; }
    // Changes the value only; the marks stay as they are.
    void SetValue(const TValue& value) { value_ = value; }

    TTime GetTime() const { return time_; }
    void SetTime(TTime time) { time_ = time; }

    // The source's own quality code, passed along untouched (0 unless the source sets one).
    int GetQuality() const { return quality_; }
    void SetQuality(int quality) { quality_ = quality; }

    DWORD GetFlags() const { return flags_; }
    void SetFlags(DWORD flags) { flags_ = flags; }
    bool IsError() const { return (flags_ & SENSOR_FLAG_ERROR) != 0; }
    bool IsNoData() const { return (flags_ & SENSOR_FLAG_NODATA) != 0; }
    // True when the reading carries a usable value (neither mark set).
    bool IsValid() const { return flags_ == 0; }
    void SetError(bool on);
    void SetNoData(bool on);

    // The value's text form (TValue::AsCString), whatever the marks.
    const char* AsCString() const { return value_.AsCString(); }

    bool operator==(const CSensorData& other) const;

  private:
    TValue value_;
    TTime time_;
    int quality_ = 0;
    DWORD flags_ = SENSOR_FLAG_NODATA;
};
