// The test dialog: a test transmission of the message one messenger builds, and the
// transmitter's reset. It runs in one of two modes, for the self-timed or the random messenger.
#pragma once

class CCorvane;

enum class TestMode { SelfTimed, Random };

// Control ids, for whatever acts as the operator.
enum TestControl {
    kTestMessage = 1201,   // read-only: the message the test sends
    kTestNote,             // why the message is test text, when the messenger gave none
    kTestGroup,            // random mode only: groups 2 to 9
    kTestSend,             // asks consent, then the mode's test transmission
    kTestResetTransmitter  // asks, then 6
};

// The characters test text is made of when the messenger defines no message.
inline constexpr wchar_t kTestCharacters[] =
    L"ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcdefghijklmnopqrstuvwxyz";

// Runs "Self-Timed Test" or "Random Test" modally on the calling thread; the operator closes it
// with IDCANCEL. The message is built when the dialog opens (and, in random mode, when another
// group is chosen) by the mode's messenger with its current format; when that gives none, the
// test sends kTestCharacters instead. Changes no setting.
void RunTestDialog(CCorvane& corvane, TestMode mode);
