// The "NOS" self-timed format: the NOS water-level message as receiving stations decode it (the
// 6-minute message 'P' or the hourly one 'N'), laid out by the NOS format table on the flash
// disk. The self-timed messenger owns one and prepares it when its thread starts; the byte
// layout and the table's columns are in docs/formats.md.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "corvane/formats/message_block.h"
#include "corvane/formats/nos_plan.h"

namespace corvane {

class CNOSFormatter {
  public:
    // Reads the table ("\Flash Disk\NOSGOESFormat.txt") and caches which of `blocks` give each
    // line's values. False, logging why, when the table is missing, empty or of no known type;
    // the next message then tries again.
    bool Prepare(const std::vector<const MessageBlock*>& blocks);

    // Replaces `message` with the NOS message of `request`'s blocks, using the cache when it was
    // made for these blocks and preparing again otherwise. A message too long for the window at
    // the transmitter's rate loses its redundant blocks first, then its last blocks, with a
    // Warning each. A message for transmission also replaces the recent values (Recent.dat).
    // False, with `message` unchanged, when there is no usable table. Any thread may call it.
    bool Format(const MessageRequest& request, std::wstring& message);

  private:
    std::shared_ptr<const NosPlan> PlanFor(const std::vector<const MessageBlock*>& blocks);

    std::mutex mutex_;  // guards plan_ only; never held while blocks or files are read
    std::shared_ptr<const NosPlan> plan_;
};

// The characters a window of `windowSeconds` holds at `bitsPerSecond`, one second of it kept for
// the transmitter's preamble and header; 0 when either is not positive (no limit).
int NosCharactersAvailable(int windowSeconds, int bitsPerSecond);

}  // namespace corvane
