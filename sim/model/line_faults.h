// Faults of the line itself at a given rate: bytes of requests corrupted or dropped on their way
// to the device, replies corrupted, lost or delayed on their way back. Each fault is drawn from a
// seeded generator of the model's own at the moment the device takes the bytes in or queues a
// reply, never from a clock, so the same seed and the same bytes give the same faults on any
// face. Not thread-safe: the model owns it and a face serialises calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"
#include "sim/model/time_source.h"

namespace tarvo::sim {

struct LineFaultOptions {
    // The chance, 0 to 1, that a frame is hit: each request, counted at each header byte 0xAA
    // that arrives, and each reply. 0: a perfect line, and no draw is made.
    double rate = 0;
    std::uint64_t seed = 1;
};

// Reads a rate as a fraction from 0 to 1 ("0.05") or a percentage from 0% to 100% ("5%").
bool ParseLineFaultRate(std::string_view text, double& rate);
// Reads a seed: a whole number from 0 to 2^64 - 1.
bool ParseLineFaultSeed(std::string_view text, std::uint64_t& seed);

// What the line does to one reply.
struct ReplyLineFault {
    enum class Kind { Corrupt, Lose, Delay };
    Kind kind = Kind::Corrupt;
    std::size_t offset = 0;  // Corrupt: the byte of the frame hit
    BYTE mask = 0;           // Corrupt: XORed into it, never 0
    Micros delay = 0;        // Delay: added before the reply leaves

    // The transcript note, such as "line fault: reply lost".
    std::string Note() const;
};

class LineFaults {
  public:
    // Delays of a reply lie in this range: some shorter and some longer than a logger's usual
    // wait for a reply of two seconds.
    static constexpr Micros kMinDelay = 200'000;
    static constexpr Micros kMaxDelay = 4'000'000;
    // A request fault hits one of the first bytes of its frame: the header, the number, the
    // type, the length or the first payload bytes or CRC bytes of a short frame.
    static constexpr std::size_t kRequestSpan = 8;

    explicit LineFaults(LineFaultOptions options = {});

    bool Active() const { return options_.rate > 0; }

    // The bytes as they reach the device; one note per fault applied is appended to `notes`.
    std::vector<BYTE> Incoming(std::span<const BYTE> bytes, std::vector<std::string>& notes);
    // What the line does to a reply of `frameSize` bytes about to be queued; none: it arrives
    // intact and on time.
    std::optional<ReplyLineFault> NextReply(std::size_t frameSize);

  private:
    enum class RequestKind { Corrupt, Drop };
    struct Pending {
        RequestKind kind;
        std::size_t offset;  // from the header byte that armed it
        BYTE mask;
        std::size_t seen = 0;  // bytes since that header
    };

    LineFaultOptions options_;
    std::uint64_t requestState_;
    std::uint64_t replyState_;
    std::optional<Pending> pending_;
};

}  // namespace tarvo::sim
