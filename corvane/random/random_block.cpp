#include "corvane/random/random_block.h"

#include <algorithm>
#include <cstdint>

#include "corvane/random/random_block_roster.h"
#include "corvane/random/random_settings.h"
#include "corvane/random/rnd_group.h"
#include "platform/engine.h"
#include "platform/report.h"
#include "platform/time.h"

namespace {

constexpr int kGroupCount = Random::kLastGroup - Random::kFirstGroup + 1;

std::int64_t FloorDiv(std::int64_t a, std::int64_t b) {
    std::int64_t q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0)))
        --q;
    return q;
}

}  // namespace

Random::Random(RandomBlockRoster& roster)
    : TModule(L"Random"),
      roster_(roster),
      groupMap_(AddProperty(TProperty::TextArray(L"GroupMap", kGroupCount))),
      sequence_(AddProperty(TProperty::Integer(L"Sequence", roster.NextRandomSequence()))) {
    AddProperty(TProperty::Text(L"Label"));
    numVals_ = AddProperty(TProperty::Integer(L"NumVals", 1));
    roster_.AddRandomBlock(*this);
}

Random::~Random() {
    roster_.RemoveRandomBlock(*this);
}

std::wstring Random::GetInputName(int index) const {
    return index == kPort ? L"Input" : L"";
}

std::wstring Random::GetOutputName(int index) const {
    return index == kPort ? L"Output" : L"";
}

bool Random::IsMemberOf(int group) const {
    if (group < kFirstGroup || group > kLastGroup)
        return false;
    // An entry never set reads as empty, never as "1".
    return groupMap_->GetText(group - kFirstGroup) == L"1";
}

int Random::Sequence() const {
    return static_cast<int>(sequence_->GetInteger());
}

int Random::NumVals() const {
    return static_cast<int>(numVals_->GetInteger());
}

bool Random::Start() {
    groupBlocks_.clear();
    const CEngine& engine = GetEngine();
    for (int i = 0; i < engine.GetModuleCount(); ++i) {
        TModule* block = engine.GetModule(i);
        if (block == nullptr || block->GetModuleName() != L"RndGroup")
            continue;
        auto* group = static_cast<RndGroup*>(block);
        if (IsMemberOf(group->Group()))
            groupBlocks_.push_back(group);
    }
    if (groupBlocks_.empty())
        TReport::Warning("No random groups are defined.");
    const RandomSettings& settings = roster_.RandomSetup();
    if (settings.Format == 0)
        numVals_->SetInteger(settings.NumVals);
    TSingleLock lock(storeLock_, true);
    rightDigits_ = 2;
    return true;
}

bool Random::FallsOnADataTime(const CSensorData& reading) const {
    const std::int64_t s = reading.GetTime().GetTimeOfDay().GetTotalSeconds();
    for (const RndGroup* group : groupBlocks_) {
        const std::int64_t offset = StrToMS(group->Offset()) / 1000;
        const std::int64_t interval = StrToMS(group->Interval()) / 1000;
        if (interval == 0 || (s - offset) % interval == 0)
            return true;
    }
    return false;
}

void Random::TakeRightDigitsFromFeeder() {
    const TModule* feeder = GetInputModule(kPort);
    if (feeder == nullptr)
        return;
    const wchar_t* name = feeder->GetModuleName() == L"Log" ? L"Precision" : L"RightDigits";
    if (const TProperty* digits = feeder->GetProperty(name))
        rightDigits_ = static_cast<int>(digits->GetInteger());
}

bool Random::Execute() {
    CSensorData reading;
    if (!GetInputData(kPort, reading))
        return false;
    // A reading with an error or without data has no value to report.
    if (reading.IsValid() && FallsOnADataTime(reading)) {
        TSingleLock lock(storeLock_, true);
        TakeRightDigitsFromFeeder();
        store_.push_back(reading);
        const std::size_t limit =
            static_cast<std::size_t>(std::max(0, NumVals())) * groupBlocks_.size();
        if (store_.size() > limit)
            store_.erase(store_.begin(), store_.end() - static_cast<std::ptrdiff_t>(limit));
    }
    SetOutputData(kPort, reading);
    return true;
}

bool Random::GetValue(int i, int group, TTime now, CSensorData& reading, int& rightDigits) const {
    if (!IsMemberOf(group) || i < 0)
        return false;
    TTimeSpan offset;
    TTimeSpan interval;
    for (const RndGroup* block : groupBlocks_) {
        if (block->Group() == group) {
            offset = StrToTimeSpan(block->Offset());
            interval = StrToTimeSpan(block->Interval());
            break;
        }
    }
    TSingleLock lock(storeLock_, true);
    const CSensorData* found = nullptr;
    const std::int64_t step = interval.GetTotalMilliseconds();
    if (step == 0) {
        if (static_cast<std::size_t>(i) < store_.size())
            found = &store_[store_.size() - 1 - static_cast<std::size_t>(i)];
    } else {
        const std::int64_t off = offset.GetTotalMilliseconds();
        const std::int64_t latest =
            FloorDiv(now.GetMillisecondsSince1970() - off, step) * step + off;
        const TTime wanted = TTime::FromMilliseconds(latest - i * step);
        for (const CSensorData& stored : store_) {
            if (stored.GetTime() == wanted) {
                found = &stored;
                break;
            }
        }
    }
    if (found == nullptr)
        return false;
    reading = *found;
    rightDigits = rightDigits_;
    if (reading.GetValue().IsReal())
        reading.GetValue().SetRightDigits(rightDigits_);
    return true;
}

bool Random::NewestReading(CSensorData& reading) const {
    TSingleLock lock(storeLock_, true);
    if (store_.empty())
        return false;
    reading = store_.back();
    return true;
}

int Random::StoredCount() const {
    TSingleLock lock(storeLock_, true);
    return static_cast<int>(store_.size());
}
