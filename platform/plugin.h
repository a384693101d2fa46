// The functions a plug-in exports, found by the platform with these exact (unmangled) names.
// Required: AppInit, AppExit, GetFileVersion, GetSetupTag, ReadSetup, WriteSetup, InitSetup.
// Optional: OnEngineStart, OnEngineStop, Factory (an object), CreateControlPanelEntry,
// DisplayProc, GetMenuEntry, IsMainMenu.
//
// Factory is not a function but the plug-in's factory object itself: an object of a class
// derived (singly) from TModuleFactory, defined at namespace scope as `TFactory Factory;` so
// that the symbol is its address. The platform uses it as a TModuleFactory.
#pragma once

#include "platform/types.h"

class CXMLSetup;
class CControlPanelEntry;
class DisplayIO;
class TModuleFactory;

extern "C" {
using AppInitProc = int (*)();
using AppExitProc = int (*)();
using GetFileVersionProc = const wchar_t* (*)();
using GetSetupTagProc = const wchar_t* (*)();
// Given the reader positioned just after the plug-in's start tag. 1 on success.
using ReadSetupProc = int (*)(CXMLSetup* setup);
// Writes the plug-in's whole section, start and closing tags included. 1 on success.
using WriteSetupProc = int (*)(CXMLSetup* setup);
// Resets the plug-in's settings for a fresh setup; the argument is the platform's, unused here.
using InitSetupProc = int (*)(void* reserved);
using OnEngineStartProc = int (*)();
using OnEngineStopProc = int (*)();
// A new control panel branch, owned by the platform (deleted through its virtual destructor).
using CreateControlPanelEntryProc = CControlPanelEntry* (*)();
// Runs the module's front-panel menu on `display` (never null from the host); `reserved` is the
// platform's further argument, null on the host. Returns 1.
using DisplayProcProc = int (*)(DisplayIO* display, void* reserved);
// The text of the module's line in the platform's menu.
using GetMenuEntryProc = const wchar_t* (*)();
// Whether that line belongs in the main menu.
using IsMainMenuProc = BOOL (*)();
}
