#include "corvane/selftimed/self_timed_registry.h"

#include <algorithm>
#include <cwctype>
#include <utility>

#include "corvane/selftimed/self_timed_block.h"
#include "corvane/shared/sequence_order.h"

namespace {

bool EqualsNoCase(const std::wstring& a, const std::wstring& b) {
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](wchar_t x, wchar_t y) {
               return std::towlower(static_cast<wint_t>(x)) ==
                      std::towlower(static_cast<wint_t>(y));
           });
}

}  // namespace

SelfTimedRegistry::SelfTimedRegistry()
    : lock_(1, 1, "self-timed registry"), storeLock_(1, 1, "self-timed stores") {}

int SelfTimedRegistry::Register(SelfTimed& block) {
    TSingleLock lock(lock_, true);
    if (skipNext_) {
        skipNext_ = false;
        return -1;
    }
    int highest = 0;
    for (const SelfTimed* listed : blocks_)
        highest = std::max(highest, listed->Sequence());
    block.SetSequence(highest + 1);
    blocks_.push_back(&block);
    return static_cast<int>(blocks_.size()) - 1;
}

void SelfTimedRegistry::SkipNextRegistration() {
    TSingleLock lock(lock_, true);
    skipNext_ = true;
}

void SelfTimedRegistry::Unregister(const SelfTimed& block) {
    TSingleLock lock(lock_, true);
    auto it = std::find(blocks_.begin(), blocks_.end(), &block);
    if (it != blocks_.end())
        blocks_.erase(it);
}

SelfTimed* SelfTimedRegistry::BlockAt(int index) const {
    TSingleLock lock(lock_, true);
    if (index < 0 || index >= static_cast<int>(blocks_.size()))
        return nullptr;
    return blocks_[static_cast<std::size_t>(index)];
}

int SelfTimedRegistry::Count() const {
    TSingleLock lock(lock_, true);
    return static_cast<int>(blocks_.size());
}

std::vector<SelfTimed*> SelfTimedRegistry::Blocks() const {
    TSingleLock lock(lock_, true);
    return blocks_;
}

void SelfTimedRegistry::SortBySequence() {
    TSingleLock lock(lock_, true);
    corvane::SortBySequence(blocks_);
}

int SelfTimedRegistry::FindByLabel(const std::wstring& label) const {
    TSingleLock lock(lock_, true);
    for (std::size_t i = 0; i < blocks_.size(); ++i)
        if (EqualsNoCase(blocks_[i]->Label(), label))
            return static_cast<int>(i);
    return -1;
}
