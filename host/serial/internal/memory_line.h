// An in-memory serial line (host side, internal): the port side is a Transport under a
// CSerialComm, the far side a SerialPeer. Times are clock times, so under the virtual clock a
// modelled line costs exactly the virtual time a real one would.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <mutex>
#include <string>

#include "host/clock/clock.h"
#include "host/serial/serial_ports.h"
#include "platform/sync.h"

namespace tarvo::host {

class MemoryLine : public SerialPeer {
  public:
    MemoryLine(const std::wstring& name, bool modelLineSpeed);

    // The port side. Only one port may be open on a line; false when it already is.
    bool OpenPort();
    void ClosePort();
    bool ConfigurePort(DWORD baud, BYTE dataBits, BYTE parity, BYTE stopBits);
    bool PortSend(const BYTE* data, std::size_t count);
    std::size_t PortReceive(BYTE* data, std::size_t count, const COMMTIMEOUTS& timeouts);
    void PortFlushInput();
    std::size_t PortBytesWaiting();
    // Returns once the last byte the port sent has reached the peer.
    void PortDrain();

    // SerialPeer
    bool Write(const BYTE* data, std::size_t count) override;
    std::size_t Read(BYTE* data, std::size_t count, DWORD timeoutMs) override;
    std::size_t Available() override;
    void Wake() override;
    bool PortIsOpen() const override;
    DWORD Baud() const override;
    void AttachPassive(PassivePeer* peer) override;
    bool WriteAt(const BYTE* data, std::size_t count, Micros at) override;
    std::size_t TakeArrivedBy(BYTE* data, std::size_t count, Micros at,
                              Micros* nextArrival = nullptr) override;
    Micros NextArrival() override;

  private:
    using Nanos = std::int64_t;

    struct Timed {
        BYTE byte;
        Nanos arrival;
    };
    // One direction of the line. Bytes are queued with the clock time at which their last bit
    // arrives; a byte is readable from then on.
    struct Direction {
        explicit Direction(const std::string& eventName) : arrived(false, false, eventName) {}
        std::deque<Timed> bytes;
        Nanos lineFree = 0;  // when the line finishes the last byte queued
        TEvent arrived;      // set whenever bytes are queued (or a reader must look again)
    };
    class Source;

    void Queue(Direction& direction, const BYTE* data, std::size_t count, Nanos now);
    std::size_t TakeArrived(Direction& direction, BYTE* data, std::size_t count, Nanos now);
    std::size_t CountArrived(const Direction& direction, Nanos now) const;
    // Clock time (µs, rounded up) at which the first byte queued arrives; negative when none.
    static Micros FirstArrival(const Direction& direction);
    // Clock time (µs, rounded up) of the next byte still on its way; negative when none.
    Micros NextPendingArrival(const Direction& direction) const;
    // A passive peer's catch-up and next action (none when no peer is attached).
    void CatchUpPeer();
    Micros PeerNextEvent();
    static Nanos NowNanos() { return NowMicros() * 1000; }
    static Micros CeilMicros(Nanos ns) { return (ns + 999) / 1000; }

    const bool modelLineSpeed_;
    // Held across a passive peer's calls, never with mutex_, so that it can write to the line.
    std::mutex passiveMutex_;
    PassivePeer* passive_ = nullptr;
    // The instant of the last catch-up: another at the same instant finds nothing to do, since
    // what the peer does at an instant it does at once, and bytes sent now arrive later (on a
    // line without line speed they arrive at once, so sending clears this).
    std::atomic<Micros> caughtUpAt_{std::numeric_limits<Micros>::min()};
    mutable std::mutex mutex_;
    bool portOpen_ = false;
    bool wake_ = false;
    int peerReaders_ = 0;  // peer threads inside Read: only they need toPeer_.arrived set
    DWORD baud_ = 9600;
    Nanos byteTime_;  // 10 bit times at 9600 baud until configured
    Direction toPeer_;
    Direction toPort_;
};

// Opens the port side of `line` as the transport of a CSerialComm; closing is destroying it.
// Null with `error` set when the port side is already open.
std::unique_ptr<Transport> OpenMemoryPort(const std::shared_ptr<MemoryLine>& line,
                                          std::string& error);

}  // namespace tarvo::host
