#include "corvane/core/corvane.h"

#include "corvane/link/command_codes.h"
#include "corvane/link/session.h"
#include "corvane/shared/wide_text.h"
#include "platform/engine.h"
#include "platform/report.h"

CCorvane::CCorvane()
    : selfTimedMsgr_(*this),
      randomMsgr_(*this),
      sessionLock_(1, 1, "corvane session lock"),
      stateLock_(1, 1, "corvane state lock") {}

CCorvane::~CCorvane() {
    // The messenger threads use the device's locks and settings, which are destroyed before the
    // messengers themselves: end the threads while all of it still stands.
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

bool CCorvane::Exchange(const CPacket& request, CPacket& reply, bool waitDeadTime, DWORD lockWait) {
    const corvane::SessionContext session{*this, sessionLock_, Port, GetEngine().GetStopEvent()};
    return corvane::Exchange(session, request, reply, waitDeadTime, lockWait);
}

corvane::CommandResult CCorvane::SendCommand(const CPacket& request, bool checked,
                                             bool waitDeadTime) {
    CPacket reply;
    return SendCommand(request, reply, checked, waitDeadTime);
}

corvane::CommandResult CCorvane::SendCommand(const CPacket& request, CPacket& reply, bool checked,
                                             bool waitDeadTime) {
    const bool linkOk = Exchange(request, reply, waitDeadTime, INFINITE);
    return corvane::JudgeReply(linkOk, reply, checked);
}

bool CCorvane::SendAll(const std::vector<CPacket>& requests) {
    for (const CPacket& request : requests) {
        if (SendCommand(request, false) != corvane::CommandResult::Accepted) {
            return false;
        }
    }
    return true;
}

bool CCorvane::LoadMessage(const std::wstring& text, bool selfTimed, bool waitDeadTime) {
    CPacket request;
    if (!corvane::MakeMessageRequest(text, selfTimed, request)) {
        TReport::Warning("Corvane message of %zu characters does not fit in one packet.",
                         text.size());
        return false;
    }
    CPacket reply;
    return Exchange(request, reply, waitDeadTime, INFINITE);
}

bool CCorvane::SendSatIdAndOffset() {
    CPacket reply;
    const bool idOk = Exchange(corvane::MakeSatIdRequest(SatID), reply, false, INFINITE);
    const bool offsetOk = Exchange(corvane::MakeLocalOffsetRequest(LTO), reply, false, INFINITE);
    return idOk && offsetOk;
}

corvane::CommandResult CCorvane::MasterStart(std::wstring& reason) {
    CPacket reply;
    if (!Exchange(CPacket(corvane::cmd::kMasterStart), reply, false, INFINITE)) {
        return corvane::CommandResult::LinkFailed;
    }
    return corvane::IsMasterStartAccepted(reply, reason) ? corvane::CommandResult::Accepted
                                                         : corvane::CommandResult::Refused;
}
