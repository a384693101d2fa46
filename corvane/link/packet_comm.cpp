#include "corvane/link/packet_comm.h"

#include <cstdio>
#include <vector>

#include "corvane/link/crc16.h"
#include "platform/clock.h"
#include "platform/report.h"

namespace {

std::string HexDump(const std::vector<BYTE>& bytes) {
    std::string text;
    char cell[4];
    for (BYTE b : bytes) {
        std::snprintf(cell, sizeof cell, "%02X ", b);
        text += cell;
    }
    if (!text.empty()) {
        text.pop_back();
    }
    return text;
}

}  // namespace

CPacketComm::CPacketComm() = default;

CPacketComm::~CPacketComm() {
    if (port_.IsOpen()) {
        port_.Close();
    }
}

bool CPacketComm::OpenLinkPort(const std::wstring& name) {
    if (port_.IsOpen()) {
        port_.Close();
    }
    port_.SetPortName(name);
    // 9600 baud, 8 data bits, no parity, no flow control, one stop bit: the transmitter's
    // serial settings.
    if (!port_.SetConfiguration(9600, 8, 0, 0, 1)) {
        return false;
    }
    const COMMTIMEOUTS timeouts{
        .ReadIntervalTimeout = interCharTimeout_,
        .ReadTotalTimeoutMultiplier = 0,
        .ReadTotalTimeoutConstant = 0,
        .WriteTotalTimeoutMultiplier = 10,
        .WriteTotalTimeoutConstant = 100,
    };
    if (!port_.SetTimeouts(timeouts)) {
        return false;
    }
    return port_.Open();
}

bool CPacketComm::CloseLinkPort() {
    return port_.Close();
}

void CPacketComm::MarkLinkError() {
    errorPending_ = true;
    errorTime_ = GetTickCount();
}

bool CPacketComm::PutByte(BYTE byte) {
    if (port_.PutByte(byte)) {
        return true;
    }
    TReport::Debug("PutByte: failed.");
    MarkLinkError();
    return false;
}

bool CPacketComm::GetByte(BYTE& byte) {
    if (port_.GetByte(byte)) {
        return true;
    }
    TReport::Debug("GetByte: failed.");
    MarkLinkError();
    return false;
}

bool CPacketComm::SendPacket(const CPacket& request) {
    port_.FlushInput();

    const BYTE number = packetNumber_.load();
    const WORD type = request.GetType();
    const WORD length = request.GetLength();
    const BYTE head[6] = {header_,
                          number,
                          static_cast<BYTE>(type >> 8),
                          static_cast<BYTE>(type),
                          static_cast<BYTE>(length >> 8),
                          static_cast<BYTE>(length)};

    std::vector<BYTE> traced;
    WORD crc = 0;
    auto put = [&](BYTE b) {
        crc = corvane::Crc16Step(crc, b);
        if (frameTrace_) {
            traced.push_back(b);
        }
        return PutByte(b);
    };
    for (BYTE b : head) {
        if (!put(b)) {
            return false;
        }
    }
    for (BYTE b : request.Payload()) {
        if (!put(b)) {
            return false;
        }
    }
    // The augmented register yields the CRC only after two zero bytes that are not sent.
    crc = corvane::Crc16Step(crc, 0);
    crc = corvane::Crc16Step(crc, 0);
    if (!PutByte(static_cast<BYTE>(crc >> 8))) {
        return false;
    }
    if (!port_.WaitForTxEmpty(static_cast<BYTE>(crc))) {
        TReport::Debug("PutByte: failed.");
        MarkLinkError();
        return false;
    }
    if (frameTrace_) {
        traced.push_back(static_cast<BYTE>(crc >> 8));
        traced.push_back(static_cast<BYTE>(crc));
        TReport::Debug("SendPacket: %s", HexDump(traced).c_str());
    }
    return true;
}

bool CPacketComm::GetPacket(CPacket& reply) {
    std::vector<BYTE> traced;
    WORD crc = 0;
    auto get = [&](BYTE& b) {
        if (!GetByte(b)) {
            return false;
        }
        crc = corvane::Crc16Step(crc, b);
        if (frameTrace_) {
            traced.push_back(b);
        }
        return true;
    };

    const BYTE expectedHeader = static_cast<BYTE>(~header_);
    BYTE b = 0;
    if (!get(b)) {
        return false;
    }
    if (b != expectedHeader) {
        TReport::Warning(
            "GetPacket: received header not inverse of one sent. Received = 0x%2X, expected = "
            "0x%2X.",
            unsigned{b}, unsigned{expectedHeader});
        MarkLinkError();
        return false;
    }
    const BYTE number = packetNumber_.load();
    if (!get(b)) {
        return false;
    }
    if (b != number) {
        TReport::Warning(
            "GetPacket: received packet number not same as one sent. Received = 0x%2X, expected "
            "= 0x%2X.",
            unsigned{b}, unsigned{number});
        MarkLinkError();
        return false;
    }

    BYTE hi = 0;
    BYTE lo = 0;
    if (!get(hi) || !get(lo)) {
        return false;
    }
    reply.SetType(static_cast<WORD>((hi << 8) | lo));
    if (!get(hi) || !get(lo)) {
        return false;
    }
    const WORD length = static_cast<WORD>((hi << 8) | lo);

    if (length != 0) {
        std::vector<BYTE> payload(length);
        const DWORD got = port_.Get(payload.data(), length);
        crc = corvane::Crc16Feed(crc, payload.data(), got);
        if (frameTrace_) {
            traced.insert(traced.end(), payload.begin(), payload.begin() + got);
        }
        if (got != length) {
            TReport::Warning(
                "GetPacket: actual bytecount different from reported. Received = 0x%4X, expected "
                "= 0x%4X.",
                unsigned{got}, unsigned{length});
            MarkLinkError();
            return false;
        }
        reply.SetBytes(std::move(payload));
    } else {
        reply.Clear();
    }

    if (!get(hi) || !get(lo)) {
        return false;
    }
    if (frameTrace_) {
        TReport::Debug("GetPacket: %s", HexDump(traced).c_str());
    }
    if (crc != 0) {
        TReport::Warning("GetPacket: computed crc = 0x%04X, should be 0.", unsigned{crc});
        MarkLinkError();
        return false;
    }
    return true;
}

bool CPacketComm::SendOnce(const CPacket& request, CPacket& reply) {
    if (errorPending_) {
        // The transmitter needs a quiet moment after a garbled exchange before it listens again.
        const DWORD since = GetTickCount() - errorTime_;
        if (since < quietTime_) {
            Sleep(quietTime_ - since);
        }
        errorPending_ = false;
    }

    if (!SendPacket(request)) {
        return false;
    }

    // Polled rather than blocking in the port, so that the first byte's wait has its own limit
    // independent of the inter-character time-out.
    const DWORD start = GetTickCount();
    DWORD waiting = port_.NumberBytesInputBuffer();
    while (waiting == 0 && GetTickCount() - start < replyWait_) {
        Sleep(replyWait_ / 20);
        waiting = port_.NumberBytesInputBuffer();
    }
    if (waiting == 0) {
        TReport::Debug("SendOnce: Timed-out waiting for response");
        MarkLinkError();
        return false;
    }
    return GetPacket(reply);
}

bool CPacketComm::Send(const CPacket& request, CPacket& reply, DWORD lockWait) {
    TSingleLock lock(sendLock_);
    if (!lock.Lock(lockWait)) {
        return false;
    }
    const BYTE number = ++packetNumber_;
    if (frameTrace_) {
        TReport::Debug("Send: Sending packet #%d.", int{number});
    }
    bool ok = false;
    for (int attempt = 0; attempt < kAttempts && !ok; ++attempt) {
        if (attempt > 0) {
            TReport::Debug("Send: retrying #%d.", int{number});
        }
        ok = SendOnce(request, reply);
    }
    if (!ok) {
        TReport::Debug("CPacketComm::Send(): failed sending #%d.", int{number});
        ++failureCount_;
    }
    return ok;
}
