// The message the operator is shown: INSAT's bytes in hexadecimal, and the two texts that stand
// in for a message that could not be made. The self-timed hook supplies each message.
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "corvane/selftimed/self_timed_msgr.h"
#include "corvane/support/scripted_transmitter.h"

namespace {

bool Bytes(std::wstring& message, int) {
    message = std::wstring(L"A\x0F\0\xFF", 4);
    return true;
}
bool Nothing(std::wstring& message, int) {
    message.clear();
    return true;
}
bool Fails(std::wstring& message, int) {
    message = L"half";
    return false;
}

struct Row {
    const char* legend;
    int type;
    corvane::MessageHook hook;
    std::wstring shown;
    bool made;
};

void PrintTo(const Row& row, std::ostream* os) {
    *os << row.legend;
}

class MessageForDisplay : public ::testing::TestWithParam<Row> {};

TEST_P(MessageForDisplay, ShowsWhatTheOperatorReads) {
    corvanetest::ScriptedTransmitter transmitter;
    SelfTimedMsgr messenger(transmitter);
    messenger.Settings().Format = L"INSAT";
    messenger.Settings().Type = GetParam().type;
    messenger.SetHook(GetParam().hook);
    std::wstring shown = L"stale";
    EXPECT_EQ(messenger.BuildMessageForDisplay(shown), GetParam().made);
    EXPECT_EQ(shown, GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, MessageForDisplay,
    ::testing::Values(
        Row{"type INSAT: 0x, then two upper-case hex digits a byte", 4, Bytes, L"0x410F00FF", true},
        Row{"another type: the text as it is", 0, Bytes, std::wstring(L"A\x0F\0\xFF", 4), true},
        Row{"a failed build", 4, Fails, L"An error occurred formatting the message.", false},
        Row{"an empty message", 0, Nothing, L"The setup does not define a message.", false},
        Row{"an empty message under INSAT", 4, Nothing, L"0x", true}),
    [](const ::testing::TestParamInfo<Row>& info) { return "row" + std::to_string(info.index); });

}  // namespace
