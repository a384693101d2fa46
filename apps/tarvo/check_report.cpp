#include "apps/tarvo/check_report.h"

#include <string>

#include "apps/tarvo/day_plan.h"

namespace tarvo::runner {
namespace {

constexpr long kDaySeconds = 86'400;

std::string Fixed2(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

std::string JsonText(const std::string& text) {
    std::string json = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            json += '\\';
            json += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            json += escape;
        } else {
            json += c;
        }
    }
    return json + "\"";
}

std::string JsonProblems(const std::vector<CheckProblem>& list) {
    std::string json = "[";
    for (const CheckProblem& p : list) {
        json += (json.size() > 1 ? "," : "") + std::string("{\"line\":") + std::to_string(p.line) +
                ",\"text\":" + JsonText(p.text) + "}";
    }
    return json + "]";
}

// The close of the window that opens at `open`, less the load lead, within the day.
long LoadTime(long open, long window) {
    return ((open + window - kLoadBeforeCloseSeconds) % kDaySeconds + kDaySeconds) % kDaySeconds;
}

long LastWindow(const SelfTimedPlan& st) {
    return st.firstSeconds + static_cast<long>(st.perDay > 0 ? st.perDay - 1 : 0) * st.rateSeconds;
}

// The extras the transmitter appends, which no count includes.
std::string Appended(bool battery, bool position) {
    if (!battery && !position)
        return "";
    const std::string what = battery && position ? "battery voltage and position"
                             : battery           ? "battery voltage"
                                                 : "position";
    return "    not counted: the " + what + " the transmitter appends (no public size)\n";
}

void PrintSelfTimed(const SelfTimedPlan& st, std::FILE* out) {
    if (!st.enabled) {
        std::fputs("  self-timed: off\n", out);
        return;
    }
    std::fprintf(out,
                 "  self-timed: %s on channel %d, %s, a %ld s window%s, from %s every %s (%d a "
                 "day)\n",
                 st.format.c_str(), st.channel, st.typeName.c_str(), st.windowSeconds,
                 st.centred ? " (centred)" : "", ClockText(st.firstSeconds).c_str(),
                 ClockText(st.rateSeconds).c_str(), st.perDay);
    if (!st.widestBytes)
        std::fputs("    widest message: not predicted\n", out);
    else if (!st.rate)
        std::fprintf(out, "    widest message %d bytes; no public bit-rate figure for %s\n",
                     *st.widestBytes, st.typeName.c_str());
    else
        std::fprintf(
            out, "    widest message %d bytes: %s s at %d bps, %s s %s (at most %d bytes fit)\n",
            *st.widestBytes, Fixed2(AirSeconds(*st.rate, *st.widestBytes)).c_str(),
            BitsPerSecond(*st.rate),
            Fixed2(std::abs(static_cast<double>(st.windowSeconds) -
                            AirSeconds(*st.rate, *st.widestBytes)))
                .c_str(),
            st.fits ? "to spare" : "too long", MostBytesInWindow(*st.rate, st.windowSeconds));
    std::fputs(Appended(st.appendsBattery, st.appendsPosition).c_str(), out);
    if (st.perDay > 0)
        std::fprintf(out,
                     "    windows %s-%s to %s-%s; each message loaded %ld s before its window "
                     "closes (first at %s)\n",
                     ClockText(st.firstSeconds).c_str(),
                     ClockText((st.firstSeconds + st.windowSeconds) % kDaySeconds).c_str(),
                     ClockText(LastWindow(st)).c_str(),
                     ClockText((LastWindow(st) + st.windowSeconds) % kDaySeconds).c_str(),
                     kLoadBeforeCloseSeconds,
                     ClockText(LoadTime(st.firstSeconds, st.windowSeconds)).c_str());
}

void PrintRandom(const RandomPlan& rt, std::FILE* out) {
    if (!rt.enabled) {
        std::fputs("  random: off\n", out);
        return;
    }
    std::fprintf(out, "  random: %s on channel %d, %s\n", rt.format.c_str(), rt.channel,
                 rt.typeName.c_str());
    std::fputs(Appended(rt.appendsBattery, rt.appendsPosition).c_str(), out);
    if (rt.groups.empty())
        std::fputs("    no enabled RndGroup block: nothing is sent\n", out);
    for (const GroupPlan& g : rt.groups) {
        std::fprintf(out, "    group %ld \"%s\": widest message %d bytes", g.group, g.label.c_str(),
                     g.widestBytes);
        if (rt.rate)
            std::fprintf(out,
                         ", %s s at %d bps (the transmitter's random limit has no public "
                         "figure)\n",
                         Fixed2(AirSeconds(*rt.rate, g.widestBytes)).c_str(),
                         BitsPerSecond(*rt.rate));
        else
            std::fputs("\n", out);
        if (!g.hasSlot) {
            std::fputs("      never transmits\n", out);
            continue;
        }
        std::fprintf(out, "      normal: every %s (%d a day)\n", ClockText(g.normalSeconds).c_str(),
                     g.normalPerDay);
        std::fprintf(out,
                     "      alarm: within a minute, %ld at the burst rate every %s, then every "
                     "%s: a day of continuous alarm is %d transmissions",
                     g.burstCount, ClockText(g.burstSeconds).c_str(),
                     ClockText(g.alarmSeconds).c_str(), g.alarmDayTransmissions);
        if (rt.rate)
            std::fprintf(
                out, ", %s s on the air",
                Fixed2(g.alarmDayTransmissions * AirSeconds(*rt.rate, g.widestBytes)).c_str());
        std::fputs("\n", out);
    }
}

// "SETUP:LINE", or the setup alone when the line is not known.
std::string Where(const std::string& setup, int line) {
    return line > 0 ? setup + ":" + std::to_string(line) : setup;
}

std::string JsonRate(const std::optional<BitRate>& rate) {
    return rate ? std::to_string(BitsPerSecond(*rate)) : "null";
}

}  // namespace

std::string ClockText(long seconds) {
    char text[64];
    std::snprintf(text, sizeof text, "%02ld:%02ld:%02ld", seconds / 3600, seconds / 60 % 60,
                  seconds % 60);
    return text;
}

void PrintCheckText(const CheckReport& report, std::FILE* out) {
    for (const CheckProblem& p : report.problems)
        std::fprintf(out, "%s: %s\n", Where(report.setup, p.line).c_str(), p.text.c_str());
    for (const CheckProblem& p : report.notes)
        std::fprintf(out, "%s: note: %s\n", Where(report.setup, p.line).c_str(), p.text.c_str());
    std::fprintf(out, "%s: %s\n", report.setup.c_str(),
                 report.problems.empty()
                     ? "recording start accepts it and every predicted message fits"
                     : (std::to_string(report.problems.size()) + " problem" +
                        (report.problems.size() == 1 ? "" : "s"))
                           .c_str());
    PrintSelfTimed(report.selfTimed, out);
    PrintRandom(report.random, out);
}

void PrintCheckJson(const CheckReport& report, std::FILE* out) {
    const SelfTimedPlan& st = report.selfTimed;
    std::string json = "{\"setup\":" + JsonText(report.setup) +
                       ",\"clean\":" + (report.problems.empty() ? "true" : "false") +
                       ",\"problems\":" + JsonProblems(report.problems) +
                       ",\"notes\":" + JsonProblems(report.notes);
    json += ",\"selfTimed\":{\"enabled\":" + std::string(st.enabled ? "true" : "false") +
            ",\"format\":" + JsonText(st.format) + ",\"channel\":" + std::to_string(st.channel) +
            ",\"type\":" + JsonText(st.typeName) + ",\"bitsPerSecond\":" + JsonRate(st.rate) +
            ",\"windowSeconds\":" + std::to_string(st.windowSeconds) +
            ",\"centred\":" + (st.centred ? "true" : "false") +
            ",\"first\":" + JsonText(ClockText(st.firstSeconds)) +
            ",\"rate\":" + JsonText(ClockText(st.rateSeconds)) +
            ",\"perDay\":" + std::to_string(st.perDay) +
            ",\"firstLoad\":" + JsonText(ClockText(LoadTime(st.firstSeconds, st.windowSeconds))) +
            ",\"widestBytes\":" + (st.widestBytes ? std::to_string(*st.widestBytes) : "null") +
            ",\"airSeconds\":" +
            (st.widestBytes && st.rate ? Fixed2(AirSeconds(*st.rate, *st.widestBytes)) : "null") +
            ",\"mostBytes\":" +
            (st.rate ? std::to_string(MostBytesInWindow(*st.rate, st.windowSeconds)) : "null") +
            ",\"fits\":" + (st.fits ? "true" : "false") +
            ",\"appendsBattery\":" + (st.appendsBattery ? "true" : "false") +
            ",\"appendsPosition\":" + (st.appendsPosition ? "true" : "false") + "}";
    const RandomPlan& rt = report.random;
    json += ",\"random\":{\"enabled\":" + std::string(rt.enabled ? "true" : "false") +
            ",\"format\":" + JsonText(rt.format) + ",\"channel\":" + std::to_string(rt.channel) +
            ",\"type\":" + JsonText(rt.typeName) + ",\"bitsPerSecond\":" + JsonRate(rt.rate) +
            ",\"appendsBattery\":" + (rt.appendsBattery ? "true" : "false") +
            ",\"appendsPosition\":" + (rt.appendsPosition ? "true" : "false") + ",\"groups\":[";
    for (std::size_t i = 0; i < rt.groups.size(); ++i) {
        const GroupPlan& g = rt.groups[i];
        json += (i > 0 ? "," : "") + std::string("{\"group\":") + std::to_string(g.group) +
                ",\"label\":" + JsonText(g.label) +
                ",\"widestBytes\":" + std::to_string(g.widestBytes) + ",\"airSeconds\":" +
                (rt.rate ? Fixed2(AirSeconds(*rt.rate, g.widestBytes)) : "null") +
                ",\"transmits\":" + (g.hasSlot ? "true" : "false") +
                ",\"normalRate\":" + JsonText(ClockText(g.normalSeconds)) +
                ",\"normalPerDay\":" + std::to_string(g.normalPerDay) +
                ",\"burstCount\":" + std::to_string(g.burstCount) +
                ",\"burstRate\":" + JsonText(ClockText(g.burstSeconds)) +
                ",\"alarmRate\":" + JsonText(ClockText(g.alarmSeconds)) +
                ",\"alarmDayTransmissions\":" + std::to_string(g.alarmDayTransmissions) + "}";
    }
    json += "]}}\n";
    std::fputs(json.c_str(), out);
}

}  // namespace tarvo::runner
