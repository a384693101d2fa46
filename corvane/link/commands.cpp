#include "corvane/link/commands.h"

#include <cerrno>
#include <cstdlib>
#include <cwctype>

#include "corvane/link/command_codes.h"
#include "corvane/link/single_byte_text.h"

namespace corvane {

DWORD SatIdValue(const std::wstring& satId) {
    // The platform's unsigned long is 32 bits: a magnitude beyond that saturates, and a minus
    // sign negates modulo 2^32, as its C library does.
    const wchar_t* p = satId.c_str();
    while (std::iswspace(*p)) {
        ++p;
    }
    bool negative = false;
    if (*p == L'-' || *p == L'+') {
        negative = *p == L'-';
        ++p;
        if (std::iswspace(*p) || *p == L'-' || *p == L'+') {
            return 0;
        }
    }
    errno = 0;
    const unsigned long long magnitude = std::wcstoull(p, nullptr, 16);
    if (errno == ERANGE || magnitude > 0xFFFFFFFFull) {
        return 0xFFFFFFFFu;
    }
    const auto value = static_cast<DWORD>(magnitude);
    return negative ? static_cast<DWORD>(0u - value) : value;
}

CPacket MakeSatIdRequest(const std::wstring& satId) {
    CPacket request(cmd::kSetSatId);
    request.SetDword(SatIdValue(satId));
    return request;
}

CPacket MakeLocalOffsetRequest(int localTimeOffset) {
    CPacket request(cmd::kSetLocalOffset);
    request.SetWord(static_cast<WORD>(localTimeOffset));
    return request;
}

CPacket MakeBoolRequest(WORD type, bool value) {
    CPacket request(type);
    request.SetBool(value);
    return request;
}

CPacket MakeByteRequest(WORD type, BYTE value) {
    CPacket request(type);
    request.SetByte(value);
    return request;
}

CPacket MakeWordRequest(WORD type, int value) {
    CPacket request(type);
    request.SetWord(static_cast<WORD>(value));
    return request;
}

bool MakeMessageRequest(const std::wstring& text, TxBuffer buffer, CPacket& request) {
    request = CPacket(buffer == TxBuffer::SelfTimed ? cmd::kStLoadBuffer : cmd::kRtLoadBuffer);
    return request.SetBytes(ToSingleByte(text));
}

bool IsCheckedReplyAccepted(const CPacket& reply) {
    return reply.Payload().empty() || reply.Payload()[0] != 0;
}

CommandResult JudgeReply(bool linkOk, const CPacket& reply, ReplyCheck check) {
    if (!linkOk) {
        return CommandResult::LinkFailed;
    }
    if (check == ReplyCheck::RefuseOnText && !IsCheckedReplyAccepted(reply)) {
        return CommandResult::Refused;
    }
    return CommandResult::Accepted;
}

bool IsMasterStartAccepted(const CPacket& reply, std::wstring& reason) {
    if (reply.GetLength() < 2) {
        return true;
    }
    std::wstring text = FromSingleByte(reply.Payload());
    if (text == kUnknownCommand) {
        return true;
    }
    reason = std::move(text);
    return false;
}

}  // namespace corvane
