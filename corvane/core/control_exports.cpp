// The control interface other modules and the scripting layer find by name.
#include "corvane/core/control_exports.h"

#include <type_traits>

#include "corvane/core/caller_copy.h"
#include "corvane/core/device.h"
#include "corvane/formats/nos_recent.h"
#include "corvane/shared/wide_text.h"
#include "platform/report.h"
#include "platform/time.h"

namespace {

// Applies `change` to the device unless recording runs: settings change only between
// recordings, so that what the transmitter was given at start stays what the module believes.
template <typename Change>
void ChangeUnlessRunning(Change change) {
    CCorvane& corvane = TheCorvane();
    if (!corvane.IsRunning()) {
        change(corvane);
    }
}

long SecondsOf(const std::wstring& text) {
    return static_cast<long>(StrToTimeSpan(text).GetTotalSeconds());
}

SelfTimedSettings& StSettings(CCorvane& corvane) {
    return corvane.SelfTimed().Settings();
}
RandomSettings& RtSettings(CCorvane& corvane) {
    return corvane.Random().Settings();
}

}  // namespace

extern "C" {

wchar_t* GetCorvaneID() {
    return corvane::CallerOwnedCopy(TheCorvane().SatID);
}

void SetCorvaneID(const wchar_t* id) {
    if (id != nullptr) {
        ChangeUnlessRunning([id](CCorvane& c) { c.SatID = id; });
    }
}

BOOL CorvaneTxEnabled() {
    const CCorvane& c = TheCorvane();
    return c.InitCorvane && (c.SelfTimed().IsEnabled() || c.Random().IsEnabled());
}

BOOL GetCorvaneStatus(std::wstring* status) {
    return status != nullptr && TheCorvane().ReadStatus(*status);
}

BOOL IsSelfTimedEnabled() {
    return TheCorvane().SelfTimed().IsEnabled();
}

void EnableSelfTimed(BOOL enable) {
    ChangeUnlessRunning([enable](CCorvane& c) { StSettings(c).Enabled = enable != 0; });
}

long GetSTTxTime() {
    return SecondsOf(StSettings(TheCorvane()).Time);
}

void SetSTTxTime(long seconds) {
    ChangeUnlessRunning([seconds](CCorvane& c) { StSettings(c).Time = corvane::HmsText(seconds); });
}

long GetSTTxInterval() {
    return SecondsOf(StSettings(TheCorvane()).Rate);
}

void SetSTTxInterval(long seconds) {
    ChangeUnlessRunning([seconds](CCorvane& c) { StSettings(c).Rate = corvane::HmsText(seconds); });
}

int GetSTChannel() {
    return StSettings(TheCorvane()).Channel;
}

void SetSTChannel(int channel) {
    ChangeUnlessRunning([channel](CCorvane& c) { StSettings(c).Channel = channel; });
}

int GetSTType() {
    return StSettings(TheCorvane()).Type;
}

void SetSTType(int type) {
    ChangeUnlessRunning([type](CCorvane& c) { StSettings(c).Type = type; });
}

BOOL IsRandomEnabled() {
    return TheCorvane().Random().IsEnabled();
}

void EnableRandom(BOOL enable) {
    ChangeUnlessRunning([enable](CCorvane& c) { RtSettings(c).Enabled = enable != 0; });
}

long GetRTNormalRate() {
    return SecondsOf(RtSettings(TheCorvane()).NormRate);
}

void SetRTNormalRate(long seconds) {
    ChangeUnlessRunning(
        [seconds](CCorvane& c) { RtSettings(c).NormRate = corvane::HmsText(seconds); });
}

long GetRTAlarmRate() {
    return SecondsOf(RtSettings(TheCorvane()).AlarmRate);
}

void SetRTAlarmRate(long seconds) {
    ChangeUnlessRunning(
        [seconds](CCorvane& c) { RtSettings(c).AlarmRate = corvane::HmsText(seconds); });
}

int GetRTChannel() {
    return RtSettings(TheCorvane()).Channel;
}

void SetRTChannel(int channel) {
    ChangeUnlessRunning([channel](CCorvane& c) { RtSettings(c).Channel = channel; });
}

int GetRTType() {
    return RtSettings(TheCorvane()).Type;
}

void SetRTType(int type) {
    ChangeUnlessRunning([type](CCorvane& c) { RtSettings(c).Type = type; });
}

void SetBasicHook(corvane::MessageHook selfTimed, corvane::MessageHook random) {
    TheCorvane().SelfTimed().SetHook(selfTimed);
    TheCorvane().Random().SetHook(random);
}

void GetReportString(std::wstring* report, void* /*reserved*/) {
    if (report == nullptr) {
        return;
    }
    *report = corvane::NosTextReport(corvane::ReadNosRecent());
}

}  // extern "C"

// Callers find these by name and type them with the Proc types: keep the signatures identical.
static_assert(std::is_same_v<decltype(&GetCorvaneID), GetCorvaneIDProc>);
static_assert(std::is_same_v<decltype(&SetCorvaneID), SetCorvaneIDProc>);
static_assert(std::is_same_v<decltype(&CorvaneTxEnabled), CorvaneTxEnabledProc>);
static_assert(std::is_same_v<decltype(&GetCorvaneStatus), GetCorvaneStatusProc>);
static_assert(std::is_same_v<decltype(&IsSelfTimedEnabled), BoolGetterProc>);
static_assert(std::is_same_v<decltype(&EnableRandom), BoolSetterProc>);
static_assert(std::is_same_v<decltype(&GetRTAlarmRate), SecondsGetterProc>);
static_assert(std::is_same_v<decltype(&SetSTTxTime), SecondsSetterProc>);
static_assert(std::is_same_v<decltype(&GetSTType), IntGetterProc>);
static_assert(std::is_same_v<decltype(&SetRTChannel), IntSetterProc>);
static_assert(std::is_same_v<decltype(&SetBasicHook), SetBasicHookProc>);
static_assert(std::is_same_v<decltype(&GetReportString), GetReportStringProc>);
