#include "apps/tarvo/run_journal.h"

#include <cstdlib>

#include "apps/tarvo/options.h"
#include "host/clock/clock.h"
#include "host/text/utf8.h"
#include "platform/time.h"

namespace tarvo::runner {
namespace {

// Prints and records each message box, then answers it as nobody present would.
class PrintingOperator : public host::UnattendedOperator {
  public:
    explicit PrintingOperator(RunJournal& journal) : journal_(journal) {}
    int Message(const std::wstring& text, int timeout, UINT type,
                const std::wstring& caption) override {
        journal_.Shown(text, caption);
        return UnattendedOperator::Message(text, timeout, type, caption);
    }

  private:
    RunJournal& journal_;
};

std::string TimeText(std::int64_t loggerMs) {
    return FormatTime(TTime::FromMilliseconds(loggerMs));
}

// Every line of `text` after the first indented by `indent`, so a message keeps its shape.
std::string Indented(const std::string& text, const std::string& indent) {
    std::string out;
    for (char c : text) {
        out += c;
        if (c == '\n')
            out += indent;
    }
    while (!out.empty() && (out.back() == ' ' || out.back() == '\n'))
        out.pop_back();
    return out;
}

std::string Moved(std::int64_t ms) {
    char buf[64];
    const long long a = std::llabs(static_cast<long long>(ms));
    std::snprintf(buf, sizeof buf, "%lld.%03lld s %s", a / 1000, a % 1000,
                  ms >= 0 ? "ahead" : "back");
    return buf;
}

}  // namespace

const char* PhaseName(RunPhase phase) {
    switch (phase) {
        case RunPhase::Loading:
            return "while loading";
        case RunPhase::Starting:
            return "at recording start";
        case RunPhase::Recording:
            return "while recording";
        case RunPhase::Stopping:
            return "at recording stop";
        case RunPhase::Ending:
            return "at the end";
    }
    return "?";
}

RunJournal::RunJournal(std::FILE* live) : live_(live), offsetMs_(ClockOffsetMs()) {
    subscription_ = host::SubscribeTimeChange([this] { ClockChanged(); });
    backend_ =
        std::make_unique<host::ScopedOperatorBackend>(std::make_shared<PrintingOperator>(*this));
}

RunJournal::~RunJournal() {
    backend_.reset();
    host::UnsubscribeTimeChange(subscription_);
}

std::int64_t RunJournal::ClockOffsetMs() {
    return TTime::GetCurrentTime().GetMillisecondsSince1970() - host::NowMicros() / 1000;
}

void RunJournal::Enter(RunPhase phase) {
    std::lock_guard lock(mutex_);
    phase_ = phase;
}

bool RunJournal::BeforeStart(RunSession& session, std::string&) {
    pluginsLoaded_ = session.Engine().GetPluginCount() > 0;
    // The run's clock was installed after this journal was made: measure against it.
    {
        std::lock_guard lock(mutex_);
        offsetMs_ = ClockOffsetMs();
    }
    Enter(RunPhase::Starting);
    return true;
}

void RunJournal::Started(RunSession&) {
    Enter(RunPhase::Recording);
}

void RunJournal::Stopping(RunSession&) {
    Enter(RunPhase::Stopping);
}

void RunJournal::AfterStop(RunSession&) {
    Enter(RunPhase::Ending);
}

void RunJournal::Shown(const std::wstring& text, const std::wstring& caption) {
    OperatorMessage m;
    m.loggerMs = TTime::GetCurrentTime().GetMillisecondsSince1970();
    m.text = host::ToUtf8(text);
    m.caption = host::ToUtf8(caption);
    std::lock_guard lock(mutex_);
    m.phase = phase_;
    std::fprintf(live_, "tarvo: operator message %s (%s)%s%s:\n  %s\n", PhaseName(m.phase),
                 TimeText(m.loggerMs).c_str(), m.caption.empty() ? "" : ", ", m.caption.c_str(),
                 Indented(m.text, "  ").c_str());
    std::fflush(live_);
    messages_.push_back(std::move(m));
}

void RunJournal::ClockChanged() {
    const std::int64_t offset = ClockOffsetMs();
    std::lock_guard lock(mutex_);
    clockSets_.push_back(
        ClockSet{phase_, TTime::GetCurrentTime().GetMillisecondsSince1970(), offset - offsetMs_});
    offsetMs_ = offset;
}

std::vector<OperatorMessage> RunJournal::Messages() const {
    std::lock_guard lock(mutex_);
    return messages_;
}

std::vector<ClockSet> RunJournal::ClockSets() const {
    std::lock_guard lock(mutex_);
    return clockSets_;
}

void RunJournal::Report(RunSession& session) {
    const auto messages = Messages();
    const auto sets = ClockSets();
    if (!pluginsLoaded_ && messages.empty() && sets.empty())
        return;
    std::FILE* out = session.Out();
    std::fprintf(out, "\nRecording start and stop\n");
    // The reports of start and stop are always named, so that "none" is said, not implied.
    for (RunPhase phase : {RunPhase::Loading, RunPhase::Starting, RunPhase::Recording,
                           RunPhase::Stopping, RunPhase::Ending}) {
        bool any = false;
        for (const auto& m : messages) {
            if (m.phase != phase)
                continue;
            any = true;
            std::fprintf(out, "  report %s (%s):\n    %s\n", PhaseName(phase),
                         TimeText(m.loggerMs).c_str(), Indented(m.text, "    ").c_str());
        }
        if (!any && (phase == RunPhase::Starting || phase == RunPhase::Stopping))
            std::fprintf(out, "  report %s: none\n", PhaseName(phase));
    }
    if (sets.empty())
        std::fprintf(out, "  logger clock: not set\n");
    for (const auto& s : sets) {
        std::fprintf(out, "  logger clock set %s: to %s (moved %s)\n", PhaseName(s.phase),
                     TimeText(s.loggerMs).c_str(), Moved(s.movedMs).c_str());
    }
}

}  // namespace tarvo::runner
