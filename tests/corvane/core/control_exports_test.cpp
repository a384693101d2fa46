// The control exports as another module calls them: on the module's one device object, with the
// transmitter a scripted peer on COM2: and time on the virtual clock.
#include "corvane/core/control_exports.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "corvane/core/device.h"
#include "corvane/link/support/scripted_peer.h"
#include "host/engine/logger_folders.h"
#include "host/support/temp_dir.h"

namespace {

using linktest::Reply;

class ControlExports : public linktest::PeerTest {
  protected:
    ControlExports() {
        TheCorvane().InitSetup();
        TheCorvane().SatID = L"12345678";
    }
    ~ControlExports() override {
        TheCorvane().SetRunning(false);
        SetBasicHook(nullptr, nullptr);
        TheCorvane().InitSetup();
    }
    static SelfTimedSettings& St() { return TheCorvane().SelfTimed().Settings(); }
    static RandomSettings& Rt() { return TheCorvane().Random().Settings(); }
};

std::wstring TakeId() {
    wchar_t* id = GetCorvaneID();
    std::wstring text = id != nullptr ? id : L"(null)";
    std::free(id);
    return text;
}

// One setter, a value away from the defaults, and the setting it shows in.
struct SetterRow {
    const char* legend;
    std::function<void()> set;
    std::function<std::wstring()> setting;
};

TEST_F(ControlExports, EverySetterChangesNothingWhileRecordingRunsAndTakesEffectAfterStop) {
    auto text = [](auto value) { return std::to_wstring(value); };
    const std::vector<SetterRow> rows = {
        {"SetCorvaneID", [] { SetCorvaneID(L"0A1B2C3D"); }, [] { return TakeId(); }},
        {"EnableSelfTimed", [] { EnableSelfTimed(7); }, [&] { return text(St().Enabled); }},
        {"SetSTTxTime", [] { SetSTTxTime(330); }, [] { return St().Time; }},
        {"SetSTTxInterval", [] { SetSTTxInterval(1800); }, [] { return St().Rate; }},
        {"SetSTChannel", [] { SetSTChannel(5); }, [&] { return text(St().Channel); }},
        {"SetSTType", [] { SetSTType(11); }, [&] { return text(St().Type); }},
        {"EnableRandom", [] { EnableRandom(1); }, [&] { return text(Rt().Enabled); }},
        {"SetRTNormalRate", [] { SetRTNormalRate(7200); }, [] { return Rt().NormRate; }},
        {"SetRTAlarmRate", [] { SetRTAlarmRate(600); }, [] { return Rt().AlarmRate; }},
        {"SetRTChannel", [] { SetRTChannel(99); }, [&] { return text(Rt().Channel); }},
        {"SetRTType", [] { SetRTType(3); }, [&] { return text(Rt().Type); }},
    };
    for (const SetterRow& row : rows) {
        SCOPED_TRACE(row.legend);
        const std::wstring before = row.setting();
        TheCorvane().SetRunning(true);
        row.set();
        EXPECT_EQ(row.setting(), before) << "changed while recording runs";
        TheCorvane().SetRunning(false);
        row.set();
        EXPECT_NE(row.setting(), before) << "unchanged after stop";
    }
    // Memory only: not one byte went to the transmitter.
    EXPECT_TRUE(peer_->Requests().empty());
}

// A whole-seconds value, the text it is stored as, and what the getter reads back.
struct TimeRow {
    long seconds;
    const wchar_t* stored;
    long readBack;
};

// One time setting through its setter and getter.
struct TimeExport {
    const char* name;
    SecondsSetterProc set;
    SecondsGetterProc get;
    std::function<std::wstring()> text;
};

TEST_F(ControlExports, TimesAreStoredAsHoursMinutesSecondsOfTheDayAndReadBackAsSeconds) {
    const TimeRow values[] = {
        {3600, L"01:00:00", 3600},  // the usual hourly interval round trips
        {3723, L"01:02:03", 3723},  // every component in place
        {86399, L"23:59:59", 86399}, {86400, L"00:00:00", 0},  // a whole day drops to nothing
        {90000, L"01:00:00", 3600},  // a day and an hour keeps the hour only
        {0, L"00:00:00", 0},
    };
    const TimeExport exports[] = {
        {"STTxTime", SetSTTxTime, GetSTTxTime, [] { return St().Time; }},
        {"STTxInterval", SetSTTxInterval, GetSTTxInterval, [] { return St().Rate; }},
        {"RTNormalRate", SetRTNormalRate, GetRTNormalRate, [] { return Rt().NormRate; }},
        {"RTAlarmRate", SetRTAlarmRate, GetRTAlarmRate, [] { return Rt().AlarmRate; }},
    };
    for (const TimeExport& e : exports) {
        for (const TimeRow& row : values) {
            SCOPED_TRACE(std::string(e.name) + " " + std::to_string(row.seconds));
            e.set(row.seconds);
            EXPECT_EQ(e.text(), row.stored);
            EXPECT_EQ(e.get(), row.readBack);
        }
    }
    // A text from an older setup is read the lenient way the platform reads it.
    St().Rate = L"00:00:75";
    EXPECT_EQ(GetSTTxInterval(), 75);
}

TEST_F(ControlExports, TransmissionCountsAsEnabledOnlyWhenTheModuleConfiguresTheTransmitter) {
    struct Row {
        const char* legend;
        bool initCorvane, selfTimed, random, enabled;
    };
    const Row rows[] = {
        {"nothing enabled", true, false, false, false},
        {"self-timed only", true, true, false, true},
        {"random only", true, false, true, true},
        {"both, but the transmitter is left as it is", false, true, true, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.legend);
        TheCorvane().InitCorvane = row.initCorvane;
        St().Enabled = row.selfTimed;
        Rt().Enabled = row.random;
        EXPECT_EQ(CorvaneTxEnabled() != 0, row.enabled);
        EXPECT_EQ(IsSelfTimedEnabled() != 0, row.selfTimed);
        EXPECT_EQ(IsRandomEnabled() != 0, row.random);
    }
}

TEST_F(ControlExports, StatusOfAStationThatTransmitsNothingLeavesThePortAlone) {
    peer_->Script({Reply(4, linktest::TextBytes("OK"))});
    std::wstring status = L"as it was";
    const auto start = tarvo::host::NowMicros();
    EXPECT_FALSE(GetCorvaneStatus(&status));
    EXPECT_EQ(status, L"as it was");
    EXPECT_EQ(MsSince(start), 0) << "the port was opened (the wake delay passed)";
    EXPECT_TRUE(peer_->Requests().empty());
}

TEST_F(ControlExports, StatusIsTheReplysTextAsOneCharacterPerByte) {
    St().Enabled = true;
    peer_->Script({Reply(4, {'M', 'a', 's', 't', 'e', 'r', ' ', 0xE9, '\r', '\n'})});
    std::wstring status = L"as it was";
    EXPECT_TRUE(GetCorvaneStatus(&status));
    EXPECT_EQ(status, L"Master \u00e9\r\n");
    ASSERT_EQ(peer_->Requests().size(), 1u);
    EXPECT_EQ(peer_->Requests()[0].type, 4);
    EXPECT_TRUE(peer_->Requests()[0].payload.empty());
}

TEST_F(ControlExports, AnEmptyStatusReplyIsNoStatus) {
    Rt().Enabled = true;
    peer_->Script({Reply(4)});
    std::wstring status = L"as it was";
    EXPECT_FALSE(GetCorvaneStatus(&status));
    EXPECT_EQ(status, L"as it was");
    EXPECT_EQ(peer_->Requests().size(), 1u);
}

TEST_F(ControlExports, StatusGivesUpAfterFiveSecondsWhenAnotherExchangeHoldsTheSession) {
    St().Enabled = true;
    peer_->Script({Reply(4, linktest::TextBytes("OK"))});
    TSingleLock busy(TheCorvane().SessionLock(), true);
    std::wstring status = L"as it was";
    const auto start = tarvo::host::NowMicros();
    EXPECT_FALSE(GetCorvaneStatus(&status));
    EXPECT_EQ(MsSince(start), 5000);
    EXPECT_EQ(status, L"as it was");
    EXPECT_TRUE(peer_->Requests().empty());

    busy.Unlock();  // once the session is free the same call is answered
    EXPECT_TRUE(GetCorvaneStatus(&status));
    EXPECT_EQ(status, L"OK");
}

TEST_F(ControlExports, BasicHookGoesToTheSelfTimedMessengerFirstAndANullOneRemovesIt) {
    corvane::MessageHook hook = [](std::wstring& message, int number) {
        message = L"hooked " + std::to_wstring(number);
        return true;
    };
    std::wstring message;
    SetBasicHook(hook, nullptr);
    EXPECT_TRUE(TheCorvane().SelfTimed().BuildMessage(TTime::GetCurrentTime(), message));
    EXPECT_EQ(message, L"hooked 0");

    SetBasicHook(nullptr, hook);
    message.clear();
    TheCorvane().SelfTimed().BuildMessage(TTime::GetCurrentTime(), message);
    EXPECT_NE(message, L"hooked 0");
}

TEST_F(ControlExports, ReportStringSaysSoWhenNoNosMessageWasSent) {
    tarvo::test::TempDir dir;
    tarvo::host::SetLoggerFolder(tarvo::host::LoggerFolder::FlashDisk, dir.File("flash"));
    tarvo::host::SetLoggerFolder(tarvo::host::LoggerFolder::StorageCard, dir.File("card"));
    std::wstring report = L"stale";
    GetReportString(&report, nullptr);
    tarvo::host::SetLoggerFolder(tarvo::host::LoggerFolder::FlashDisk, "");
    tarvo::host::SetLoggerFolder(tarvo::host::LoggerFolder::StorageCard, "");
    EXPECT_EQ(report, L"NOS REPORT\r\nNo recent NOS values.\r\n\r\nREPORT COMPLETE\r\n");
}

}  // namespace
