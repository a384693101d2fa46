// Faults a test can make the transmitter commit, each on requests of one type code or on the next
// requests of any code.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/types.h"

namespace tarvo::sim {

enum class FaultKind {
    Silence,         // the request is not heard: not executed, not answered
    CorruptCrc,      // the reply's CRC is wrong
    WrongNumber,     // the reply carries the request's packet number plus one
    PlainHeader,     // the reply's header is 0xAA, not inverted
    ShortPayload,    // the reply's length field claims 4 bytes more than it carries
    Refuse,          // the command is refused: the reply is one byte 0, nothing is done
    MasterRefusal,   // 770 only: refused with `text`, the master switch stays off
    UnknownCommand,  // answered "Unknown command", nothing is done
    InvalidTime,     // 31, 35 and 219 only: answered as if the clock were not valid
    SlowReply,       // the reply goes out `delayMs` later than it would
    CutTime,         // 31 and 219 only: a good frame whose time keeps only its first 3 bytes
};

inline constexpr int kEveryTime = -1;

struct Fault {
    Fault() = default;
    Fault(FaultKind kind, std::optional<WORD> code = std::nullopt, int count = 1,
          std::string text = "Master switch refused.", DWORD delayMs = 3000)
        : kind(kind), code(code), count(count), text(std::move(text)), delayMs(delayMs) {}

    FaultKind kind = FaultKind::Silence;
    // Only requests of this type code; none: any request the kind applies to.
    std::optional<WORD> code;
    // How many requests it acts on before it is spent; kEveryTime: never spent.
    int count = 1;
    // MasterRefusal: the reason sent back.
    std::string text = "Master switch refused.";
    // SlowReply: the extra delay.
    DWORD delayMs = 3000;
};

const char* FaultName(FaultKind kind);
bool ParseFaultKind(std::string_view name, FaultKind& kind);

// Reads "KIND[,code=N][,count=N|all][,delay=MS][,text=TEXT]" (text takes the rest of the line).
bool ParseFault(std::string_view text, Fault& fault, std::string& error);

// The faults a test has set, counted down as they act.
class FaultSet {
  public:
    void Add(const Fault& fault);
    void Clear() { faults_.clear(); }
    std::size_t Size() const { return faults_.size(); }
    const std::vector<Fault>& All() const { return faults_; }

    // The faults that act on a request of `code`, each counted once; spent ones are removed.
    // With `frameOnly`, only faults on the reply's frame and timing (and silence) are taken.
    std::vector<Fault> Take(WORD code, bool frameOnly);

  private:
    std::vector<Fault> faults_;
};

}  // namespace tarvo::sim
