// The transmitter session: the one way any thread talks to the transmitter. An exchange owns the
// serial port for one request and its reply; the port is opened for it and closed after, so it
// is free between exchanges and a re-plugged transmitter is found anew.
#pragma once

#include <functional>
#include <string>

#include "corvane/link/packet.h"
#include "corvane/link/packet_comm.h"
#include "corvane/link/send_choices.h"
#include "platform/sync.h"
#include "platform/types.h"

namespace corvane {

inline constexpr DWORD kWakeDelayMs = 1500;
inline constexpr DWORD kDeadTimeMs = 30000;
// The lock wait of exchanges an operator is waiting for (the status query and dialog).
inline constexpr DWORD kOperatorLockWaitMs = 5000;

// "COM2:" .. "COM9:" for indexes 0..7; an index outside the list names no port (empty), so
// opening it fails like any port that is not there.
std::wstring PortNameFromIndex(int index);

// Opens the port of `portIndex` with the link's settings; on failure Warning "Failed to open
// corvane communications port.".
bool OpenSessionPort(CPacketComm& link, int portIndex);
// On failure Warning "Failed to close corvane communications port.".
bool CloseSessionPort(CPacketComm& link);

// Backs off after a failed exchange: up to 30 s, or until `stopEvent` (signalled when recording
// stops) or `alsoStop` (the stop event of the messenger that made the exchange, when one did),
// then Debug "WaitForDeadtime(): received stop signal.". True when stopped early.
bool WaitForDeadtime(TWaitable& stopEvent, TWaitable* alsoStop = nullptr);

// What an exchange works with; all of it belongs to the device object.
struct SessionContext {
    CPacketComm& link;
    TSemaphore& sessionLock;
    int portIndex;
    TWaitable& stopEvent;
    TWaitable* messengerStop = nullptr;  // ends the dead-time wait too, when set
};

// Judges a reply that arrived as a valid frame, under the session lock; false makes the exchange
// a failed one, as if no reply had come.
using ReplyJudge = std::function<bool(const CPacket& reply)>;

// One exchange: take the session lock within `lockWait` ms; open the port; let the transmitter
// wake for 1500 ms; Send (same lock wait); close. When it did not succeed and `deadTime` is
// Wait, the dead-time wait runs while the session lock is still held. True when a valid reply
// arrived and `judge`, when given, took it.
bool Exchange(const SessionContext& session, const CPacket& request, CPacket& reply,
              DeadTime deadTime, DWORD lockWait, const ReplyJudge& judge = {});

}  // namespace corvane
