// A transmitter for messenger tests: it records every request and answers as its script says,
// with no device object, port or simulator behind it.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "corvane/link/packet.h"
#include "corvane/link/transmitter.h"
#include "platform/time.h"

namespace corvanetest {

class ScriptedTransmitter : public corvane::Transmitter {
  public:
    // Type codes whose exchange gets no valid reply; every other request is accepted.
    std::set<WORD> silent;

    // What was asked, in order: the type codes of the requests (a loaded message is its 216 or
    // 312), and the messages' texts.
    std::vector<WORD> requests;
    std::vector<TTime> times;  // the clock's time of each request
    std::vector<std::wstring> messages;
    std::vector<CPacket> commands;  // the requests of SendCommand whole, payload included
    int clockSyncs = 0;

    // Fills the reply to a request (its type is set already); none: an empty payload.
    std::function<void(WORD type, CPacket& reply)> respond;

    corvane::CommandResult SendCommand(const CPacket& request, CPacket& reply, corvane::ReplyCheck,
                                       corvane::DeadTime, TWaitable*) override {
        commands.push_back(request);
        reply = CPacket(request.GetType());
        if (respond)
            respond(request.GetType(), reply);
        return Answer(request.GetType()) ? corvane::CommandResult::Accepted
                                         : corvane::CommandResult::LinkFailed;
    }
    bool SendAll(const std::vector<CPacket>& list) override {
        for (const CPacket& request : list)
            if (!Answer(request.GetType()))
                return false;
        return true;
    }
    bool LoadMessage(const std::wstring& text, corvane::TxBuffer buffer, corvane::DeadTime,
                     TWaitable*) override {
        messages.push_back(text);
        return Answer(buffer == corvane::TxBuffer::SelfTimed ? 216 : 312);
    }
    bool SynchronizeClock(corvane::DeadTime, TWaitable*) override {
        ++clockSyncs;
        return Answer(35);
    }
    bool SendSatIdAndOffset() override {
        const bool id = Answer(40);
        return Answer(37) && id;
    }
    bool PushesConfiguration() const override { return pushes; }
    bool PollsBeforeFarWindow() const override { return polls; }

    bool pushes = true;
    bool polls = true;

  private:
    bool Answer(WORD type) {
        requests.push_back(type);
        times.push_back(TTime::GetCurrentTime());
        return silent.count(type) == 0;
    }
};

}  // namespace corvanetest
