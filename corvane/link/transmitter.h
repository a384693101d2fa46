// The transmitter as the messengers see it: what they want of it, in the protocol's verbs. Each
// verb is one whole locked exchange (or a list of them) through the session; which packet
// carries it is the implementation's business (session_transmitter.h over the line, a scripted
// one in tests), so a messenger neither builds nor reads a packet.
//
// Every verb may be called from any thread; each exchange takes the session lock itself,
// waiting without limit. None of them throws; failures are a false result plus the link's and
// session's log lines.
#pragma once

#include <string>
#include <vector>

#include "corvane/link/send_choices.h"
#include "platform/sync.h"
#include "platform/time.h"

class CPacket;

namespace corvane {

// How a failed exchange ends: with the dead-time wait or at once, and which stop event, besides
// the end of recording, ends that wait early (null: only the end of recording; the calling
// messenger's stop event otherwise, which it owns and which outlives the call).
struct ExchangeWait {
    DeadTime deadTime = DeadTime::Skip;
    TWaitable* stop = nullptr;
};

class Transmitter {
  public:
    virtual ~Transmitter() = default;

    // When the current self-timed window closes. False when the exchange failed or the reply
    // carried no time; `close` is then unspecified.
    virtual bool ReadWindowClose(TTime& close, ExchangeWait wait) = 0;
    // The transmitter's own time of day; false as ReadWindowClose.
    virtual bool ReadCurrentTime(TTime& now, ExchangeWait wait) = 0;
    // Sets the logger's clock from the transmitter's when they differ; false only when the
    // exchange failed.
    virtual bool SynchronizeClock(ExchangeWait wait) = 0;

    // Loads a message into the self-timed or the random transmit buffer as single-byte text.
    // True when the transmitter took it.
    virtual bool LoadSelfTimedMessage(const std::wstring& text, ExchangeWait wait) = 0;
    virtual bool LoadRandomMessage(const std::wstring& text, ExchangeWait wait) = 0;
    // Transmits the random message loaded last, on the random channel.
    virtual bool StartRandomMessage(ExchangeWait wait) = 0;

    // The operator's test transmissions. A self-timed test is prepared, the message loaded,
    // then sent; a random test sends the random message loaded last. True when the exchange
    // succeeded; none of them waits out the dead time.
    virtual bool PrepareSelfTimedTest() = 0;
    virtual bool SendSelfTimedTest() = 0;
    virtual bool SendRandomTest() = 0;

    // Halts every transmission (master stop). True when the exchange succeeded.
    virtual bool StopTransmissions() = 0;
    // Resumes them (master start). True when the exchange succeeded; `answer` is then the
    // reply's text when it holds two bytes or more, otherwise empty.
    virtual bool StartTransmissions(std::wstring& answer) = 0;

    // Parameter writes in order, each judged by the link only; false at the first without a
    // valid reply (the rest are not sent). The uploads build the list.
    virtual bool WriteParameters(const std::vector<CPacket>& writes) = 0;
    // The satellite id and the local time offset of the common settings; both are sent even
    // when the first fails. True only when both were taken.
    virtual bool SendSatIdAndOffset() = 0;

    // Whether the setup asks the module to push its whole configuration into the transmitter
    // (recording start, operator tests) rather than rely on what the transmitter holds.
    virtual bool PushesConfiguration() const = 0;
    // Whether the self-timed messenger, while the window is more than ten minutes away, only
    // polls and resynchronises once a minute (the default) rather than wait the whole time.
    virtual bool PollsBeforeFarWindow() const = 0;
};

}  // namespace corvane
