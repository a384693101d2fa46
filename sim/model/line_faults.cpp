#include "sim/model/line_faults.h"

#include <cstdio>

#include "sim/model/parse_number.h"
#include "sim/wire/frame.h"

namespace tarvo::sim {
namespace {

// splitmix64: small, fast and good enough to scatter faults; seeded per run, no global state.
std::uint64_t SplitMix(std::uint64_t& state) {
    std::uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

bool Below(std::uint64_t draw, double rate) {
    // The top 53 bits as a fraction in [0, 1).
    return static_cast<double>(draw >> 11) * 0x1.0p-53 < rate;
}

BYTE Mask(std::uint64_t draw) {
    return static_cast<BYTE>(1 + draw % 255);
}

std::string Hex(BYTE b) {
    char text[8];
    std::snprintf(text, sizeof text, "0x%02x", unsigned{b});
    return text;
}

// Separate streams for the two directions: what befalls a request then depends only on the bytes
// sent, and what befalls a reply only on the replies before it, however the bytes were split
// into reads.
constexpr std::uint64_t kReplyStream = 0xD1B54A32D192ED03ULL;

}  // namespace

bool ParseLineFaultRate(std::string_view text, double& rate) {
    const bool percent = text.ends_with('%');
    if (percent) {
        text.remove_suffix(1);
    }
    double value = 0;
    if (!ParseNumber(text, value)) {
        return false;
    }
    if (percent) {
        value /= 100;
    }
    if (!(value >= 0 && value <= 1)) {
        return false;
    }
    rate = value;
    return true;
}

bool ParseLineFaultSeed(std::string_view text, std::uint64_t& seed) {
    return ParseNumber(text, seed);
}

std::string ReplyLineFault::Note() const {
    switch (kind) {
        case Kind::Corrupt:
            return "line fault: reply byte " + std::to_string(offset) + " corrupted (xor " +
                   Hex(mask) + ")";
        case Kind::Lose:
            return "line fault: reply lost";
        case Kind::Delay:
            return "line fault: reply delayed " + std::to_string(delay / 1000) + " ms";
    }
    return "line fault";
}

LineFaults::LineFaults(LineFaultOptions options)
    : options_(options), requestState_(options.seed), replyState_(options.seed ^ kReplyStream) {}

std::vector<BYTE> LineFaults::Incoming(std::span<const BYTE> bytes,
                                       std::vector<std::string>& notes) {
    std::vector<BYTE> out;
    out.reserve(bytes.size());
    for (const BYTE b : bytes) {
        if (Active() && !pending_ && b == kRequestHeader &&
            Below(SplitMix(requestState_), options_.rate)) {
            const std::uint64_t draw = SplitMix(requestState_);
            pending_ = Pending{.kind = draw % 2 == 0 ? RequestKind::Corrupt : RequestKind::Drop,
                               .offset = (draw >> 1) % kRequestSpan,
                               .mask = Mask(SplitMix(requestState_))};
        }
        if (!pending_ || pending_->seen++ != pending_->offset) {
            out.push_back(b);
            continue;
        }
        if (pending_->kind == RequestKind::Corrupt) {
            const BYTE hit = static_cast<BYTE>(b ^ pending_->mask);
            notes.push_back("line fault: request byte " + Hex(b) + " corrupted to " + Hex(hit));
            out.push_back(hit);
        } else {
            notes.push_back("line fault: request byte " + Hex(b) + " dropped");
        }
        pending_.reset();
    }
    return out;
}

std::optional<ReplyLineFault> LineFaults::NextReply(std::size_t frameSize) {
    if (!Active() || frameSize == 0 || !Below(SplitMix(replyState_), options_.rate)) {
        return std::nullopt;
    }
    const std::uint64_t draw = SplitMix(replyState_);
    ReplyLineFault fault;
    switch (draw % 3) {
        case 0:
            fault.kind = ReplyLineFault::Kind::Corrupt;
            fault.offset = (draw / 3) % frameSize;
            fault.mask = Mask(SplitMix(replyState_));
            break;
        case 1:
            fault.kind = ReplyLineFault::Kind::Lose;
            break;
        default: {
            fault.kind = ReplyLineFault::Kind::Delay;
            const std::uint64_t spanMs = (kMaxDelay - kMinDelay) / 1000 + 1;
            fault.delay = kMinDelay + static_cast<Micros>((draw / 3) % spanMs) * 1000;
            break;
        }
    }
    return fault;
}

}  // namespace tarvo::sim
