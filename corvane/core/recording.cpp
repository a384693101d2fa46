// Recording start and stop: bringing the transmitter into the state the settings describe and
// taking it out again, with one report for the operator.
#include <string>

#include "corvane/core/corvane.h"
#include "corvane/core/report_texts.h"
#include "corvane/link/command_codes.h"
#include "platform/report.h"

using corvane::CommandResult;

namespace {

// What the start push ended with: the code of the failure that ended it (none, 1, 2 or 6), and
// whether clock synchronisation ran without obtaining a time (which does not end it).
struct StartOutcome {
    int ended = corvane::kReportNone;
    bool noTime = false;
    std::wstring reason;  // code 6: the transmitter's text
};

int StartCode(CommandResult result) {
    switch (result) {
        case CommandResult::Accepted:
            return corvane::kReportNone;
        case CommandResult::LinkFailed:
            return corvane::kReportStartLinkFailed;
        case CommandResult::Refused:
            return corvane::kReportStartRefused;
    }
    return corvane::kReportStartLinkFailed;
}

StartOutcome PushStartConfiguration(CCorvane& device, bool selfTimedEnabled) {
    namespace cmd = corvane::cmd;
    StartOutcome outcome;
    const auto step = [&](WORD type, bool value, bool checked) {
        outcome.ended =
            StartCode(device.SendCommand(corvane::MakeBoolRequest(type, value), checked));
        return outcome.ended == corvane::kReportNone;
    };
    const auto plain = [&](WORD type) {
        outcome.ended = StartCode(device.SendCommand(CPacket(type), false));
        return outcome.ended == corvane::kReportNone;
    };
    const auto linkStep = [&](bool ok) {
        outcome.ended = ok ? corvane::kReportNone : corvane::kReportStartLinkFailed;
        return ok;
    };

    if (!step(cmd::kOpenSession, true, false) || !plain(cmd::kMasterStop) ||
        !step(cmd::kSelfTimedEnable, false, true) || !step(cmd::kRandomEnable, false, false) ||
        !step(cmd::kParam338, false, true) || !linkStep(device.SendSatIdAndOffset()) ||
        !linkStep(device.SynchronizeClock())) {
        return outcome;
    }
    outcome.noTime = !device.HasTimeBeenObtained();
    if (!linkStep(device.SelfTimed().UploadConfig()) ||
        !linkStep(device.Random().PushRandomConfig())) {
        return outcome;
    }
    if (selfTimedEnabled && !step(cmd::kSelfTimedEnable, true, true)) {
        return outcome;
    }
    switch (device.MasterStart(outcome.reason)) {
        case CommandResult::Accepted:
            break;
        case CommandResult::LinkFailed:
            outcome.ended = corvane::kReportStartLinkFailed;
            break;
        case CommandResult::Refused:
            outcome.ended = corvane::kReportMasterStartRefused;
            break;
    }
    return outcome;
}

// 771, 200 off, 300 off, 338 off, ending at the first that fails or is refused.
CommandResult CommandTransmitterOff(CCorvane& device) {
    namespace cmd = corvane::cmd;
    struct Step {
        CPacket request;
        bool checked;
    };
    const Step steps[] = {
        {CPacket(cmd::kMasterStop), false},
        {corvane::MakeBoolRequest(cmd::kSelfTimedEnable, false), true},
        {corvane::MakeBoolRequest(cmd::kRandomEnable, false), false},
        {corvane::MakeBoolRequest(cmd::kParam338, false), true},
    };
    for (const Step& step : steps) {
        const CommandResult result = device.SendCommand(step.request, step.checked);
        if (result != CommandResult::Accepted) {
            return result;
        }
    }
    return CommandResult::Accepted;
}

std::wstring StartReport(const StartOutcome& outcome) {
    switch (outcome.ended) {
        case corvane::kReportStartLinkFailed:
            TReport::Warning("Failed communicating with Corvane on recording start.");
            return corvane::ReportText(outcome.ended);
        case corvane::kReportStartRefused:
            TReport::Warning("Corvane rejected commands on recording start.");
            return corvane::ReportText(outcome.ended);
        case corvane::kReportMasterStartRefused:
            TReport::Warning("Corvane rejected start command.");
            return corvane::ReportText(outcome.ended, outcome.reason);
        default:
            break;
    }
    if (outcome.noTime) {
        TReport::Warning("Failed to synchronize clock on engine start.");
        return corvane::ReportText(corvane::kReportNoValidTime);
    }
    return std::wstring();
}

}  // namespace

std::wstring CCorvane::RecordingStart() {
    TSingleLock state(stateLock_, true);
    if (IsRunning()) {
        return std::wstring();
    }
    const bool selfTimed = selfTimedMsgr_.IsEnabled();
    const bool random = randomMsgr_.IsEnabled();
    if (!selfTimed && !random) {
        return std::wstring();
    }
    std::wstring report;
    if (InitCorvane) {
        report = StartReport(PushStartConfiguration(*this, selfTimed));
    }
    // A transmitter that would not take its configuration does not stop recording: the operator
    // has been told, and the messengers try again on their own schedule.
    if (selfTimed) {
        selfTimedMsgr_.Start();
    }
    if (random) {
        randomMsgr_.Start();
    }
    SetRunning(true);
    return report;
}

std::wstring CCorvane::RecordingStop() {
    TSingleLock state(stateLock_, true);
    if (!IsRunning()) {
        return std::wstring();
    }
    const bool selfTimed = selfTimedMsgr_.IsEnabled();
    const bool random = randomMsgr_.IsEnabled();
    if (!selfTimed && !random) {
        return std::wstring();
    }
    // The threads go first, so that none of them loads a message after the transmitter is off.
    if (selfTimed) {
        selfTimedMsgr_.Stop();
    }
    if (random) {
        randomMsgr_.Stop();
    }
    const CommandResult result =
        InitCorvane ? CommandTransmitterOff(*this) : CommandResult::Accepted;
    std::wstring report;
    if (result == CommandResult::LinkFailed) {
        TReport::Warning("Failed commanding Corvane to stop/disable.");
        report = corvane::ReportText(corvane::kReportStopLinkFailed);
    } else if (result == CommandResult::Refused) {
        TReport::Warning("Corvane rejected commands on engine stop.");
        report = corvane::ReportText(corvane::kReportStopRefused);
    }
    SetRunning(false);
    return report;
}
