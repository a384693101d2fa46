// The module's control interface: the functions through which another module of the logger, or
// its scripting layer, reads and changes the transmitter settings between recordings, asks the
// transmitter for its status and hooks into message building. Found by these exact names in
// libcorvane.so; the Proc types below are how a caller that finds them by name types them.
//
// All of them work on the module's one device object. Setters look at the running flag first
// and change nothing while recording runs; otherwise they change the settings in memory only:
// nothing is sent to the transmitter (the next recording start does that) and nothing is saved
// (the platform's next save of the setup does that). None of them takes the state lock: they
// are meant for the quiet time between recordings, on the thread that loads and saves setups.
//
// Times of day, intervals and rates cross as whole seconds. They are kept as "HH:MM:SS" texts:
// a getter returns the text's total seconds (read leniently, "00:00:75" is 75); a setter
// stores the hours, minutes and seconds of the span and drops whole days, so 90000 is stored
// as "01:00:00" and 86400 as "00:00:00".
//
// Strings: the module never keeps a caller's pointer. A wide string the module returns is a
// copy made with malloc that belongs to the caller, who releases it with free(). A string the
// module fills is the caller's std::wstring, assigned in place; caller and module must then be
// built against the same C++ standard library, as the message hook already requires.
#pragma once

#include <string>

#include "corvane/shared/message_hook.h"
#include "platform/types.h"

extern "C" {

// The satellite id (SatID): a malloc'd copy the caller frees. Null only when that memory could
// not be had.
wchar_t* GetCorvaneID();
// Copies `id` (a null-terminated wide string, no check of its length or digits) into SatID. A
// null `id` changes nothing.
void SetCorvaneID(const wchar_t* id);
// Whether recording start configures the transmitter (InitCorvane) and at least one kind of
// transmission is enabled.
BOOL CorvaneTxEnabled();
// The transmitter's status report (command 4), for an operator who waits for it: false at once,
// without touching the port, while neither transmission is enabled; otherwise one exchange that
// waits at most 5000 ms for the session lock. True with the reply's text in `*status`; false,
// with `*status` as it was, when the exchange failed or the reply was empty (or `status` is
// null).
BOOL GetCorvaneStatus(std::wstring* status);

BOOL IsSelfTimedEnabled();
void EnableSelfTimed(BOOL enable);  // any non-zero is true
long GetSTTxTime();                 // first transmission of the day, seconds from midnight
void SetSTTxTime(long seconds);
long GetSTTxInterval();  // seconds between self-timed transmissions
void SetSTTxInterval(long seconds);
int GetSTChannel();
void SetSTChannel(int channel);  // stored as given
int GetSTType();                 // index into the self-timed type list
void SetSTType(int type);        // stored as given

BOOL IsRandomEnabled();
void EnableRandom(BOOL enable);  // any non-zero is true
long GetRTNormalRate();          // seconds between normal random reports
void SetRTNormalRate(long seconds);
long GetRTAlarmRate();  // seconds between random reports while in alarm
void SetRTAlarmRate(long seconds);
int GetRTChannel();
void SetRTChannel(int channel);  // stored as given
int GetRTType();                 // index into the random type list
void SetRTType(int type);        // stored as given

// Hands `selfTimed` to the self-timed messenger and `random` to the random messenger, replacing
// the hooks they held; a null hook removes that messenger's hook. The functions are called on
// the messenger threads while recording runs, so the library that holds them must stay loaded
// until they are replaced or removed. Takes effect for the next message built, even while
// recording runs.
void SetBasicHook(corvane::MessageHook selfTimed, corvane::MessageHook random);

// The NOS text report: the values of the last NOS message sent, from Recent.dat on the storage
// card or else the flash disk, as a table of time, sensor and value with units, or a line that
// says there are none; it ends with "\r\nREPORT COMPLETE\r\n" (docs/formats.md). `reserved`
// is the platform's further argument, unused. Safe at any time, recording or not; a null
// `report` does nothing.
void GetReportString(std::wstring* report, void* reserved);
}

// How callers that find the exports by name type them.
using GetCorvaneIDProc = wchar_t* (*)();
using SetCorvaneIDProc = void (*)(const wchar_t*);
using CorvaneTxEnabledProc = BOOL (*)();
using GetCorvaneStatusProc = BOOL (*)(std::wstring*);
using BoolGetterProc = BOOL (*)();         // IsSelfTimedEnabled, IsRandomEnabled
using BoolSetterProc = void (*)(BOOL);     // EnableSelfTimed, EnableRandom
using SecondsGetterProc = long (*)();      // GetSTTxTime, GetSTTxInterval, GetRT...Rate
using SecondsSetterProc = void (*)(long);  // SetSTTxTime, SetSTTxInterval, SetRT...Rate
using IntGetterProc = int (*)();           // Get{ST,RT}{Channel,Type}
using IntSetterProc = void (*)(int);       // Set{ST,RT}{Channel,Type}
using SetBasicHookProc = void (*)(corvane::MessageHook, corvane::MessageHook);
using GetReportStringProc = void (*)(std::wstring*, void*);
