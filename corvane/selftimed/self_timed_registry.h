// The SelfTimed block registry: every SelfTimed block of the module, in the order a self-timed
// message visits them, and the module-wide store lock under which readings are stored.
//
// Each operation takes the registry lock itself and never while it holds a block's lock (a
// block's properties guard themselves). The registry lists blocks; it never owns them: a block
// registers when it is made and unregisters when it is destroyed.
#pragma once

#include <string>
#include <vector>

#include "platform/sync.h"

class SelfTimed;

class SelfTimedRegistry {
  public:
    SelfTimedRegistry();
    SelfTimedRegistry(const SelfTimedRegistry&) = delete;
    SelfTimedRegistry& operator=(const SelfTimedRegistry&) = delete;

    // Lists the block at the end with Sequence one above the highest listed (1 for the first)
    // and returns its index; -1, and the block not listed, when the one-shot skip was set.
    int Register(SelfTimed& block);
    // Makes the next Register skip its block once: the factory's prototype is never listed.
    void SkipNextRegistration();
    // Removes the first entry that is the block; nothing when it is absent.
    void Unregister(const SelfTimed& block);

    // The block at `index`, null when the index is negative or not below the count.
    SelfTimed* BlockAt(int index) const;
    int Count() const;
    // The listed blocks in registry order, copied out under the lock.
    std::vector<SelfTimed*> Blocks() const;
    // Orders the blocks by Sequence with an exchange sort that restarts after every swap;
    // equal sequences are never swapped, so they keep their registry order.
    void SortBySequence();
    // The index of the first block whose Label equals `label` without regard to case; -1.
    int FindByLabel(const std::wstring& label) const;

    // Taken by a block storing a reading, before its own lock (Execute); never by readers.
    TSemaphore& StoreLock() { return storeLock_; }

  private:
    mutable TSemaphore lock_;
    std::vector<SelfTimed*> blocks_;
    bool skipNext_ = false;
    TSemaphore storeLock_;
};
