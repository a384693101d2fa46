// The transmitter's verbs over the line: each one a request built from the command set and
// carried by the session's locked exchange on the device's link. The device object owns one
// and hands it to its messengers, so their requests go straight to the session.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "corvane/link/commands.h"
#include "corvane/link/packet.h"
#include "corvane/link/packet_comm.h"
#include "corvane/link/send_choices.h"
#include "corvane/link/transmitter.h"
#include "platform/sync.h"
#include "platform/types.h"

namespace corvane {

// The device's common settings as the verbs read them, at each call (they change between
// recordings). All of them belong to the device object, which outlives the transmitter.
struct StationSettings {
    const int& portIndex;
    const std::wstring& satId;
    const int& localTimeOffset;
    const bool& pushesConfiguration;
    const bool& noFarWindowPolling;
};

class SessionTransmitter final : public Transmitter {
  public:
    // `link` and `sessionLock` belong to the device object, which outlives this; neither is used
    // during construction.
    SessionTransmitter(CPacketComm& link, TSemaphore& sessionLock, StationSettings station);

    // One exchange (session.h): the session lock within `lockWait` ms, the port opened for it,
    // the dead-time wait after a failure when `wait` asks for it. True when a valid reply
    // arrived into `reply`.
    bool Exchange(const CPacket& request, CPacket& reply, ExchangeWait wait,
                  DWORD lockWait = INFINITE);
    // An exchange without limit on the lock wait, judged by the link and, with RefuseOnText, by
    // the refusal rule of checked commands.
    CommandResult SendCommand(const CPacket& request, CPacket& reply, ReplyCheck check,
                              ExchangeWait wait);
    // Master start judged by its own rule (IsMasterStartAccepted); the refusal's text in
    // `reason`.
    CommandResult MasterStart(std::wstring& reason);
    // A message as single-byte text into one of the buffers; Warning "Corvane message of %zu
    // characters does not fit in one packet." and false, with no exchange, when it is too long.
    bool LoadMessage(const std::wstring& text, TxBuffer buffer, ExchangeWait wait);
    // Set by the first clock synchronisation that got a valid time; never cleared.
    bool HasTimeBeenObtained() const { return timeObtained_.load(); }

    bool ReadWindowClose(TTime& close, ExchangeWait wait) override;
    bool ReadCurrentTime(TTime& now, ExchangeWait wait) override;
    // Reads the transmitter's clock and sets the logger's to it when they differ by more than a
    // second (Status "Corvane: Setting system time to ..."). Marks the time obtained whenever a
    // valid time came. False only when the exchange failed; a reply of the wrong size (Warning
    // "SynchronizeClock: Invalid time packet.") or without a valid time is true, with no time
    // obtained.
    bool SynchronizeClock(ExchangeWait wait) override;
    bool LoadSelfTimedMessage(const std::wstring& text, ExchangeWait wait) override;
    bool LoadRandomMessage(const std::wstring& text, ExchangeWait wait) override;
    bool StartRandomMessage(ExchangeWait wait) override;
    bool PrepareSelfTimedTest() override;
    bool SendSelfTimedTest() override;
    bool SendRandomTest() override;
    bool StopTransmissions() override;
    bool StartTransmissions(std::wstring& answer) override;
    bool WriteParameters(const std::vector<CPacket>& writes) override;
    bool SendSatIdAndOffset() override;
    bool PushesConfiguration() const override { return station_.pushesConfiguration; }
    bool PollsBeforeFarWindow() const override { return !station_.noFarWindowPolling; }

  private:
    // A request without payload, judged by the link only.
    bool Command(WORD type, ExchangeWait wait);
    bool ReadTimeReply(WORD type, TTime& time, ExchangeWait wait);

    CPacketComm& link_;
    TSemaphore& sessionLock_;
    const StationSettings station_;
    std::atomic<bool> timeObtained_{false};
};

}  // namespace corvane
