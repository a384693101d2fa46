// Building the requests of the command set and judging the transmitter's replies.
#pragma once

#include <string>

#include "corvane/link/packet.h"
#include "corvane/link/send_choices.h"
#include "platform/types.h"

namespace corvane {

// How one command went: the link failed, the transmitter refused it, or it was accepted.
enum class CommandResult { Accepted, LinkFailed, Refused };

// The reply text the transmitter gives for a command it does not know.
inline constexpr wchar_t kUnknownCommand[] = L"Unknown command";

// A satellite id as the transmitter takes it: the leading hexadecimal digits of the text, as the
// C library's unsigned conversion reads them (blanks, a sign and "0x" allowed; none read as 0),
// held to 32 bits (a longer number gives all bits set).
DWORD SatIdValue(const std::wstring& satId);

CPacket MakeSatIdRequest(const std::wstring& satId);  // 40, dword
CPacket MakeLocalOffsetRequest(int localTimeOffset);  // 37, word: low 16 bits
CPacket MakeBoolRequest(WORD type, bool value);
CPacket MakeByteRequest(WORD type, BYTE value);
// The low 16 bits of `value`.
CPacket MakeWordRequest(WORD type, int value);
// The message as single-byte text, the whole payload, no terminator: 216 (self-timed) or 312
// (random). False when the text is longer than a packet carries.
bool MakeMessageRequest(const std::wstring& text, TxBuffer buffer, CPacket& request);

// The rule for checked commands: refused when the reply's payload is not empty and its first
// byte is 0; an empty payload or a non-zero first byte is acceptance.
bool IsCheckedReplyAccepted(const CPacket& reply);

// Judges a command by its link result and, for checked commands, by its reply.
CommandResult JudgeReply(bool linkOk, const CPacket& reply, ReplyCheck check);

// The master start rule: an empty or one-byte reply is acceptance; a longer one is text, and
// that text is acceptance only when it is exactly "Unknown command" (a transmitter that does
// not know the command). Otherwise false with the text in `reason`.
bool IsMasterStartAccepted(const CPacket& reply, std::wstring& reason);

}  // namespace corvane
