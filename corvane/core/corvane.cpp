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

bool CCorvane::Exchange(const CPacket& request, CPacket& reply, corvane::DeadTime deadTime,
                        DWORD lockWait, TWaitable* messengerStop) {
    const corvane::SessionContext session{*this, sessionLock_, Port, GetEngine().GetStopEvent(),
                                          messengerStop};
    return corvane::Exchange(session, request, reply, deadTime, lockWait);
}

corvane::CommandResult CCorvane::SendCommand(const CPacket& request, corvane::ReplyCheck check,
                                             corvane::DeadTime deadTime) {
    CPacket reply;
    return SendCommand(request, reply, check, deadTime, nullptr);
}

corvane::CommandResult CCorvane::SendCommand(const CPacket& request, CPacket& reply,
                                             corvane::ReplyCheck check, corvane::DeadTime deadTime,
                                             TWaitable* stop) {
    const bool linkOk = Exchange(request, reply, deadTime, INFINITE, stop);
    return corvane::JudgeReply(linkOk, reply, check);
}

bool CCorvane::SendAll(const std::vector<CPacket>& requests) {
    for (const CPacket& request : requests) {
        if (SendCommand(request, corvane::ReplyCheck::LinkOnly) !=
            corvane::CommandResult::Accepted) {
            return false;
        }
    }
    return true;
}

bool CCorvane::LoadMessage(const std::wstring& text, corvane::TxBuffer buffer,
                           corvane::DeadTime deadTime, TWaitable* stop) {
    CPacket request;
    if (!corvane::MakeMessageRequest(text, buffer, request)) {
        TReport::Warning("Corvane message of %zu characters does not fit in one packet.",
                         text.size());
        return false;
    }
    CPacket reply;
    return Exchange(request, reply, deadTime, INFINITE, stop);
}

bool CCorvane::SendSatIdAndOffset() {
    CPacket reply;
    using corvane::DeadTime;
    const bool idOk = Exchange(corvane::MakeSatIdRequest(SatID), reply, DeadTime::Skip);
    const bool offsetOk = Exchange(corvane::MakeLocalOffsetRequest(LTO), reply, DeadTime::Skip);
    return idOk && offsetOk;
}

corvane::CommandResult CCorvane::MasterStart(std::wstring& reason) {
    CPacket reply;
    if (!Exchange(CPacket(corvane::cmd::kMasterStart), reply, corvane::DeadTime::Skip)) {
        return corvane::CommandResult::LinkFailed;
    }
    return corvane::IsMasterStartAccepted(reply, reason) ? corvane::CommandResult::Accepted
                                                         : corvane::CommandResult::Refused;
}
