// A stand-in transmitter for link tests, and their fixture: a platform thread on the far end of an
// in-memory serial line that parses request frames and answers each one as the test scripted it.
// Written from the frame layout alone (its own bitwise CRC, its own parser), sharing nothing with
// link/, so that a mistake there cannot hide by being symmetric. Header-only so that the core tests
// can use it too.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "corvane/link/support/frame_bytes.h"
#include "host/clock/clock.h"
#include "host/log/report_sinks.h"
#include "host/serial/serial_ports.h"
#include "platform/clock.h"
#include "platform/sync.h"
#include "platform/types.h"

namespace linktest {

inline Bytes TextBytes(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

// A request as the peer saw it.
struct Frame {
    Bytes raw;  // every byte since the previous frame, so that stray bytes show
    BYTE number = 0;
    WORD type = 0;
    Bytes payload;
    tarvo::host::Micros at = 0;  // clock time when its last byte had arrived
};

// What the peer sends back for one request (nothing: stay silent), after a pause of clock time.
struct Answer {
    Bytes bytes;
    DWORD delayMs = 0;
};
using Responder = std::function<Answer(const Frame&)>;

// A proper reply (inverted header, the request's number, `type`, `payload`), spoiled by
// `mangle` when one is given, sent `delayMs` after the request.
inline Responder Reply(WORD type, Bytes payload = {}, std::function<void(Bytes&)> mangle = {},
                       DWORD delayMs = 0) {
    return [=](const Frame& request) {
        Bytes frame = BuildFrame(0x55, request.number, type, payload);
        if (mangle) {
            mangle(frame);
        }
        return Answer{frame, delayMs};
    };
}
inline const Responder kSilence;

class ScriptedPeer {
  public:
    explicit ScriptedPeer(std::shared_ptr<tarvo::host::SerialPeer> line)
        : line_(std::move(line)), thread_([this] { Run(); }, "scripted peer") {}
    ~ScriptedPeer() {
        stopping_ = true;
        line_->Wake();
        thread_.Join();
    }

    // Request n (from 1) gets script[n - 1], or the script's last entry once it is used up;
    // kSilence leaves a request unanswered.
    void Script(std::vector<Responder> script) {
        std::lock_guard lock(mutex_);
        script_ = std::move(script);
    }
    std::vector<Frame> Requests() const {
        std::lock_guard lock(mutex_);
        return requests_;
    }

  private:
    void Run() {
        BYTE chunk[512];
        Bytes buffer;
        Frame frame;
        while (!stopping_.load()) {
            const std::size_t n = line_->Read(chunk, sizeof chunk, INFINITE);
            buffer.insert(buffer.end(), chunk, chunk + n);
            while (!stopping_.load() && TakeFrame(buffer, frame)) {
                const Answer answer = Respond(frame);
                if (answer.delayMs > 0) {
                    Sleep(answer.delayMs);
                }
                if (!answer.bytes.empty()) {
                    line_->Write(answer.bytes.data(), answer.bytes.size());
                }
            }
        }
    }

    // Takes the first complete frame, with any bytes before its header, off `buffer`.
    static bool TakeFrame(Bytes& buffer, Frame& frame) {
        const auto start = static_cast<std::size_t>(
            std::find(buffer.begin(), buffer.end(), BYTE{0xAA}) - buffer.begin());
        if (buffer.size() < start + 6) {
            return false;
        }
        const std::size_t end =
            start + 8 + ((std::size_t{buffer[start + 4]} << 8) | buffer[start + 5]);
        if (buffer.size() < end) {
            return false;
        }
        const auto at = [&](std::size_t i) {
            return buffer.begin() + static_cast<std::ptrdiff_t>(i);
        };
        frame.raw.assign(buffer.begin(), at(end));
        frame.number = buffer[start + 1];
        frame.type = static_cast<WORD>((buffer[start + 2] << 8) | buffer[start + 3]);
        frame.payload.assign(at(start + 6), at(end - 2));
        buffer.erase(buffer.begin(), at(end));
        frame.at = tarvo::host::NowMicros();
        return true;
    }

    Answer Respond(const Frame& frame) {
        Responder responder;
        {
            std::lock_guard lock(mutex_);
            requests_.push_back(frame);
            if (!script_.empty()) {
                responder = script_[std::min(requests_.size(), script_.size()) - 1];
            }
        }
        return responder ? responder(frame) : Answer{};
    }

    std::shared_ptr<tarvo::host::SerialPeer> line_;
    mutable std::mutex mutex_;
    std::vector<Responder> script_;
    std::vector<Frame> requests_;
    std::atomic<bool> stopping_{false};
    TThread thread_;  // last: it starts running at construction
};

// A virtual clock, a log capture and COM2: mapped to an in-memory line with a scripted peer on
// its far end; the port map is cleared after.
class PeerTest : public ::testing::Test {
  protected:
    ~PeerTest() override {
        peer_.reset();
        tarvo::host::ClearPortMap();
    }
    // A fresh line on COM2:, at 9600 baud in clock time when `lineSpeed`.
    void Attach(bool lineSpeed) {
        peer_.reset();
        line_ = tarvo::host::MapPortToMemory(L"COM2:", lineSpeed);
        peer_ = std::make_unique<ScriptedPeer>(line_);
    }
    static double MsSince(tarvo::host::Micros start) {
        return static_cast<double>(tarvo::host::NowMicros() - start) / 1000.0;
    }

    tarvo::host::ScopedVirtualClock clock_{TTime(2024, 6, 1, 12, 0, 0)};
    tarvo::host::LogCapture log_;
    std::shared_ptr<tarvo::host::SerialPeer> line_ = tarvo::host::MapPortToMemory(L"COM2:", false);
    std::unique_ptr<ScriptedPeer> peer_ = std::make_unique<ScriptedPeer>(line_);
};

}  // namespace linktest
