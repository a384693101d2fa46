// The random messenger: owns the random settings, its thread and the thread's stop event, and
// pushes the settings into the transmitter when recording starts. The scheduler, the block lists
// and the alarm slots are built on top of this class. It talks to the transmitter only through
// the narrow Transmitter interface, which the device object that owns it implements.
#pragma once

#include <memory>
#include <string>

#include "corvane/link/transmitter.h"
#include "corvane/random/random_settings.h"
#include "corvane/shared/messenger_thread.h"
#include "platform/sync.h"
#include "platform/xml_setup.h"

class CRandomMsgr {
  public:
    // The settings hold their defaults with Antenna 0; the stop event is created set (stopped).
    // `transmitter` (the device object that owns the messenger) outlives it; it is not used
    // during construction.
    explicit CRandomMsgr(corvane::Transmitter& transmitter);
    // Stops the thread if it still runs.
    ~CRandomMsgr();
    CRandomMsgr(const CRandomMsgr&) = delete;
    CRandomMsgr& operator=(const CRandomMsgr&) = delete;

    RandomSettings& Settings() { return settings_; }
    const RandomSettings& Settings() const { return settings_; }
    bool IsEnabled() const { return settings_.Enabled; }

    // The manual-reset event that ends the messenger's thread and its waits.
    TEvent& StopEvent() { return worker_.StopEvent(); }

    // The reader stands after "<Random"; `next` receives the token that ended its attributes.
    bool ReadSetup(CXMLSetup& setup, CXMLToken& next);
    bool WriteSetup(CXMLSetup& setup) const;
    // The defaults of a fresh setup (Antenna kept). Always true.
    bool InitSetup();
    // True when the Random and RndGroup blocks agree with each other; otherwise the failed
    // checks' texts are appended to `errors`, each ending in "; ". The settings record on its
    // own always passes: the checks concern the blocks, which register once they exist.
    bool ValidateRandomSetup(std::wstring& errors) const;

    // Sends the random settings (RandomConfigRequests, one exchange each, without limit on the
    // lock wait). False at the first command that gets no valid reply; a refusing reply does not
    // end it. For Types 6..9 an 862 is assembled as well and not sent.
    bool PushRandomConfig();

    // The thread's life, called by recording start and stop (under the device's state lock).
    // Start: false when the thread runs already; otherwise clears the stop event and starts it.
    // Stop: false when no thread runs; otherwise sets the stop event and waits for the thread
    // to end.
    bool Start();
    bool Stop();
    bool IsThreadRunning() const { return worker_.IsRunning(); }

  private:
    void ThreadProc();

    corvane::Transmitter& transmitter_;
    RandomSettings settings_;
    CMessengerThread worker_;
};
