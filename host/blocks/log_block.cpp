#include "host/blocks/log_block.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "host/clock/clock.h"
#include "host/text/utf8.h"
#include "platform/report.h"

namespace tarvo::host {

LogBlock::LogBlock() : TModule(L"Log") {
    AddProperty(TProperty::Text(L"File"));
    AddProperty(TProperty::Integer(L"Precision", 2));
}

std::wstring LogBlock::GetInputName(int index) const {
    return index == kPort ? L"Input" : L"";
}

std::wstring LogBlock::GetOutputName(int index) const {
    return index == kPort ? L"Output" : L"";
}

std::string LogBlock::FilePath() const {
    std::wstring file = GetProperty(L"File")->GetText();
    return ToUtf8(file.empty() ? GetName() + L".csv" : file);
}

bool LogBlock::Start() {
    std::string path = FilePath();
    // A fresh file for a freshly loaded block; a restarted recording continues it.
    auto mode = started_ ? std::ios::app : std::ios::trunc;
    file_.open(path, std::ios::out | mode);
    if (!file_) {
        TReport::Warning("Log \"%s\": cannot open %s for writing; its readings are not kept.",
                         ToUtf8(GetName()).c_str(), path.c_str());
        return false;
    }
    if (!started_)
        file_ << "time,value,status\n";
    started_ = true;
    failing_ = false;
    unflushed_ = 0;
    Check("writing");
    // On the real clock a crash should lose little; under virtual time the run is fast and
    // the file is flushed when recording stops.
    flushEachRow_ = !IsVirtualClock();
    return true;
}

void LogBlock::Stop() {
    if (!file_.is_open())
        return;
    // Rows still in the buffer reach the file only now: a full disk shows here.
    errno = 0;
    file_.close();
    if (Check("closing"))
        unflushed_ = 0;
}

bool LogBlock::Check(const char* doing) {
    if (file_.good())
        return true;
    const int error = errno;
    lost_ += unflushed_;
    written_ -= std::min(written_, unflushed_);
    unflushed_ = 0;
    if (!failing_) {
        TReport::Warning("Log \"%s\": %s %s failed: %s; readings are lost.",
                         ToUtf8(GetName()).c_str(), doing, FilePath().c_str(),
                         error != 0 ? std::strerror(error) : "write error");
    }
    failing_ = true;
    // Try again with the next reading: the disk may have room by then.
    file_.clear();
    return false;
}

std::string LogBlock::FormatRow(const CSensorData& data, int precision) {
    const TTime t = data.GetTime();
    char time[32];
    std::snprintf(time, sizeof time, "%04d-%02d-%02d %02d:%02d:%02d", t.GetYear(), t.GetMonth(),
                  t.GetDay(), t.GetHour(), t.GetMinute(), t.GetSecond());
    std::string row = time;
    row += ',';
    if (!data.IsNoData()) {
        TValue value = data.GetValue();
        if (value.IsReal())
            value.SetRightDigits(precision);
        row += value.AsCString();
    }
    row += ',';
    row += data.IsNoData() ? "nodata" : data.IsError() ? "error" : "ok";
    return row;
}

bool LogBlock::Execute() {
    CSensorData data;
    if (!GetInputData(kPort, data))
        return false;
    if (file_.is_open()) {
        errno = 0;
        file_ << FormatRow(data, static_cast<int>(GetProperty(L"Precision")->GetInteger())) << '\n';
        ++written_;
        ++unflushed_;
        if (flushEachRow_)
            file_.flush();
        if (Check("writing") && flushEachRow_) {
            unflushed_ = 0;
            failing_ = false;
        }
    }
    SetOutputData(kPort, data);
    return true;
}

}  // namespace tarvo::host
