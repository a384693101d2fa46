// One message of each self-timed format built from the same three SelfTimed blocks after a
// simulated day of CSV readings, compared byte for byte with tests/corvane/formats/golden/.
// After a deliberate change of a format, rebuild the file and explain the diff in the commit:
//     CORVANE_UPDATE_GOLDEN=1 build/<dir>/tests/corvane_format_golden_test
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "corvane/formats/format_catalogue.h"
#include "corvane/selftimed/self_timed_block.h"
#include "corvane/selftimed/self_timed_msgr.h"
#include "corvane/support/scripted_transmitter.h"
#include "host/clock/clock.h"
#include "host/engine/engine.h"
#include "host/log/report_sinks.h"
#include "host/support/temp_dir.h"
#include "platform/clock.h"
#include "platform/module_factory.h"

namespace {

class SelfTimedBlocks : public TModuleFactory {
  public:
    explicit SelfTimedBlocks(SelfTimedMsgr& m) : messenger(m) { SetModules(1, kNames); }
    TModule* CreateModule(int index) override {
        return index == 0 ? new SelfTimed(messenger.Registry(), messenger.Settings()) : nullptr;
    }
    static constexpr const wchar_t* kNames[] = {L"SelfTimed"};
    SelfTimedMsgr& messenger;
};

// Line ends and other control characters shown as escapes, so the file stays one line a message.
std::string Printable(const std::wstring& message) {
    std::string out;
    for (wchar_t c : message) {
        if (c == L'\r')
            out += "\\r";
        else if (c == L'\n')
            out += "\\n";
        else if (c == L'\\')
            out += "\\\\";
        else if (c < 0x20 || c >= 0x7F) {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned>(c) & 0xFFu);
            out += hex;
        } else
            out += static_cast<char>(c);
    }
    return out;
}

const char* const kScenario =
    "# Six formats from one graph after a simulated day (2024-06-03): HG, the stage every 15 min "
    "(4 values, the 23:30 reading missing); TA, the air temperature hourly (3 values, "
    "negative); QR, the discharge every 30 min (2 values, 9-character texts, UseCalcTime). "
    "Built at 23:54:40 for the 00:05:00 transmission. NOS has no format table here; INSAT's bytes "
    "show as \\xNN.\n";

TEST(FormatGolden, OneMessageOfEachFormatFromTheSameDay) {
    tarvo::host::ScopedVirtualClock clock(TTime(2024, 6, 3, 0, 0, 0) - TTimeSpan::FromSeconds(1));
    tarvo::test::TempDir dir;
    std::ofstream(dir.File("stage.csv")) << "time,value\n00:00:00,1.25\n06:00:00,1.5\n"
                                            "12:00:00,2.875\n23:30:00,NODATA\n23:45:00,3.125\n";
    std::ofstream(dir.File("air.csv")) << "00:00:00,-3.5\n21:00:00,-12.25\n22:00:00,-0.5\n"
                                          "23:00:00,4\n";
    std::ofstream(dir.File("flow.csv")) << "00:00:00,12345.678\n23:30:00,98765.4321\n";
    const std::string setup =
        "<TarvoSetup>\n  <Blocks>\n"
        "    <Block Type=\"Source\" Name=\"Stage\" Mode=\"CSV\" File=\"stage.csv\" "
        "Interval=\"00:15:00\" RightDigits=\"3\" />\n"
        "    <Block Type=\"Source\" Name=\"Air\" Mode=\"CSV\" File=\"air.csv\" "
        "Interval=\"01:00:00\" RightDigits=\"1\" />\n"
        "    <Block Type=\"Source\" Name=\"Flow\" Mode=\"CSV\" File=\"flow.csv\" "
        "Interval=\"00:30:00\" RightDigits=\"3\" />\n"
        "    <Block Type=\"SelfTimed\" Name=\"HG\" Label=\"HG\" NumVals=\"4\" Sequence=\"1\" "
        "Interval=\"00:15:00\" />\n"
        "    <Block Type=\"SelfTimed\" Name=\"TA\" Label=\"TA\" NumVals=\"3\" Sequence=\"2\" "
        "Interval=\"01:00:00\" />\n"
        "    <Block Type=\"SelfTimed\" Name=\"QR\" Label=\"QR\" NumVals=\"2\" Sequence=\"3\" "
        "Interval=\"00:30:00\" UseCalcTime=\"1\" />\n"
        "    <Connection From=\"Stage\" To=\"HG\" />\n"
        "    <Connection From=\"Air\" To=\"TA\" />\n"
        "    <Connection From=\"Flow\" To=\"QR\" />\n"
        "  </Blocks>\n</TarvoSetup>\n";
    std::ofstream(dir.File("day.xml")) << setup;

    corvanetest::ScriptedTransmitter transmitter;
    SelfTimedMsgr messenger(transmitter);
    messenger.Settings().Time = L"00:05:00";
    messenger.Settings().Rate = L"01:00:00";
    messenger.Settings().NumVals = 3;
    SelfTimedBlocks factory(messenger);
    tarvo::host::HostEngine engine;
    engine.AddBlockTypes(factory, "test");
    std::string error;
    ASSERT_TRUE(engine.LoadSetup(dir.File("day.xml"), error)) << error;
    ASSERT_TRUE(engine.Run());
    Sleep(24 * 3600 * 1000 - 5 * 60 * 1000 - 20 * 1000 + 1000);  // to 23:54:40
    ASSERT_TRUE(engine.Stop());

    tarvo::host::LogCapture log;
    std::string built = kScenario;
    for (const wchar_t* format : corvane::kFormatNames) {
        messenger.Settings().Format = format;
        std::wstring message;
        const bool made = messenger.BuildMessage(TTime::GetCurrentTime(), message);
        built += "[" + Printable(format) + "] " + (made ? "made" : "none") + ": " +
                 Printable(message) + "\n";
    }

    const std::string path = std::string(FORMAT_GOLDEN_DIR) + "/six_formats.txt";
    if (std::getenv("CORVANE_UPDATE_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary) << built;
        GTEST_SKIP() << "rebuilt " << path;
    }
    std::stringstream golden;
    golden << std::ifstream(path, std::ios::binary).rdbuf();
    EXPECT_EQ(built, golden.str()) << "(rebuild with CORVANE_UPDATE_GOLDEN=1)";
}

}  // namespace
