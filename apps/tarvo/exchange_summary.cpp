#include "apps/tarvo/exchange_summary.h"

#include <cinttypes>
#include <string_view>

#include "apps/tarvo/options.h"
#include "platform/time.h"

namespace tarvo::runner {
namespace {

constexpr std::size_t kWidth = 99;

bool Has(const std::string& note, std::string_view what) {
    return note.find(what) != std::string::npos;
}

// Words laid out after `lead`, wrapped before kWidth with continuation lines aligned under the
// first word.
void PrintWrapped(std::FILE* out, const std::string& lead, const std::vector<std::string>& words) {
    std::string line = lead;
    const std::string indent(lead.size(), ' ');
    bool first = true;
    for (const auto& w : words) {
        if (!first && line.size() + 1 + w.size() > kWidth) {
            std::fprintf(out, "%s\n", line.c_str());
            line = indent;
            first = true;
        }
        if (!first)
            line += ' ';
        line += w;
        first = false;
    }
    std::fprintf(out, "%s\n", line.c_str());
}

std::string TimeText(std::int64_t loggerMs) {
    return FormatTime(TTime::FromMilliseconds(loggerMs));
}

}  // namespace

RequestOutcome ClassifyRequest(const sim::TranscriptEntry& r) {
    const std::string& n = r.note;
    if (!r.crcGood)
        return RequestOutcome::BadCrc;
    if (Has(n, "ignored: restarting"))
        return RequestOutcome::Ignored;
    if (Has(n, "not answered"))
        return RequestOutcome::Unanswered;
    if (Has(n, "repeat: answered again"))  // a query answered afresh was carried out
        return RequestOutcome::Repeat;
    if (Has(n, "refused:") || Has(n, "fault refuse") || Has(n, "fault master-refusal"))
        return RequestOutcome::Refused;
    if (Has(n, "unknown code") || Has(n, "fault unknown-command"))
        return RequestOutcome::Unknown;
    return RequestOutcome::Done;
}

const char* OutcomeMark(RequestOutcome outcome) {
    switch (outcome) {
        case RequestOutcome::Done:
            return "";
        case RequestOutcome::Refused:
            return "(refused)";
        case RequestOutcome::Unknown:
            return "(unknown)";
        case RequestOutcome::Repeat:
            return "(repeat)";
        case RequestOutcome::Unanswered:
            return "(no answer)";
        case RequestOutcome::Ignored:
            return "(ignored)";
        case RequestOutcome::BadCrc:
            return "(bad CRC)";
    }
    return "";
}

void AddToSummary(ExchangeSummary& s, const sim::TranscriptEntry& e, Sequence sequence) {
    switch (e.direction) {
        case sim::Direction::Noise:
            ++s.noiseRuns;
            return;
        case sim::Direction::Event:
            ++s.events;
            return;
        case sim::Direction::LineFault:
            ++s.lineFaults;
            return;
        case sim::Direction::Reply: {
            // A reply with a fault of its own carries a note; a plain reply has none.
            const bool garbled = !e.crcGood || Has(e.note, "fault ");
            for (CodeCounts* c : {&s.byCode[e.type], &s.total}) {
                ++c->replies;
                c->badReplies += garbled ? 1 : 0;
            }
            return;
        }
        case sim::Direction::Request:
            break;
    }
    const RequestOutcome outcome = ClassifyRequest(e);
    for (CodeCounts* c : {&s.byCode[e.type], &s.total}) {
        switch (outcome) {
            case RequestOutcome::BadCrc:
                ++c->badCrc;
                continue;  // not a request the transmitter could read
            case RequestOutcome::Refused:
                ++c->refused;
                break;
            case RequestOutcome::Unknown:
                ++c->unknown;
                break;
            case RequestOutcome::Repeat:
                ++c->repeats;
                break;
            case RequestOutcome::Unanswered:
            case RequestOutcome::Ignored:
                ++c->unanswered;
                break;
            case RequestOutcome::Done:
                break;
        }
        ++c->requests;
    }
    // Only the sequences are listed request by request; a year of recording is counted, and
    // building its million labels would cost more than the counting.
    switch (sequence) {
        case Sequence::Start:
            s.start.push_back(std::to_string(e.type) + OutcomeMark(outcome));
            break;
        case Sequence::Stop:
            s.stop.push_back(std::to_string(e.type) + OutcomeMark(outcome));
            break;
        case Sequence::Recording:
            ++s.recording[e.type];
            break;
    }
}

ExchangeSummary Summarize(const std::vector<sim::TranscriptEntry>& transcript, std::size_t startEnd,
                          std::size_t stopBegin) {
    ExchangeSummary s;
    for (std::size_t i = 0; i < transcript.size(); ++i) {
        const Sequence sequence = i < startEnd     ? Sequence::Start
                                  : i >= stopBegin ? Sequence::Stop
                                                   : Sequence::Recording;
        AddToSummary(s, transcript[i], sequence);
    }
    return s;
}

std::string BytesText(const std::vector<BYTE>& bytes) {
    std::string text = "\"";
    for (BYTE b : bytes) {
        if (b == '\r') {
            text += "\\r";
        } else if (b == '\n') {
            text += "\\n";
        } else if (b == '\t') {
            text += "\\t";
        } else if (b == '"' || b == '\\') {
            text += '\\';
            text += static_cast<char>(b);
        } else if (b >= 0x20 && b < 0x7F) {
            text += static_cast<char>(b);
        } else {
            return "hex " + sim::ToHex(bytes);
        }
    }
    return text + "\"";
}

void PrintExchanges(std::FILE* out, const ExchangeSummary& s) {
    PrintWrapped(out, "  at recording start: ",
                 s.start.empty() ? std::vector<std::string>{"none"} : s.start);
    std::vector<std::string> recording;
    int during = 0;
    for (const auto& [code, n] : s.recording) {
        during += n;
        recording.push_back(std::to_string(code) + (n > 1 ? " x" + std::to_string(n) : "") + ",");
    }
    if (recording.empty()) {
        recording.push_back("none");
    } else {
        recording.back().pop_back();
        recording.insert(recording.begin(),
                         std::to_string(during) + (during == 1 ? " request:" : " requests:"));
    }
    PrintWrapped(out, "  while recording: ", recording);
    PrintWrapped(
        out, "  at recording stop: ", s.stop.empty() ? std::vector<std::string>{"none"} : s.stop);

    const CodeCounts& t = s.total;
    std::fprintf(out, "  requests %d, replies %d, bad frames %d (bad CRC %d, noise %d)\n",
                 t.requests, t.replies, t.badCrc + s.noiseRuns, t.badCrc, s.noiseRuns);
    std::fprintf(out,
                 "  refused %d, unknown %d, unanswered %d, repeats %d, garbled replies %d, "
                 "restarts %d\n",
                 t.refused, t.unknown, t.unanswered, t.repeats, t.badReplies, s.events);
    if (s.lineFaults > 0) {
        std::fprintf(out, "  line faults %d (see the transcript's \"line-fault\" entries)\n",
                     s.lineFaults);
    }
    if (s.byCode.empty())
        return;
    std::fprintf(out, "  %5s %8s %8s %8s %8s %10s %8s %8s %8s\n", "code", "requests", "replies",
                 "refused", "unknown", "unanswered", "repeats", "bad CRC", "garbled");
    for (const auto& [code, c] : s.byCode) {
        std::fprintf(out, "  %5d %8d %8d %8d %8d %10d %8d %8d %8d\n", code, c.requests, c.replies,
                     c.refused, c.unknown, c.unanswered, c.repeats, c.badCrc, c.badReplies);
    }
}

void PrintDownlink(std::FILE* out, const std::vector<sim::DownlinkEntry>& downlink) {
    int sent = 0;
    for (const auto& d : downlink)
        sent += d.sent ? 1 : 0;
    std::fprintf(out, "  %zu entr%s: %d sent, %zu not sent\n", downlink.size(),
                 downlink.size() == 1 ? "y" : "ies", sent, downlink.size() - sent);
    for (const auto& d : downlink) {
        std::string what = d.sent ? "sent " + BytesText(d.bytes) : "not sent: " + d.reason;
        std::fprintf(out, "  %s  %-15s  channel %3u  %s\n", TimeText(d.loggerMs).c_str(),
                     sim::DownlinkKindName(d.kind), static_cast<unsigned>(d.channel), what.c_str());
    }
}

}  // namespace tarvo::runner
