// The "Corvane" properties dialog: the common settings (port, satellite id, InitCorvane, local
// time offset), with the status and send-to-maker dialogs a button away.
#pragma once

#include "corvane/ui/common_settings.h"

class CCorvane;
class CEngine;

// Control ids, for whatever acts as the operator.
enum CorvanePropertiesControl {
    kPropertiesPort = 1001,  // list "COM2:" .. "COM9:"
    kPropertiesSatId,        // text, must be 8 characters on OK
    kPropertiesInitCorvane,  // check box
    kPropertiesLocalOffset,  // integer
    kPropertiesStatus,       // opens the status dialog
    kPropertiesSendToMaker   // opens the send-to-maker dialog
};

// Runs "Corvane Properties" modally on `working`; true when the operator confirmed (OK),
// `working` then holds the edited values; false on cancel (`working` is left as it was). OK is
// refused, with "The satellite id must be 8 characters.", until the id has 8 characters. The
// status and send-to-maker dialogs talk to the transmitter through `corvane` with the settings
// it holds, not the unconfirmed ones; send-to-maker stops and restarts recording through
// `engine`.
bool RunCorvanePropertiesDialog(CommonSettings& working, CCorvane& corvane, CEngine& engine);
