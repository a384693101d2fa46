// "Random Properties": the control-panel page of the random settings.
#pragma once

#include "corvane/random/random_settings.h"

// Runs "Random Properties" modally on `working` (the caller's copy of the messenger's record,
// owned by the caller; no lock is taken). True when the operator confirmed (OK) with a field
// changed: `working` then holds the edited values. False on cancel, and on OK with nothing
// changed, which ends the page as a cancel does; `working` is then as it came in.
bool RunRandomPropertiesDialog(RandomSettings& working);

namespace corvane::ui::random_properties {

// Control ids of the form, for whatever drives it.
enum Control : int {
    kEnabled = 300,
    kLatLon,
    kQuality,
    kChannel,
    kChannelEdit,
    kType,
    kFormat,
    kAntenna,
    kNormRate,
    kNormRateEdit,
    kAlarmRate,
    kAlarmRateEdit,
    kBurstRate,
    kBurstRateEdit,
    kBurstCount,
    kBurstCountEdit,
    kNumVals,
    kNumValsEdit,
};

}  // namespace corvane::ui::random_properties
