// The operator-interface functions the platform finds by name (types as in platform/plugin.h),
// declared for callers that link the module directly.
#pragma once

#include "platform/types.h"

class CControlPanelEntry;
class DisplayIO;

extern "C" {
// A new control panel branch on the module's device object; the platform owns it and deletes it
// through its virtual destructor.
CControlPanelEntry* CreateControlPanelEntry();
// Runs the front-panel menu on `display` (RunFrontPanelMenu); a null display only gives Warning
// "Corvane display procedure recieved NULL display pointer.". `reserved` is unused. Always 1.
int DisplayProc(DisplayIO* display, void* reserved);
// "Edit Corvane (*)".
const wchar_t* GetMenuEntry();
// 0: the line does not belong in the main menu.
BOOL IsMainMenu();
}
