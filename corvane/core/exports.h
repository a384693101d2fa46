// The module's life-cycle and setup exports, declared for callers that link the module directly
// (the platform itself finds them by name; their types are those of platform/plugin.h).
#pragma once

class CXMLSetup;

extern "C" {
int AppInit();
// While recording runs, runs the recording-stop sequence and shows nothing; always 1.
int AppExit();
const wchar_t* GetFileVersion();  // "3.9.0.8"
const wchar_t* GetSetupTag();     // "Corvane"
// 0, with Warning "Error interpreting Corvane configuration from setup.", on failure.
int ReadSetup(CXMLSetup* setup);
// 0, with Warning "Error writing Corvane configuration to setup.", on failure.
int WriteSetup(CXMLSetup* setup);
// 0, with Warning "Error setting Corvane configuration to defaults.", on failure.
int InitSetup(void* reserved);

// Recording start and stop, called by the platform as recording starts and stops. Each runs its
// sequence (CCorvane::RecordingStart / RecordingStop) and, when that produced a report, shows it
// with MessageDlg(no parent, report, 60, MB_OK). Always 1: a transmitter problem never stops
// recording.
int OnEngineStart();
int OnEngineStop();

// The same sequences for another module that drives recording itself; nothing is shown. The
// result is the report text, "" when all went well: a copy made with malloc that belongs to the
// caller, who releases it with free(). Null only when that memory could not be had.
wchar_t* Start();
wchar_t* Stop();
}

// How callers that find Start and Stop by name type them.
using StartProc = wchar_t* (*)();
using StopProc = wchar_t* (*)();
