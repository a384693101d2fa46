// The Random block: one parameter of random messages. It keeps the readings that fall on the
// data times of the groups it belongs to and gives the random messenger its value number i for
// a group when that group's message is built.
//
// Execute runs on the processing thread and GetValue on the messenger's thread: the store and
// the right digits are guarded by the block's own store lock; the output data by the platform's
// data lock. The group-block list is filled by Start, before the messenger thread runs.
#pragma once

#include <string>
#include <vector>

#include "platform/module.h"
#include "platform/sensor_data.h"
#include "platform/sync.h"

class RandomBlockRoster;
class RndGroup;

class Random : public TModule {
  public:
    // Both ports sit at this data index; every other index has no port.
    static constexpr int kPort = 2;
    // Groups 2 to 9; GroupMap entry g - 2 is "1" for a member of group g.
    static constexpr int kFirstGroup = 2;
    static constexpr int kLastGroup = 9;

    // Adds the four properties (Sequence from the roster's counter) and lists the block with
    // `roster`, which must outlive the block.
    explicit Random(RandomBlockRoster& roster);
    // Removes the block from the messenger's list.
    ~Random() override;

    std::wstring GetInputName(int index) const override;
    std::wstring GetOutputName(int index) const override;

    // Lists the engine's RndGroup blocks of this block's groups (engine order), warns "No random
    // groups are defined." when there is none, takes the settings' NumVals under the
    // interleaved format, and sets the right digits back to 2. Always true.
    bool Start() override;
    // Keeps a good reading that falls on a data time of one of its groups, then passes every
    // reading on. False when the input is unconnected.
    bool Execute() override;
    // "Random Properties" of the block; true when the operator pressed OK and the values were
    // written back. Defined in corvane/ui/ with the other dialogs (see
    // corvane/ui/block_dialogs.h).
    bool EditProperties() override;

    bool IsMemberOf(int group) const;
    int Sequence() const;
    int NumVals() const;
    // Value number `i` (0 = newest) for `group` at `now`: positional when the group's interval
    // is zero, otherwise the reading stamped exactly at the i-th data time back from the latest
    // one. False when the block is not a member of the group or has no such reading; on true
    // the reading's real value shows `rightDigits` decimals.
    bool GetValue(int i, int group, TTime now, CSensorData& reading, int& rightDigits) const;
    // Copies out the newest stored reading; false when none is held.
    bool NewestReading(CSensorData& reading) const;
    // The number of readings held (for tests and diagnostics).
    int StoredCount() const;

  private:
    bool FallsOnADataTime(const CSensorData& reading) const;
    void TakeRightDigitsFromFeeder();

    RandomBlockRoster& roster_;
    TProperty* groupMap_;
    TProperty* sequence_;
    TProperty* numVals_;
    std::vector<RndGroup*> groupBlocks_;

    mutable TSemaphore storeLock_{1, 1, "random block store"};
    std::vector<CSensorData> store_;  // oldest first
    int rightDigits_ = 2;
};
