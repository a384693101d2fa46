// The random messenger's test transmission against a scripted transmitter, without a device
// object behind it.
#include "corvane/random/random_msgr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "corvane/support/scripted_transmitter.h"

namespace {

using ::testing::ElementsAre;

TEST(RandomMessenger, ATestMessagePushesTheSetupFirstOnlyWhenTheModuleConfiguresTheTransmitter) {
    corvanetest::ScriptedTransmitter transmitter;
    CRandomMsgr messenger(transmitter);
    EXPECT_TRUE(messenger.SendTestMessage(L"TEST"));
    EXPECT_THAT(transmitter.requests, ElementsAre(40, 37, 302, 306, 318, 320, 304, 310, 312, 314));
    EXPECT_THAT(transmitter.messages, ElementsAre(L"TEST"));

    transmitter.requests.clear();
    transmitter.pushes = false;
    transmitter.silent = {312};
    EXPECT_TRUE(messenger.SendTestMessage(L"TEST")) << "the 314 decides, not the 312";
    EXPECT_THAT(transmitter.requests, ElementsAre(312, 314));

    transmitter.pushes = true;
    transmitter.silent = {40};
    EXPECT_FALSE(messenger.SendTestMessage(L"TEST"));
}

}  // namespace
