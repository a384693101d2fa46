// Recording start and stop: bringing the transmitter into the state the settings describe and
// taking it out again, with one report for the operator.
#include <functional>
#include <string>
#include <utility>

#include "corvane/core/corvane.h"
#include "corvane/core/report_texts.h"
#include "corvane/link/command_codes.h"
#include "platform/report.h"

using corvane::CommandResult;
using corvane::ReplyCheck;

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

// One step of the start push. It returns the report code that ends the push (kReportNone
// lets it go on) and may note in the outcome what does not end it.
using StartStepRun = std::function<int(CCorvane&, StartOutcome&)>;

enum class StartStepWhen { Always, SelfTimedEnabled };

struct StartStep {
    StartStepWhen when;
    StartStepRun run;
};

// A command judged by its reply: refused, or not answered.
StartStepRun Command(CPacket request, ReplyCheck check) {
    return [request = std::move(request), check](CCorvane& device, StartOutcome&) {
        return StartCode(device.SendCommand(request, check));
    };
}

// An operation that either got its replies or did not.
StartStepRun LinkStep(bool (*operation)(CCorvane&)) {
    return [operation](CCorvane& device, StartOutcome&) {
        return operation(device) ? corvane::kReportNone : corvane::kReportStartLinkFailed;
    };
}

int SynchronizeClockStep(CCorvane& device, StartOutcome& outcome) {
    if (!device.SynchronizeClock()) {
        return corvane::kReportStartLinkFailed;
    }
    // A transmitter without a valid time is told to the operator but does not end the push.
    outcome.noTime = !device.HasTimeBeenObtained();
    return corvane::kReportNone;
}

int MasterStartStep(CCorvane& device, StartOutcome& outcome) {
    switch (device.MasterStart(outcome.reason)) {
        case CommandResult::Accepted:
            return corvane::kReportNone;
        case CommandResult::Refused:
            return corvane::kReportMasterStartRefused;
        case CommandResult::LinkFailed:
            break;
    }
    return corvane::kReportStartLinkFailed;
}

// 506, 771, 200 off, 300 off, 338 off, satellite id and offset, clock synchronisation, the
// self-timed upload, the random push, 200 on (self-timed only), 770: ending at the first step
// that fails.
StartOutcome PushStartConfiguration(CCorvane& device, bool selfTimedEnabled) {
    namespace cmd = corvane::cmd;
    using corvane::MakeBoolRequest;
    using When = StartStepWhen;
    const StartStep steps[] = {
        {When::Always, Command(MakeBoolRequest(cmd::kOpenSession, true), ReplyCheck::LinkOnly)},
        {When::Always, Command(CPacket(cmd::kMasterStop), ReplyCheck::LinkOnly)},
        {When::Always,
         Command(MakeBoolRequest(cmd::kSelfTimedEnable, false), ReplyCheck::RefuseOnText)},
        {When::Always, Command(MakeBoolRequest(cmd::kRandomEnable, false), ReplyCheck::LinkOnly)},
        {When::Always, Command(MakeBoolRequest(cmd::kParam338, false), ReplyCheck::RefuseOnText)},
        {When::Always, LinkStep([](CCorvane& d) { return d.SendSatIdAndOffset(); })},
        {When::Always, SynchronizeClockStep},
        {When::Always, LinkStep([](CCorvane& d) { return d.SelfTimed().UploadConfig(); })},
        {When::Always, LinkStep([](CCorvane& d) { return d.Random().PushRandomConfig(); })},
        {When::SelfTimedEnabled,
         Command(MakeBoolRequest(cmd::kSelfTimedEnable, true), ReplyCheck::RefuseOnText)},
        {When::Always, MasterStartStep},
    };
    StartOutcome outcome;
    for (const StartStep& step : steps) {
        if (step.when == When::SelfTimedEnabled && !selfTimedEnabled) {
            continue;
        }
        outcome.ended = step.run(device, outcome);
        if (outcome.ended != corvane::kReportNone) {
            break;
        }
    }
    return outcome;
}

// 771, 200 off, 300 off, 338 off, ending at the first that fails or is refused.
CommandResult CommandTransmitterOff(CCorvane& device) {
    namespace cmd = corvane::cmd;
    struct Step {
        CPacket request;
        ReplyCheck check;
    };
    const Step steps[] = {
        {CPacket(cmd::kMasterStop), ReplyCheck::LinkOnly},
        {corvane::MakeBoolRequest(cmd::kSelfTimedEnable, false), ReplyCheck::RefuseOnText},
        {corvane::MakeBoolRequest(cmd::kRandomEnable, false), ReplyCheck::LinkOnly},
        {corvane::MakeBoolRequest(cmd::kParam338, false), ReplyCheck::RefuseOnText},
    };
    for (const Step& step : steps) {
        const CommandResult result = device.SendCommand(step.request, step.check);
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
    startRefused_.store(false);
    if (!selfTimed && !random) {
        return std::wstring();
    }
    // Blocks that disagree would make every message wrong: nothing goes to the transmitter
    // until the operator has fixed them.
    std::wstring errors;
    if (!ValidateSetup(errors)) {
        startRefused_.store(true);
        return L"Corvane setup: " + errors;
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
