// Message order: blocks by their Sequence, ascending, blocks of equal Sequence in the order they
// were listed (the order a restarting exchange sort of neighbours leaves them in).
#pragma once

#include <algorithm>
#include <vector>

namespace corvane {

// `Block` has `int Sequence() const`. The caller holds whatever lock guards `blocks`.
template <typename Block>
void SortBySequence(std::vector<Block*>& blocks) {
    std::stable_sort(blocks.begin(), blocks.end(),
                     [](const Block* a, const Block* b) { return a->Sequence() < b->Sequence(); });
}

}  // namespace corvane
