// The random messenger against a scripted transmitter: what it sends when recording starts,
// without a device object behind it.
#include "corvane/random/random_msgr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "corvane/support/scripted_transmitter.h"

namespace {

using ::testing::ElementsAre;

TEST(RandomMessenger, PushesItsSettingsInOrderAndNeverSendsThe862ItAssembles) {
    corvanetest::ScriptedTransmitter transmitter;
    CRandomMsgr messenger(transmitter);
    messenger.Settings().Type = 7;  // a type with an antenna: the 862 is built and dropped
    EXPECT_TRUE(messenger.PushRandomConfig());
    EXPECT_THAT(transmitter.requests, ElementsAre(302, 306, 318, 320, 304, 310));
}

TEST(RandomMessenger, StopsThePushAtTheFirstCommandWithoutAReply) {
    corvanetest::ScriptedTransmitter transmitter;
    transmitter.silent = {318};
    CRandomMsgr messenger(transmitter);
    EXPECT_FALSE(messenger.PushRandomConfig());
    EXPECT_THAT(transmitter.requests, ElementsAre(302, 306, 318));
}

}  // namespace
