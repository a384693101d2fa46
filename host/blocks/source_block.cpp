#include "host/blocks/source_block.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <numbers>
#include <sstream>

#include "host/setup/bounded_file.h"
#include "host/text/number_text.h"
#include "host/text/utf8.h"
#include "platform/report.h"

namespace tarvo::host {
namespace {

bool IsMark(const std::wstring& text, const wchar_t* mark) {
    return EqualsNoCase(text, mark);
}

// "YYYY-MM-DD HH:MM:SS" (or with 'T') as ms since 1970, or "HH:MM:SS" as ms since midnight.
bool ParseCsvTime(const std::string& text, bool& timeOfDay, std::int64_t& ms) {
    int y, mo, d, h, mi, s;
    char sep;
    char tail;
    if (std::sscanf(text.c_str(), "%d-%d-%d%c%d:%d:%d %c", &y, &mo, &d, &sep, &h, &mi, &s, &tail) ==
            7 &&
        (sep == ' ' || sep == 'T')) {
        // The year is the four digits the format names: a year of hundreds of millions
        // overflowed the milliseconds since 1970 (found by fuzzing).
        if (y < 1 || y > 9999 || mo < 1 || mo > 12 || d < 1 || d > 31 || h < 0 || h > 23 ||
            mi < 0 || mi > 59 || s < 0 || s > 59) {
            return false;
        }
        timeOfDay = false;
        ms = TTime(y, mo, d, h, mi, s).GetMillisecondsSince1970();
        return true;
    }
    if (std::sscanf(text.c_str(), "%d:%d:%d %c", &h, &mi, &s, &tail) == 3) {
        if (h < 0 || h > 23 || mi < 0 || mi > 59 || s < 0 || s > 59)
            return false;
        timeOfDay = true;
        ms = ((h * 60LL + mi) * 60 + s) * 1000;
        return true;
    }
    return false;
}

std::string Trimmed(std::string text) {
    while (!text.empty() && (text.back() == '\r' || text.back() == ' ' || text.back() == '\t')) {
        text.pop_back();
    }
    std::size_t start = text.find_first_not_of(" \t");
    return start == std::string::npos ? std::string() : text.substr(start);
}

}  // namespace

SourceBlock::SourceBlock(std::string baseDirectory)
    : TModule(L"Source"), baseDirectory_(std::move(baseDirectory)) {
    AddProperty(TProperty::Text(L"Mode", L"Constant"));
    AddProperty(TProperty::Real(L"Value", 0.0));
    AddProperty(TProperty::TextArray(L"Values"));
    AddProperty(TProperty::Text(L"File"));
    AddProperty(TProperty::Real(L"Amplitude", 1.0));
    AddProperty(TProperty::Text(L"Period", L"24:00:00"));
    AddProperty(TProperty::Real(L"Slope", 1.0));
    AddProperty(TProperty::Text(L"StepAt", L"12:00:00"));
    AddProperty(TProperty::Text(L"Interval", L"00:15:00"));
    AddProperty(TProperty::Text(L"Offset", L"00:00:00"));
    AddProperty(TProperty::Integer(L"RightDigits", 2));
    AddProperty(TProperty::Boolean(L"Integer", false));
    AddProperty(TProperty::Integer(L"ErrorEvery", 0));
    AddProperty(TProperty::Integer(L"NoDataEvery", 0));
}

std::wstring SourceBlock::GetOutputName(int index) const {
    return index == kOutput ? L"Output" : L"";
}

bool SourceBlock::GetNextRunTime(TTime from, TTime& next) const {
    TTimeSpan interval = StrToTimeSpan(GetProperty(L"Interval")->GetText());
    if (interval <= TTimeSpan())
        return false;
    next = NextScheduledTime(from, interval, StrToTimeSpan(GetProperty(L"Offset")->GetText()));
    return true;
}

SourceBlock::Mode SourceBlock::ReadMode() const {
    std::wstring mode = GetProperty(L"Mode")->GetText();
    const std::pair<const wchar_t*, Mode> modes[] = {
        {L"Constant", Mode::Constant}, {L"List", Mode::List}, {L"CSV", Mode::Csv},
        {L"Ramp", Mode::Ramp},         {L"Sine", Mode::Sine}, {L"Step", Mode::Step},
    };
    for (auto& [name, m] : modes) {
        if (EqualsNoCase(mode, name))
            return m;
    }
    return Mode::Unknown;
}

void SourceBlock::Reset() {
    listIndex_ = 0;
    count_ = 0;
}

bool SourceBlock::Start() {
    startTime_ = TTime::GetCurrentTime();
    mode_ = ReadMode();
    std::string name = ToUtf8(GetName());
    if (mode_ == Mode::Unknown) {
        TReport::Warning(
            "Source \"%s\": unknown Mode \"%s\"; expected Constant, List, CSV, Ramp, Sine or "
            "Step. Its readings are marked in error.",
            name.c_str(), ToUtf8(GetProperty(L"Mode")->GetText()).c_str());
        return false;
    }
    if (StrToTimeSpan(GetProperty(L"Interval")->GetText()) <= TTimeSpan()) {
        TReport::Warning("Source \"%s\": Interval is zero; it never measures.", name.c_str());
    }
    if (mode_ == Mode::Csv) {
        std::string error;
        if (!LoadCsv(error)) {
            TReport::Warning("Source \"%s\": %s. Its readings carry no data.", name.c_str(),
                             error.c_str());
            csv_.clear();
            return false;
        }
    }
    return true;
}

std::string SourceBlock::InputFile() const {
    std::filesystem::path path(ToUtf8(GetProperty(L"File")->GetText()));
    if (ReadMode() != Mode::Csv || path.empty())
        return "";
    return path.is_relative() ? (std::filesystem::path(baseDirectory_) / path).string()
                              : path.string();
}

bool SourceBlock::LoadCsv(std::string& error) {
    csv_.clear();
    const std::filesystem::path path = InputFile();
    if (path.empty()) {
        error = "Mode is CSV but File is empty";
        return false;
    }
    std::string text;
    if (!ReadBoundedFile(path.string(), kCsvFileLimit, text, error)) {
        error = "CSV file " + error;
        return false;
    }
    std::istringstream in(text);
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        line = Trimmed(line);
        if (line.empty() || line[0] == '#')
            continue;
        auto comma = line.find(',');
        CsvRow row;
        std::string timeText = Trimmed(line.substr(0, comma));
        if (!ParseCsvTime(timeText, row.timeOfDay, row.ms)) {
            if (number == 1)
                continue;  // a header line
            error = path.string() + ":" + std::to_string(number) +
                    ": expected \"YYYY-MM-DD HH:MM:SS,value\" or \"HH:MM:SS,value\"";
            return false;
        }
        std::wstring cell =
            comma == std::string::npos ? L"" : FromUtf8(Trimmed(line.substr(comma + 1)));
        if (cell.empty() || IsMark(cell, L"NODATA")) {
            row.flags = SENSOR_FLAG_NODATA;
        } else if (IsMark(cell, L"ERROR")) {
            row.flags = SENSOR_FLAG_ERROR;
        } else if (!ParseDouble(cell, row.value)) {
            error = path.string() + ":" + std::to_string(number) + ": expected a number, ERROR " +
                    "or NODATA as the value, not \"" + ToUtf8(cell) + "\"";
            return false;
        }
        if (!csv_.empty() && (csv_.back().timeOfDay != row.timeOfDay || row.ms < csv_.back().ms)) {
            error = path.string() + ":" + std::to_string(number) +
                    ": rows must be of one kind of time and in time order";
            return false;
        }
        csv_.push_back(row);
    }
    if (csv_.empty()) {
        error = "CSV file " + path.string() + " holds no rows";
        return false;
    }
    return true;
}

CSensorData SourceBlock::FromCsv(TTime at) const {
    CSensorData data(TValue(0.0), at);
    if (csv_.empty()) {
        data.SetNoData(true);
        return data;
    }
    std::int64_t key = csv_.front().timeOfDay ? at.GetTimeOfDay().GetTotalMilliseconds()
                                              : at.GetMillisecondsSince1970();
    const CsvRow* found = nullptr;
    for (const auto& row : csv_) {
        if (row.ms > key)
            break;
        found = &row;
    }
    if (found == nullptr) {
        data.SetNoData(true);
        return data;
    }
    data.GetValue().SetReal(found->value);
    data.SetFlags(found->flags);
    return data;
}

CSensorData SourceBlock::Measure(TTime at) {
    CSensorData data(TValue(0.0), at);
    double base = GetProperty(L"Value")->GetReal();
    double amplitude = GetProperty(L"Amplitude")->GetReal();
    switch (mode_) {
        case Mode::Constant:
            data.GetValue().SetReal(base);
            break;
        case Mode::List: {
            auto values = GetProperty(L"Values")->GetTexts();
            if (values.empty()) {
                data.SetNoData(true);
                break;
            }
            const std::wstring& entry = values[listIndex_ % values.size()];
            ++listIndex_;
            double v = 0.0;
            if (IsMark(entry, L"ERROR")) {
                data.SetError(true);
            } else if (IsMark(entry, L"NODATA") || !ParseDouble(entry, v)) {
                data.SetNoData(true);
            } else {
                data.GetValue().SetReal(v);
            }
            break;
        }
        case Mode::Csv:
            data = FromCsv(at);
            break;
        case Mode::Ramp: {
            double hours = static_cast<double>((at - startTime_).GetTotalMilliseconds()) / 3.6e6;
            data.GetValue().SetReal(base + GetProperty(L"Slope")->GetReal() * hours);
            break;
        }
        case Mode::Sine: {
            std::int64_t period =
                StrToTimeSpan(GetProperty(L"Period")->GetText()).GetTotalMilliseconds();
            double phase = 0.0;
            if (period > 0) {
                std::int64_t t = at.GetMillisecondsSince1970() % period;
                phase =
                    2.0 * std::numbers::pi * static_cast<double>(t) / static_cast<double>(period);
            }
            data.GetValue().SetReal(base + amplitude * std::sin(phase));
            break;
        }
        case Mode::Step: {
            TTimeSpan stepAt = StrToTimeSpan(GetProperty(L"StepAt")->GetText());
            data.GetValue().SetReal(at.GetTimeOfDay() >= stepAt ? base + amplitude : base);
            break;
        }
        case Mode::Unknown:
            data.SetError(true);
            break;
    }
    ++count_;
    long errorEvery = GetProperty(L"ErrorEvery")->GetInteger();
    long noDataEvery = GetProperty(L"NoDataEvery")->GetInteger();
    if (errorEvery > 0 && count_ % errorEvery == 0)
        data.SetError(true);
    if (noDataEvery > 0 && count_ % noDataEvery == 0)
        data.SetNoData(true);

    int digits = static_cast<int>(GetProperty(L"RightDigits")->GetInteger());
    if (GetProperty(L"Integer")->GetBool()) {
        data.GetValue() = TValue::FromInteger(data.GetValue().AsInteger(), digits);
    } else {
        data.GetValue().SetRightDigits(digits);
    }
    data.SetTime(at);
    return data;
}

bool SourceBlock::Execute() {
    CSensorData data = Measure(GetRunTime());
    SetOutputData(kOutput, data);
    return true;
}

}  // namespace tarvo::host
