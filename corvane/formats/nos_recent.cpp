#include "corvane/formats/nos_recent.h"

#include <cstdio>
#include <cwchar>
#include <fstream>

#include "platform/files.h"
#include "platform/report.h"

namespace corvane {
namespace {

constexpr const wchar_t* kOnCard = L"\\Storage Card\\Recent.dat";
constexpr const wchar_t* kOnFlash = L"\\Flash Disk\\Recent.dat";
constexpr const char* kFirstLine = "# NOS values of the last message: time,sensor,value,units";
constexpr const wchar_t* kLineEnd = L"\r\n";

// The file holds single-byte text, as the labels and value texts are.
std::string Narrow(const std::wstring& text) {
    std::string out;
    for (wchar_t c : text)
        out += c < 256 ? static_cast<char>(c) : '?';
    return out;
}

std::wstring Widen(const std::string& text) {
    std::wstring out;
    for (char c : text)
        out += static_cast<wchar_t>(static_cast<unsigned char>(c));
    return out;
}

std::string TimeText(TTime t) {
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", t.GetYear(), t.GetMonth(),
                  t.GetDay(), t.GetHour(), t.GetMinute(), t.GetSecond());
    return text;
}

bool ParseTime(const std::string& text, TTime& t) {
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
    char end = 0;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%c", &y, &mo, &d, &h, &mi, &s, &end) != 6)
        return false;
    t = TTime(y, mo, d, h, mi, s);
    return true;
}

// Written beside the file and renamed over it, so that a report read on another thread, or a
// card that fails half-way, never sees a truncated file: the old one stays until the new is whole.
bool Write(const std::wstring& loggerPath, const std::vector<NosRecentValue>& values) {
    const std::string target = LoggerPathToHost(loggerPath);
    const std::string written = target + ".new";
    {
        std::ofstream out(written, std::ios::binary | std::ios::trunc);
        if (!out)
            return false;
        out << kFirstLine << "\n";
        for (const NosRecentValue& v : values)
            out << TimeText(v.time) << ',' << Narrow(v.sensor) << ',' << Narrow(v.value) << ','
                << Narrow(v.units) << "\n";
        if (!out.flush()) {
            out.close();
            std::remove(written.c_str());
            return false;
        }
    }
    if (std::rename(written.c_str(), target.c_str()) != 0) {
        std::remove(written.c_str());
        return false;
    }
    return true;
}

bool Read(const std::wstring& loggerPath, std::vector<NosRecentValue>& values) {
    std::ifstream in(LoggerPathToHost(loggerPath), std::ios::binary);
    if (!in)
        return false;
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        std::vector<std::string> fields;
        std::size_t start = 0;
        for (std::size_t comma; (comma = line.find(',', start)) != std::string::npos;
             start = comma + 1)
            fields.push_back(line.substr(start, comma - start));
        fields.push_back(line.substr(start));
        NosRecentValue v;
        if (fields.size() != 4 || !ParseTime(fields[0], v.time))
            continue;
        v.sensor = Widen(fields[1]);
        v.value = Widen(fields[2]);
        v.units = Widen(fields[3]);
        values.push_back(v);
    }
    return true;
}

}  // namespace

bool WriteNosRecent(const std::vector<NosRecentValue>& values) {
    if (Write(kOnCard, values) || Write(kOnFlash, values))
        return true;
    TReport::Warning(
        "NOS Format: Recent.dat could not be written on the storage card or the "
        "flash disk.");
    return false;
}

std::vector<NosRecentValue> ReadNosRecent() {
    std::vector<NosRecentValue> values;
    if (!Read(kOnCard, values))
        Read(kOnFlash, values);
    return values;
}

std::wstring NosTextReport(const std::vector<NosRecentValue>& values) {
    std::wstring report = L"NOS REPORT";
    report += kLineEnd;
    if (values.empty()) {
        report += L"No recent NOS values.";
        report += kLineEnd;
    } else {
        wchar_t line[256];
        std::swprintf(line, sizeof line / sizeof line[0], L"%-19ls  %-10ls  %ls%ls", L"Time",
                      L"Sensor", L"Value", kLineEnd);
        report += line;
        for (const NosRecentValue& v : values) {
            std::wstring value = v.value.empty() ? L"missing" : v.value;
            if (!v.value.empty() && !v.units.empty())
                value += L" " + v.units;
            std::swprintf(line, sizeof line / sizeof line[0], L"%-19ls  %-10ls  %ls%ls",
                          Widen(TimeText(v.time)).c_str(), v.sensor.substr(0, 64).c_str(),
                          value.substr(0, 64).c_str(), kLineEnd);
            report += line;
        }
    }
    report += L"\r\nREPORT COMPLETE\r\n";
    return report;
}

}  // namespace corvane
