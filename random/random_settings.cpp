#include "random/random_settings.h"

#include "core/setup_reading.h"
#include "core/wide_text.h"
#include "platform/report.h"

namespace {

std::wstring Quoted(const wchar_t* key, const std::wstring& value) {
    return std::wstring(key) + L" = \"" + value + L"\"";
}

std::wstring Quoted(const wchar_t* key, int value) {
    return Quoted(key, std::to_wstring(value));
}

}  // namespace

void ResetRandomSettings(RandomSettings& settings) {
    settings.Channel = 151;
    settings.Enabled = false;
    settings.LatLon = false;
    settings.Quality = false;
    settings.NormRate = L"12:00:00";
    settings.AlarmRate = L"01:00:00";
    settings.Type = 0;
    settings.BurstCount = 3;
    settings.BurstRate = L"00:01:00";
    settings.Format = 0;
    settings.NumVals = 1;
}

bool WriteRandomSetup(CXMLSetup& setup, const RandomSettings& s) {
    setup.WriteStartTag(L"<Random");
    setup.WriteText(Quoted(L"Enabled", s.Enabled ? 1 : 0));
    setup.WriteText(Quoted(L"LatLon", s.LatLon ? 1 : 0));
    setup.WriteText(Quoted(L"Quality", s.Quality ? 1 : 0));
    setup.WriteText(Quoted(L"Channel", s.Channel));
    setup.WriteText(Quoted(L"NormRate", s.NormRate));
    setup.WriteText(Quoted(L"AlarmRate", s.AlarmRate));
    setup.WriteText(Quoted(L"Type", s.Type));
    setup.WriteText(Quoted(L"BurstCount", s.BurstCount));
    setup.WriteText(Quoted(L"BurstRate", s.BurstRate));
    setup.WriteText(Quoted(L"Format", s.Format));
    setup.WriteText(Quoted(L"NumVals", s.NumVals));
    setup.WriteText(Quoted(L"Antenna", s.Antenna));
    setup.WriteEndTag(L"/>");
    return true;
}

bool ReadRandomSetup(CXMLSetup& setup, RandomSettings& s, CXMLToken& next) {
    using corvane::WToL;
    corvane::ReadAttributes(setup, next, [&s](const std::wstring& name, const std::wstring& value) {
        if (name == L"Enabled") {
            s.Enabled = WToL(value) != 0;
        } else if (name == L"LatLon") {
            s.LatLon = WToL(value) != 0;
        } else if (name == L"Quality") {
            s.Quality = WToL(value) != 0;
        } else if (name == L"Channel") {
            s.Channel = static_cast<int>(WToL(value));
        } else if (name == L"NormRate") {
            s.NormRate = value;
        } else if (name == L"AlarmRate") {
            s.AlarmRate = value;
        } else if (name == L"Type") {
            s.Type = static_cast<int>(WToL(value));
        } else if (name == L"BurstCount") {
            s.BurstCount = static_cast<int>(WToL(value));
        } else if (name == L"BurstRate" || name == L"BurstInt") {
            s.BurstRate = value;
        } else if (name == L"Format") {
            s.Format = static_cast<int>(WToL(value));
        } else if (name == L"NumVals") {
            s.NumVals = static_cast<int>(WToL(value));
        } else if (name == L"Antenna") {
            s.Antenna = static_cast<int>(WToL(value));
        } else {
            TReport::Warning("CRandomMsgr: Eating unknown token: %s.",
                             corvane::ToLogText(name).c_str());
        }
    });
    return true;
}
