#include "corvane/link/session_transmitter.h"

#include "corvane/link/command_codes.h"
#include "corvane/link/session.h"
#include "corvane/link/single_byte_text.h"
#include "platform/engine.h"
#include "platform/report.h"

namespace corvane {

SessionTransmitter::SessionTransmitter(CPacketComm& link, TSemaphore& sessionLock,
                                       StationSettings station)
    : link_(link), sessionLock_(sessionLock), station_(station) {}

bool SessionTransmitter::Exchange(const CPacket& request, CPacket& reply, ExchangeWait wait,
                                  DWORD lockWait) {
    const SessionContext session{link_, sessionLock_, station_.portIndex,
                                 GetEngine().GetStopEvent(), wait.stop};
    return corvane::Exchange(session, request, reply, wait.deadTime, lockWait);
}

CommandResult SessionTransmitter::SendCommand(const CPacket& request, CPacket& reply,
                                              ReplyCheck check, ExchangeWait wait) {
    const bool linkOk = Exchange(request, reply, wait);
    return JudgeReply(linkOk, reply, check);
}

CommandResult SessionTransmitter::MasterStart(std::wstring& reason) {
    CPacket reply;
    if (!Exchange(CPacket(cmd::kMasterStart), reply, {})) {
        return CommandResult::LinkFailed;
    }
    return IsMasterStartAccepted(reply, reason) ? CommandResult::Accepted : CommandResult::Refused;
}

bool SessionTransmitter::LoadMessage(const std::wstring& text, TxBuffer buffer, ExchangeWait wait) {
    CPacket request;
    if (!MakeMessageRequest(text, buffer, request)) {
        TReport::Warning("Corvane message of %zu characters does not fit in one packet.",
                         text.size());
        return false;
    }
    CPacket reply;
    return Exchange(request, reply, wait);
}

bool SessionTransmitter::Command(WORD type, ExchangeWait wait) {
    CPacket reply;
    return Exchange(CPacket(type), reply, wait);
}

bool SessionTransmitter::ReadTimeReply(WORD type, TTime& time, ExchangeWait wait) {
    CPacket reply;
    return Exchange(CPacket(type), reply, wait) && reply.ReadTime(0, time);
}

bool SessionTransmitter::ReadWindowClose(TTime& close, ExchangeWait wait) {
    return ReadTimeReply(cmd::kStWindowClose, close, wait);
}

bool SessionTransmitter::ReadCurrentTime(TTime& now, ExchangeWait wait) {
    return ReadTimeReply(cmd::kCurrentTime, now, wait);
}

bool SessionTransmitter::LoadSelfTimedMessage(const std::wstring& text, ExchangeWait wait) {
    return LoadMessage(text, TxBuffer::SelfTimed, wait);
}

bool SessionTransmitter::LoadRandomMessage(const std::wstring& text, ExchangeWait wait) {
    return LoadMessage(text, TxBuffer::Random, wait);
}

bool SessionTransmitter::StartRandomMessage(ExchangeWait wait) {
    CPacket reply;
    return Exchange(MakeBoolRequest(cmd::kRandomEnable, true), reply, wait);
}

bool SessionTransmitter::PrepareSelfTimedTest() {
    return Command(cmd::kStOperatorLoad, {});
}

bool SessionTransmitter::SendSelfTimedTest() {
    return Command(cmd::kStOperatorSend, {});
}

bool SessionTransmitter::SendRandomTest() {
    return Command(cmd::kRtTestSend, {});
}

bool SessionTransmitter::StopTransmissions() {
    return Command(cmd::kMasterStop, {});
}

bool SessionTransmitter::StartTransmissions(std::wstring& answer) {
    CPacket reply;
    if (!Exchange(CPacket(cmd::kMasterStart), reply, {}))
        return false;
    answer = reply.GetLength() >= 2 ? FromSingleByte(reply.GetPayload(), reply.GetLength())
                                    : std::wstring();
    return true;
}

bool SessionTransmitter::WriteParameters(const std::vector<CPacket>& writes) {
    for (const CPacket& request : writes) {
        CPacket reply;
        if (!Exchange(request, reply, {}))
            return false;
    }
    return true;
}

bool SessionTransmitter::SendSatIdAndOffset() {
    CPacket reply;
    const bool idOk = Exchange(MakeSatIdRequest(station_.satId), reply, {});
    const bool offsetOk = Exchange(MakeLocalOffsetRequest(station_.localTimeOffset), reply, {});
    return idOk && offsetOk;
}

}  // namespace corvane
