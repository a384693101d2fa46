// `tarvo panel` at a terminal: tmux runs it in 80x24, the test presses keys and reads the screen.
// Each wait is for what the screen shows, bounded generously, never for the module's timing.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/apps/support/child_process.h"
#include "tests/apps/support/tmux_screen.h"

namespace tarvo::testing {
namespace {

const std::string kSetup = "river-gauge.xml";
const std::string kTree = "Control panel - river-gauge.xml";
const std::string kOldId = "3A51C2F4";

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class TarvoPanel : public ::testing::Test {
  protected:
    TarvoPanel() : screen_(dir_.Path()) {
        original_ = ReadFile(std::string(EXAMPLES_DIR) + "/" + kSetup);
        dir_.Write(kSetup, original_);
    }

    // Starts the panel and waits for its tree.
    void Open() {
        screen_.Type(std::string("clear; ") + TARVO_PROGRAM + " panel " + kSetup +
                     "; echo EXIT=$?");
        ASSERT_TRUE(screen_.WaitFor(kTree)) << screen_.Capture();
    }

    // Moves `downs` lines down the tree and opens the line, waiting for `title`.
    void OpenLine(int downs, const std::string& title) {
        std::vector<std::string> keys(static_cast<std::size_t>(downs), "Down");
        keys.push_back("Enter");
        screen_.Press(keys);
        ASSERT_TRUE(screen_.WaitFor(" " + title)) << screen_.Capture();
    }

    // In Corvane Properties: types a new satellite id into its field.
    void TypeSatelliteId(const std::string& id) {
        OpenLine(0, "Corvane Properties");
        screen_.Press({"Down", "Enter"});
        ASSERT_TRUE(screen_.WaitFor("Enter confirm")) << screen_.Capture();
        screen_.Press(std::vector<std::string>(8, "BSpace"));
        screen_.Type(id);
        ASSERT_TRUE(screen_.WaitFor("Satellite ID: [" + id + "]")) << screen_.Capture();
    }

    void PressOkOfCorvaneProperties() {
        // From the satellite id: the check box, the offset, Status, Send-to-Marvek, OK.
        screen_.Press({"Down", "Down", "Down", "Down", "Down", "Enter"});
        ASSERT_TRUE(screen_.WaitFor(kTree)) << screen_.Capture();
    }

    void LeaveWithStatus(const std::string& status) {
        ASSERT_TRUE(screen_.WaitFor("EXIT=" + status)) << screen_.Capture();
    }

    std::string SavedSetup() const { return dir_.Read(kSetup); }

    TempDir dir_;
    TmuxScreen screen_;
    std::string original_;
};

struct ItemCase {
    const char* name;
    int downs;          // from the first line of the tree
    const char* title;  // of the dialog or screen it opens
};

class TarvoPanelItem : public TarvoPanel, public ::testing::WithParamInterface<ItemCase> {};

TEST_P(TarvoPanelItem, OpensItsDialog) {
    Open();
    OpenLine(GetParam().downs, GetParam().title);
    screen_.Press({"Escape"});
    ASSERT_TRUE(screen_.WaitFor(kTree)) << screen_.Capture();
    screen_.Press({"q"});
    LeaveWithStatus("0");
    EXPECT_EQ(SavedSetup(), original_);
}

INSTANTIATE_TEST_SUITE_P(EachLine, TarvoPanelItem,
                         ::testing::Values(ItemCase{"CorvaneProperties", 0, "Corvane Properties"},
                                           ItemCase{"SelfTimed", 1, "Self-Timed Properties"},
                                           ItemCase{"Random", 2, "Random Properties"},
                                           ItemCase{"SelfTimedTest", 3, "Self-Timed Test"},
                                           ItemCase{"RandomTest", 4, "Random Test"},
                                           // A SelfTimed block's own properties, and a RndGroup's.
                                           ItemCase{"SelfTimedBlock", 10, "Self-Timed Properties"},
                                           ItemCase{"RndGroupBlock", 12,
                                                    "Random Group Properties"}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(TarvoPanel, FrontPanelMenuReachesItsExitPrompt) {
    Open();
    OpenLine(5, "|SatID");
    screen_.Press({"Escape"});
    ASSERT_TRUE(screen_.WaitFor("Exit Edit Corvane?")) << screen_.Capture();
    screen_.Press({"Escape"});
    ASSERT_TRUE(screen_.WaitFor(kTree)) << screen_.Capture();
    screen_.Press({"q"});
    LeaveWithStatus("0");
}

TEST_F(TarvoPanel, KeypadTakesHexadecimalLettersFromEitherCaseForTheSatelliteId) {
    Open();
    OpenLine(5, "|SatID");
    screen_.Press({"Enter"});
    ASSERT_TRUE(screen_.WaitFor("|" + kOldId + "_")) << screen_.Capture();
    screen_.Press(std::vector<std::string>(8, "BSpace"));
    screen_.Press({"4", "b", "6", "2", "D", "3", "e", "5"});
    ASSERT_TRUE(screen_.WaitFor("|4B62D3E5_")) << screen_.Capture();
    // Confirmed on the keypad, the module saves the setup itself.
    screen_.Press({"Enter"});
    ASSERT_TRUE(screen_.WaitFor("|press * to select")) << screen_.Capture();
    screen_.Press({"Escape"});
    ASSERT_TRUE(screen_.WaitFor("Exit Edit Corvane?")) << screen_.Capture();
    screen_.Press({"Enter"});
    ASSERT_TRUE(screen_.WaitFor(kTree)) << screen_.Capture();
    screen_.Press({"q"});
    LeaveWithStatus("0");
    EXPECT_NE(SavedSetup().find("SatID = \"4B62D3E5\""), std::string::npos) << SavedSetup();
}

TEST_F(TarvoPanel, ChannelOutOfRangeAsksForTheChannelAgain) {
    Open();
    OpenLine(0, "Corvane Properties");
    // Send-to-Marvek..., then the channel's "..." button.
    screen_.Press({"Down", "Down", "Down", "Down", "Down", "Enter"});
    ASSERT_TRUE(screen_.WaitFor(" Send-to-Marvek")) << screen_.Capture();
    screen_.Press({"Down", "Enter"});
    ASSERT_TRUE(screen_.WaitFor("Channel: ")) << screen_.Capture();
    screen_.Press(std::vector<std::string>(4, "BSpace"));
    screen_.Type("1000");
    ASSERT_TRUE(screen_.WaitFor("Please enter an integer between 1 and 999.")) << screen_.Capture();
    screen_.Press({"Enter"});
    // The editor again (its own legend), holding the refused value.
    ASSERT_TRUE(screen_.WaitFor("Backspace delete   Enter confirm")) << screen_.Capture();
    EXPECT_NE(screen_.Capture().find("Channel: 1000"), std::string::npos) << screen_.Capture();
    EXPECT_EQ(screen_.Capture().find("Please enter an integer"), std::string::npos)
        << screen_.Capture();
}

TEST_F(TarvoPanel, ConfirmedSatelliteIdIsTheOneChangeInTheSavedFile) {
    Open();
    TypeSatelliteId("4B62D3E5");
    PressOkOfCorvaneProperties();
    screen_.Press({"q"});
    ASSERT_TRUE(screen_.WaitFor("Save the changes to river-gauge.xml?")) << screen_.Capture();
    screen_.Press({"y"});
    LeaveWithStatus("0");
    std::string expected = original_;
    expected.replace(expected.find(kOldId), kOldId.size(), "4B62D3E5");
    EXPECT_EQ(SavedSetup(), expected);
}

TEST_F(TarvoPanel, CancelledDialogLeavesTheFileByteIdentical) {
    Open();
    TypeSatelliteId("4B62D3E5");
    screen_.Press({"Escape"});
    ASSERT_TRUE(screen_.WaitFor(kTree)) << screen_.Capture();
    screen_.Press({"q"});
    LeaveWithStatus("0");
    EXPECT_EQ(SavedSetup(), original_);
}

TEST_F(TarvoPanel, AnsweringNoLeavesTheFileByteIdentical) {
    Open();
    TypeSatelliteId("4B62D3E5");
    PressOkOfCorvaneProperties();
    screen_.Press({"q"});
    ASSERT_TRUE(screen_.WaitFor("Save the changes")) << screen_.Capture();
    screen_.Press({"n"});
    LeaveWithStatus("0");
    EXPECT_EQ(SavedSetup(), original_);
}

TEST_F(TarvoPanel, StatusRefreshShowsTheSimulatedTransmittersStatus) {
    Open();
    OpenLine(0, "Corvane Properties");
    screen_.Press({"Down", "Down", "Down", "Down", "Enter"});
    ASSERT_TRUE(screen_.WaitFor(" Corvane Status")) << screen_.Capture();
    // Refresh is the first control that can be used: the status field is read-only.
    screen_.Press({"Enter"});
    EXPECT_TRUE(screen_.WaitFor("Status: Corvane transmitter (simulated)")) << screen_.Capture();
}

TEST_F(TarvoPanel, SelfTimedTestTransmissionIsInTheSimulatorsDownlinkLog) {
    screen_.Type(std::string("clear; ") + TARVO_PROGRAM + " panel " + kSetup +
                 " --transcript line.jsonl; echo EXIT=$?");
    ASSERT_TRUE(screen_.WaitFor(kTree)) << screen_.Capture();
    OpenLine(3, "Self-Timed Test");
    // Send Test is the first control that can be used; then the warning's Yes.
    screen_.Press({"Enter"});
    ASSERT_TRUE(screen_.WaitFor("Warning! Transmissions")) << screen_.Capture();
    screen_.Press({"y"});
    ASSERT_TRUE(screen_.WaitFor("The test message has been sent to Corvane.")) << screen_.Capture();
    screen_.Press({"Enter"});
    ASSERT_TRUE(screen_.WaitForGone("The test message has been sent")) << screen_.Capture();
    screen_.Press({"Escape"});
    ASSERT_TRUE(screen_.WaitFor(kTree)) << screen_.Capture();
    screen_.Press({"q"});
    LeaveWithStatus("0");
    EXPECT_NE(dir_.Read("line.jsonl").find("\"log\":\"downlink\","), std::string::npos);
    EXPECT_NE(dir_.Read("line.jsonl").find("\"kind\":\"self-timed-test\",\"sent\":true"),
              std::string::npos)
        << dir_.Read("line.jsonl");
}

TEST_F(TarvoPanel, CtrlCPutsTheTerminalBackInTheModeItHad) {
    // An interactive shell puts the terminal's mode back itself after a job a signal ended, so
    // the panel runs under a plain sh, which carries on after Ctrl-C only because of its trap.
    screen_.Type(std::string("clear; sh -c 'stty -g > before; trap : INT; ") + TARVO_PROGRAM +
                 " panel " + kSetup + "; echo STATUS=$?; stty -g > after; echo WRI\"\"TTEN'");
    ASSERT_TRUE(screen_.WaitFor(kTree)) << screen_.Capture();
    screen_.Press({"C-c"});
    // The shell's own output, not the typed line, shows "STATUS=130" and "WRITTEN".
    ASSERT_TRUE(screen_.WaitFor("STATUS=130")) << screen_.Capture();
    ASSERT_TRUE(screen_.WaitFor("WRITTEN")) << screen_.Capture();
    EXPECT_EQ(dir_.Read("after"), dir_.Read("before"));
    EXPECT_EQ(SavedSetup(), original_);
}

TEST(TarvoPanelSmallTerminal, SaysPlainlyItNeedsMoreRoomUntilEnlarged) {
    TempDir dir;
    dir.Write(kSetup, ReadFile(std::string(EXAMPLES_DIR) + "/" + kSetup));
    TmuxScreen screen(dir.Path(), 60, 20);
    screen.Type(std::string(TARVO_PROGRAM) + " panel " + kSetup);
    ASSERT_TRUE(screen.WaitFor("The terminal is 60x20; the console needs at least 80x24."))
        << screen.Capture();
    screen.Resize(80, 24);
    EXPECT_TRUE(screen.WaitFor(kTree)) << screen.Capture();
}

TEST_F(TarvoPanel, RefusesWhenStandardInputIsNotATerminal) {
    screen_.Type(std::string(TARVO_PROGRAM) + " panel " + kSetup + " < /dev/null; echo EXIT=$?");
    EXPECT_TRUE(screen_.WaitFor("tarvo: panel: standard input is not a terminal"))
        << screen_.Capture();
    LeaveWithStatus("1");
}

}  // namespace
}  // namespace tarvo::testing
