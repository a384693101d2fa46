// The host's port map and its byte transports (host side; the module sees only CSerialComm).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/serial.h"
#include "platform/types.h"

namespace tarvo::host {

// One byte stream under a CSerialComm: a termios device or one end of an in-memory line. The
// protocol code above never asks which it has.
class Transport {
  public:
    virtual ~Transport() = default;
    virtual bool Configure(DWORD baud, BYTE dataBits, BYTE parity, BYTE stopBits) = 0;
    virtual bool Send(const BYTE* data, std::size_t count) = 0;
    // Reads up to `count` bytes under the read time-outs (see COMMTIMEOUTS); returns how many.
    virtual std::size_t Receive(BYTE* data, std::size_t count, const COMMTIMEOUTS& timeouts) = 0;
    virtual bool FlushInput() = 0;
    virtual std::size_t BytesWaiting() = 0;
    // Returns once every byte sent has left the line.
    virtual bool Drain() = 0;
};

// A far end that keeps no thread of its own: it acts only when the port side looks. The line
// calls CatchUp on the thread of whoever uses the port, before each of the port side's opening,
// closing, configuring, sending and reading, and a port read waits no longer than NextEvent.
// Replaying each past instant in order, the peer's bytes and moments are those a serving thread
// would have produced, without a thread switch per exchange. Called with no line lock held.
class PassivePeer {
  public:
    virtual ~PassivePeer() = default;
    // Acts on everything due up to the clock's present time.
    virtual void CatchUp() = 0;
    // Clock time (microseconds, NowMicros scale) of its next action; negative when none.
    virtual std::int64_t NextEvent() = 0;
};

// The far end of an in-memory line, for a peer such as the transmitter simulator. Line speed is
// modelled when asked: each byte takes 10 bit times at the baud the port side configured, in
// clock time, in both directions.
class SerialPeer {
  public:
    virtual ~SerialPeer() = default;
    virtual bool Write(const BYTE* data, std::size_t count) = 0;
    // Waits up to `timeoutMs` of clock time (INFINITE: no limit) for at least one byte, then
    // returns the bytes that have arrived, at most `count`; 0 on time-out or after Wake.
    virtual std::size_t Read(BYTE* data, std::size_t count, DWORD timeoutMs) = 0;
    virtual std::size_t Available() = 0;
    // Makes a pending or the next Read return at once (to stop a peer thread).
    virtual void Wake() = 0;
    // Whether the port side is open now, and the baud it configured.
    virtual bool PortIsOpen() const = 0;
    virtual DWORD Baud() const = 0;

    // Serves this end through `peer` (see PassivePeer); null detaches. Attaching or detaching
    // waits for a catch-up under way on another thread, so the peer may be destroyed once it
    // has detached.
    virtual void AttachPassive(PassivePeer* peer) = 0;
    // For a passive peer replaying the past instant `at` (clock microseconds, not later than
    // now): bytes written leave at `at`, and a take returns, without waiting, only bytes that
    // had arrived by `at`; with `nextArrival`, it also tells what NextArrival would after it.
    virtual bool WriteAt(const BYTE* data, std::size_t count, std::int64_t at) = 0;
    virtual std::size_t TakeArrivedBy(BYTE* data, std::size_t count, std::int64_t at,
                                      std::int64_t* nextArrival = nullptr) = 0;
    // Clock time (microseconds, rounded up) at which the first byte still to be taken towards
    // this end arrives (it may have arrived already); negative when none.
    virtual std::int64_t NextArrival() = 0;
};

// Maps a port name such as "COM2:" to a device path (termios; pseudo-terminals work).
void MapPortToDevice(const std::wstring& name, const std::string& devicePath);
// Maps a port name to a new in-memory line and returns its far end. Bytes written while the
// port side is closed are lost, as on a real line with nobody listening.
std::shared_ptr<SerialPeer> MapPortToMemory(const std::wstring& name, bool modelLineSpeed = true);
void UnmapPort(const std::wstring& name);
void ClearPortMap();

// The transport a name maps to, opened; null when the name maps to nothing or it cannot open.
std::unique_ptr<Transport> OpenTransport(const std::wstring& name, std::string& error);

// What went through the ports a name opened, since the process started or the last reset: for a
// runner that must tell whether the device on a port ever answered.
struct PortTraffic {
    std::uint64_t opens = 0;
    std::uint64_t failedOpens = 0;  // nothing mapped, or the device would not open
    std::uint64_t bytesSent = 0;
    std::uint64_t bytesReceived = 0;
};
PortTraffic TrafficOf(const std::wstring& name);
void ResetPortTraffic();

// Sees the bytes of the ports a name opens, from the port side: for a runner that tells a person
// which request failed and why, whether a device or a simulator is on the line. Called on the
// thread that uses the port, with no host lock held, so an observer that is read from another
// thread guards its own state.
class PortObserver {
  public:
    virtual ~PortObserver() = default;
    virtual void Opened() = 0;
    virtual void Sent(std::span<const BYTE> bytes) = 0;
    virtual void Received(std::span<const BYTE> bytes) = 0;
    // The input waiting was thrown away unread (the module does this before every request).
    virtual void Flushed() = 0;
    // A write or a drain failed: what followed never went out.
    virtual void SendFailed() = 0;
    virtual void Closed() = 0;
};
// Null stops observing. A port keeps the observer it was opened with until it closes;
// ClearPortMap forgets the observers with the mappings.
void ObservePort(const std::wstring& name, std::shared_ptr<PortObserver> observer);

}  // namespace tarvo::host
