// The packet link's own cost: CRC throughput, and the CPU one exchange takes apart from its
// deliberate waits. Exchanges run on the virtual clock, so the reply poll, the quiet time and
// the 1500 ms wake cost no real time; what is measured is framing, CRC, the in-memory line and
// the thread hand-offs to a minimal echoing peer.
#include <benchmark/benchmark.h>

#include <atomic>
#include <memory>
#include <vector>

#include "corvane/link/crc16.h"
#include "corvane/link/packet_comm.h"
#include "corvane/link/session.h"
#include "host/clock/clock.h"
#include "host/log/report_sinks.h"
#include "host/serial/serial_ports.h"
#include "platform/sync.h"

namespace {

std::vector<BYTE> Pattern(std::size_t size) {
    std::vector<BYTE> data(size);
    for (std::size_t i = 0; i < size; ++i) {
        data[i] = static_cast<BYTE>(i * 131 + 7);
    }
    return data;
}

void BM_Crc16Table(benchmark::State& state) {
    const auto data = Pattern(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(corvane::Crc16Of(data.data(), data.size()));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_Crc16Table)->Arg(8)->Arg(256)->Arg(4096);

// Answers every request frame with an empty reply of the same type; knows the layout only.
class EchoPeer {
  public:
    explicit EchoPeer(std::shared_ptr<tarvo::host::SerialPeer> line)
        : line_(std::move(line)), thread_([this] { Run(); }, "echo peer") {}
    ~EchoPeer() {
        stop_ = true;
        line_->Wake();
        thread_.Join();
    }

  private:
    void Run() {
        std::vector<BYTE> buffer;
        BYTE chunk[512];
        while (!stop_) {
            const std::size_t n = line_->Read(chunk, sizeof chunk, INFINITE);
            buffer.insert(buffer.end(), chunk, chunk + n);
            while (buffer.size() >= 8) {
                const std::size_t length = (std::size_t{buffer[4]} << 8) | buffer[5];
                if (buffer.size() < 8 + length) {
                    break;
                }
                BYTE reply[8] = {0x55, buffer[1], buffer[2], buffer[3], 0, 0, 0, 0};
                const WORD crc = corvane::Crc16Of(reply, 6);
                reply[6] = static_cast<BYTE>(crc >> 8);
                reply[7] = static_cast<BYTE>(crc);
                line_->Write(reply, sizeof reply);
                buffer.erase(buffer.begin(),
                             buffer.begin() + static_cast<std::ptrdiff_t>(8 + length));
            }
        }
    }

    std::shared_ptr<tarvo::host::SerialPeer> line_;
    std::atomic<bool> stop_{false};
    TThread thread_;
};

// One Send of a 100-byte request and its reply; range(0): 1 models the 9600 baud line.
void BM_SendOnVirtualClock(benchmark::State& state) {
    tarvo::host::SetStderrLevel(TReportLevel::Warning, false);
    tarvo::host::ScopedVirtualClock clock(TTime(2024, 1, 1, 0, 0, 0));
    auto line = tarvo::host::MapPortToMemory(L"COM2:", state.range(0) != 0);
    {
        EchoPeer peer(line);
        CPacketComm link;
        if (!link.OpenLinkPort(L"COM2:")) {
            state.SkipWithError("port did not open");
            return;
        }
        CPacket request(216);
        const auto payload = Pattern(100);
        request.SetBytes(payload.data(), payload.size());
        CPacket reply;
        const auto startJumps = clock.Jumps();
        const auto startMicros = tarvo::host::NowMicros();
        for (auto _ : state) {
            if (!link.Send(request, reply, INFINITE)) {
                state.SkipWithError("send failed");
                break;
            }
        }
        const double n = static_cast<double>(state.iterations());
        state.counters["virtual_ms"] =
            static_cast<double>(tarvo::host::NowMicros() - startMicros) / 1000.0 / n;
        state.counters["clock_jumps"] = static_cast<double>(clock.Jumps() - startJumps) / n;
    }
    tarvo::host::ClearPortMap();
}
BENCHMARK(BM_SendOnVirtualClock)->Arg(0)->Arg(1)->MeasureProcessCPUTime()->UseRealTime();

// One whole session exchange: lock, open, 1500 ms wake, Send, close.
void BM_ExchangeOnVirtualClock(benchmark::State& state) {
    tarvo::host::SetStderrLevel(TReportLevel::Warning, false);
    tarvo::host::ScopedVirtualClock clock(TTime(2024, 1, 1, 0, 0, 0));
    auto line = tarvo::host::MapPortToMemory(L"COM2:", state.range(0) != 0);
    {
        EchoPeer peer(line);
        CPacketComm link;
        TSemaphore sessionLock;
        TEvent stop(true, false, "bench stop");
        const corvane::SessionContext session{link, sessionLock, 0, stop};
        CPacket request(4);
        CPacket reply;
        const auto startMicros = tarvo::host::NowMicros();
        for (auto _ : state) {
            if (!corvane::Exchange(session, request, reply, corvane::DeadTime::Skip, INFINITE)) {
                state.SkipWithError("exchange failed");
                break;
            }
        }
        state.counters["virtual_ms"] = static_cast<double>(tarvo::host::NowMicros() - startMicros) /
                                       1000.0 / static_cast<double>(state.iterations());
    }
    tarvo::host::ClearPortMap();
}
BENCHMARK(BM_ExchangeOnVirtualClock)->Arg(0)->Arg(1)->MeasureProcessCPUTime()->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
