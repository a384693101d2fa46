// A stand-in transmitter for link tests: a platform thread on the far end of an in-memory serial
// line that parses request frames and answers each one as the test scripted it. Written from
// the frame layout alone (its own bitwise CRC, its own parser), sharing nothing with link/, so
// that a mistake there cannot hide by being symmetric. Header-only so that every test area can
// use it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/clock.h"
#include "host/serial_ports.h"
#include "platform/clock.h"
#include "platform/sync.h"
#include "platform/types.h"

namespace linktest {

using Bytes = std::vector<BYTE>;

// CRC-16 with polynomial 0x1021, register from 0, bit by bit, no augmentation: the plain
// definition the link's table-driven augmented form must agree with.
inline WORD ReferenceCrc(const BYTE* data, std::size_t count) {
    WORD crc = 0;
    for (std::size_t i = 0; i < count; ++i) {
        crc ^= static_cast<WORD>(data[i] << 8);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x8000) ? static_cast<WORD>((crc << 1) ^ 0x1021)
                                 : static_cast<WORD>(crc << 1);
        }
    }
    return crc;
}
inline WORD ReferenceCrc(const Bytes& data) {
    return ReferenceCrc(data.data(), data.size());
}

// A whole frame: header, number, type, length, payload, CRC (high byte first).
inline Bytes BuildFrame(BYTE header, BYTE number, WORD type, const Bytes& payload) {
    Bytes frame = {header,
                   number,
                   static_cast<BYTE>(type >> 8),
                   static_cast<BYTE>(type),
                   static_cast<BYTE>(payload.size() >> 8),
                   static_cast<BYTE>(payload.size())};
    frame.insert(frame.end(), payload.begin(), payload.end());
    const WORD crc = ReferenceCrc(frame);
    frame.push_back(static_cast<BYTE>(crc >> 8));
    frame.push_back(static_cast<BYTE>(crc));
    return frame;
}

inline Bytes TextBytes(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

// A request as the peer saw it.
struct Frame {
    Bytes raw;  // every byte of the frame as it came
    BYTE number = 0;
    WORD type = 0;
    Bytes payload;
    bool crcGood = false;
    tarvo::host::Micros at = 0;  // clock time when its last byte had arrived
};

// What the peer sends back for one request, after an optional pause of clock time.
struct Answer {
    Bytes bytes;  // nothing: stay silent
    DWORD delayMs = 0;
};
using Responder = std::function<Answer(const Frame&)>;

// A proper reply: inverted header, the request's number, `type`, `payload`.
inline Responder Reply(WORD type, Bytes payload = {}) {
    return [type, payload](const Frame& request) {
        return Answer{BuildFrame(0x55, request.number, type, payload)};
    };
}
// A proper reply echoing the request's type with an empty payload.
inline Responder Echo() {
    return [](const Frame& request) {
        return Answer{BuildFrame(0x55, request.number, request.type, {})};
    };
}
inline Responder Silence() {
    return [](const Frame&) { return Answer{}; };
}
// A reply that a test spoils: `mangle` gets the proper reply to the request and returns the
// bytes to send.
inline Responder Mangled(WORD type, Bytes payload,
                         std::function<Bytes(Bytes, const Frame&)> mangle) {
    return [type, payload, mangle](const Frame& request) {
        return Answer{mangle(BuildFrame(0x55, request.number, type, payload), request)};
    };
}

class ScriptedPeer {
  public:
    explicit ScriptedPeer(std::shared_ptr<tarvo::host::SerialPeer> line)
        : line_(std::move(line)), thread_([this] { Run(); }, "scripted peer") {}

    ~ScriptedPeer() { Stop(); }

    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    // The next request not yet answered gets `responder`; once the script is used up, requests
    // get the fallback.
    void Then(Responder responder) {
        std::lock_guard lock(mutex_);
        script_.push_back(std::move(responder));
    }
    void Then(int times, const Responder& responder) {
        for (int i = 0; i < times; ++i) {
            Then(responder);
        }
    }
    void Otherwise(Responder responder) {
        std::lock_guard lock(mutex_);
        fallback_ = std::move(responder);
    }

    std::vector<Frame> Requests() const {
        std::lock_guard lock(mutex_);
        return requests_;
    }
    // Bytes that came before a frame header and belonged to no frame.
    std::size_t StrayBytes() const {
        std::lock_guard lock(mutex_);
        return stray_;
    }

    void Stop() {
        if (!stopping_.exchange(true)) {
            line_->Wake();
            thread_.Join();
        }
    }

  private:
    void Run() {
        BYTE chunk[512];
        while (!stopping_.load()) {
            const std::size_t n = line_->Read(chunk, sizeof chunk, INFINITE);
            if (stopping_.load()) {
                break;
            }
            buffer_.insert(buffer_.end(), chunk, chunk + n);
            while (auto frame = TakeFrame()) {
                Answer answer = Record(*frame);
                if (answer.delayMs > 0) {
                    Sleep(answer.delayMs);
                }
                if (!answer.bytes.empty()) {
                    line_->Write(answer.bytes.data(), answer.bytes.size());
                }
            }
        }
    }

    // The first complete frame in the buffer, bytes before its header dropped.
    std::unique_ptr<Frame> TakeFrame() {
        std::size_t start = 0;
        while (start < buffer_.size() && buffer_[start] != 0xAA) {
            ++start;
        }
        if (start > 0) {
            std::lock_guard lock(mutex_);
            stray_ += start;
            buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(start));
        }
        if (buffer_.size() < 6) {
            return nullptr;
        }
        const std::size_t length = (std::size_t{buffer_[4]} << 8) | buffer_[5];
        if (buffer_.size() < 8 + length) {
            return nullptr;
        }
        auto frame = std::make_unique<Frame>();
        frame->raw.assign(buffer_.begin(),
                          buffer_.begin() + static_cast<std::ptrdiff_t>(8 + length));
        buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(8 + length));
        frame->number = frame->raw[1];
        frame->type = static_cast<WORD>((frame->raw[2] << 8) | frame->raw[3]);
        frame->payload.assign(frame->raw.begin() + 6,
                              frame->raw.begin() + static_cast<std::ptrdiff_t>(6 + length));
        const WORD crc = ReferenceCrc(frame->raw.data(), 6 + length);
        frame->crcGood =
            frame->raw[6 + length] == (crc >> 8) && frame->raw[7 + length] == (crc & 0xFF);
        frame->at = tarvo::host::NowMicros();
        return frame;
    }

    Answer Record(const Frame& frame) {
        Responder responder;
        {
            std::lock_guard lock(mutex_);
            requests_.push_back(frame);
            if (!script_.empty()) {
                responder = std::move(script_.front());
                script_.pop_front();
            } else {
                responder = fallback_;
            }
        }
        return responder ? responder(frame) : Answer{};
    }

    std::shared_ptr<tarvo::host::SerialPeer> line_;
    mutable std::mutex mutex_;
    std::deque<Responder> script_;
    Responder fallback_;
    std::vector<Frame> requests_;
    std::size_t stray_ = 0;
    Bytes buffer_;
    std::atomic<bool> stopping_{false};
    TThread thread_;  // last: it starts running at construction
};

}  // namespace linktest
