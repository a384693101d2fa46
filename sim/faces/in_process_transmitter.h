// The simulated transmitter on one end of an in-memory serial line, on the process clock (so,
// under a ScopedVirtualClock, in virtual time). It keeps no thread: it replays, in order, each
// instant at which a serving thread would have woken (a byte's arrival, the device's next wake
// rounded up to whole milliseconds from the last turn, a With call) whenever the port side looks,
// the logger's clock is about to be set, or With is called. The bytes and their moments are
// those of a serving thread, without two thread switches per exchange.
//
//   tarvo::host::ScopedVirtualClock clock(TTime(2024, 3, 1, 11, 59, 0));
//   tarvo::sim::InProcessTransmitter corvane(L"COM3:");
//   ... the module opens "COM3:" and talks to it ...
//   corvane.With([](tarvo::sim::Transmitter& t) { return t.Downlink(); });
//
// Destroy it before the clock. All methods may be called from any thread, except from inside a
// With function or a record callback (they run under the device's lock, which is not
// recursive, and so does the catch-up before a clock set); the device's lock is taken before
// the line's.
#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/serial/serial_ports.h"
#include "sim/faces/host_time_source.h"
#include "sim/model/transmitter.h"

namespace tarvo::sim {

class InProcessTransmitter : private host::PassivePeer {
  public:
    // Maps `portName` (such as L"COM3:") to a new in-memory line and serves its far end. The
    // mapping is removed again on destruction.
    explicit InProcessTransmitter(std::wstring portName, TransmitterOptions options = {},
                                  bool modelLineSpeed = true);
    // Serves the far end of a line mapped elsewhere.
    explicit InProcessTransmitter(std::shared_ptr<host::SerialPeer> peer,
                                  TransmitterOptions options = {});
    ~InProcessTransmitter() override;
    InProcessTransmitter(const InProcessTransmitter&) = delete;
    InProcessTransmitter& operator=(const InProcessTransmitter&) = delete;

    // Brings the device up to now and stops serving the line; the device stays inspectable.
    // Idempotent.
    void Stop();

    // Runs `f(Transmitter&)` under the device's lock, after bringing the device up to now, and
    // returns its result by value; the device then re-plans its next wake, so changes to
    // faults, clock or timing take effect at once.
    template <typename F>
    auto With(F&& f) {
        using Result = std::invoke_result_t<F, Transmitter&>;
        std::lock_guard lock(mutex_);
        const Micros now = BringUpToNow();
        if constexpr (std::is_void_v<Result>) {
            std::forward<F>(f)(*device_);
            Replan(now);
        } else {
            std::remove_cvref_t<Result> result(std::forward<F>(f)(*device_));
            Replan(now);
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

    // host::PassivePeer, called by the line with the device's lock not held.
    void CatchUp() override;
    Micros NextEvent() override;

    // The rest with mutex_ held. Replays every due instant up to now (none once stopped) and
    // returns now.
    Micros BringUpToNow();
    // One turn of the serving loop at `at`: the device acts, its output leaves, and the next
    // wake is planned in whole milliseconds from `at`, as a timed read would round it.
    void Turn(Micros at);
    // The rest of a turn, with time pinned to `at` and the device having acted.
    void Deliver(Micros at);
    // A turn at `at` unless stopped, after a change from outside.
    void Replan(Micros at);
    Micros NextEventLocked() const;

    std::wstring mappedName_;
    std::shared_ptr<host::SerialPeer> peer_;
    HostTimeSource time_;
    std::mutex mutex_;
    std::unique_ptr<Transmitter> device_;
    std::array<BYTE, 4096> buffer_;
    std::vector<BYTE> out_;       // the device's due output, one buffer for every turn
    std::optional<Micros> wake_;  // when the serving loop's wait would next time out
    bool stopped_ = false;
    int clockSetSubscription_ = 0;
};

}  // namespace tarvo::sim
