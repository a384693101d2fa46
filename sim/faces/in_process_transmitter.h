// The simulated transmitter on one end of an in-memory serial line, served by a platform thread
// on the process clock (so, under a ScopedVirtualClock, in virtual time).
//
//   tarvo::host::ScopedVirtualClock clock(TTime(2024, 3, 1, 11, 59, 0));
//   tarvo::sim::InProcessTransmitter corvane(L"COM3:");
//   ... the module opens "COM3:" and talks to it ...
//   corvane.With([](tarvo::sim::Transmitter& t) { return t.Downlink(); });
//
// Destroy it before the clock. All methods may be called from any thread.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/serial/serial_ports.h"
#include "platform/sync.h"
#include "sim/faces/host_time_source.h"
#include "sim/model/transmitter.h"

namespace tarvo::sim {

class InProcessTransmitter {
  public:
    // Maps `portName` (such as L"COM3:") to a new in-memory line and serves its far end. The
    // mapping is removed again on destruction.
    explicit InProcessTransmitter(std::wstring portName, TransmitterOptions options = {},
                                  bool modelLineSpeed = true);
    // Serves the far end of a line mapped elsewhere.
    explicit InProcessTransmitter(std::shared_ptr<host::SerialPeer> peer,
                                  TransmitterOptions options = {});
    ~InProcessTransmitter();
    InProcessTransmitter(const InProcessTransmitter&) = delete;
    InProcessTransmitter& operator=(const InProcessTransmitter&) = delete;

    // Ends the serving thread; the device stays inspectable. Idempotent.
    void Stop();

    // Runs `f(Transmitter&)` under the device's lock and returns its result by value; the serving
    // thread then re-plans its next wake, so changes to faults, clock or timing take effect at
    // once.
    template <typename F>
    auto With(F&& f) {
        using Result = std::invoke_result_t<F, Transmitter&>;
        if constexpr (std::is_void_v<Result>) {
            {
                std::lock_guard lock(mutex_);
                std::forward<F>(f)(*device_);
            }
            Nudge();
        } else {
            std::remove_cvref_t<Result> result = [&] {
                std::lock_guard lock(mutex_);
                return std::remove_cvref_t<Result>(std::forward<F>(f)(*device_));
            }();
            Nudge();
            return result;
        }
    }

    // Shorthands for the common looks and knobs.
    std::vector<TranscriptEntry> Transcript();
    std::vector<DownlinkEntry> Downlink();
    ConfigStore Config();
    Counters Counts();
    void InjectFault(const Fault& fault);
    void ClearFaults();
    void SetClockOffset(std::int64_t offsetMs);
    void SetClockDrift(double ppm);
    void SetClockValid(bool valid);
    void SetResetSilence(DWORD ms);

    host::SerialPeer& Peer() { return *peer_; }

  private:
    void Start();
    void Serve();
    void Nudge();

    std::wstring mappedName_;
    std::shared_ptr<host::SerialPeer> peer_;
    HostTimeSource time_;
    std::mutex mutex_;
    std::unique_ptr<Transmitter> device_;
    std::atomic<bool> stop_{false};
    std::unique_ptr<TThread> thread_;
};

}  // namespace tarvo::sim
