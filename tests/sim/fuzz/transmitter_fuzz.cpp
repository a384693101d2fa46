// libFuzzer target: the transmitter model fed arbitrary bytes, interleaved with well-formed
// requests (so that the fuzzer reaches every command without having to find CRCs), time steps,
// faults and clock changes. It must never crash, and never busy-loop: waking at NextWake must
// always make progress.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "sim/model/time_source.h"
#include "sim/model/transmitter.h"
#include "sim/wire/frame.h"
#include "tests/sim/support/wake_loop.h"

using namespace tarvo::sim;

namespace {

// Codes worth reaching, so that a byte picks a known command most of the time.
constexpr WORD kCodes[] = {4,   5,   6,   7,   31,  35,  37,  40,  42,  200, 202,
                           204, 206, 208, 212, 214, 216, 217, 218, 219, 223, 225,
                           232, 236, 251, 300, 302, 304, 306, 310, 312, 313, 314,
                           318, 320, 338, 506, 600, 602, 604, 606, 770, 771, 862};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::size_t at = 0;
    const auto next = [&] { return at < size ? data[at++] : std::uint8_t{0}; };
    const auto take = [&](std::size_t count) {
        std::vector<BYTE> bytes(data + at, data + std::min(size, at + count));
        at += bytes.size();
        return bytes;
    };
    const auto request = [&](WORD type, std::vector<BYTE> payload) {
        return EncodeFrame(Frame{kRequestHeader, next(), type, std::move(payload)});
    };
    ManualTimeSource time(1'709'294'400'000);
    TransmitterOptions options;
    options.resetSilenceMs = 2'000;
    options.maxPayload = 512;
    Transmitter device(time, options);
    const auto advance = [&](std::int64_t ms) {
        simtest::AdvanceDevice(time, device, ms, [](const std::vector<BYTE>&) {});
    };

    while (at < size) {
        const std::uint8_t what = next();
        const std::uint8_t arg = next();
        switch (what % 8) {
            case 0:
            case 1:
                device.Receive(take(arg % 64));
                break;
            case 2:
            case 3: {
                const WORD type = arg < 200 ? kCodes[arg % std::size(kCodes)]
                                            : static_cast<WORD>(next() << 8 | next());
                device.Receive(request(type, take(next() % 24)));
                break;
            }
            case 4:
                advance(arg * 250LL);
                break;
            case 5: {
                Fault fault(static_cast<FaultKind>(arg % 10));
                if (arg & 0x80) {
                    fault.code = kCodes[next() % std::size(kCodes)];
                }
                fault.count = (arg & 0x40) ? kEveryTime : 1 + next() % 3;
                fault.delayMs = next() * 20u;
                device.InjectFault(fault);
                break;
            }
            case 6:
                // Clock offset and drift, validity, the load margin, the failsafe.
                if (what & 0x80) {
                    device.SetClockOffset(static_cast<std::int8_t>(arg) * 60'000LL);
                } else if (what & 0x40) {
                    device.SetClockDrift(static_cast<std::int8_t>(arg) * 1000.0);
                } else if (what & 0x20) {
                    device.SetClockValid((arg & 1) != 0);
                } else if (what & 0x10) {
                    device.SetLoadMargin(arg * 1000u);
                } else {
                    device.TripFailsafe();
                }
                break;
            case 7:
                // A plausible schedule with short intervals, so windows open and close often.
                device.Receive(request(204, {0, 0, 0, static_cast<BYTE>(arg % 60)}));
                device.Receive(request(212, {0, 0, 0, static_cast<BYTE>(next() % 30)}));
                device.Receive(request(206, {0, 0, static_cast<BYTE>(next() % 60), 0}));
                device.Receive(request(214, {next()}));
                device.Receive(request(200, {1}));
                break;
        }
        advance(0);
        (void)device.StatusText();
    }
    advance(120'000);
    return 0;
}
