#include "corvane/link/session.h"

#include <iterator>

#include "platform/clock.h"
#include "platform/report.h"

namespace corvane {

std::wstring PortNameFromIndex(int index) {
    static const wchar_t* const kNames[] = {L"COM2:", L"COM3:", L"COM4:", L"COM5:",
                                            L"COM6:", L"COM7:", L"COM8:", L"COM9:"};
    if (index < 0 || index >= static_cast<int>(std::size(kNames))) {
        return std::wstring();
    }
    return kNames[index];
}

bool OpenSessionPort(CPacketComm& link, int portIndex) {
    if (link.OpenLinkPort(PortNameFromIndex(portIndex))) {
        return true;
    }
    TReport::Warning("Failed to open corvane communications port.");
    return false;
}

bool CloseSessionPort(CPacketComm& link) {
    if (link.CloseLinkPort()) {
        return true;
    }
    TReport::Warning("Failed to close corvane communications port.");
    return false;
}

bool WaitForDeadtime(TWaitable& stopEvent, TWaitable* alsoStop) {
    const DWORD result = alsoStop == nullptr
                             ? WaitForSingleObject(stopEvent, kDeadTimeMs)
                             : WaitForMultipleObjects({&stopEvent, alsoStop}, kDeadTimeMs);
    if (result == WAIT_TIMEOUT) {
        return false;
    }
    TReport::Debug("WaitForDeadtime(): received stop signal.");
    return true;
}

bool Exchange(const SessionContext& session, const CPacket& request, CPacket& reply,
              DeadTime deadTime, DWORD lockWait, const ReplyJudge& judge) {
    TSingleLock lock(session.sessionLock);
    bool ok = false;
    if (lock.Lock(lockWait)) {
        if (OpenSessionPort(session.link, session.portIndex)) {
            // The transmitter's port sleeps between exchanges and needs this long to wake.
            Sleep(kWakeDelayMs);
            ok = session.link.Send(request, reply, lockWait) && (!judge || judge(reply));
            CloseSessionPort(session.link);
        }
    }
    if (!ok && deadTime == DeadTime::Wait) {
        WaitForDeadtime(session.stopEvent, session.messengerStop);
    }
    return ok;
}

}  // namespace corvane
