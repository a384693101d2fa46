// The consistency check of the Random and RndGroup blocks against each other, run before
// recording and when the setup is written.
#pragma once

#include <string>
#include <vector>

class Random;
class RndGroup;

// Runs the four checks in order (overlapping sequences, missing group block, missing
// parameters, disagreeing duplicates), each stopping at its first failure, all four always.
// True when all pass; otherwise each failure's text, ending in "; ", is appended to `errors`.
// The blocks are read through their properties; the caller keeps the lists from changing.
bool CheckRandomBlocks(const std::vector<Random*>& randoms, const std::vector<RndGroup*>& groups,
                       std::wstring& errors);
