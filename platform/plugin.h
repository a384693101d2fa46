// The functions a plug-in exports, found by the platform with these exact (unmangled) names.
// Required: AppInit, AppExit, GetFileVersion, GetSetupTag, ReadSetup, WriteSetup, InitSetup.
// Optional: OnEngineStart, OnEngineStop, Factory (an object), CreateControlPanelEntry,
// DisplayProc, GetMenuEntry, IsMainMenu.
#pragma once

class CXMLSetup;

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
}
