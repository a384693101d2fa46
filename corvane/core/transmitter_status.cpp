// The transmitter's own status report, as an operator asks for it.
#include "corvane/core/corvane.h"
#include "corvane/link/command_codes.h"
#include "corvane/link/session.h"
#include "corvane/link/single_byte_text.h"

bool CCorvane::ReadStatus(std::wstring& status) {
    // A station that transmits nothing may have no transmitter attached at all: do not make the
    // operator wait for a port that is not there.
    if (!selfTimedMsgr_.IsEnabled() && !randomMsgr_.IsEnabled()) {
        return false;
    }
    CPacket reply;
    if (!Exchange(CPacket(corvane::cmd::kStatus), reply, corvane::DeadTime::Skip,
                  corvane::kOperatorLockWaitMs) ||
        reply.Payload().empty()) {
        return false;
    }
    status = corvane::FromSingleByte(reply.Payload());
    return true;
}
