#include "sim/wire/frame_reader.h"

#include <algorithm>

#include "sim/wire/crc16.h"

namespace tarvo::sim {
namespace {

// Noise is reported in pieces of at most this size, so that a babbling line cannot grow it.
constexpr std::size_t kNoiseReportSize = 1024;

WORD Word(const std::vector<BYTE>& bytes, std::size_t at) {
    return static_cast<WORD>((bytes[at] << 8) | bytes[at + 1]);
}

}  // namespace

FrameReader::FrameReader(std::size_t maxPayload, Micros gap) : maxPayload_(maxPayload), gap_(gap) {}

void FrameReader::Feed(std::span<const BYTE> bytes, Micros now, std::vector<ReaderEvent>& events) {
    if (bytes.empty()) {
        return;
    }
    Expire(now, events);
    lastByte_ = now;
    buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
    knownBad_.resize(buffer_.size(), 0);
    Scan(events);
}

void FrameReader::Expire(Micros now, std::vector<ReaderEvent>& events) {
    if (buffer_.empty() && noise_.empty()) {
        return;
    }
    if (now - lastByte_ < gap_) {
        return;
    }
    // Nothing more came for the frame that was started: it was noise too. Whatever follows its
    // header byte gets a chance of its own.
    while (!buffer_.empty()) {
        Drop(1, true);
        Scan(events);
    }
    FlushNoise(events);
}

std::optional<Micros> FrameReader::ExpiryTime() const {
    if (buffer_.empty() && noise_.empty()) {
        return std::nullopt;
    }
    return lastByte_ + gap_;
}

void FrameReader::Clear() {
    buffer_.clear();
    knownBad_.clear();
    noise_.clear();
    quiet_ = 0;
}

FrameReader::Candidate FrameReader::Check(std::size_t at) const {
    const std::size_t available = buffer_.size() - at;
    if (available < 6) {
        return Candidate::NeedMore;
    }
    const std::size_t length = Word(buffer_, at + 4);
    if (length > maxPayload_) {
        return Candidate::NotHeader;
    }
    if (available < kFrameOverhead + length) {
        return Candidate::NeedMore;
    }
    const WORD computed = Crc16(std::span<const BYTE>(buffer_.data() + at, 6 + length));
    return computed == Word(buffer_, at + 6 + length) ? Candidate::Good : Candidate::Bad;
}

Frame FrameReader::FrameAt(std::size_t at) const {
    Frame frame;
    frame.header = buffer_[at];
    frame.number = buffer_[at + 1];
    frame.type = Word(buffer_, at + 2);
    const std::size_t length = Word(buffer_, at + 4);
    frame.payload.assign(buffer_.begin() + static_cast<std::ptrdiff_t>(at + 6),
                         buffer_.begin() + static_cast<std::ptrdiff_t>(at + 6 + length));
    return frame;
}

void FrameReader::Scan(std::vector<ReaderEvent>& events) {
    while (true) {
        const auto header = std::find(buffer_.begin(), buffer_.end(), kRequestHeader);
        Drop(static_cast<std::size_t>(header - buffer_.begin()), true);
        if (buffer_.empty()) {
            break;
        }
        const Candidate candidate = Check(0);
        if (candidate == Candidate::NotHeader) {
            Drop(1, true);
            continue;
        }
        if (candidate == Candidate::Good) {
            FlushNoise(events);
            ReaderEvent event{ReaderEvent::Kind::Frame, FrameAt(0), 0, {}};
            const std::size_t size = kFrameOverhead + event.frame.payload.size();
            event.crc = Word(buffer_, size - 2);
            events.push_back(std::move(event));
            Drop(size, false);
            continue;
        }
        if (candidate == Candidate::Bad) {
            FlushNoise(events);
            ReaderEvent event{ReaderEvent::Kind::BadCrc, FrameAt(0), 0, {}};
            const std::size_t size = kFrameOverhead + event.frame.payload.size();
            event.crc = Word(buffer_, size - 2);
            events.push_back(std::move(event));
            // The search resumes after the header, since a real frame may hide inside what only
            // looked like one; the rest of the bad frame has been reported and is not noise.
            Drop(1, false);
            quiet_ = std::max(quiet_, size - 1);
            continue;
        }
        if (!SkipToLaterFrame(events)) {
            break;
        }
    }
    if (noise_.size() >= kNoiseReportSize) {
        FlushNoise(events);
    }
}

bool FrameReader::SkipToLaterFrame(std::vector<ReaderEvent>&) {
    // The frame begun at the front is still incomplete. If a complete frame with a good CRC
    // starts further on, the front was noise that happened to hold a header byte: answer the
    // real frame now rather than after the gap.
    for (std::size_t at = 1; at < buffer_.size(); ++at) {
        if (buffer_[at] != kRequestHeader || knownBad_[at] != 0) {
            continue;
        }
        const Candidate candidate = Check(at);
        if (candidate == Candidate::Good) {
            Drop(at, true);
            return true;
        }
        if (candidate == Candidate::Bad) {
            knownBad_[at] = 1;
        }
    }
    return false;
}

void FrameReader::Drop(std::size_t count, bool asNoise) {
    count = std::min(count, buffer_.size());
    for (std::size_t i = 0; i < count; ++i) {
        if (quiet_ > 0) {
            --quiet_;
        } else if (asNoise) {
            noise_.push_back(buffer_[i]);
        }
    }
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(count));
    knownBad_.erase(knownBad_.begin(), knownBad_.begin() + static_cast<std::ptrdiff_t>(count));
}

void FrameReader::FlushNoise(std::vector<ReaderEvent>& events) {
    if (noise_.empty()) {
        return;
    }
    events.push_back(ReaderEvent{ReaderEvent::Kind::Noise, {}, 0, std::move(noise_)});
    noise_.clear();
}

}  // namespace tarvo::sim
