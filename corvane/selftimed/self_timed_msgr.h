// The self-timed messenger: owns the self-timed settings, its thread and the thread's stop
// event, and copies the settings into the transmitter when recording starts. It talks to the
// transmitter only in the verbs of the Transmitter interface, which the device object that owns
// it hands it (its session's); it never builds or reads a packet.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "corvane/formats/nos_formatter.h"
#include "corvane/link/transmitter.h"
#include "corvane/selftimed/self_timed_registry.h"
#include "corvane/selftimed/self_timed_settings.h"
#include "corvane/shared/message_hook.h"
#include "corvane/shared/messenger_thread.h"
#include "platform/sync.h"
#include "platform/xml_setup.h"

class SelfTimedMsgr {
  public:
    // The settings hold their construction values; the stop event is created set (stopped).
    // `transmitter` (the device object that owns the messenger) outlives it; it is not used
    // during construction.
    explicit SelfTimedMsgr(corvane::Transmitter& transmitter);
    // Stops the thread if it still runs.
    ~SelfTimedMsgr();
    SelfTimedMsgr(const SelfTimedMsgr&) = delete;
    SelfTimedMsgr& operator=(const SelfTimedMsgr&) = delete;

    SelfTimedSettings& Settings() { return settings_; }
    const SelfTimedSettings& Settings() const { return settings_; }
    bool IsEnabled() const { return settings_.Enabled; }
    // Every SelfTimed block of the module, in message order.
    SelfTimedRegistry& Registry() { return registry_; }
    const SelfTimedRegistry& Registry() const { return registry_; }

    // The manual-reset event that ends the messenger's thread and its waits.
    TEvent& StopEvent() { return worker_.StopEvent(); }

    // The reader stands after "<SelfTimed"; `next` receives the token that ended its attributes.
    // Then the block registry is sorted by sequence, also when the element holds none.
    bool ReadSetup(CXMLSetup& setup, CXMLToken& next);
    bool WriteSetup(CXMLSetup& setup) const;
    // The values of a fresh setup (Antenna kept). Always true.
    bool InitSetup();
    // True when the settings may be used for recording; otherwise "SelfTimed sequences overlap; "
    // is appended to `errors`: two enabled SelfTimed blocks hold the same Sequence (ignored
    // under "NOS" and "INSAT", which do not order their values by it).
    bool ValidateSetup(std::wstring& errors) const;

    // Copies the settings into the transmitter (the writes of SelfTimedUploadRequests, each
    // through the transmitter's exchange without limit on the lock wait). False at the first write
    // that gets no valid reply; the rest are not sent. A refusing reply does not end it.
    bool UploadConfig();

    // The thread's life, called by recording start and stop (under the device's state lock).
    // Start: false when the thread runs already; otherwise clears the stop event and starts it.
    // Stop: false when no thread runs; otherwise sets the stop event and waits for the thread
    // to end.
    bool Start();
    bool Stop();
    bool IsThreadRunning() const { return worker_.IsRunning(); }

    // The schedule, run by the thread; public so that a test can drive one step at a time.
    // True when it is time to load the message: 20 s before the current window closes. False
    // when the caller should ask again (a failed exchange, a transmitter without valid time
    // after a one-minute wait, a window more than ten minutes away after a clock
    // synchronisation and a one-minute wait, a window closer than 20 s after sleeping it out,
    // a clock change during the wait) or stop.
    bool WaitForNextInsertion();
    // Builds the message and loads it (216). Warns "Failed formatting self-timed tx data." or
    // "Failed sending self-timed tx data to Corvane." and returns false on failure.
    bool FormatAndSend();
    // The message for the operator: "0x" and two hex digits a character under INSAT; on failure
    // "An error occurred formatting the message." or "The setup does not define a message."
    // with false.
    bool BuildMessageForDisplay(std::wstring& result) const;
    // The operator's test load, also while recording: with InitCorvane the running system is
    // stopped (771, then 2000 ms), the satellite id, offset and upload are sent, and when one of
    // them fails that is the end (false, no load, no restart); then 236, the message (216, its
    // result not looked at) and 218, whose result this is; then a stopped system is restarted
    // with 770, at most 5 attempts 15 s apart, accepted only with the reply "System is already
    // running." or "Unknown command" (the last attempt's result).
    bool ApplySettingsAndLoad(const std::wstring& message);
    // The next transmission at or after `time`: the Time and Rate schedule.
    TTime NextTransmissionTime(TTime time) const;
    // Builds the message of the current format from the registry's blocks at `now`; only one
    // for transmission updates the NOS recent values.
    bool BuildMessage(TTime now, std::wstring& message,
                      corvane::MessageUse use = corvane::MessageUse::Transmission) const;

    // Replaces the self-timed format hook; null removes it.
    void SetHook(corvane::MessageHook hook) { hook_.store(hook); }

  private:
    void ThreadProc();
    bool Restart();

    corvane::Transmitter& transmitter_;
    SelfTimedSettings settings_;
    SelfTimedRegistry registry_;
    std::atomic<corvane::MessageHook> hook_{nullptr};
    // Prepared when the thread starts under "NOS"; locks itself, so const builds may use it.
    mutable corvane::CNOSFormatter nos_;
    CMessengerThread worker_;
};
