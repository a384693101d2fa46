// One virtual exchange end to end, as the self-timed messenger makes 98 % of a station-year's
// exchanges: the session's request (lock, open, 1500 ms wake, send, reply, close) through the
// in-process simulator on the virtual clock, with the 9600 baud line modelled. The simulator is
// running a self-timed schedule, so its window planning is on the path as it is in a run. What
// is measured is CPU per exchange; the virtual time it takes is a counter beside it.
#include <benchmark/benchmark.h>

#include "corvane/link/packet_comm.h"
#include "corvane/link/session.h"
#include "host/clock/clock.h"
#include "host/log/report_sinks.h"
#include "host/serial/serial_ports.h"
#include "platform/sync.h"
#include "sim/faces/in_process_transmitter.h"

namespace {

// A transmitter after a recording start: self-timed on, hourly windows of a minute, running.
// True when the simulator serves a window afterwards.
bool StartSchedule(tarvo::sim::InProcessTransmitter& corvane,
                   const corvane::SessionContext& session) {
    const auto send = [&session](CPacket request) {
        CPacket reply;
        return corvane::Exchange(session, request, reply, corvane::DeadTime::Skip, INFINITE);
    };
    CPacket channel(202);
    channel.AppendWord(17);
    CPacket interval(204);
    interval.AppendTimeSpan(3600);
    CPacket window(212);
    window.AppendTimeSpan(60);
    CPacket on(200);
    on.AppendBool(true);
    return send(channel) && send(interval) && send(window) && send(on) && send(CPacket(770)) &&
           corvane.With([](tarvo::sim::Transmitter& t) { return t.ServedWindow().has_value(); });
}

// range(0): the request's type code (219 window close, 31 device time, 35 seconds since 1970).
void BM_MessengerExchange(benchmark::State& state) {
    tarvo::host::SetStderrLevel(TReportLevel::Warning, false);
    tarvo::host::ScopedVirtualClock clock(TTime(2026, 3, 1, 0, 0, 0));
    {
        tarvo::sim::TransmitterOptions options;
        options.keepRecords = false;
        tarvo::sim::InProcessTransmitter corvane(L"COM2:", std::move(options));
        CPacketComm link;
        TSemaphore sessionLock;
        TEvent stop(true, false, "bench stop");
        const corvane::SessionContext session{link, sessionLock, 0, stop};
        if (!StartSchedule(corvane, session)) {
            state.SkipWithError("the simulator serves no self-timed window");
            return;
        }
        const CPacket request(static_cast<WORD>(state.range(0)));
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
BENCHMARK(BM_MessengerExchange)
    ->ArgName("code")
    ->Arg(219)
    ->Arg(31)
    ->Arg(35)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
