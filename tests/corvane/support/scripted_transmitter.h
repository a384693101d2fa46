// A transmitter for messenger tests: it records every verb asked of it, as the type code that
// carries it on the line, and answers as its script says, with no device object, port or
// simulator behind it.
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
    int clockSyncs = 0;

    // The window close that 219 reports (none: no valid time yet) and the master start's
    // answer text (none: empty).
    std::function<TTime()> windowClose;
    std::function<std::wstring()> startAnswer;

    bool pushes = true;
    bool polls = true;

    bool ReadWindowClose(TTime& close, corvane::ExchangeWait) override {
        close = windowClose ? windowClose() : TTime();
        return Answer(219);
    }
    bool ReadCurrentTime(TTime& now, corvane::ExchangeWait) override {
        now = TTime::GetCurrentTime();
        return Answer(31);
    }
    bool SynchronizeClock(corvane::ExchangeWait) override {
        ++clockSyncs;
        return Answer(35);
    }
    bool LoadSelfTimedMessage(const std::wstring& text, corvane::ExchangeWait) override {
        messages.push_back(text);
        return Answer(216);
    }
    bool LoadRandomMessage(const std::wstring& text, corvane::ExchangeWait) override {
        messages.push_back(text);
        return Answer(312);
    }
    bool StartRandomMessage(corvane::ExchangeWait) override { return Answer(300); }
    bool PrepareSelfTimedTest() override { return Answer(236); }
    bool SendSelfTimedTest() override { return Answer(218); }
    bool SendRandomTest() override { return Answer(314); }
    bool StopTransmissions() override { return Answer(771); }
    bool StartTransmissions(std::wstring& answer) override {
        answer = startAnswer ? startAnswer() : std::wstring();
        return Answer(770);
    }
    bool WriteParameters(const std::vector<CPacket>& list) override {
        for (const CPacket& request : list)
            if (!Answer(request.GetType()))
                return false;
        return true;
    }
    bool SendSatIdAndOffset() override {
        const bool id = Answer(40);
        return Answer(37) && id;
    }
    bool PushesConfiguration() const override { return pushes; }
    bool PollsBeforeFarWindow() const override { return polls; }

  private:
    bool Answer(WORD type) {
        requests.push_back(type);
        times.push_back(TTime::GetCurrentTime());
        return silent.count(type) == 0;
    }
};

}  // namespace corvanetest
