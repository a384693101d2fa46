// The packet link: carries one request to the transmitter over the serial port and brings back
// its reply, framed, CRC-checked, matched by packet number, waited for and retried. It knows
// nothing of what packets mean, nor of when the port is opened (the session does that).
#pragma once

#include <atomic>
#include <string>

#include "corvane/link/packet.h"
#include "platform/serial.h"
#include "platform/sync.h"
#include "platform/types.h"

class CPacketComm {
  public:
    static constexpr BYTE kHeader = 0xAA;
    static constexpr DWORD kInterCharTimeoutMs = 100;
    static constexpr DWORD kReplyWaitMs = 2000;
    static constexpr DWORD kQuietTimeMs = 110;
    static constexpr int kAttempts = 3;

    CPacketComm();
    virtual ~CPacketComm();
    CPacketComm(const CPacketComm&) = delete;
    CPacketComm& operator=(const CPacketComm&) = delete;

    // Closes the port if it was left open, names it, applies 9600 8N1 and the link's time-outs,
    // opens. True when open. Logs nothing itself (the session reports).
    bool OpenLinkPort(const std::wstring& name);
    // True when the port closed.
    bool CloseLinkPort();
    bool IsPortOpen() const { return port_.IsOpen(); }

    // One request and its reply, up to three attempts under one packet number. Waits at most
    // `lockWait` ms for the send lock (INFINITE: no limit); without the lock it fails at once and
    // the packet number stays. True when a valid reply arrived; `reply` then holds it.
    bool Send(const CPacket& request, CPacket& reply, DWORD lockWait);
    // One attempt, no lock, with the current packet number: the quiet time after an error, the
    // request, and the wait for the reply (polled every twentieth of the reply wait).
    bool SendOnce(const CPacket& request, CPacket& reply);
    // Puts one request frame on the wire.
    bool SendPacket(const CPacket& request);
    // Reads and checks one reply frame against the current packet number.
    bool GetPacket(CPacket& reply);
    bool PutByte(BYTE byte);
    bool GetByte(BYTE& byte);

    // Number of the last request (advanced once per Send, modulo 256).
    BYTE GetPacketNumber() const { return packetNumber_.load(); }
    // Send calls that failed after all attempts, since construction.
    DWORD GetFailureCount() const { return failureCount_.load(); }

    // Traces every frame and every send at Debug level; off by default because it is costly and
    // silent in normal operation.
    void SetFrameTrace(bool on) { frameTrace_ = on; }

  private:
    void MarkLinkError();

    CSerialComm port_;
    const BYTE header_ = kHeader;
    std::atomic<BYTE> packetNumber_{0};
    const DWORD interCharTimeout_ = kInterCharTimeoutMs;
    const DWORD replyWait_ = kReplyWaitMs;
    const DWORD quietTime_ = kQuietTimeMs;
    bool errorPending_ = false;
    DWORD errorTime_ = 0;
    TSemaphore sendLock_{1, 1, "corvane send lock"};
    std::atomic<DWORD> failureCount_{0};
    bool frameTrace_ = false;
};
