// A random group's message, byte for byte, from Random blocks that stored readings in the
// process's engine: the label, the age character, the values interleaved or not with "///" for
// a missing one, and the hook's last word.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "corvane/random/random_block.h"
#include "corvane/random/random_msgr.h"
#include "corvane/random/rnd_group.h"
#include "corvane/support/scripted_transmitter.h"
#include "host/clock/clock.h"
#include "host/engine/engine.h"
#include "platform/module_factory.h"

namespace {

class Blocks : public TModuleFactory {
  public:
    explicit Blocks(CRandomMsgr& m) : messenger(m) { SetModules(2, kNames); }
    TModule* CreateModule(int index) override {
        if (index == 0)
            return new Random(messenger);
        return index == 1 ? new RndGroup(messenger) : nullptr;
    }
    static constexpr const wchar_t* kNames[] = {L"Random", L"RndGroup"};
    CRandomMsgr& messenger;
};

class Feeder : public TModule {
  public:
    Feeder() : TModule(L"Feeder") { AddProperty(TProperty::Integer(L"RightDigits", 2)); }
    std::wstring GetOutputName(int index) const override { return index == 0 ? L"Out" : L""; }
};

std::wstring Hook(std::wstring& text, int group) {
    return text + L"|" + std::to_wstring(group);
}
bool AppendingHook(std::wstring& text, int group) {
    text = Hook(text, group);
    return true;
}
bool RefusingHook(std::wstring&, int) {
    return false;
}

class RandomMessage : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        static Blocks factory(Messenger());
        tarvo::host::GetHostEngine().AddBlockTypes(factory, "test");
    }
    static CRandomMsgr& Messenger() {
        static corvanetest::ScriptedTransmitter transmitter;
        static CRandomMsgr messenger(transmitter);
        return messenger;
    }
    void TearDown() override {
        Messenger().SetHook(nullptr);
        std::string error;
        ASSERT_TRUE(tarvo::host::GetHostEngine().NewSetup(error)) << error;
    }

    // Group 3 every 15 minutes labelled "WLX", parameters P1 (sequence 2, NumVals 2) and P2
    // (sequence 1, NumVals 3), fed at 10:00 and 10:15 (P1) and 10:15 only (P2).
    void Load(int format, const std::string& more = "") {
        Messenger().Settings().Format = format;
        Messenger().Settings().NumVals = 2;
        const std::string blocks =
            "    <Block Type=\"RndGroup\" Name=\"G\" Group=\"3\" Label=\"WLXYZ\" />\n"
            "    <Block Type=\"Random\" Name=\"P1\" GroupMap=\"0,1\" Sequence=\"2\" "
            "NumVals=\"2\" />\n"
            "    <Block Type=\"Random\" Name=\"P2\" GroupMap=\"0,1\" Sequence=\"1\" "
            "NumVals=\"3\" />\n" +
            more;
        std::string error;
        auto& engine = tarvo::host::GetHostEngine();
        ASSERT_TRUE(engine.LoadSetupText(
            "<TarvoSetup>\n  <Blocks>\n" + blocks + "  </Blocks>\n</TarvoSetup>\n", "g.xml", error))
            << error;
        for (const wchar_t* name : {L"P1", L"P2", L"P3"}) {
            auto* block = static_cast<Random*>(engine.FindModule(name));
            if (block == nullptr)
                continue;
            block->ConnectInput(Random::kPort, &feeder, 0);
            block->Start();
        }
        Feed(L"P1", TTime(2024, 7, 1, 10, 0, 0), 12.34);
        Feed(L"P1", TTime(2024, 7, 1, 10, 15, 0), -1.0);
        Feed(L"P2", TTime(2024, 7, 1, 10, 15, 0), 5000.0);
    }
    void Feed(const wchar_t* name, TTime time, double value) {
        feeder.SetOutputData(0, CSensorData(TValue(value), time));
        tarvo::host::GetHostEngine().FindModule(name)->Execute();
    }
    std::wstring Message(int group) {
        std::wstring text;
        EXPECT_TRUE(Messenger().BuildGroupMessage(group, text));
        return text;
    }

    tarvo::host::ScopedVirtualClock clock{TTime(2024, 7, 1, 10, 20, 0)};
    Feeder feeder;
};

// The message is sorted by Sequence when the thread starts; here the blocks stand in the order
// the file made them (P1, P2). Age: P1's newest reading (10:15) at 10:20 is 5 minutes: 'E'.
// 12.34 is "@SR", -1.00 "?~\", 5000.00 clamps to "_??".
TEST_F(RandomMessage, InterleavedTakesValueIOfEveryParameterInTurn) {
    Load(0);
    EXPECT_EQ(Message(3), L"WLXE?~\\_??@SR///");
}

TEST_F(RandomMessage, NotInterleavedTakesEachParametersOwnNumVals) {
    Load(1);
    EXPECT_EQ(Message(3),
              L"WLXE?~\\@SR_?"
              L"?//////");
}

// Sorted, P2 (sequence 1) comes first, then P3, made after it with the same sequence, then P1.
TEST_F(RandomMessage, SortingKeepsTheListOrderOfEqualSequences) {
    Load(1,
         "    <Block Type=\"Random\" Name=\"P3\" GroupMap=\"0,1\" Sequence=\"1\" "
         "NumVals=\"1\" />\n");
    Feed(L"P3", TTime(2024, 7, 1, 10, 15, 0), 0.0);
    Messenger().SortRandomBlocks();
    EXPECT_EQ(Message(3),
              L"WLXE_?"
              L"?//////@@@?~\\@SR");
}

TEST_F(RandomMessage, AGroupWithoutItsBlockLeavesTheTextAndOperatorsAreTold) {
    Load(0);
    std::wstring text = L"kept";
    EXPECT_TRUE(Messenger().BuildGroupMessage(7, text));
    EXPECT_EQ(text, L"kept");
    EXPECT_FALSE(Messenger().GetGroupMessage(7, text));
    EXPECT_EQ(text, L"The setup does not define a message for the indicated group.");
}

TEST_F(RandomMessage, TheHookHasTheLastWord) {
    Load(0);
    Messenger().SetHook(AppendingHook);
    EXPECT_EQ(Message(3), L"WLXE?~\\_??@SR///|3");
    Messenger().SetHook(RefusingHook);
    std::wstring text;
    EXPECT_FALSE(Messenger().BuildGroupMessage(3, text));
    EXPECT_FALSE(Messenger().GetGroupMessage(3, text));
    EXPECT_EQ(text, L"An error occurred formatting the message.");
}

}  // namespace
