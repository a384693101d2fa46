#include "apps/tarvo/setup_ranges.h"

#include <cwctype>

#include "corvane/selftimed/self_timed_settings.h"
#include "host/text/utf8.h"
#include "platform/time.h"

namespace tarvo::runner {
namespace {

std::string Quoted(const std::wstring& text) {
    return "\"" + host::ToUtf8(text) + "\"";
}

struct Checker {
    const SectionElements& settings;
    const SectionInFile& file;
    std::vector<CheckProblem>& problems;

    void Add(int line, const std::string& text) { problems.push_back({line, text}); }

    void Range(const wchar_t* element, const wchar_t* key, long low, long high) {
        const long value = NumberOf(settings, element, key);
        if (value < low || value > high)
            Add(file.LineOf(element, key),
                host::ToUtf8(element) + " " + host::ToUtf8(key) + " is " + std::to_string(value) +
                    ", expected an integer between " + std::to_string(low) + " and " +
                    std::to_string(high));
    }

    void Time(const wchar_t* element, const wchar_t* key) {
        const std::wstring text = SettingOf(settings, element, key);
        if (!ValidateTime(text))
            Add(file.LineOf(element, key),
                host::ToUtf8(element) + " " + host::ToUtf8(key) + " is " + Quoted(text) +
                    ", expected a time \"HH:MM:SS\" such as \"01:00:00\"");
    }

    void FormatName() {
        const std::wstring format = SettingOf(settings, L"SelfTimed", L"Format");
        std::string names;
        for (const wchar_t* name : kSelfTimedFormats) {
            if (format == name)
                return;
            names += (names.empty() ? "" : ", ") + host::ToUtf8(name);
        }
        Add(file.LineOf(L"SelfTimed", L"Format"),
            "SelfTimed Format is " + Quoted(format) + ", expected one of " + names);
    }

    void SatelliteId(const wchar_t* element, const wchar_t* key) {
        const std::wstring id = SettingOf(settings, element, key);
        bool hex = id.size() == 8;
        for (const wchar_t c : id)
            hex = hex && std::iswxdigit(static_cast<wint_t>(c));
        if (!hex)
            Add(file.LineOf(element, key), host::ToUtf8(element) + " " + host::ToUtf8(key) +
                                               " is " + Quoted(id) +
                                               ", expected 8 hexadecimal characters");
    }
};

std::string BlockName(const StationBlock& b) {
    const char* kind = b.kind == StationBlock::Kind::SelfTimed ? "SelfTimed"
                       : b.kind == StationBlock::Kind::Random  ? "Random"
                                                               : "RndGroup";
    return std::string(kind) + " block " + Quoted(b.name);
}

void BlockRange(const StationBlock& b, const wchar_t* key, long value, long low, long high,
                std::vector<CheckProblem>& problems) {
    if (value < low || value > high)
        problems.push_back(
            {b.LineOf(key), BlockName(b) + " " + host::ToUtf8(key) + " is " +
                                std::to_string(value) + ", expected an integer between " +
                                std::to_string(low) + " and " + std::to_string(high)});
}

// Data time and interval as the block dialogs take them: valid texts, and an offset no later
// than the interval; a random group also needs an interval above zero.
void DataTimes(const StationBlock& b, std::vector<CheckProblem>& problems) {
    bool valid = true;
    for (const auto& [key, text] : {std::pair{L"Offset", b.offset}, {L"Interval", b.interval}}) {
        if (!ValidateTime(text)) {
            problems.push_back({b.LineOf(key), BlockName(b) + " " + host::ToUtf8(key) + " is " +
                                                   Quoted(text) +
                                                   ", expected a time \"HH:MM:SS\""});
            valid = false;
        }
    }
    if (!valid)
        return;
    if (b.kind == StationBlock::Kind::RndGroup && StrToMS(b.interval) == 0)
        problems.push_back({b.LineOf(L"Interval"),
                            BlockName(b) + " Interval is \"00:00:00\", expected a data interval "
                                           "greater than 0"});
    else if (StrToMS(b.offset) > StrToMS(b.interval))
        problems.push_back(
            {b.LineOf(L"Offset"), BlockName(b) + " Offset " + Quoted(b.offset) +
                                      " is after its Interval " + Quoted(b.interval) +
                                      ", expected an offset no later than the interval"});
}

}  // namespace

void CheckRanges(const SectionElements& settings, const SectionInFile& file,
                 const std::vector<StationBlock>& blocks, std::vector<CheckProblem>& problems) {
    Checker c{settings, file, problems};
    c.SatelliteId(L"Common", L"SatID");
    const bool selfTimed = NumberOf(settings, L"SelfTimed", L"Enabled") != 0;
    const bool random = NumberOf(settings, L"Random", L"Enabled") != 0;
    if (selfTimed) {
        c.Range(L"SelfTimed", L"Channel", 1, 999);
        c.Range(L"SelfTimed", L"Type", 0, 13);
        c.Range(L"SelfTimed", L"NumVals", 1, 99);
        c.Range(L"SelfTimed", L"SCDChannel", 1, 20);
        c.Range(L"SelfTimed", L"Antenna", 0, 2);
        c.SatelliteId(L"SelfTimed", L"SatID2");
        c.FormatName();
        c.Time(L"SelfTimed", L"Time");
        c.Time(L"SelfTimed", L"Rate");
        c.Time(L"SelfTimed", L"WinLen");
        if (ValidateTime(SettingOf(settings, L"SelfTimed", L"Rate")) &&
            StrToMS(SettingOf(settings, L"SelfTimed", L"Rate")) == 0)
            c.Add(file.LineOf(L"SelfTimed", L"Rate"),
                  "SelfTimed Rate is \"00:00:00\", expected a rate greater than 0");
    }
    if (random) {
        c.Range(L"Random", L"Channel", 1, 999);
        c.Range(L"Random", L"Type", 0, 9);
        c.Range(L"Random", L"Format", 0, 1);
        c.Range(L"Random", L"BurstCount", 1, 200);
        c.Range(L"Random", L"NumVals", 1, 99);
        c.Time(L"Random", L"NormRate");
        c.Time(L"Random", L"AlarmRate");
        c.Time(L"Random", L"BurstRate");
    }
    for (const StationBlock& b : blocks) {
        switch (b.kind) {
            case StationBlock::Kind::SelfTimed:
                if (!selfTimed)
                    break;
                BlockRange(b, L"NumVals", b.numVals, 1, 99, problems);
                DataTimes(b, problems);
                break;
            case StationBlock::Kind::Random:
                if (!random)
                    break;
                BlockRange(b, L"Sequence", b.sequence, 1, 99, problems);
                BlockRange(b, L"NumVals", b.numVals, 1, 99, problems);
                break;
            case StationBlock::Kind::RndGroup:
                if (!random)
                    break;
                BlockRange(b, L"Group", b.group, 2, 9, problems);
                DataTimes(b, problems);
                break;
        }
    }
}

}  // namespace tarvo::runner
