// The self-timed messenger: owns the self-timed settings and the stop event of its thread.
// The scheduler thread itself is built on top of this class.
#pragma once

#include <string>

#include "platform/sync.h"
#include "platform/xml_setup.h"
#include "selftimed/self_timed_settings.h"

class SelfTimedMsgr {
  public:
    // The settings hold their construction values; the stop event is created set (stopped).
    SelfTimedMsgr();
    SelfTimedMsgr(const SelfTimedMsgr&) = delete;
    SelfTimedMsgr& operator=(const SelfTimedMsgr&) = delete;

    SelfTimedSettings& Settings() { return settings_; }
    const SelfTimedSettings& Settings() const { return settings_; }
    bool IsEnabled() const { return settings_.Enabled; }

    // The manual-reset event that ends the messenger's thread and its waits.
    TEvent& StopEvent() { return stopEvent_; }

    // The reader stands after "<SelfTimed"; `next` receives the token that ended its attributes.
    bool ReadSetup(CXMLSetup& setup, CXMLToken& next);
    bool WriteSetup(CXMLSetup& setup) const;
    // The values of a fresh setup (Antenna kept). Always true.
    bool InitSetup();
    // True when the settings may be used for recording; otherwise the reasons are appended to
    // `errors`, each ending in "; ". The record on its own always passes: what can fail is the
    // agreement of the SelfTimed blocks, checked once they exist.
    bool ValidateSetup(std::wstring& errors) const;

  private:
    SelfTimedSettings settings_;
    TEvent stopEvent_;
};
