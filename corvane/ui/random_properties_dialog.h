// The "Random Properties" dialog on a working copy of the random settings.
#pragma once

#include "corvane/random/random_settings.h"

// Runs "Random Properties" modally on `working`; true when the operator confirmed (OK),
// `working` then holds the edited values; false on cancel (working may be changed, ignore it).
bool RunRandomPropertiesDialog(RandomSettings& working);
