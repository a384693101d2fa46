#include "corvane/random/random_consistency.h"

#include <cwchar>
#include <optional>

#include "corvane/random/random_block.h"
#include "corvane/random/rnd_group.h"

namespace {

std::wstring Failure(const wchar_t* format, int group) {
    wchar_t text[96];
    std::swprintf(text, sizeof text / sizeof text[0], format, group);
    return text;
}

bool HasEnabledGroupBlock(const std::vector<RndGroup*>& groups, int g) {
    for (const RndGroup* block : groups)
        if (block->IsEnabled() && block->Group() == g)
            return true;
    return false;
}

bool HasEnabledMember(const std::vector<Random*>& randoms, int g) {
    for (const Random* block : randoms)
        if (block->IsEnabled() && block->IsMemberOf(g))
            return true;
    return false;
}

std::optional<std::wstring> OverlappingSequences(const std::vector<Random*>& randoms) {
    for (std::size_t i = 0; i < randoms.size(); ++i) {
        for (std::size_t j = i + 1; j < randoms.size(); ++j) {
            const Random& a = *randoms[i];
            const Random& b = *randoms[j];
            if (a.Sequence() != b.Sequence() || !a.IsEnabled() || !b.IsEnabled())
                continue;
            for (int g = Random::kFirstGroup; g <= Random::kLastGroup; ++g)
                if (a.IsMemberOf(g) && b.IsMemberOf(g))
                    return Failure(L"Random sequences overlap in group %d; ", g);
        }
    }
    return std::nullopt;
}

std::optional<std::wstring> MissingGroupBlock(const std::vector<Random*>& randoms,
                                              const std::vector<RndGroup*>& groups) {
    for (const Random* block : randoms) {
        if (!block->IsEnabled())
            continue;
        for (int g = Random::kFirstGroup; g <= Random::kLastGroup; ++g)
            if (block->IsMemberOf(g) && !HasEnabledGroupBlock(groups, g))
                return Failure(L"Random group block missing for group %d; ", g);
    }
    return std::nullopt;
}

std::optional<std::wstring> MissingParameters(const std::vector<Random*>& randoms,
                                              const std::vector<RndGroup*>& groups) {
    for (const RndGroup* block : groups)
        if (!HasEnabledMember(randoms, block->Group()))
            return Failure(L"Random param blocks missing for group %d; ", block->Group());
    return std::nullopt;
}

std::optional<std::wstring> DisagreeingDuplicates(const std::vector<RndGroup*>& groups) {
    for (std::size_t i = 0; i < groups.size(); ++i) {
        for (std::size_t j = i + 1; j < groups.size(); ++j) {
            const RndGroup& a = *groups[i];
            const RndGroup& b = *groups[j];
            if (a.Group() != b.Group())
                continue;
            if (a.Offset() != b.Offset() || a.Interval() != b.Interval() || a.Label() != b.Label())
                return Failure(L"DTime, DInter, or Label differ for group %d; ", a.Group());
        }
    }
    return std::nullopt;
}

}  // namespace

bool CheckRandomBlocks(const std::vector<Random*>& randoms, const std::vector<RndGroup*>& groups,
                       std::wstring& errors) {
    const std::optional<std::wstring> failures[] = {
        OverlappingSequences(randoms),
        MissingGroupBlock(randoms, groups),
        MissingParameters(randoms, groups),
        DisagreeingDuplicates(groups),
    };
    bool passed = true;
    for (const auto& failure : failures) {
        if (failure) {
            errors += *failure;
            passed = false;
        }
    }
    return passed;
}
