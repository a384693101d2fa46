// The module's life-cycle and setup exports, declared for callers that link the module directly
// (the platform itself finds them by name; their types are those of platform/plugin.h).
#pragma once

class CXMLSetup;

extern "C" {
int AppInit();
// Runs nothing while recording is stopped; always 1.
int AppExit();
const wchar_t* GetFileVersion();  // "3.9.0.8"
const wchar_t* GetSetupTag();     // "Corvane"
// 0, with Warning "Error interpreting Corvane configuration from setup.", on failure.
int ReadSetup(CXMLSetup* setup);
// 0, with Warning "Error writing Corvane configuration to setup.", on failure.
int WriteSetup(CXMLSetup* setup);
// 0, with Warning "Error setting Corvane configuration to defaults.", on failure.
int InitSetup(void* reserved);
}
