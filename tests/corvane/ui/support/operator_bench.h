// What the operator-interface tests share: the module's one device object on COM2:, the
// simulated transmitter there, a scripted operator, the process engine, and virtual time.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvane/core/device.h"
#include "host/clock/clock.h"
#include "host/dialogs/dialogs.h"
#include "host/engine/engine.h"
#include "host/log/report_sinks.h"
#include "host/support/temp_dir.h"
#include "sim/faces/in_process_transmitter.h"
#include "sim/model/records.h"

namespace uitest {

using tarvo::host::FormAction;

const TTime kStart(2024, 3, 1, 12, 0, 0);

// A table row's legend as its test's name.
template <typename Info>
std::string LegendName(const Info& info) {
    std::string name = info.param.legend;
    for (char& c : name)
        c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
}

// A setup whose <Corvane> section the module reads when the engine loads it.
inline std::string SetupText(const std::string& selfTimed, const std::string& random) {
    return "<TarvoSetup><Blocks></Blocks><Corvane>"
           "<Common Port = \"0\" SatID = \"12345678\" InitCorvane = \"1\" LTO = \"0\" />"
           "<SelfTimed " +
           selfTimed + " /><Random " + random + " /></Corvane></TarvoSetup>";
}

class OperatorBench : public ::testing::Test {
  protected:
    OperatorBench() {
        corvane.InitSetup();
        corvane.SatID = L"12345678";
    }
    ~OperatorBench() override {
        engine.Shutdown();
        corvane.SelfTimed().SetHook(nullptr);
        corvane.SetRunning(false);
        corvane.InitSetup();
    }

    // Loads the module into the engine with `setup` saved in a fresh folder.
    void LoadSetup(const std::string& setup) {
        std::string error;
        ASSERT_TRUE(engine.LoadPlugin(CORVANE_PLUGIN_PATH, error)) << error;
        dir.Write("setup.xml", setup);
        ASSERT_TRUE(engine.LoadSetup(dir.File("setup.xml"), error)) << error;
    }
    std::string SavedSetup() const { return tarvo::test::ReadText(dir.File("setup.xml")); }

    // The requests the transmitter heard from transcript entry `from` on, as "type:payload".
    std::string Requests(std::size_t from = 0) {
        std::string text;
        const std::vector<tarvo::sim::TranscriptEntry> transcript = sim.Transcript();
        for (std::size_t i = from; i < transcript.size(); ++i) {
            if (transcript[i].direction == tarvo::sim::Direction::Request) {
                text += (text.empty() ? "" : " ") + std::to_string(transcript[i].type) + ":" +
                        tarvo::sim::ToHex(transcript[i].payload);
            }
        }
        return text;
    }
    std::size_t Mark() { return sim.Transcript().size(); }
    // The transmitter hears no request of `code` (none at all without one); the transcript
    // still shows each attempt.
    void Deafen(std::optional<WORD> code) {
        sim.InjectFault(
            tarvo::sim::Fault(tarvo::sim::FaultKind::Silence, code, tarvo::sim::kEveryTime));
    }
    std::int64_t MsSince(tarvo::host::Micros start) const {
        return (tarvo::host::NowMicros() - start) / 1000;
    }

    tarvo::host::ScopedVirtualClock clock{kStart};
    tarvo::host::LogCapture log;
    tarvo::sim::InProcessTransmitter sim{L"COM2:"};
    std::shared_ptr<tarvo::host::ScriptedOperator> op =
        std::make_shared<tarvo::host::ScriptedOperator>();
    tarvo::host::ScopedOperatorBackend scope{op};
    tarvo::test::TempDir dir;
    CCorvane& corvane = TheCorvane();
    tarvo::host::HostEngine& engine = tarvo::host::GetHostEngine();
};

}  // namespace uitest
