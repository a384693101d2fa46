#include "corvane/core/corvane.h"

#include "corvane/link/session.h"
#include "platform/engine.h"
#include "platform/report.h"

CCorvane::CCorvane()
    : sessionLock_(1, 1, "corvane session lock"),
      stateLock_(1, 1, "corvane state lock"),
      transmitter_(*this, sessionLock_,
                   corvane::StationSettings{.portIndex = Port,
                                            .satId = SatID,
                                            .localTimeOffset = LTO,
                                            .pushesConfiguration = InitCorvane,
                                            .noFarWindowPolling = NoFarWindowPolling}),
      selfTimedMsgr_(transmitter_),
      randomMsgr_(transmitter_) {}

CCorvane::~CCorvane() {
    // The messenger threads use the device's session, locks and settings, and the port of its
    // packet link, which goes last of all: end both threads while all of it still stands.
    selfTimedMsgr_.Stop();
    randomMsgr_.Stop();
}

bool CCorvane::OpenPort() {
    return corvane::OpenSessionPort(*this, Port);
}

bool CCorvane::ClosePort() {
    return corvane::CloseSessionPort(*this);
}

bool CCorvane::WaitForDeadtime() {
    return corvane::WaitForDeadtime(GetEngine().GetStopEvent());
}

bool CCorvane::Exchange(const CPacket& request, CPacket& reply, corvane::DeadTime deadTime,
                        DWORD lockWait) {
    return transmitter_.Exchange(request, reply, {.deadTime = deadTime}, lockWait);
}

corvane::CommandResult CCorvane::SendCommand(const CPacket& request, corvane::ReplyCheck check,
                                             corvane::DeadTime deadTime) {
    CPacket reply;
    return transmitter_.SendCommand(request, reply, check, {.deadTime = deadTime});
}
