// The "Self-Timed Properties" dialog on a working copy of the self-timed settings.
#pragma once

#include "corvane/selftimed/self_timed_settings.h"

// Runs "Self-Timed Properties" modally on `working`; true when the operator confirmed (OK),
// `working` then holds the edited values; false on cancel (working may be changed, ignore it).
bool RunSelfTimedPropertiesDialog(SelfTimedSettings& working);
