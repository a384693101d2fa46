// The transmitter as the messengers see it: the few operations they need, each a whole locked
// exchange (or a list of them) through the session. The device object implements it; a test
// scripts it, so a messenger can be exercised without a device object, a port or a simulator.
//
// Every operation may be called from any thread; each exchange takes the session lock itself,
// waiting without limit. `stop`, where an operation takes it, is the calling messenger's stop
// event: a failed exchange's dead-time wait ends on it as well as on the end of recording
// (null: only the latter). None of them throws; failures are a false or non-accepted result
// plus the link's and session's log lines.
#pragma once

#include <string>
#include <vector>

#include "corvane/link/commands.h"
#include "corvane/link/packet.h"
#include "corvane/link/send_choices.h"
#include "platform/sync.h"

namespace corvane {

class Transmitter {
  public:
    virtual ~Transmitter() = default;

    // One command and its reply, judged by the link and, with RefuseOnText, by the refusal rule.
    virtual CommandResult SendCommand(const CPacket& request, CPacket& reply, ReplyCheck check,
                                      DeadTime deadTime, TWaitable* stop) = 0;
    // Parameter writes in order, each judged by the link only; false at the first without a
    // valid reply (the rest are not sent).
    virtual bool SendAll(const std::vector<CPacket>& requests) = 0;
    // Loads a message into one of the transmit buffers as single-byte text; judged by the link.
    virtual bool LoadMessage(const std::wstring& text, TxBuffer buffer, DeadTime deadTime,
                             TWaitable* stop) = 0;
    // Sets the logger's clock from the transmitter's when they differ; false only when the
    // exchange failed.
    virtual bool SynchronizeClock(DeadTime deadTime, TWaitable* stop) = 0;
    // The satellite id and the local time offset; true only when both were taken.
    virtual bool SendSatIdAndOffset() = 0;
    // Whether the setup asks the module to push its whole configuration into the transmitter
    // (recording start, operator tests) rather than rely on what the transmitter holds.
    virtual bool PushesConfiguration() const = 0;
    // Whether the self-timed messenger, while the window is more than ten minutes away, only
    // polls and resynchronises once a minute (the default) rather than wait the whole time.
    virtual bool PollsBeforeFarWindow() const = 0;
};

}  // namespace corvane
