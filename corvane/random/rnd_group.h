// The RndGroup block: one random group in the processing graph. It tests the reading at its
// Trigger input against a high limit, a low limit and a rate of change (each with the common
// deadband) and tells the random messenger when its group enters or leaves alarm.
//
// Execute runs on the processing thread; the block's last reading (data index 2, also what
// Output delivers) is replaced under the block's data lock because the messenger thread reads
// it. The alarm flags belong to the processing thread, except `groupInAlarm`, which the status
// text reads from the interface thread.
#pragma once

#include <atomic>
#include <string>

#include "platform/module.h"
#include "platform/sensor_data.h"

class GroupAlarmSignals;

class RndGroup : public TModule {
  public:
    // Both ports sit at this data index; every other index has no port.
    static constexpr int kPort = 2;

    // Adds the twelve properties with their defaults and lists the block with `signals`, which
    // must outlive the block.
    explicit RndGroup(GroupAlarmSignals& signals);
    // Removes the block from the messenger's list.
    ~RndGroup() override;

    std::wstring GetInputName(int index) const override;
    std::wstring GetOutputName(int index) const override;

    // Tests the Trigger reading (unless it carries an error or no data) in the order high
    // limit, low limit, rate of change, then stores it as the last reading. False when the
    // Trigger input is unconnected.
    bool Execute() override;
    // First reading pending, every alarm flag clear. A group that was in alarm does not
    // signal a reset to the messenger.
    void Reset() override;
    // "Random group %d is in alarm." or "Random group %d is not in alarm."
    std::wstring GetStatusText() const override;
    // "Random Group Properties" of the block; true when the operator pressed OK and the values
    // passed the page's checks and were written back. Defined in corvane/ui/ with the other
    // dialogs (see corvane/ui/block_dialogs.h).
    bool EditProperties() override;

    int Group() const;
    std::wstring Label() const;
    // The group's data time and data interval, as their "HH:MM:SS" texts.
    std::wstring Offset() const;
    std::wstring Interval() const;
    bool IsGroupInAlarm() const { return groupInAlarm_.load(); }

  private:
    // Which condition a notify comes from; the words name it in the status lines.
    enum class Condition { HiLimit = 0, LowLimit = 1, RocHi = 2, RocLow = 3 };

    void TestHighLimit(double v, double deadband);
    void TestLowLimit(double v, double deadband);
    void TestRateOfChange(const CSensorData& reading, double deadband);
    void Notify(Condition condition);
    void SetLastReading(const CSensorData& reading);
    double LastValue() const;

    GroupAlarmSignals& signals_;
    TProperty* group_;
    TProperty* label_;
    TProperty* interval_;
    TProperty* offset_;
    TProperty* hiLimit_;
    TProperty* lowLimit_;
    TProperty* rocMag_;
    TProperty* rocFixed_;
    TProperty* deadband_;
    TProperty* hiAlarm_;
    TProperty* lowAlarm_;
    TProperty* rocAlarm_;

    bool firstReading_ = true;
    std::atomic<bool> groupInAlarm_{false};
    bool hiActive_ = false;
    bool lowActive_ = false;
    bool rocActive_ = false;
};
