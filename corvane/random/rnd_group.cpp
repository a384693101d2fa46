#include "corvane/random/rnd_group.h"

#include <cmath>
#include <string>

#include "corvane/random/group_alarm_signals.h"
#include "platform/report.h"

namespace {

const char* ConditionWord(int condition) {
    static const char* const kWords[] = {"hi limit", "low limit", "ROC hi", "ROC low"};
    return kWords[condition];
}

// Rate-of-change modes as the ROCAlarm property holds them.
constexpr long kRocOff = 0;
constexpr long kRocHi = 1;
constexpr long kRocLow = 2;

}  // namespace

RndGroup::RndGroup(GroupAlarmSignals& signals)
    : TModule(L"RndGroup"),
      signals_(signals),
      group_(AddProperty(TProperty::Integer(L"Group", 2))),
      label_(AddProperty(TProperty::Text(L"Label", L"B2"))),
      interval_(AddProperty(TProperty::Text(L"Interval", L"00:15:00"))),
      offset_(AddProperty(TProperty::Text(L"Offset", L"00:00:00"))) {
    hiLimit_ = AddProperty(TProperty::Real(L"HiLimit", 5.0));
    lowLimit_ = AddProperty(TProperty::Real(L"LowLimit", 2.5));
    rocMag_ = AddProperty(TProperty::Integer(L"ROCMag", 3));
    rocFixed_ = AddProperty(TProperty::Boolean(L"ROCFixed", true));
    deadband_ = AddProperty(TProperty::Integer(L"Deadband", 1));
    hiAlarm_ = AddProperty(TProperty::Boolean(L"HiAlarm", true));
    lowAlarm_ = AddProperty(TProperty::Boolean(L"LowAlarm", true));
    rocAlarm_ = AddProperty(TProperty::Integer(L"ROCAlarm", kRocOff));
    Reset();
    signals_.AddGroupBlock(*this);
}

RndGroup::~RndGroup() {
    signals_.RemoveGroupBlock(*this);
}

std::wstring RndGroup::GetInputName(int index) const {
    return index == kPort ? L"Trigger" : L"";
}

std::wstring RndGroup::GetOutputName(int index) const {
    return index == kPort ? L"Output" : L"";
}

int RndGroup::Group() const {
    return static_cast<int>(group_->GetInteger());
}

std::wstring RndGroup::Label() const {
    return label_->GetText();
}

std::wstring RndGroup::Offset() const {
    return offset_->GetText();
}

std::wstring RndGroup::Interval() const {
    return interval_->GetText();
}

void RndGroup::Reset() {
    firstReading_ = true;
    groupInAlarm_.store(false);
    hiActive_ = false;
    lowActive_ = false;
    rocActive_ = false;
}

std::wstring RndGroup::GetStatusText() const {
    const std::wstring group = std::to_wstring(Group());
    return L"Random group " + group + (IsGroupInAlarm() ? L" is in alarm." : L" is not in alarm.");
}

bool RndGroup::Execute() {
    CSensorData reading;
    if (!GetInputData(kPort, reading))
        return false;
    // A reading with an error, or without data, has no value worth testing; it still passes on
    // and becomes the last reading.
    if (reading.IsValid()) {
        const double deadband = deadband_->GetReal();
        const double v = reading.GetValue().AsDouble();
        if (hiAlarm_->GetBool())
            TestHighLimit(v, deadband);
        if (lowAlarm_->GetBool())
            TestLowLimit(v, deadband);
        TestRateOfChange(reading, deadband);
    }
    SetLastReading(reading);
    return true;
}

void RndGroup::TestHighLimit(double v, double deadband) {
    const double limit = hiLimit_->GetReal();
    if (v > limit + deadband) {
        hiActive_ = true;
        Notify(Condition::HiLimit);
    } else if (v < limit - deadband) {
        hiActive_ = false;
        Notify(Condition::HiLimit);
    }
}

void RndGroup::TestLowLimit(double v, double deadband) {
    const double limit = lowLimit_->GetReal();
    if (v < limit - deadband) {
        lowActive_ = true;
        Notify(Condition::LowLimit);
    } else if (v > limit + deadband) {
        lowActive_ = false;
        Notify(Condition::LowLimit);
    }
}

void RndGroup::TestRateOfChange(const CSensorData& reading, double deadband) {
    if (firstReading_) {
        SetLastReading(reading);
        firstReading_ = false;
    }
    const long mode = rocAlarm_->GetInteger();
    const bool fixedInterval = rocFixed_->GetBool();
    const double magnitude = rocMag_->GetReal();
    const double d = std::fabs(reading.GetValue().AsDouble() - LastValue());
    // The refresh rules are kept as they stand: Execute stores every reading as the last one
    // afterwards, so the change is in effect measured between consecutive readings.
    auto enter = [&](Condition condition) {
        if (!rocActive_ && !fixedInterval)
            SetLastReading(reading);
        rocActive_ = true;
        Notify(condition);
    };
    auto leave = [&](Condition condition) {
        rocActive_ = false;
        Notify(condition);
    };
    if (mode == kRocHi) {
        if (d > magnitude + deadband)
            enter(Condition::RocHi);
        else if (d < magnitude - deadband)
            leave(Condition::RocHi);
    } else if (mode == kRocLow) {
        if (d < magnitude - deadband)
            enter(Condition::RocLow);
        else if (d > magnitude + deadband)
            leave(Condition::RocLow);
    }
    if (fixedInterval)
        SetLastReading(reading);
}

void RndGroup::Notify(Condition condition) {
    const char* word = ConditionWord(static_cast<int>(condition));
    const int group = Group();
    if (!hiActive_ && !lowActive_ && !rocActive_) {
        if (groupInAlarm_.load()) {
            groupInAlarm_.store(false);
            TReport::Status("Alarm %s reset. Group %d resetting alarm.", word, group);
            signals_.ResetGroupAlarm(group);
        }
    } else if (!groupInAlarm_.load()) {
        groupInAlarm_.store(true);
        TReport::Status("Alarm %s signaled. Group %d signaling alarm.", word, group);
        signals_.SetGroupAlarm(group);
    }
}

void RndGroup::SetLastReading(const CSensorData& reading) {
    SetOutputData(kPort, reading);
}

double RndGroup::LastValue() const {
    TModuleDataLock lock(*this);
    return GetData(kPort).GetValue().AsDouble();
}
