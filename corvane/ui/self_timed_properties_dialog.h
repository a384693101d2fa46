// "Self-Timed Properties": the control-panel page of the self-timed settings, and its "More..."
// page "More SelfTimed Properties" for the INSAT secondary id and the SCD channel.
#pragma once

#include "corvane/selftimed/self_timed_settings.h"

// Runs "Self-Timed Properties" modally on `working` (the caller's copy of the messenger's record,
// owned by the caller; no lock is taken). True when the operator confirmed (OK) with a field
// changed: `working` then holds the edited values. False on cancel, and on OK with nothing
// changed; `working` is then as it came in.
bool RunSelfTimedPropertiesDialog(SelfTimedSettings& working);

namespace corvane::ui::self_timed_properties {

// Control ids of the two forms, for whatever drives them.
enum Control : int {
    kEnabled = 100,
    kCenterWin,
    kLatLon,
    kQuality,
    kChannel,
    kChannelEdit,
    kNumVals,
    kNumValsEdit,
    kTime,
    kTimeEdit,
    kRate,
    kRateEdit,
    kWinLen,
    kWinLenEdit,
    kFormat,
    kType,
    kAntenna,
    kMore,
    // "More SelfTimed Properties"
    kEnableSatID2 = 200,
    kSatID2,
    kSatID2Edit,
    kSCDChannel,
    kSCDChannelEdit,
};

}  // namespace corvane::ui::self_timed_properties
