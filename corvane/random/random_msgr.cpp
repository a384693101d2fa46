#include "corvane/random/random_msgr.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>

#include "corvane/formats/pseudobinary.h"
#include "corvane/random/random_block.h"
#include "corvane/random/random_config_push.h"
#include "corvane/random/random_consistency.h"
#include "corvane/random/rnd_group.h"
#include "corvane/shared/sequence_order.h"
#include "platform/clock.h"
#include "platform/report.h"

int RandomOffset(int range, OffsetSign sign) {
    static std::once_flag seeded;
    std::call_once(seeded, [] { std::srand(static_cast<unsigned>(GetTickCount())); });
    if (range <= 0)
        return 0;
    const int r = std::rand() % range;
    if (sign == OffsetSign::Unsigned)
        return r;
    return (std::rand() % 2 != 0) ? -(r / 2) : r / 2;
}

namespace {

bool ValidSlot(int group) {
    return group >= 0 && group < CRandomMsgr::kSlots;
}

}  // namespace

CRandomMsgr::CRandomMsgr(corvane::Transmitter& transmitter, RandomOffsetSource offsets)
    : transmitter_(transmitter),
      offsets_(std::move(offsets)),
      listLock_(1, 1, "random block lists"),
      alarmEvent_(true, false, "random alarm"),
      resetEvent_(true, false, "random reset"),
      worker_("random messenger") {}

CRandomMsgr::~CRandomMsgr() = default;

bool CRandomMsgr::ReadSetup(CXMLSetup& setup, CXMLToken& next) {
    return ReadRandomSetup(setup, settings_, next);
}

bool CRandomMsgr::WriteSetup(CXMLSetup& setup) const {
    return WriteRandomSetup(setup, settings_);
}

bool CRandomMsgr::InitSetup() {
    ResetRandomSettings(settings_);
    return true;
}

bool CRandomMsgr::ValidateRandomSetup(std::wstring& errors) const {
    TSingleLock lock(listLock_, true);
    return CheckRandomBlocks(randoms_, groups_, errors);
}

bool CRandomMsgr::PushRandomConfig() {
    return corvane::PushRandomConfig(transmitter_, settings_);
}

bool CRandomMsgr::Start() {
    return worker_.Start([this] { ThreadProc(); });
}

bool CRandomMsgr::Stop() {
    return worker_.Stop();
}

void CRandomMsgr::AddGroupBlock(RndGroup& block) {
    TSingleLock lock(listLock_, true);
    groups_.push_back(&block);
}

void CRandomMsgr::RemoveGroupBlock(RndGroup& block) {
    TSingleLock lock(listLock_, true);
    std::erase(groups_, &block);
}

void CRandomMsgr::AddRandomBlock(Random& block) {
    TSingleLock lock(listLock_, true);
    randoms_.push_back(&block);
}

void CRandomMsgr::RemoveRandomBlock(Random& block) {
    TSingleLock lock(listLock_, true);
    std::erase(randoms_, &block);
}

int CRandomMsgr::NextRandomSequence() {
    TSingleLock lock(listLock_, true);
    return ++sequenceCounter_;
}

std::vector<Random*> CRandomMsgr::RandomBlocks() const {
    TSingleLock lock(listLock_, true);
    return randoms_;
}

std::vector<RndGroup*> CRandomMsgr::GroupBlocks() const {
    TSingleLock lock(listLock_, true);
    return groups_;
}

void CRandomMsgr::SetGroupAlarm(int group) {
    if (!ValidSlot(group))
        return;
    Slot& slot = slots_[static_cast<std::size_t>(group)];
    if (slot.inAlarm.load())
        return;
    slot.inAlarm.store(true);
    alarmGroup_.store(group);
    alarmEvent_.Set();
}

void CRandomMsgr::ResetGroupAlarm(int group) {
    if (!ValidSlot(group))
        return;
    Slot& slot = slots_[static_cast<std::size_t>(group)];
    if (!slot.inAlarm.load())
        return;
    slot.inAlarm.store(false);
    slot.burstsSent.store(0);
    if (currentGroup_.load() == group) {
        alarmGroup_.store(group);
        resetEvent_.Set();
    }
}

void CRandomMsgr::ThreadProc() {
    TReport::Debug("Random messenger thread starting.");
    const TTime now = TTime::GetCurrentTime();
    const std::vector<RndGroup*> groups = GroupBlocks();
    for (int g = 0; g < kSlots; ++g) {
        Slot& slot = slots_[static_cast<std::size_t>(g)];
        slot.active = std::any_of(groups.begin(), groups.end(), [g](const RndGroup* block) {
            return block->IsEnabled() && block->Group() == g;
        });
        slot.inAlarm.store(false);
        slot.burstsSent.store(0);
        slot.lastTx = now;
        slot.nextTx = now;
    }
    SortRandomBlocks();
    while (WaitForSingleObject(StopEvent(), 0) != WAIT_OBJECT_0) {
        if (WaitForNext())
            FormatAndSend();
    }
    TReport::Debug("Random messenger thread exiting.");
}

bool CRandomMsgr::WaitForNext() {
    const TTime now = TTime::GetCurrentTime();
    int chosen = -1;
    for (int g = 0; g < kSlots; ++g) {
        Slot& slot = slots_[static_cast<std::size_t>(g)];
        if (!slot.active)
            continue;
        const std::wstring* rate = &settings_.NormRate;
        if (slot.inAlarm.load())
            rate = slot.burstsSent.load() < settings_.BurstCount ? &settings_.BurstRate
                                                                 : &settings_.AlarmRate;
        slot.nextTx = slot.lastTx + StrToTimeSpan(*rate) +
                      TTimeSpan::FromSeconds(offsets_(120, OffsetSign::Signed));
        if (chosen < 0 || slot.nextTx < slots_[static_cast<std::size_t>(chosen)].nextTx)
            chosen = g;
    }
    currentGroup_.store(chosen);

    DWORD wait = INFINITE;
    if (chosen < 0) {
        TReport::Warning("No random groups are active.");
    } else {
        Slot& slot = slots_[static_cast<std::size_t>(chosen)];
        if (slot.nextTx < now)
            slot.nextTx = now + TTimeSpan::FromSeconds(offsets_(60, OffsetSign::Unsigned));
        const auto seconds = static_cast<int>((slot.nextTx - now).GetTotalSeconds());
        wait = static_cast<DWORD>(seconds) * 1000;
        TReport::Debug("RT WaitForNext: Tx group %d in %d secs.", chosen, seconds);
    }
    for (;;) {
        switch (WaitForMultipleObjects({&StopEvent(), &alarmEvent_, &resetEvent_}, wait)) {
            case WAIT_TIMEOUT:
                return true;
            case WAIT_OBJECT_0:
                TReport::Debug("RT WaitForNext: Received stop signal.");
                return false;
            case WAIT_OBJECT_0 + 1: {
                const int group = alarmGroup_.load();
                currentGroup_.store(group);
                wait = static_cast<DWORD>(offsets_(60000, OffsetSign::Unsigned));
                TReport::Debug("RT WaitForNext: Alarm interrupt! tx group %d in %d seconds.", group,
                               static_cast<int>(wait / 1000));
                alarmEvent_.Reset();
                continue;
            }
            case WAIT_OBJECT_0 + 2:
                TReport::Debug("RT WaitForNext: Alarm reset! cancelling tx group %d.",
                               alarmGroup_.load());
                resetEvent_.Reset();
                return false;
            default:
                return false;
        }
    }
}

bool CRandomMsgr::FormatAndSend() {
    TReport::Debug("Formatting and sending random tx data.");
    const int group = currentGroup_.load();
    std::wstring text;
    if (!BuildGroupMessage(group, text)) {
        TReport::Warning("Failed formatting random tx data.");
        return false;
    }
    const corvane::ExchangeWait wait{.deadTime = corvane::DeadTime::Wait, .stop = &StopEvent()};
    if (!transmitter_.LoadRandomMessage(text, wait)) {
        TReport::Warning("Failed sending random tx data to Corvane.");
        return false;
    }
    if (!transmitter_.StartRandomMessage(wait)) {
        TReport::Warning("Failed sending random tx command to Corvane.");
        return false;
    }
    if (!ValidSlot(group))
        return true;
    Slot& slot = slots_[static_cast<std::size_t>(group)];
    slot.lastTx = TTime::GetCurrentTime();
    if (slot.inAlarm.load() && slot.burstsSent.load() < settings_.BurstCount)
        slot.burstsSent.fetch_add(1);
    return true;
}

void CRandomMsgr::SortRandomBlocks() {
    TSingleLock lock(listLock_, true);
    corvane::SortBySequence(randoms_);
}

bool CRandomMsgr::BuildGroupMessage(int group, std::wstring& text) const {
    const std::vector<RndGroup*> groups = GroupBlocks();
    const auto owner = std::find_if(groups.begin(), groups.end(),
                                    [group](const RndGroup* b) { return b->Group() == group; });
    if (owner == groups.end())
        return true;
    text = (*owner)->Label().substr(0, 3);

    const std::vector<Random*> randoms = RandomBlocks();
    const TTime now = TTime::GetCurrentTime();
    if (!randoms.empty()) {
        CSensorData newest;
        std::int64_t age = 0;
        if (randoms.front()->NewestReading(newest))
            age = (now - newest.GetTime()).GetTotalMinutes();
        text += corvane::EncodePseudobinary(static_cast<double>(age), 1, 0,
                                            corvane::FieldSign::Unsigned);
    }
    auto append = [&](const Random& block, int i) {
        CSensorData reading;
        int digits = 0;
        if (block.GetValue(i, group, now, reading, digits)) {
            text += corvane::EncodePseudobinary(reading.GetValue().AsDouble(), 3, digits,
                                                corvane::FieldSign::Signed);
        } else {
            text += corvane::kPseudobinaryMissing;
        }
    };
    if (settings_.Format == 0) {
        for (int i = 0; i < settings_.NumVals; ++i)
            for (const Random* block : randoms)
                if (block->IsMemberOf(group))
                    append(*block, i);
    } else {
        for (const Random* block : randoms)
            if (block->IsMemberOf(group))
                for (int i = 0; i < block->NumVals(); ++i)
                    append(*block, i);
    }
    if (corvane::MessageHook hook = hook_.load())
        return hook(text, group);
    return true;
}

bool CRandomMsgr::GetGroupMessage(int group, std::wstring& text) const {
    text.clear();
    if (!GroupBlocks().empty() && !BuildGroupMessage(group, text)) {
        text = L"An error occurred formatting the message.";
        return false;
    }
    if (text.empty()) {
        text = L"The setup does not define a message for the indicated group.";
        return false;
    }
    return true;
}

bool CRandomMsgr::SendTestMessage(const std::wstring& text) {
    if (transmitter_.PushesConfiguration()) {
        if (!transmitter_.SendSatIdAndOffset() || !PushRandomConfig())
            return false;
    }
    transmitter_.LoadRandomMessage(text, {});
    return transmitter_.SendRandomTest();
}
