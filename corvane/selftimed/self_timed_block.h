// The SelfTimed block: wired behind a measurement, it passes every reading on and keeps the
// most recent readings that fall on its data schedule, for the self-timed message.
//
// Locks: a reading is stored under the registry's module-wide store lock and then the block's
// own lock, in that order; readers (the formatters on the messenger's thread) take the block's
// lock alone. The right digits are guarded by the block's lock too.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "corvane/formats/message_block.h"
#include "platform/module.h"
#include "platform/sensor_data.h"
#include "platform/sync.h"
#include "platform/time.h"

struct SelfTimedSettings;
class SelfTimedRegistry;

class SelfTimed : public TModule, public corvane::MessageBlock {
  public:
    // The data index of the ports "Input" and "Output".
    static constexpr int kPort = 0;

    // Adds the six properties (NumVals from `settings` now) and registers with `registry`,
    // which sets Sequence. Both must outlive the block; the settings are read, never written.
    SelfTimed(SelfTimedRegistry& registry, const SelfTimedSettings& settings);
    // Unregisters.
    ~SelfTimed() override;

    std::wstring GetInputName(int index) const override;
    std::wstring GetOutputName(int index) const override;

    // Keeps a reading that carries data and falls on the schedule, takes the feeding block's
    // digits, trims the store to NumVals, and passes every reading on. False when the input is
    // unconnected.
    bool Execute() override;
    // Under "Bin Int" NumVals follows the settings; the right digits go back to 2 under every
    // format.
    void Reset() override;
    // "Self-Timed Properties" of the block (under "Bin Int" its NumVals first follows the
    // settings); true when the operator pressed OK and the values were written back. Defined in
    // corvane/ui/ with the other dialogs (see corvane/ui/block_dialogs.h).
    bool EditProperties() override;

    std::wstring Label() const override;
    int Sequence() const;
    void SetSequence(int sequence);
    int NumVals() const override;
    std::wstring Offset() const;
    std::wstring Interval() const override;
    // UseCalcTime set and the self-timed format one of the SHEF formats.
    bool UsesCalcTime() const override;
    bool Enabled() const override { return IsEnabled(); }

    // Value `line` (0 = newest) for a message built at `reference`: positional when Interval is
    // zero or UseCalcTime is in effect, otherwise the reading stamped exactly at the line's
    // schedule point (none when that reading is missing, never a neighbour). On true `reading`
    // carries the block's right digits as display digits and `rightDigits` receives them.
    // Logs "GSTD found: ..." or "GSTD NOT found: ..." at debug level.
    bool GetSelfTimedData(int line, TTime reference, CSensorData& reading,
                          int& rightDigits) const override;
    // Copies out the newest stored reading; false when the store is empty.
    bool NewestReading(CSensorData& reading) const;
    // Whole minutes from the data time of `line` to `nextTransmission` (the messenger's next
    // transmission time after now): the scheduled line's time, or the stored reading's in the
    // positional case, falling back to the scheduled time when the line lies beyond the store.
    std::int64_t DataAge(int line, TTime reference, TTime nextTransmission) const;
    // The data offset a message gives value `line` (see MessageBlock).
    std::int64_t DataOffset(int line, TTime now, TTime transmission) const override;
    // The number of readings held.
    int StoredCount() const;

  private:
    bool Keeps(const CSensorData& reading) const;
    void TakeRightDigitsFromFeeder();
    // The latest schedule point at or before `reference` minus `line` intervals (ticks in ms).
    TTime ScheduledTime(int line, TTime reference) const;

    SelfTimedRegistry& registry_;
    const SelfTimedSettings& settings_;
    TProperty* label_;
    TProperty* numVals_;
    TProperty* sequence_;
    TProperty* offset_;
    TProperty* interval_;
    TProperty* useCalcTime_;

    mutable TSemaphore lock_;
    std::vector<CSensorData> store_;  // oldest first
    int rightDigits_ = 2;
};
