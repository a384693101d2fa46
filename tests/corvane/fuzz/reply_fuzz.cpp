// libFuzzer target: the transmitter's replies as the device object reads them. A passive peer on
// an in-memory line answers every request with a reply made from the input; the device then
// reads it through the whole exchange (session, packet link, frame reader) and decodes it as
// the clock reading (35), the status report (4) or the window's close (219). Runs on a virtual
// clock, so the link's time-outs cost nothing.
//
// Input: one byte choosing the command (bits 0-1) and how the reply is made (bit 2), then the
// reply. Raw replies go on the wire as they are, for the frame reader; framed ones are the
// type (2 bytes) and payload wrapped in a good header, the request's number, the true length
// and a good CRC, so that the decoders see any payload.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "corvane/core/corvane.h"
#include "corvane/link/support/frame_bytes.h"
#include "corvane/shared/wide_text.h"
#include "host/clock/clock.h"
#include "host/log/report_sinks.h"
#include "host/serial/serial_ports.h"

namespace {

using Bytes = std::vector<BYTE>;

enum class Wrapping { Raw, Framed };

// Answers each whole request frame that arrives with the same reply, at once.
class ReplyingPeer : public tarvo::host::PassivePeer {
  public:
    ReplyingPeer(std::shared_ptr<tarvo::host::SerialPeer> line, Bytes reply, Wrapping wrapping)
        : line_(std::move(line)), reply_(std::move(reply)), wrapping_(wrapping) {
        line_->AttachPassive(this);
    }
    ~ReplyingPeer() override { line_->AttachPassive(nullptr); }
    ReplyingPeer(const ReplyingPeer&) = delete;
    ReplyingPeer& operator=(const ReplyingPeer&) = delete;

    void CatchUp() override {
        const tarvo::host::Micros now = tarvo::host::NowMicros();
        BYTE chunk[256];
        for (std::size_t n; (n = line_->TakeArrivedBy(chunk, sizeof chunk, now)) > 0;) {
            pending_.insert(pending_.end(), chunk, chunk + n);
        }
        // Requests come whole from the link: header, number, type, length, payload, CRC.
        while (pending_.size() >= 6) {
            const std::size_t end = 8 + (std::size_t{pending_[4]} << 8 | pending_[5]);
            if (pending_.size() < end) {
                break;
            }
            const Bytes answer = Answer(pending_[1]);
            pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(end));
            line_->WriteAt(answer.data(), answer.size(), now);
        }
    }
    tarvo::host::Micros NextEvent() override { return line_->NextArrival(); }

  private:
    Bytes Answer(BYTE number) const {
        if (wrapping_ == Wrapping::Raw) {
            return reply_;
        }
        const WORD type = static_cast<WORD>((reply_.size() > 0 ? reply_[0] : 0) << 8 |
                                            (reply_.size() > 1 ? reply_[1] : 0));
        const Bytes payload(reply_.size() < 2 ? reply_.end() : reply_.begin() + 2, reply_.end());
        return linktest::BuildFrame(0x55, number, type, payload);
    }

    std::shared_ptr<tarvo::host::SerialPeer> line_;
    const Bytes reply_;
    const Wrapping wrapping_;
    Bytes pending_;
};

// As the self-timed messenger asks for the window's close and measures the wait to it.
void AskWindowClose(CCorvane& device) {
    TTime close;
    if (device.Session().ReadWindowClose(close, {})) {
        (void)(close - TTime::GetCurrentTime()).GetTotalMilliseconds();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    // Every spoiled reply is a warning; thousands a second on standard error would drown the run.
    tarvo::host::SetStderrLevel(TReportLevel::Warning, false);
    tarvo::host::ScopedVirtualClock clock(TTime(2024, 6, 1, 12, 0, 0));
    const Wrapping wrapping = (data[0] & 4) != 0 ? Wrapping::Framed : Wrapping::Raw;
    {
        ReplyingPeer peer(tarvo::host::MapPortToMemory(L"COM2:", false),
                          Bytes(data + 1, data + size), wrapping);
        CCorvane device;
        device.Port = 0;  // COM2:
        device.SelfTimed().Settings().Enabled = true;
        switch (data[0] & 3) {
            case 0:
            case 3:
                device.SynchronizeClock();
                break;
            case 1: {
                std::wstring status;
                if (device.ReadStatus(status)) {
                    (void)corvane::ToLogText(status);
                }
                break;
            }
            case 2:
                AskWindowClose(device);
                break;
        }
    }
    tarvo::host::ClearPortMap();
    return 0;
}
