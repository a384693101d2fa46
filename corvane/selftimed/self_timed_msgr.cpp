#include "corvane/selftimed/self_timed_msgr.h"

#include <cstdint>
#include <cwchar>

#include "corvane/formats/format_catalogue.h"
#include "corvane/selftimed/self_timed_block.h"
#include "corvane/selftimed/self_timed_upload.h"
#include "platform/clock.h"
#include "platform/engine.h"
#include "platform/report.h"
#include "platform/time.h"

SelfTimedMsgr::SelfTimedMsgr(corvane::Transmitter& transmitter)
    : transmitter_(transmitter), worker_("self-timed messenger") {}

SelfTimedMsgr::~SelfTimedMsgr() = default;

bool SelfTimedMsgr::ReadSetup(CXMLSetup& setup, CXMLToken& next) {
    const bool read = ReadSelfTimedSetup(setup, settings_, next);
    registry_.SortBySequence();
    return read;
}

bool SelfTimedMsgr::WriteSetup(CXMLSetup& setup) const {
    return WriteSelfTimedSetup(setup, settings_);
}

bool SelfTimedMsgr::InitSetup() {
    ResetSelfTimedSettings(settings_);
    return true;
}

bool SelfTimedMsgr::ValidateSetup(std::wstring& errors) const {
    const std::vector<SelfTimed*> blocks = registry_.Blocks();
    bool overlap = false;
    for (std::size_t i = 0; i < blocks.size() && !overlap; ++i) {
        for (std::size_t j = i + 1; j < blocks.size() && !overlap; ++j) {
            overlap = blocks[i]->IsEnabled() && blocks[j]->IsEnabled() &&
                      blocks[i]->Sequence() == blocks[j]->Sequence();
        }
    }
    if (settings_.Format == L"NOS" || settings_.Format == L"INSAT")
        overlap = false;
    if (overlap) {
        errors += L"SelfTimed sequences overlap; ";
        return false;
    }
    return true;
}

bool SelfTimedMsgr::UploadConfig() {
    return corvane::UploadSelfTimedConfig(transmitter_, settings_);
}

bool SelfTimedMsgr::Start() {
    return worker_.Start([this] { ThreadProc(); });
}

bool SelfTimedMsgr::Stop() {
    return worker_.Stop();
}

namespace {

// The margin before the window closes, the bound above which the messenger only polls, the
// poll interval, and the transmission allowance after loading: deliberate values.
constexpr std::int64_t kInsertionMarginS = 20;
constexpr std::int64_t kPollBoundS = 601;
constexpr DWORD kPollMs = 60000;
constexpr int kAllowanceS = 60;
constexpr int kInsatAllowanceS = 600;
constexpr int kInsatType = 4;
constexpr int kRestartAttempts = 5;
constexpr DWORD kRestartPauseMs = 15000;
constexpr DWORD kStopPauseMs = 2000;

struct Hms {
    int hours, minutes, seconds, milliseconds;
};

Hms Split(std::int64_t ms) {
    const std::int64_t s = ms / 1000;
    return {static_cast<int>(s / 3600), static_cast<int>(s / 60 % 60), static_cast<int>(s % 60),
            static_cast<int>(ms % 1000)};
}

}  // namespace

TTime SelfTimedMsgr::NextTransmissionTime(TTime time) const {
    return NextScheduledTime(time, StrToTimeSpan(settings_.Rate), StrToTimeSpan(settings_.Time));
}

bool SelfTimedMsgr::BuildMessage(TTime now, std::wstring& message, corvane::MessageUse use) const {
    corvane::MessageRequest request;
    request.format = settings_.Format;
    request.numVals = settings_.NumVals;
    for (const SelfTimed* block : registry_.Blocks())
        request.blocks.push_back(block);
    request.now = now;
    request.transmission = NextTransmissionTime(now);
    request.hook = hook_.load();
    request.use = use;
    request.windowSeconds = static_cast<int>(StrToTimeSpan(settings_.WinLen).GetTotalSeconds());
    if (settings_.Type >= 0 && settings_.Type < static_cast<int>(kSelfTimedTypes.size()))
        request.bitsPerSecond =
            kSelfTimedTypes[static_cast<std::size_t>(settings_.Type)].bitsPerSecond;
    request.nos = &nos_;
    return corvane::FormatSelfTimedMessage(request, message);
}

void SelfTimedMsgr::ThreadProc() {
    TReport::Debug("Self-timed messenger thread starting.");
    registry_.SortBySequence();
    if (settings_.Format == L"NOS") {
        const std::vector<SelfTimed*> blocks = registry_.Blocks();
        nos_.Prepare({blocks.begin(), blocks.end()});
    }
    TEvent& stop = worker_.StopEvent();
    while (WaitForSingleObject(stop, 0) != WAIT_OBJECT_0) {
        if (!WaitForNextInsertion())
            continue;
        FormatAndSend();
        const int allowance = static_cast<int>(kInsertionMarginS) +
                              (settings_.Type == kInsatType ? kInsatAllowanceS : kAllowanceS);
        const Hms wait = Split(allowance * 1000);
        TReport::Debug("Waiting for self-timed tx to complete: %d hours, %d minutes, %d seconds.",
                       wait.hours, wait.minutes, wait.seconds);
        if (WaitForSingleObject(stop, static_cast<DWORD>(allowance) * 1000) == WAIT_TIMEOUT)
            transmitter_.SynchronizeClock({.deadTime = corvane::DeadTime::Wait, .stop = &stop});
    }
    TReport::Debug("Self-timed messenger thread exiting.");
}

bool SelfTimedMsgr::WaitForNextInsertion() {
    TEvent& stop = worker_.StopEvent();
    const corvane::ExchangeWait wait{.deadTime = corvane::DeadTime::Wait, .stop = &stop};
    TTime close;
    for (;;) {
        if (!transmitter_.ReadWindowClose(close, wait))
            return false;
        if (close != TTime())
            break;
        TReport::Debug("ST WaitForNext: Waiting for valid time...");
        if (WaitForSingleObject(stop, kPollMs) == WAIT_OBJECT_0) {
            TReport::Debug("ST WaitForNext: Received stop signal.");
            return false;
        }
    }
    TTime current;
    if (!transmitter_.ReadCurrentTime(current, wait))
        return false;
    const std::int64_t toCloseMs = (close - current).GetTotalMilliseconds();
    if (toCloseMs <= 0) {
        TReport::Debug("ST WaitForNext: Corvane reported negative time till window closes");
        return false;
    }
    const Hms toClose = Split(toCloseMs);
    TReport::Debug(
        "ST WaitForNext: Corvane reported window closes in %d hours, %d minutes, %d "
        "seconds.",
        toClose.hours, toClose.minutes, toClose.seconds);
    const std::int64_t toCloseS = toCloseMs / 1000;
    if (toCloseS >= kPollBoundS && transmitter_.PollsBeforeFarWindow()) {
        transmitter_.SynchronizeClock(wait);
        if (WaitForSingleObject(stop, kPollMs) == WAIT_OBJECT_0)
            TReport::Debug("ST WaitForNext: Received stop signal.");
        return false;
    }
    if (toCloseS < kInsertionMarginS) {
        TReport::Debug(
            "ST WaitForNext: Skipping to next interval (need 20 secs before window closes).");
        Sleep(static_cast<DWORD>(toCloseS) * 1000);
        return false;
    }
    const std::int64_t waitMs = toCloseMs - kInsertionMarginS * 1000;
    const Hms untilInsertion = Split(waitMs);
    TReport::Debug(
        "ST WaitForNext: Next insertion in %d hours, %d minutes, %d seconds, %d "
        "milliseconds.",
        untilInsertion.hours, untilInsertion.minutes, untilInsertion.seconds,
        untilInsertion.milliseconds);
    TRTCChange clockChange;
    switch (WaitForMultipleObjects({&stop, &clockChange}, static_cast<DWORD>(waitMs))) {
        case WAIT_TIMEOUT:
            return true;
        case WAIT_OBJECT_0:
            TReport::Debug("ST WaitForNext: Received stop signal.");
            return false;
        default:
            TReport::Debug("ST WaitForNext: Rescheduling due to RTC change.");
            return false;
    }
}

bool SelfTimedMsgr::FormatAndSend() {
    TReport::Debug("Formatting and sending self-timed tx data.");
    std::wstring message;
    if (!BuildMessage(TTime::GetCurrentTime(), message)) {
        TReport::Warning("Failed formatting self-timed tx data.");
        return false;
    }
    if (!transmitter_.LoadSelfTimedMessage(
            message, {.deadTime = corvane::DeadTime::Wait, .stop = &worker_.StopEvent()})) {
        TReport::Warning("Failed sending self-timed tx data to Corvane.");
        return false;
    }
    return true;
}

bool SelfTimedMsgr::BuildMessageForDisplay(std::wstring& result) const {
    result.clear();
    if (!BuildMessage(TTime::GetCurrentTime(), result, corvane::MessageUse::Display)) {
        result = L"An error occurred formatting the message.";
        return false;
    }
    if (settings_.Type == kInsatType) {
        std::wstring hex = L"0x";
        for (wchar_t c : result) {
            wchar_t digits[8];
            std::swprintf(digits, sizeof digits / sizeof digits[0], L"%02X",
                          static_cast<unsigned>(c));
            hex += digits;
        }
        result = hex;
    }
    if (result.empty()) {
        result = L"The setup does not define a message.";
        return false;
    }
    return true;
}

bool SelfTimedMsgr::ApplySettingsAndLoad(const std::wstring& message) {
    bool wasRunning = false;
    if (transmitter_.PushesConfiguration()) {
        if (GetEngine().IsRunning()) {
            if (!transmitter_.StopTransmissions())
                return false;
            wasRunning = true;
            Sleep(kStopPauseMs);
        }
        // A transmitter that did not take the set-up is neither loaded nor restarted: a restart
        // would transmit on settings the operator did not give it, and its answer would hide
        // the failure.
        if (!transmitter_.SendSatIdAndOffset() || !UploadConfig())
            return false;
    }
    bool ok = transmitter_.PrepareSelfTimedTest();
    if (ok) {
        // Deliberately not looked at: the send that follows tells whether the load took.
        transmitter_.LoadSelfTimedMessage(message, {});
        ok = transmitter_.SendSelfTimedTest();
    }
    if (wasRunning)
        ok = Restart();
    return ok;
}

bool SelfTimedMsgr::Restart() {
    bool started = false;
    for (int attempt = 0; attempt < kRestartAttempts; ++attempt) {
        if (WaitForSingleObject(worker_.StopEvent(), kRestartPauseMs) == WAIT_OBJECT_0)
            break;
        std::wstring answer;
        started = transmitter_.StartTransmissions(answer) &&
                  (answer == L"System is already running." || answer == L"Unknown command");
        if (started)
            break;
    }
    return started;
}
