#include "corvane/selftimed/self_timed_block.h"

#include "corvane/selftimed/self_timed_registry.h"
#include "corvane/selftimed/self_timed_settings.h"
#include "corvane/shared/wide_text.h"
#include "platform/report.h"

SelfTimed::SelfTimed(SelfTimedRegistry& registry, const SelfTimedSettings& settings)
    : TModule(L"SelfTimed"),
      registry_(registry),
      settings_(settings),
      label_(AddProperty(TProperty::Text(L"Label"))),
      numVals_(AddProperty(TProperty::Integer(L"NumVals", settings.NumVals))),
      sequence_(AddProperty(TProperty::Integer(L"Sequence", 1))),
      offset_(AddProperty(TProperty::Text(L"Offset", L"00:00:00"))),
      interval_(AddProperty(TProperty::Text(L"Interval", L"00:00:00"))),
      useCalcTime_(AddProperty(TProperty::Integer(L"UseCalcTime", 0))),
      lock_(1, 1, "self-timed block") {
    registry_.Register(*this);
}

SelfTimed::~SelfTimed() {
    registry_.Unregister(*this);
}

std::wstring SelfTimed::GetInputName(int index) const {
    return index == kPort ? L"Input" : L"";
}

std::wstring SelfTimed::GetOutputName(int index) const {
    return index == kPort ? L"Output" : L"";
}

std::wstring SelfTimed::Label() const {
    return label_->GetText();
}

int SelfTimed::Sequence() const {
    return static_cast<int>(sequence_->GetInteger());
}

void SelfTimed::SetSequence(int sequence) {
    sequence_->SetInteger(sequence);
}

int SelfTimed::NumVals() const {
    return static_cast<int>(numVals_->GetInteger());
}

std::wstring SelfTimed::Offset() const {
    return offset_->GetText();
}

std::wstring SelfTimed::Interval() const {
    return interval_->GetText();
}

bool SelfTimed::UsesCalcTime() const {
    return useCalcTime_->GetInteger() != 0 && IsShefFormat(settings_.Format);
}

bool SelfTimed::Keeps(const CSensorData& reading) const {
    const std::int64_t interval = StrToTimeSpan(Interval()).GetTotalSeconds();
    if (interval == 0 || UsesCalcTime())
        return true;
    const std::int64_t offset = StrToTimeSpan(Offset()).GetTotalSeconds();
    const TTime t = reading.GetTime();
    const std::int64_t timeOfDay = t.GetHour() * 3600 + t.GetMinute() * 60 + t.GetSecond();
    // Signed: a reading before the offset in the day is kept when it still lies on the grid.
    return (timeOfDay - offset) % interval == 0;
}

void SelfTimed::TakeRightDigitsFromFeeder() {
    const TModule* feeder = GetInputModule(kPort);
    if (feeder == nullptr)
        return;
    const wchar_t* name = feeder->GetModuleName() == L"Log" ? L"Precision" : L"RightDigits";
    if (const TProperty* digits = feeder->GetProperty(name)) {
        TSingleLock lock(lock_, true);
        rightDigits_ = static_cast<int>(digits->GetInteger());
    }
}

bool SelfTimed::Execute() {
    CSensorData reading;
    if (!GetInputData(kPort, reading))
        return false;
    // A reading without data (or marked in error) is passed on but never stored.
    if (reading.IsValid() && Keeps(reading)) {
        TakeRightDigitsFromFeeder();
        TSingleLock stores(registry_.StoreLock(), true);
        TSingleLock lock(lock_, true);
        store_.push_back(reading);
        const std::size_t limit = static_cast<std::size_t>(std::max(0, NumVals()));
        if (store_.size() > limit)
            store_.erase(store_.begin(), store_.end() - static_cast<std::ptrdiff_t>(limit));
    }
    SetOutputData(kPort, reading);
    return true;
}

void SelfTimed::Reset() {
    if (IsInterleavedFormat(settings_.Format))
        numVals_->SetInteger(settings_.NumVals);
    TSingleLock lock(lock_, true);
    rightDigits_ = 2;
}

TTime SelfTimed::ScheduledTime(int line, TTime reference) const {
    const std::int64_t offset = StrToTimeSpan(Offset()).GetTotalMilliseconds();
    const std::int64_t interval = StrToTimeSpan(Interval()).GetTotalMilliseconds();
    // Truncating division, as the transmitter's own schedule is computed.
    const std::int64_t k = (reference.GetMillisecondsSince1970() - offset) / interval;
    const std::int64_t latest = k * interval + offset;
    return TTime::FromMilliseconds(latest - line * interval);
}

bool SelfTimed::GetSelfTimedData(int line, TTime reference, CSensorData& reading,
                                 int& rightDigits) const {
    const bool positional = StrToTimeSpan(Interval()).GetTotalMilliseconds() == 0 || UsesCalcTime();
    bool found = false;
    {
        TSingleLock lock(lock_, true);
        if (positional) {
            if (line >= 0 && static_cast<std::size_t>(line) < store_.size()) {
                reading = store_[store_.size() - 1 - static_cast<std::size_t>(line)];
                rightDigits = rightDigits_;
                if (reading.GetValue().IsReal())
                    reading.GetValue().SetRightDigits(rightDigits_);
                found = true;
            }
        } else {
            const TTime wanted = ScheduledTime(line, reference);
            for (const CSensorData& stored : store_) {
                if (stored.GetTime() == wanted) {
                    reading = stored;
                    rightDigits = rightDigits_;
                    reading.GetValue().SetRightDigits(rightDigits_);
                    found = true;
                    break;
                }
            }
        }
    }
    const std::string label = corvane::ToLogText(Label());
    if (found) {
        const TTime t = reading.GetTime();
        TReport::Debug("GSTD found: lbl %s, line %d, val %s, tm %02d:%02d:%02d", label.c_str(),
                       line, reading.AsCString(), t.GetHour(), t.GetMinute(), t.GetSecond());
    } else {
        TReport::Debug("GSTD NOT found: lbl %s, line %d, tRef %02d:%02d:%02d", label.c_str(), line,
                       reference.GetHour(), reference.GetMinute(), reference.GetSecond());
    }
    return found;
}

bool SelfTimed::NewestReading(CSensorData& reading) const {
    TSingleLock lock(lock_, true);
    if (store_.empty())
        return false;
    reading = store_.back();
    return true;
}

std::int64_t SelfTimed::DataAge(int line, TTime reference, TTime nextTransmission) const {
    const bool zeroInterval = StrToTimeSpan(Interval()).GetTotalMilliseconds() == 0;
    const bool positional = zeroInterval || UsesCalcTime();
    TSingleLock lock(lock_, true);
    TTime dataTime = nextTransmission;
    if (!positional) {
        dataTime = ScheduledTime(line, reference);
    } else if (line >= 0 && static_cast<std::size_t>(line) < store_.size()) {
        dataTime = store_[store_.size() - 1 - static_cast<std::size_t>(line)].GetTime();
    } else if (!zeroInterval) {
        dataTime = ScheduledTime(line, reference);
    }
    return (nextTransmission - dataTime).GetTotalMinutes();
}

std::int64_t SelfTimed::DataOffset(int line, TTime now, TTime transmission) const {
    const bool zeroInterval = StrToTimeSpan(Interval()).GetTotalMilliseconds() == 0;
    const bool calcTime = UsesCalcTime();
    TSingleLock lock(lock_, true);
    TTime valueTime;
    if (!calcTime && !zeroInterval) {
        valueTime = ScheduledTime(0, now);  // every value of a scheduled block: the latest slot
    } else if (line < 0 || static_cast<std::size_t>(line) >= store_.size()) {
        if (zeroInterval)
            return 0;
        valueTime = ScheduledTime(0, now);
    } else {
        valueTime = store_[store_.size() - 1 - static_cast<std::size_t>(line)].GetTime();
    }
    return (transmission - valueTime).GetTotalMinutes();
}

int SelfTimed::StoredCount() const {
    TSingleLock lock(lock_, true);
    return static_cast<int>(store_.size());
}
