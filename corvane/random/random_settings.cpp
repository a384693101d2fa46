#include "corvane/random/random_settings.h"

#include "corvane/shared/setup_attribute.h"
#include "corvane/shared/setup_reading.h"
#include "corvane/shared/wide_text.h"
#include "platform/report.h"

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
    setup.WriteText(corvane::AttributeText(L"Enabled", s.Enabled ? 1 : 0));
    setup.WriteText(corvane::AttributeText(L"LatLon", s.LatLon ? 1 : 0));
    setup.WriteText(corvane::AttributeText(L"Quality", s.Quality ? 1 : 0));
    setup.WriteText(corvane::AttributeText(L"Channel", s.Channel));
    setup.WriteText(corvane::AttributeText(L"NormRate", s.NormRate));
    setup.WriteText(corvane::AttributeText(L"AlarmRate", s.AlarmRate));
    setup.WriteText(corvane::AttributeText(L"Type", s.Type));
    setup.WriteText(corvane::AttributeText(L"BurstCount", s.BurstCount));
    setup.WriteText(corvane::AttributeText(L"BurstRate", s.BurstRate));
    setup.WriteText(corvane::AttributeText(L"Format", s.Format));
    setup.WriteText(corvane::AttributeText(L"NumVals", s.NumVals));
    setup.WriteText(corvane::AttributeText(L"Antenna", s.Antenna));
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
