// The random messenger: owns the random settings and the stop event of its thread. The
// scheduler, the block lists and the alarm slots are built on top of this class.
#pragma once

#include <string>

#include "platform/sync.h"
#include "platform/xml_setup.h"
#include "random/random_settings.h"

class CRandomMsgr {
  public:
    // The settings hold their defaults with Antenna 0; the stop event is created set (stopped).
    CRandomMsgr();
    CRandomMsgr(const CRandomMsgr&) = delete;
    CRandomMsgr& operator=(const CRandomMsgr&) = delete;

    RandomSettings& Settings() { return settings_; }
    const RandomSettings& Settings() const { return settings_; }
    bool IsEnabled() const { return settings_.Enabled; }

    // The manual-reset event that ends the messenger's thread and its waits.
    TEvent& StopEvent() { return stopEvent_; }

    // The reader stands after "<Random"; `next` receives the token that ended its attributes.
    bool ReadSetup(CXMLSetup& setup, CXMLToken& next);
    bool WriteSetup(CXMLSetup& setup) const;
    // The defaults of a fresh setup (Antenna kept). Always true.
    bool InitSetup();
    // True when the Random and RndGroup blocks agree with each other; otherwise the failed
    // checks' texts are appended to `errors`, each ending in "; ". The settings record on its
    // own always passes: the checks concern the blocks, which register once they exist.
    bool ValidateRandomSetup(std::wstring& errors) const;

  private:
    RandomSettings settings_;
    TEvent stopEvent_;
};
