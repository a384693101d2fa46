#include "apps/tarvo/check_command.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "apps/tarvo/check_report.h"
#include "apps/tarvo/day_plan.h"
#include "apps/tarvo/nos_widest.h"
#include "apps/tarvo/run_session.h"
#include "apps/tarvo/setup_ranges.h"
#include "apps/tarvo/station_blocks.h"
#include "corvane/formats/nos_formatter.h"
#include "corvane/selftimed/self_timed_settings.h"
#include "host/engine/plugin.h"
#include "host/log/report_sinks.h"
#include "host/text/utf8.h"
#include "platform/files.h"

namespace tarvo::runner {
namespace {

// What the module said while it read the setup and wrote it back.
struct ModuleWords {
    std::vector<std::string> loadWarnings;  // the module's and the host's
    std::vector<std::string> conversions;   // "Converting format int %d to string %s"
    std::string validation;                 // "Corvane setup: ..." when its checks failed
    std::string section;                    // the section as the module writes it
    std::string nosTablePath;               // where the host finds the logger's NOS table
};

constexpr const char* kValidationPrefix = "Corvane setup: ";

// The reasons of the module's check, each without its "; ".
std::vector<std::string> Reasons(const std::string& validation) {
    std::vector<std::string> reasons;
    std::string rest = validation.substr(std::string(kValidationPrefix).size());
    for (std::size_t at; (at = rest.find("; ")) != std::string::npos; rest.erase(0, at + 2))
        reasons.push_back(rest.substr(0, at));
    if (!rest.empty())
        reasons.push_back(rest);
    return reasons;
}

std::optional<long> GroupIn(const std::string& reason, const std::string& lead) {
    if (!reason.starts_with(lead))
        return std::nullopt;
    return std::strtol(reason.c_str() + lead.size(), nullptr, 10);
}

bool InGroup(const StationBlock& b, long g) {
    return g >= 2 && g <= 9 && b.member[static_cast<std::size_t>(g)];
}

// Where a reason of the module's check points in the file, and what a setup that passes has
// there. The verdict is the module's; this only finds the block it is about.
CheckProblem Locate(const std::string& reason, const std::vector<StationBlock>& blocks,
                    int sectionLine) {
    using Kind = StationBlock::Kind;
    const auto of = [&blocks](Kind kind) {
        std::vector<const StationBlock*> list;
        for (const StationBlock& b : blocks) {
            if (b.kind == kind)
                list.push_back(&b);
        }
        return list;
    };
    const auto problem = [&reason](int line, const std::string& expected) {
        return CheckProblem{line,
                            "recording start refuses: \"" + reason + "\", expected " + expected};
    };
    if (reason == "SelfTimed sequences overlap") {
        // The registry's order: by sequence, equal ones as they came.
        auto list = of(Kind::SelfTimed);
        std::ranges::stable_sort(list, {}, [](const StationBlock* b) { return b->sequence; });
        for (std::size_t i = 0; i < list.size(); ++i) {
            for (std::size_t j = i + 1; j < list.size(); ++j) {
                if (list[i]->enabled && list[j]->enabled && list[i]->sequence == list[j]->sequence)
                    return problem(list[j]->LineOf(L"Sequence"),
                                   "a Sequence of its own for each enabled SelfTimed block");
            }
        }
        return problem(sectionLine, "a Sequence of its own for each enabled SelfTimed block");
    }
    if (const auto g = GroupIn(reason, "Random sequences overlap in group ")) {
        const auto list = of(Kind::Random);
        for (std::size_t i = 0; i < list.size(); ++i) {
            for (std::size_t j = i + 1; j < list.size(); ++j) {
                if (list[i]->enabled && list[j]->enabled && InGroup(*list[i], *g) &&
                    InGroup(*list[j], *g) && list[i]->sequence == list[j]->sequence)
                    return problem(list[j]->LineOf(L"Sequence"),
                                   "a Sequence of its own for each enabled Random block of the "
                                   "group");
            }
        }
        return problem(sectionLine, "a Sequence of its own for each enabled Random block");
    }
    if (const auto g = GroupIn(reason, "Random group block missing for group ")) {
        for (const StationBlock* b : of(Kind::Random)) {
            if (b->enabled && InGroup(*b, *g))
                return problem(b->LineOf(L"GroupMap"),
                               "an enabled RndGroup block with Group " + std::to_string(*g));
        }
    }
    if (const auto g = GroupIn(reason, "Random param blocks missing for group ")) {
        for (const StationBlock* b : of(Kind::RndGroup)) {
            if (b->group == *g)
                return problem(b->LineOf(L"Group"),
                               "an enabled Random block in group " + std::to_string(*g));
        }
    }
    if (const auto g = GroupIn(reason, "DTime, DInter, or Label differ for group ")) {
        int seen = 0;
        for (const StationBlock* b : of(Kind::RndGroup)) {
            if (b->group == *g && ++seen == 2)
                return problem(b->line,
                               "the same Offset, Interval and Label in every RndGroup "
                               "block of group " +
                                   std::to_string(*g));
        }
    }
    return problem(sectionLine, "a setup the module's check passes");
}

// The element and attribute a warning of the module's setup reader names.
int WarningLine(const std::string& warning, const SectionInFile& file) {
    const struct {
        const char* lead;
        const wchar_t* element;  // null: the token is an element's name
    } readers[] = {{"SelfTimedMsgr: Eating unknown token: ", L"SelfTimed"},
                   {"CRandomMsgr: Eating unknown token: ", L"Random"},
                   {"CCorvane::ReadCommonSetup eating unknown token: ", L"Common"},
                   {"CCorvane::ReadSetup eating unknown token: ", nullptr}};
    for (const auto& r : readers) {
        if (!warning.starts_with(r.lead))
            continue;
        std::string token = warning.substr(std::string(r.lead).size());
        if (token.ends_with("."))
            token.pop_back();
        return r.element == nullptr ? file.LineOf(host::FromUtf8(token))
                                    : file.LineOf(r.element, host::FromUtf8(token));
    }
    return file.sectionLine;
}

// Loads the setup with its plug-ins and has the Corvane module read it and write it back.
// Nothing records and no port is mapped. Returns the exit status of a failed load.
int HearModule(const CheckOptions& options, const std::string& path, std::FILE* err,
               ModuleWords& words, std::vector<StationBlock>& blocks) {
    RunOptions run;
    run.setupPath = path;
    run.plugins = options.plugins;
    run.simulator = false;
    run.level = TReportLevel::Error;  // the module's warnings are the check's to tell
    host::LogCapture capture;
    RunSession session(run, err, err);
    if (const int status = session.Open(); status != 0)
        return status;
    host::Plugin* plugin = session.Engine().FindPlugin(L"Corvane");
    if (plugin == nullptr) {
        std::fprintf(err, "tarvo: check: %s: no Corvane plug-in is loaded\n", path.c_str());
        session.Close();
        return 1;
    }
    for (const host::LogEntry& e : capture.Entries()) {
        if (e.level == TReportLevel::Warning)
            words.loadWarnings.push_back(e.text);
        else if (e.level == TReportLevel::Debug && e.text.starts_with("Converting format int "))
            words.conversions.push_back(e.text);
    }
    capture.Clear();
    if (!plugin->WriteSetup(words.section)) {
        std::fprintf(err, "tarvo: check: %s: the module could not write its section\n",
                     path.c_str());
        session.Close();
        return 1;
    }
    for (const std::string& text : capture.Texts(TReportLevel::Warning)) {
        if (text.starts_with(kValidationPrefix))
            words.validation = text;
    }
    blocks = ReadStationBlocks(session.Engine());
    words.nosTablePath = LoggerPathToHost(corvane::kNosFormatTablePath);
    session.Close();
    return 0;
}

void AddModuleWords(const ModuleWords& words, const SectionInFile& file,
                    const SectionElements& settings, const std::vector<StationBlock>& blocks,
                    bool transmits, CheckReport& report) {
    for (const std::string& w : words.loadWarnings)
        report.notes.push_back(
            {WarningLine(w, file), "loading the setup logs the warning \"" + w + "\""});
    for (const std::string& c : words.conversions) {
        const std::wstring before = SettingOf(file.values, L"SelfTimed", L"Format");
        report.notes.push_back(
            {file.LineOf(L"SelfTimed", L"Format"), "SelfTimed Format \"" + host::ToUtf8(before) +
                                                       "\" is an older setup's number (\"" + c +
                                                       "\"), expected a format name"});
    }
    // An older setup's WinLen is a count of seconds; the module writes back what it made of it.
    const std::wstring winLen = SettingOf(file.values, L"SelfTimed", L"WinLen");
    if (!winLen.empty() && winLen.find(L':') == std::wstring::npos)
        report.notes.push_back({file.LineOf(L"SelfTimed", L"WinLen"),
                                "SelfTimed WinLen \"" + host::ToUtf8(winLen) +
                                    "\" is an older setup's seconds, read as \"" +
                                    host::ToUtf8(SettingOf(settings, L"SelfTimed", L"WinLen")) +
                                    "\", expected a time \"HH:MM:SS\""});
    if (!words.validation.empty()) {
        for (const std::string& reason : Reasons(words.validation)) {
            CheckProblem p = Locate(reason, blocks, file.sectionLine);
            (transmits ? report.problems : report.notes).push_back(p);
        }
    }
}

// Recording start's warning of a Random block whose groups have no RndGroup block.
void AddGrouplessRandomBlocks(const std::vector<StationBlock>& blocks, CheckReport& report) {
    for (const StationBlock& r : blocks) {
        if (r.kind != StationBlock::Kind::Random)
            continue;
        const bool grouped = std::ranges::any_of(blocks, [&r](const StationBlock& g) {
            return g.kind == StationBlock::Kind::RndGroup && InGroup(r, g.group);
        });
        if (!grouped)
            report.notes.push_back(
                {r.LineOf(L"GroupMap"), "Random block \"" + host::ToUtf8(r.name) +
                                            "\": recording start warns \"No random groups are "
                                            "defined.\", expected membership of a group that "
                                            "has an RndGroup block"});
    }
}

std::string Listed(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items)
        text += (text.empty() ? "" : ", ") + item;
    return text;
}

// The NOS message as the module's formatter would lay it out from the station's table: what
// the table loses, and what a window too small for the whole message makes the formatter drop.
void PredictNos(const ModuleWords& words, const SectionElements& settings,
                const std::vector<StationBlock>& blocks, const SectionInFile& file,
                CheckReport& report) {
    SelfTimedPlan& st = report.selfTimed;
    host::LogCapture capture;
    corvane::NosPlan plan;
    const bool planned = PlanNosTable(words.nosTablePath, blocks, plan);
    const int formatLine = file.LineOf(L"SelfTimed", L"Format");
    for (const std::string& w : capture.Texts(TReportLevel::Warning))
        report.notes.push_back({formatLine, "the NOS format table " + words.nosTablePath +
                                                ": the formatter warns \"" + w + "\""});
    if (!planned) {
        report.problems.push_back({formatLine, "NOS: no message is made from " +
                                                   words.nosTablePath +
                                                   ", expected a NOS format table of type P "
                                                   "or N with at least one line"});
        return;
    }
    const long type = NumberOf(settings, L"SelfTimed", L"Type");
    const int bitsPerSecond = type >= 0 && type < static_cast<long>(kSelfTimedTypes.size())
                                  ? kSelfTimedTypes[static_cast<std::size_t>(type)].bitsPerSecond
                                  : 0;
    const NosWidest w = WidestNosMessage(
        plan, corvane::NosCharactersAvailable(static_cast<int>(st.windowSeconds), bitsPerSecond));
    st.widestBytes = w.sent;
    st.fits = !st.rate || FitsWindow(*st.rate, w.sent, st.windowSeconds);
    const std::string room = std::to_string(w.built) + " characters do not fit the " +
                             std::to_string(w.available) + " the formatter allows the " +
                             std::to_string(st.windowSeconds) + " s window";
    if (!w.droppedRedundant.empty())
        report.notes.push_back(
            {file.LineOf(L"SelfTimed", L"WinLen"),
             "the widest NOS message: " + room +
                 "; the redundant blocks dropped: " + Listed(w.droppedRedundant)});
    if (!w.droppedBlocks.empty())
        report.problems.push_back({file.LineOf(L"SelfTimed", L"WinLen"),
                                   "the widest NOS message still does not fit without its "
                                   "redundant blocks; the blocks dropped: " +
                                       Listed(w.droppedBlocks) +
                                       ", expected a window that holds every block"});
}

void AddAirtimeFindings(const SectionInFile& file, CheckReport& report) {
    const SelfTimedPlan& st = report.selfTimed;
    if (st.enabled) {
        // A NOS station whose table makes no message has its problem told already.
        if (!st.widestBytes && st.format != "NOS")
            report.notes.push_back({file.LineOf(L"SelfTimed", L"Format"),
                                    st.format + ": not predicted (no formatter of that "
                                                "name to count its widest message)"});
        if (!st.rate)
            report.notes.push_back({file.LineOf(L"SelfTimed", L"Type"),
                                    "self-timed type \"" + st.typeName +
                                        "\" has no public bit-rate figure: its airtime is not "
                                        "computed"});
        if (st.widestBytes && st.rate && !st.fits) {
            char seconds[32];
            std::snprintf(seconds, sizeof seconds, "%.2f", AirSeconds(*st.rate, *st.widestBytes));
            report.problems.push_back(
                {file.LineOf(L"SelfTimed", L"WinLen"),
                 "the widest self-timed message, " + std::to_string(*st.widestBytes) +
                     " bytes, takes " + seconds + " s at " +
                     std::to_string(BitsPerSecond(*st.rate)) + " bps, longer than the " +
                     std::to_string(st.windowSeconds) + " s window, expected at most " +
                     std::to_string(MostBytesInWindow(*st.rate, st.windowSeconds)) + " bytes"});
        }
    }
    if (report.random.enabled && !report.random.rate)
        report.notes.push_back({file.LineOf(L"Random", L"Type"),
                                "random type \"" + report.random.typeName +
                                    "\" has no public bit-rate figure: its airtime is not "
                                    "computed"});
}

int CheckOne(const CheckOptions& options, const std::string& path, std::FILE* out, std::FILE* err) {
    ModuleWords words;
    std::vector<StationBlock> blocks;
    if (const int status = HearModule(options, path, err, words, blocks); status != 0)
        return status;
    SectionInFile file;
    std::string error;
    if (!ReadSectionInFile(path, file, blocks, error)) {
        std::fprintf(err, "tarvo: check: %s\n", error.c_str());
        return 1;
    }
    const auto settings = ParseSectionText(words.section);
    CheckReport report;
    report.setup = path;
    report.selfTimed = PlanSelfTimed(settings, blocks);
    report.random = PlanRandom(settings, blocks);
    if (report.selfTimed.enabled && report.selfTimed.format == "NOS")
        PredictNos(words, settings, blocks, file, report);
    const bool transmits = report.selfTimed.enabled || report.random.enabled;
    if (!transmits)
        report.notes.push_back({file.sectionLine,
                                "neither self-timed nor random transmission is "
                                "enabled: recording start sends nothing"});
    AddModuleWords(words, file, settings, blocks, transmits, report);
    CheckRanges(settings, file, blocks, report.problems);
    if (report.random.enabled) {
        AddGrouplessRandomBlocks(blocks, report);
        for (const GroupPlan& g : report.random.groups) {
            if (!g.hasSlot)
                report.notes.push_back(
                    {file.sectionLine, "random group " + std::to_string(g.group) +
                                           " never transmits: the random scheduler has slots "
                                           "for groups 2 to 7 only"});
        }
    }
    AddAirtimeFindings(file, report);
    const auto byLine = [](const CheckProblem& a, const CheckProblem& b) {
        return a.line < b.line;
    };
    std::ranges::stable_sort(report.problems, byLine);
    std::ranges::stable_sort(report.notes, byLine);
    if (options.json)
        PrintCheckJson(report, out);
    else
        PrintCheckText(report, out);
    return report.problems.empty() ? 0 : 1;
}

}  // namespace

int ExecuteCheck(const CheckOptions& options, std::FILE* out, std::FILE* err) {
    int status = 0;
    for (const std::string& path : options.setupPaths)
        status = std::max(status, CheckOne(options, path, out, err));
    std::fflush(out);
    return status;
}

}  // namespace tarvo::runner
