// Type codes of the requests the module sends to the transmitter (decimal, as the transmitter
// numbers them). Payloads and replies are described beside each code.
#pragma once

#include "platform/types.h"

namespace corvane::cmd {

inline constexpr WORD kStatus = 4;             // none; reply: status report as single-byte text
inline constexpr WORD kClearCounters = 5;      // none
inline constexpr WORD kReset = 6;              // none
inline constexpr WORD kResetFailsafe = 7;      // none
inline constexpr WORD kCurrentTime = 31;       // none; reply: 7-byte time
inline constexpr WORD kReadClock = 35;         // none; reply: seconds since 1970 (4), valid, spare
inline constexpr WORD kSetLocalOffset = 37;    // word: local time offset, low 16 bits
inline constexpr WORD kSetSatId = 40;          // dword: satellite id read as hexadecimal
inline constexpr WORD kSetSatId2 = 42;         // dword: secondary satellite id
inline constexpr WORD kSelfTimedEnable = 200;  // bool; checked
inline constexpr WORD kStChannel = 202;        // word
inline constexpr WORD kStRate = 204;           // time span
inline constexpr WORD kStFirstTime = 206;      // time span
inline constexpr WORD kStType = 208;           // word
inline constexpr WORD kStWindow = 212;         // time span
inline constexpr WORD kStCenter = 214;         // bool
inline constexpr WORD kStLoadBuffer = 216;     // bytes: the self-timed message
inline constexpr WORD kStAppendBuffer = 217;   // bytes; defined, never sent
inline constexpr WORD kStOperatorSend = 218;   // none; after an operator load with 216
inline constexpr WORD kStWindowClose = 219;    // none; reply: 7-byte time the window closes
inline constexpr WORD kStQuality = 223;        // bool
inline constexpr WORD kStLatLon = 225;         // bool
inline constexpr WORD kStDataFormat = 232;     // byte
inline constexpr WORD kStOperatorLoad = 236;   // none; before an operator load
inline constexpr WORD kStScdChannel = 251;     // word
inline constexpr WORD kRandomEnable = 300;     // bool
inline constexpr WORD kRtChannel = 302;        // word
inline constexpr WORD kRtParam304 = 304;       // time span
inline constexpr WORD kRtType = 306;           // word
inline constexpr WORD kRtParam310 = 310;       // byte
inline constexpr WORD kRtLoadBuffer = 312;     // bytes: the random message
inline constexpr WORD kRtAppendBuffer = 313;   // bytes; defined, never sent
inline constexpr WORD kRtTestSend = 314;       // none; after a test text loaded with 312
inline constexpr WORD kRtQuality = 318;        // bool
inline constexpr WORD kRtLatLon = 320;         // bool
inline constexpr WORD kParam338 = 338;         // bool false; checked
inline constexpr WORD kOpenSession = 506;      // bool true; first command of recording start
inline constexpr WORD kStmConfigA = 600;       // word
inline constexpr WORD kStmConfigB = 602;       // word
inline constexpr WORD kStmPlatformId = 604;    // dword
inline constexpr WORD kStmExecute = 606;       // none
inline constexpr WORD kMasterStart = 770;      // none; reply: empty, one byte, or refusal text
inline constexpr WORD kMasterStop = 771;       // none
inline constexpr WORD kParam862 = 862;         // byte 3, then a single-precision real

}  // namespace corvane::cmd
