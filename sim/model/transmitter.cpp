#include "sim/model/transmitter.h"

#include <algorithm>

#include "sim/model/calendar.h"
#include "sim/model/command_catalogue.h"

namespace tarvo::sim {
namespace {

std::vector<BYTE> TextPayload(const std::string& text) {
    return std::vector<BYTE>(text.begin(), text.end());
}

void AddNote(std::string& note, const std::string& more) {
    if (!note.empty()) {
        note += "; ";
    }
    note += more;
}

bool Has(const std::vector<Fault>& faults, FaultKind kind) {
    return std::any_of(faults.begin(), faults.end(),
                       [kind](const Fault& f) { return f.kind == kind; });
}

const Fault* First(const std::vector<Fault>& faults, FaultKind kind) {
    const auto it = std::find_if(faults.begin(), faults.end(),
                                 [kind](const Fault& f) { return f.kind == kind; });
    return it == faults.end() ? nullptr : &*it;
}

void PutU32(std::vector<BYTE>& out, std::uint32_t value) {
    out.push_back(static_cast<BYTE>(value >> 24));
    out.push_back(static_cast<BYTE>(value >> 16));
    out.push_back(static_cast<BYTE>(value >> 8));
    out.push_back(static_cast<BYTE>(value));
}

void SetSelfTimedExtras(DownlinkEntry& entry, const SelfTimedConfig& config) {
    entry.battery = config.battery;
    entry.position = config.position;
    entry.dataFormat = config.dataFormat;
    entry.secondaryId = config.secondaryId;
    entry.scdChannel = config.scdChannel;
}

}  // namespace

Transmitter::Transmitter(const TimeSource& time, TransmitterOptions options)
    : time_(time),
      options_(std::move(options)),
      clock_(time, options_.clockOffsetMs, options_.clockDriftPpm, options_.clockValid),
      reader_(options_.maxPayload, Micros{options_.frameGapMs} * 1000),
      line_(options_.lineFaults) {}

// ---------------------------------------------------------------- line

void Transmitter::Receive(std::span<const BYTE> bytes) {
    Poll();
    const Micros now = time_.MonotonicMicros();
    std::vector<BYTE> arrived;
    if (line_.Active()) {
        std::vector<std::string> notes;
        arrived = line_.Incoming(bytes, notes);
        for (const std::string& note : notes) {
            RecordLineFault(note);
        }
        bytes = arrived;
    }
    events_.clear();
    reader_.Feed(bytes, now, events_);
    if (events_.empty()) {
        return;  // nothing changed since Poll ran the schedule at this instant
    }
    for (const ReaderEvent& event : events_) {
        Handle(event, now);
    }
    RunSchedule(now);
}

void Transmitter::Poll() {
    const Micros now = time_.MonotonicMicros();
    if (restarting_ && now >= restartUntil_) {
        restarting_ = false;
        RecordEvent("restarted with the default configuration");
    }
    events_.clear();
    reader_.Expire(now, events_);
    for (const ReaderEvent& event : events_) {
        Handle(event, now);
    }
    RunSchedule(now);
}

std::vector<BYTE> Transmitter::TakeDueOutput() {
    std::vector<BYTE> bytes;
    TakeDueOutput(bytes);
    return bytes;
}

void Transmitter::TakeDueOutput(std::vector<BYTE>& bytes) {
    const Micros now = time_.MonotonicMicros();
    while (!output_.empty() && output_.front().due <= now) {
        Outgoing& out = output_.front();
        bytes.insert(bytes.end(), out.bytes.begin(), out.bytes.end());
        out.entry.loggerMs = time_.LoggerMs();
        const BYTE number = out.entry.number;
        const WORD type = out.entry.type;
        Record(std::move(out.entry));
        if (out.lineFault) {
            RecordLineFault(out.lineFault->Note(), number, type);
        }
        output_.pop_front();
    }
}

std::optional<Micros> Transmitter::NextWake() const {
    std::optional<Micros> wake;
    const auto consider = [&wake](Micros at) {
        if (!wake || at < *wake) {
            wake = at;
        }
    };
    if (!output_.empty()) {
        consider(output_.front().due);
    }
    if (restarting_) {
        consider(restartUntil_);
    }
    if (const auto expiry = reader_.ExpiryTime()) {
        consider(*expiry);
    }
    if (served_) {
        if (!served_->committed) {
            consider(clock_.MonotonicAt(served_->window.closeMs - options_.loadMarginMs + 1));
        }
        consider(clock_.MonotonicAt(served_->window.closeMs));
    }
    return wake;
}

void Transmitter::Handle(const ReaderEvent& event, Micros now) {
    switch (event.kind) {
        case ReaderEvent::Kind::Frame:
            HandleRequest(event.frame, now);
            return;
        case ReaderEvent::Kind::BadCrc: {
            TranscriptEntry entry{time_.LoggerMs(),
                                  Direction::Request,
                                  event.frame.header,
                                  event.frame.number,
                                  event.frame.type,
                                  event.frame.payload,
                                  false,
                                  ""};
            if (restarting_) {
                entry.note = "ignored: restarting";
            } else {
                ++counters_.crcErrors;
                entry.note = "bad CRC: not answered";
            }
            Record(std::move(entry));
            return;
        }
        case ReaderEvent::Kind::Noise: {
            if (!restarting_) {
                ++counters_.noiseRuns;
            }
            TranscriptEntry entry{time_.LoggerMs(),
                                  Direction::Noise,
                                  0,
                                  0,
                                  0,
                                  event.noise,
                                  false,
                                  restarting_ ? "ignored: restarting" : ""};
            Record(std::move(entry));
            return;
        }
    }
}

void Transmitter::HandleRequest(const Frame& frame, Micros now) {
    TranscriptEntry request{time_.LoggerMs(), Direction::Request, frame.header, frame.number,
                            frame.type,       frame.payload,      true,         ""};
    if (restarting_) {
        request.note = "ignored: restarting";
        Record(std::move(request));
        return;
    }
    // A retry repeats the previous request whole, packet number included. A query is answered
    // afresh, since what it reads may have moved on; anything else gets its previous reply again
    // and is not done twice.
    const bool retry =
        last_ && last_->frame == frame && now - last_->at <= Micros{options_.repeatWindowMs} * 1000;
    const bool repeat = retry && !AnsweredAfresh(frame.type);
    const std::vector<Fault> faults = faults_.Take(frame.type, repeat);
    for (const Fault& fault : faults) {
        AddNote(request.note, std::string("fault ") + FaultName(fault.kind));
    }
    if (Has(faults, FaultKind::Silence)) {
        AddNote(request.note, "not answered");
        Record(std::move(request));
        return;
    }

    std::vector<BYTE> payload;
    if (repeat) {
        payload = last_->reply;
        last_->at = now;
        AddNote(request.note, "repeat: answered again, not done again");
    } else {
        if (retry) {
            AddNote(request.note, "repeat: answered afresh");
        }
        if (Has(faults, FaultKind::UnknownCommand)) {
            payload = TextPayload(kUnknownCommand);
        } else if (Has(faults, FaultKind::Refuse)) {
            ++counters_.refusals;
            payload = {0};
        } else if (const Fault* refusal = First(faults, FaultKind::MasterRefusal)) {
            payload = TextPayload(refusal->text);
        } else {
            payload = Execute(frame, Has(faults, FaultKind::InvalidTime), request.note);
        }
        last_ = LastRequest{frame, AnsweredAfresh(frame.type) ? std::vector<BYTE>{} : payload, now};
    }
    Record(std::move(request));

    Frame reply{kReplyHeader, frame.number, frame.type, std::move(payload)};
    TranscriptEntry entry{0,          Direction::Reply, kReplyHeader, frame.number,
                          frame.type, reply.payload,    true,         ""};
    WORD lengthField = static_cast<WORD>(reply.payload.size());
    WORD crcXor = 0;
    Micros delay = Micros{options_.replyLatencyMs} * 1000;
    for (const Fault& fault : faults) {
        switch (fault.kind) {
            case FaultKind::CorruptCrc:
                crcXor = 0xFFFF;
                entry.crcGood = false;
                break;
            case FaultKind::WrongNumber:
                reply.number = static_cast<BYTE>(frame.number + 1);
                break;
            case FaultKind::PlainHeader:
                reply.header = kRequestHeader;
                break;
            case FaultKind::ShortPayload:
                lengthField = static_cast<WORD>(lengthField + 4);
                break;
            case FaultKind::SlowReply:
                delay += Micros{fault.delayMs} * 1000;
                break;
            default:
                continue;
        }
        AddNote(entry.note, std::string("fault ") + FaultName(fault.kind));
    }
    entry.header = reply.header;
    entry.number = reply.number;
    std::vector<BYTE> bytes = EncodeFrameAs(reply, lengthField, crcXor);
    const std::optional<ReplyLineFault> lineFault = line_.NextReply(bytes.size());
    if (lineFault) {
        switch (lineFault->kind) {
            case ReplyLineFault::Kind::Corrupt:
                bytes[lineFault->offset] ^= lineFault->mask;
                break;
            case ReplyLineFault::Kind::Lose:
                bytes.clear();
                break;
            case ReplyLineFault::Kind::Delay:
                delay += lineFault->delay;
                break;
        }
    }
    const Micros due = std::max(now + delay, lastDue_);
    lastDue_ = due;
    output_.push_back(Outgoing{due, std::move(bytes), std::move(entry), lineFault});

    if (restartRequested_) {
        restartRequested_ = false;
        BeginRestart(now);
    }
}

// ---------------------------------------------------------------- commands

std::vector<BYTE> Transmitter::Refuse(std::string& note, const std::string& why) {
    ++counters_.refusals;
    AddNote(note, "refused: " + why);
    return {0};
}

std::vector<BYTE> Transmitter::Execute(const Frame& frame, bool invalidTime, std::string& note) {
    const CommandInfo* info = FindCommand(frame.type);
    if (info == nullptr) {
        AddNote(note, "unknown code");
        return TextPayload(kUnknownCommand);
    }
    std::string why;
    if (!PayloadFits(info->arg, frame.payload, why)) {
        return Refuse(note, why);
    }
    if (info->needsStopped && master_) {
        return Refuse(note, "master switch on");
    }
    const bool timeValid = clock_.Valid() && !invalidTime;
    const std::int64_t now = clock_.NowMs();

    if (info->role == Role::Setting) {
        if (!ConfigStore::Acceptable(frame.type, frame.payload, why)) {
            return Refuse(note, why);
        }
        config_.Set(frame.type, frame.payload);
        return {1};
    }

    switch (frame.type) {
        case 4: {
            return TextPayload(StatusText());
        }
        case 5:
            counters_ = Counters{};
            return {1};
        case 6:
            restartRequested_ = true;
            return {1};
        case 7:
            failsafe_ = false;
            return {1};
        case 31: {
            if (!timeValid) {
                return std::vector<BYTE>(7, 0);
            }
            const auto time = SevenByteTime(now);
            return std::vector<BYTE>(time.begin(), time.end());
        }
        case 35: {
            std::vector<BYTE> reply;
            PutU32(reply, static_cast<std::uint32_t>(FloorDiv(now, 1000)));
            reply.push_back(timeValid ? 1 : 0);
            reply.push_back(0);
            return reply;
        }
        case 219: {
            const auto window = WindowClosingAfter(config_.SelfTimed(), now);
            if (!timeValid || !window) {
                return std::vector<BYTE>(7, 0);
            }
            const auto time = SevenByteTime(window->closeMs);
            return std::vector<BYTE>(time.begin(), time.end());
        }
        case 216:
            selfTimedBuffer_ = frame.payload;
            if (served_ && served_->committed) {
                served_->lateLoad = true;
                AddNote(note, "after the load deadline of the window closing " +
                                  IsoTime(served_->window.closeMs));
            }
            return {1};
        case 218: {
            if (!testArmed_) {
                return Refuse(note, "test not armed by 236");
            }
            testArmed_ = false;
            return SendTest(DownlinkKind::SelfTimedTest, selfTimedBuffer_, note);
        }
        case 236:
            testArmed_ = true;
            return {1};
        case 300:
            if (frame.payload[0] == 0) {
                return {1};
            }
            return SendRandom(note);
        case 312:
            randomBuffer_ = frame.payload;
            return {1};
        case 314:
            return SendTest(DownlinkKind::RandomTest, randomBuffer_, note);
        case 606:
            return SendToMaker(note);
        case 770:
            if (master_) {
                return TextPayload(kAlreadyRunning);
            }
            master_ = true;
            return {};
        case 771:
            master_ = false;
            testArmed_ = false;
            return {1};
        default:
            AddNote(note, "unknown code");
            return TextPayload(kUnknownCommand);
    }
}

DownlinkEntry Transmitter::NewDownlink(DownlinkKind kind) const {
    DownlinkEntry entry;
    entry.loggerMs = time_.LoggerMs();
    entry.deviceMs = clock_.NowMs();
    entry.kind = kind;
    return entry;
}

std::vector<BYTE> Transmitter::SendRandom(std::string& note) {
    const RandomConfig config = config_.Random();
    DownlinkEntry entry = NewDownlink(DownlinkKind::Random);
    entry.channel = config.channel;
    entry.typeCode = config.typeCode;
    if (!master_) {
        entry.reason = "stopped";
    } else if (failsafe_) {
        entry.reason = "failsafe";
    } else if (randomBuffer_.empty()) {
        entry.reason = "empty";
    }
    if (!entry.reason.empty()) {
        entry.sent = false;
        ++counters_.randomRefused;
        Record(std::move(entry));
        return Refuse(note, "random transmission not possible");
    }
    entry.bytes = std::move(randomBuffer_);
    randomBuffer_.clear();
    ++counters_.randomSent;
    Record(std::move(entry));
    return {1};
}

std::vector<BYTE> Transmitter::SendTest(DownlinkKind kind, std::vector<BYTE>& buffer,
                                        std::string& note) {
    DownlinkEntry entry = NewDownlink(kind);
    if (kind == DownlinkKind::SelfTimedTest) {
        const SelfTimedConfig config = config_.SelfTimed();
        entry.channel = config.channel;
        entry.typeCode = config.typeCode;
        SetSelfTimedExtras(entry, config);
    } else {
        const RandomConfig config = config_.Random();
        entry.channel = config.channel;
        entry.typeCode = config.typeCode;
    }
    if (failsafe_) {
        entry.reason = "failsafe";
    } else if (buffer.empty()) {
        entry.reason = "empty";
    }
    if (!entry.reason.empty()) {
        entry.sent = false;
        const std::string why = "test transmission: " + entry.reason;
        Record(std::move(entry));
        return Refuse(note, why);
    }
    entry.bytes = std::move(buffer);
    buffer.clear();
    ++counters_.testsSent;
    Record(std::move(entry));
    return {1};
}

std::vector<BYTE> Transmitter::SendToMaker(std::string& note) {
    if (!config_.Written(600) || !config_.Written(602) || !config_.Written(604)) {
        return Refuse(note, "send-to-maker needs 600, 602 and 604 first");
    }
    const MakerConfig config = config_.Maker();
    DownlinkEntry entry = NewDownlink(DownlinkKind::SendToMaker);
    entry.channel = config.channel;
    entry.typeCode = config.rateCode;
    PutU32(entry.bytes, config.platformId);
    if (failsafe_) {
        entry.sent = false;
        entry.reason = "failsafe";
        Record(std::move(entry));
        return Refuse(note, "failsafe tripped");
    }
    ++counters_.makerSent;
    Record(std::move(entry));
    return {1};
}

void Transmitter::BeginRestart(Micros now) {
    restarting_ = true;
    restartUntil_ = now + Micros{options_.resetSilenceMs} * 1000;
    config_.Reset();
    counters_ = Counters{};
    master_ = false;
    testArmed_ = false;
    selfTimedBuffer_.clear();
    randomBuffer_.clear();
    served_.reset();
    last_.reset();
    reader_.Clear();
    RecordEvent("reset: silent for " + std::to_string(options_.resetSilenceMs) + " ms");
}

// ---------------------------------------------------------------- self-timed windows

void Transmitter::RunSchedule(Micros now) {
    const SelfTimedConfig& config = config_.SelfTimed();
    const bool active =
        master_ && config.enabled && clock_.Valid() && !restarting_ && HasSchedule(config);
    if (!active) {
        served_.reset();
        return;
    }
    const std::int64_t t = clock_.AtMs(now);
    if (!served_) {
        served_.emplace(*WindowClosingAfter(config, t));
    }
    while (true) {
        Served& served = *served_;
        if (!served.committed && t > served.window.closeMs - options_.loadMarginMs) {
            served.committed = true;
            if (!selfTimedBuffer_.empty() && !failsafe_) {
                served.hasMessage = true;
                served.message = std::move(selfTimedBuffer_);
                selfTimedBuffer_.clear();
            }
        }
        if (t < served.window.closeMs) {
            break;
        }
        CloseWindow(served, config);
        const Window next = WindowAt(config, served.window.index + 1);
        served_.emplace(next);
    }
}

void Transmitter::CloseWindow(const Served& served, const SelfTimedConfig& config) {
    DownlinkEntry entry = NewDownlink(DownlinkKind::SelfTimed);
    entry.channel = config.channel;
    entry.typeCode = config.typeCode;
    entry.windowOpenMs = served.window.openMs;
    entry.windowCloseMs = served.window.closeMs;
    SetSelfTimedExtras(entry, config);
    if (served.hasMessage) {
        entry.bytes = served.message;
        ++counters_.selfTimedSent;
    } else {
        entry.sent = false;
        entry.reason = failsafe_ ? "failsafe" : served.lateLoad ? "late" : "empty";
        ++counters_.selfTimedMissed;
    }
    Record(std::move(entry));
}

std::optional<Window> Transmitter::ServedWindow() const {
    if (!served_) {
        return std::nullopt;
    }
    return served_->window;
}

// ---------------------------------------------------------------- status

std::string Transmitter::StatusText() const {
    const SelfTimedConfig st = config_.SelfTimed();
    const RandomConfig rnd = config_.Random();
    const std::int64_t now = clock_.NowMs();
    std::string text = "Corvane transmitter (simulated)\r\n";
    text += "Time: " + StatusTime(now) + (clock_.Valid() ? " valid" : " not valid") + "\r\n";
    text += std::string("Master: ") + (master_ ? "running" : "stopped") + "\r\n";
    text += std::string("Self-timed: ") + (st.enabled ? "on" : "off") + ", channel " +
            std::to_string(st.channel) + ", type " + std::to_string(st.typeCode);
    if (const auto window = WindowClosingAfter(st, now); window && clock_.Valid()) {
        text += ", window closes " + StatusTime(window->closeMs);
    }
    text += "\r\n";
    text += "Random: channel " + std::to_string(rnd.channel) + ", type " +
            std::to_string(rnd.typeCode) + "\r\n";
    text += "Self-timed sent: " + std::to_string(counters_.selfTimedSent) + "\r\n";
    text += "Self-timed missed: " + std::to_string(counters_.selfTimedMissed) + "\r\n";
    text += "Random sent: " + std::to_string(counters_.randomSent) + "\r\n";
    text += "Random refused: " + std::to_string(counters_.randomRefused) + "\r\n";
    text += "Tests sent: " + std::to_string(counters_.testsSent) + "\r\n";
    text += "Send-to-maker sent: " + std::to_string(counters_.makerSent) + "\r\n";
    text += "CRC errors: " + std::to_string(counters_.crcErrors) + "\r\n";
    text += "Noise: " + std::to_string(counters_.noiseRuns) + "\r\n";
    text += "Refused: " + std::to_string(counters_.refusals) + "\r\n";
    text += std::string("Failsafe: ") + (failsafe_ ? "tripped" : "ok");
    return text;
}

// ---------------------------------------------------------------- control

void Transmitter::SetClockOffset(std::int64_t offsetMs) {
    clock_.SetOffset(offsetMs);
    served_.reset();
    RunSchedule(time_.MonotonicMicros());
}

void Transmitter::SetClockTime(std::int64_t deviceMs) {
    clock_.SetTime(deviceMs);
    served_.reset();
    RunSchedule(time_.MonotonicMicros());
}

void Transmitter::SetClockDrift(double ppm) {
    clock_.SetDrift(ppm);
}

void Transmitter::SetClockValid(bool valid) {
    clock_.SetValid(valid);
    RunSchedule(time_.MonotonicMicros());
}

void Transmitter::SetLoadMargin(DWORD ms) {
    options_.loadMarginMs = ms;
    RunSchedule(time_.MonotonicMicros());
}

void Transmitter::ClearRecords() {
    transcript_.clear();
    downlink_.clear();
}

// ---------------------------------------------------------------- records

void Transmitter::Record(TranscriptEntry entry) {
    if (options_.sink) {
        options_.sink(ToJson(entry));
    }
    if (options_.onTranscript) {
        options_.onTranscript(entry);
    }
    if (options_.keepRecords) {
        transcript_.push_back(std::move(entry));
    }
}

void Transmitter::Record(DownlinkEntry entry) {
    if (options_.sink) {
        options_.sink(ToJson(entry));
    }
    if (options_.onDownlink) {
        options_.onDownlink(entry);
    }
    if (options_.keepRecords) {
        downlink_.push_back(std::move(entry));
    }
}

void Transmitter::RecordEvent(const std::string& note) {
    Record(TranscriptEntry{time_.LoggerMs(), Direction::Event, 0, 0, 0, {}, true, note});
}

void Transmitter::RecordLineFault(const std::string& note, BYTE number, WORD type) {
    Record(
        TranscriptEntry{time_.LoggerMs(), Direction::LineFault, 0, number, type, {}, true, note});
}

}  // namespace tarvo::sim
