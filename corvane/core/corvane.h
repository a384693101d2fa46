// The device object: the one transmitter attached to the logger. It is the packet link to it,
// owns the session lock every exchange passes through, the transmitter's verbs over that
// session (which it hands to both messengers), both messengers and the common settings, and
// reads and writes the module's section of the setup file.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "corvane/link/commands.h"
#include "corvane/link/packet.h"
#include "corvane/link/packet_comm.h"
#include "corvane/link/send_choices.h"
#include "corvane/link/session_transmitter.h"
#include "corvane/random/random_msgr.h"
#include "corvane/selftimed/self_timed_msgr.h"
#include "platform/sync.h"
#include "platform/types.h"
#include "platform/xml_setup.h"

class CCorvane : public CPacketComm {
  public:
    static constexpr const wchar_t* kFileVersion = L"3.9.0.8";
    static constexpr const wchar_t* kSetupTag = L"Corvane";

    CCorvane();
    ~CCorvane() override;

    SelfTimedMsgr& SelfTimed() { return selfTimedMsgr_; }
    const SelfTimedMsgr& SelfTimed() const { return selfTimedMsgr_; }
    CRandomMsgr& Random() { return randomMsgr_; }
    const CRandomMsgr& Random() const { return randomMsgr_; }
    // The transmitter's verbs over this device's session, as the messengers use them.
    corvane::SessionTransmitter& Session() { return transmitter_; }

    // --- Setup section -----------------------------------------------------------------------
    // The reader stands after "<Corvane>". Elements Common, SelfTimed and Random are read; any
    // other element's attributes are each logged as Warning "CCorvane::ReadSetup eating unknown
    // token: %s." with the element's name. Ends at the first token that is not an element
    // start. Always true (unknown content is not an error).
    bool ReadSetup(CXMLSetup& setup);
    // Writes the whole section, then validates it (ValidateSetup); the setup is written as it is
    // all the same. Always true.
    bool WriteSetup(CXMLSetup& setup);
    // Both messengers' checks of their blocks (the self-timed sequence overlap, the random
    // consistency checks), all of them always run; on failure Warning "Corvane setup: " and the
    // reasons, which are also appended to `errors`.
    bool ValidateSetup(std::wstring& errors) const;
    // Defaults for a fresh setup: common settings, then the self-timed, then the random
    // messenger. Always true.
    bool InitSetup();
    // The attributes of <Common (the reader stands after its start tag); `next` receives the
    // token that ended them.
    bool ReadCommonSetup(CXMLSetup& setup, CXMLToken& next);

    // --- Session -----------------------------------------------------------------------------
    // Opens the port that `Port` names; Warning "Failed to open corvane communications port."
    // when it cannot.
    bool OpenPort();
    // Warning "Failed to close corvane communications port." when it fails.
    bool ClosePort();
    // Up to 30 s, ended early by the engine's stop event (set while recording is stopped).
    // True when ended by the event.
    bool WaitForDeadtime();
    // The only way to talk to the transmitter: session lock (at most `lockWait` ms), open the
    // port, 1500 ms wake, Send, close; on failure with `waitDeadTime` the dead-time wait, still
    // under the session lock. True when a valid reply arrived into `reply`.
    bool Exchange(const CPacket& request, CPacket& reply, corvane::DeadTime deadTime,
                  DWORD lockWait = INFINITE);

    // --- Command set -------------------------------------------------------------------------
    // An exchange without limit on the lock wait, judged by link success and, with
    // RefuseOnText, by the refusal rule for checked commands.
    corvane::CommandResult SendCommand(const CPacket& request, corvane::ReplyCheck check,
                                       corvane::DeadTime deadTime = corvane::DeadTime::Skip);
    // 40 with SatID, then 37 with LTO; both are sent even when the first fails. True only when
    // both succeeded.
    bool SendSatIdAndOffset() { return transmitter_.SendSatIdAndOffset(); }
    // 770. Refused only by a reply text other than "Unknown command"; that text is `reason`.
    corvane::CommandResult MasterStart(std::wstring& reason) {
        return transmitter_.MasterStart(reason);
    }
    // The transmitter's status report (4), for an operator who waits: false at once, with no
    // exchange, while neither transmission is enabled; otherwise one exchange waiting at most
    // kOperatorLockWaitMs for the session lock, without dead-time wait. True with the reply's
    // text in `status`; false, `status` untouched, when it failed or the reply was empty.
    bool ReadStatus(std::wstring& status);

    // --- Recording start and stop ------------------------------------------------------------
    // Both run under the state lock (taken without limit), so they exclude each other; each
    // exchange inside takes the session lock on its own. They return the operator's report
    // (report_texts.h), empty when all went well, and never fail otherwise: recording goes on
    // whatever the transmitter did.
    //
    // Start: nothing while running or while neither transmission is enabled (then the running
    // flag stays clear). A setup that fails ValidateSetup starts nothing either: no command
    // goes to the transmitter, no messenger starts, the running flag stays clear, the report
    // is "Corvane setup: " and the reasons, and StartRefused() is true until the next start.
    // With InitCorvane: 506, 771, 200 off, 300 off, 338 off, satellite id and
    // offset, clock synchronisation, the self-timed upload, the random push, 200 on (self-timed
    // enabled only), 770 -- ending at the first failure. Then, whatever happened, the threads of
    // the enabled messengers start and the running flag is set.
    std::wstring RecordingStart();
    // Stop: nothing while not running, nor while neither transmission is enabled (the running
    // flag then stays set). The enabled messengers' threads stop first; with InitCorvane then
    // 771, 200 off, 300 off, 338 off, ending at the first failure. The running flag is cleared.
    std::wstring RecordingStop();
    // Reads the transmitter's clock (35) and sets the logger's clock to it when they differ by
    // more than a second (Status "Corvane: Setting system time to ..."), then tells the
    // time-change subscribers. Marks the time obtained whenever a valid time came. False only
    // when the exchange failed; a reply of the wrong size or without a valid time is true, with
    // no time obtained.
    bool SynchronizeClock() { return transmitter_.SynchronizeClock({}); }

    // --- State -------------------------------------------------------------------------------
    bool IsRunning() const { return running_.load() != 0; }
    bool StartRefused() const { return startRefused_.load(); }
    void SetRunning(bool running) { running_.store(running ? 1 : 0); }
    // Set by the first clock synchronisation that got a valid time; never cleared.
    bool HasTimeBeenObtained() const { return transmitter_.HasTimeBeenObtained(); }
    TSemaphore& SessionLock() { return sessionLock_; }
    TSemaphore& StateLock() { return stateLock_; }

  public:
    // Common settings, as the <Common element holds them.
    int Port = 0;                      // index: 0 "COM2:" .. 7 "COM9:"
    std::wstring SatID = L"00000000";  // 8 hexadecimal digits, unchecked here
    bool InitCorvane = true;           // recording start pushes the whole configuration
    int LTO = 0;                       // local time offset
    // Not in the setup file: lets the self-timed messenger wait for a far window in one go
    // instead of polling and resynchronising once a minute.
    bool NoFarWindowPolling = false;

  private:
    std::atomic<BYTE> running_{0};
    std::atomic<bool> startRefused_{false};
    TSemaphore sessionLock_;
    TSemaphore stateLock_;
    // After the settings and the session lock it reads, before the messengers that use it.
    corvane::SessionTransmitter transmitter_;
    SelfTimedMsgr selfTimedMsgr_;
    CRandomMsgr randomMsgr_;
};
