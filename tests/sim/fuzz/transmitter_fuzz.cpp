// libFuzzer target: the transmitter model fed arbitrary bytes, interleaved with well-formed
// requests (so that the fuzzer reaches every command without having to find CRCs), time steps,
// faults and clock changes. It must never crash, and never busy-loop: waking at NextWake must
// always make progress.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "sim/frame.h"
#include "sim/time_source.h"
#include "sim/transmitter.h"

using namespace tarvo::sim;

namespace {

class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    bool Empty() const { return at_ >= size_; }
    std::uint8_t Byte() { return at_ < size_ ? data_[at_++] : 0; }
    WORD Word() { return static_cast<WORD>((Byte() << 8) | Byte()); }
    std::vector<BYTE> Bytes(std::size_t count) {
        std::vector<BYTE> bytes;
        while (count-- > 0 && !Empty()) {
            bytes.push_back(Byte());
        }
        return bytes;
    }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t at_ = 0;
};

// Moves time on by `ms`, acting at every wake as a face does.
void Advance(ManualTimeSource& time, Transmitter& device, std::int64_t ms) {
    const Micros end = time.MonotonicMicros() + ms * 1000;
    for (int guard = 0;; ++guard) {
        if (guard > 1'000'000) {
            std::abort();  // a wake that never comes due is a busy loop in a face
        }
        device.Poll();
        device.TakeDueOutput();
        const auto wake = device.NextWake();
        const Micros now = time.MonotonicMicros();
        if (!wake || *wake > end) {
            time.AdvanceMicros(end - now);
            device.Poll();
            device.TakeDueOutput();
            return;
        }
        if (*wake > now) {
            time.AdvanceMicros(*wake - now);
        }
    }
}

// Codes worth reaching, so that a byte picks a known command most of the time.
constexpr WORD kCodes[] = {4,   5,   6,   7,   31,  35,  37,  40,  42,  200, 202,
                           204, 206, 208, 212, 214, 216, 217, 218, 219, 223, 225,
                           232, 236, 251, 300, 302, 304, 306, 310, 312, 313, 314,
                           318, 320, 338, 506, 600, 602, 604, 606, 770, 771, 862};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    ManualTimeSource time(1'709'294'400'000);
    TransmitterOptions options;
    options.resetSilenceMs = 2'000;
    options.maxPayload = 512;
    Transmitter device(time, options);

    while (!in.Empty()) {
        switch (in.Byte() % 8) {
            case 0:
            case 1:
                device.Receive(in.Bytes(in.Byte() % 64));
                break;
            case 2:
            case 3: {
                Frame frame;
                frame.number = in.Byte();
                const std::uint8_t pick = in.Byte();
                frame.type = pick < 200 ? kCodes[pick % std::size(kCodes)] : in.Word();
                frame.payload = in.Bytes(in.Byte() % 24);
                device.Receive(EncodeFrame(frame));
                break;
            }
            case 4:
                Advance(time, device, in.Byte() * 250LL);
                break;
            case 5: {
                const std::uint8_t kind = in.Byte();
                Fault fault(static_cast<FaultKind>(kind % 10));
                if (kind & 0x80) {
                    fault.code = kCodes[in.Byte() % std::size(kCodes)];
                }
                fault.count = (kind & 0x40) ? kEveryTime : 1 + in.Byte() % 3;
                fault.delayMs = in.Byte() * 20u;
                device.InjectFault(fault);
                break;
            }
            case 6: {
                const std::uint8_t what = in.Byte();
                switch (what % 5) {
                    case 0:
                        device.SetClockOffset((static_cast<std::int8_t>(in.Byte())) * 60'000LL);
                        break;
                    case 1:
                        device.SetClockDrift(static_cast<std::int8_t>(in.Byte()) * 1000.0);
                        break;
                    case 2:
                        device.SetClockValid((what & 0x10) != 0);
                        break;
                    case 3:
                        device.SetLoadMargin(in.Byte() * 1000u);
                        break;
                    case 4:
                        device.TripFailsafe();
                        break;
                }
                break;
            }
            case 7: {
                // A plausible schedule with short intervals, so windows open and close often.
                const BYTE interval = static_cast<BYTE>(in.Byte() % 60);
                const BYTE window = static_cast<BYTE>(in.Byte() % 30);
                const BYTE minute = static_cast<BYTE>(in.Byte() % 60);
                const BYTE second = static_cast<BYTE>(in.Byte() % 60);
                const std::pair<WORD, std::vector<BYTE>> writes[] = {
                    {204, {0, 0, 0, interval}},
                    {212, {0, 0, 0, window}},
                    {206, {0, 0, minute, second}},
                    {214, {in.Byte()}},
                    {200, {1}},
                };
                for (const auto& [type, payload] : writes) {
                    device.Receive(EncodeFrame(Frame{kRequestHeader, in.Byte(), type, payload}));
                }
                break;
            }
        }
        device.Poll();
        device.TakeDueOutput();
        (void)device.StatusText();
    }
    Advance(time, device, 120'000);
    return 0;
}
