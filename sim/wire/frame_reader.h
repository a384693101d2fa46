// Turns the bytes that reach the transmitter into request frames, the way a device with a small
// receive buffer does it: bytes before a header byte are noise; a frame is taken when its CRC is
// right; a frame whose CRC is wrong is reported and the search resumes at the byte after its
// header; a frame left incomplete for longer than the gap is given up.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "platform/types.h"
#include "sim/model/time_source.h"
#include "sim/wire/frame.h"

namespace tarvo::sim {

struct ReaderEvent {
    enum class Kind {
        Frame,   // a request with a good CRC: `frame`
        BadCrc,  // a complete request whose CRC is wrong: `frame` as read, `crc` as received
        Noise,   // bytes that belonged to no frame: `noise`
    };
    Kind kind;
    Frame frame;
    WORD crc = 0;
    std::vector<BYTE> noise;
};

class FrameReader {
  public:
    // `maxPayload`: a header announcing more is not a header. `gap`: how long an incomplete
    // frame waits for its next byte.
    explicit FrameReader(std::size_t maxPayload = kMaxPayload, Micros gap = 500'000);

    // Takes bytes that arrived at `now` and appends what they complete to `events`. An incomplete
    // frame older than the gap is given up first.
    void Feed(std::span<const BYTE> bytes, Micros now, std::vector<ReaderEvent>& events);
    // Gives up an incomplete frame whose last byte came a gap or more before `now`.
    void Expire(Micros now, std::vector<ReaderEvent>& events);
    // When Expire will have something to do; none while nothing is pending.
    std::optional<Micros> ExpiryTime() const;
    // Forgets everything pending, silently (a restarting device).
    void Clear();
    std::size_t PendingBytes() const { return buffer_.size() + noise_.size(); }

  private:
    enum class Candidate { NeedMore, NotHeader, Good, Bad };
    Candidate Check(std::size_t at) const;
    Frame FrameAt(std::size_t at) const;
    void Scan(std::vector<ReaderEvent>& events);
    bool SkipToLaterFrame(std::vector<ReaderEvent>& events);
    void Drop(std::size_t count, bool asNoise);
    void FlushNoise(std::vector<ReaderEvent>& events);

    std::size_t maxPayload_;
    Micros gap_;
    Micros lastByte_ = 0;
    std::vector<BYTE> buffer_;
    // Per buffered byte: a header there starts a complete frame already found bad, so the
    // look-ahead need not check its CRC again. Bytes, not bits: it grows with every byte fed.
    std::vector<BYTE> knownBad_;
    std::vector<BYTE> noise_;
    // Bytes at the front that belong to a frame already reported as bad: not noise.
    std::size_t quiet_ = 0;
};

}  // namespace tarvo::sim
