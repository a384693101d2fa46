#include "corvane/selftimed/self_timed_settings.h"

#include "corvane/shared/setup_attribute.h"
#include "corvane/shared/setup_reading.h"
#include "corvane/shared/wide_text.h"
#include "platform/report.h"
#include "platform/time.h"

namespace {

// Format numbers of older setups; 5 and 6 both meant NFDRS.
constexpr std::array<const wchar_t*, 9> kLegacyFormats = {L"SHEF",        L"SHEF Fixed", L"Bin Int",
                                                          L"Bin Non-Int", L"NOS",        L"NFDRS",
                                                          L"NFDRS",       L"INSAT",      L"Handar"};

}  // namespace

void ResetSelfTimedSettings(SelfTimedSettings& settings) {
    settings.Enabled = false;
    settings.LatLon = false;
    settings.Quality = false;
    settings.Channel = 151;
    settings.Type = 0;
    settings.Format = L"SHEF";
    settings.Time = L"00:00:00";
    settings.Rate = L"04:00:00";
    settings.CenterWin = true;
    settings.WinLen = L"00:01:00";
    settings.NumVals = 1;
    settings.EnableSatID2 = false;
    settings.SatID2 = L"00000000";
    settings.SCDChannel = 1;
}

std::wstring ConvertLegacyFormat(const std::wstring& format) {
    if (format.empty() || format[0] < L'0' || format[0] > L'9') {
        return format;
    }
    const long number = corvane::WToL(format);
    if (number < 0 || number >= static_cast<long>(kLegacyFormats.size())) {
        return format;
    }
    std::wstring name = kLegacyFormats[static_cast<std::size_t>(number)];
    TReport::Debug("Converting format int %d to string %s", static_cast<int>(number),
                   corvane::ToLogText(name).c_str());
    return name;
}

std::wstring ConvertLegacyWinLen(const std::wstring& winLen) {
    if (winLen.find(L':') != std::wstring::npos) {
        return winLen;
    }
    return corvane::HmsText(corvane::WToL(winLen));
}

bool WriteSelfTimedSetup(CXMLSetup& setup, const SelfTimedSettings& s) {
    setup.WriteStartTag(L"<SelfTimed");
    setup.WriteText(corvane::AttributeText(L"Enabled", s.Enabled ? 1 : 0));
    setup.WriteText(corvane::AttributeText(L"LatLon", s.LatLon ? 1 : 0));
    setup.WriteText(corvane::AttributeText(L"Quality", s.Quality ? 1 : 0));
    setup.WriteText(corvane::AttributeText(L"Channel", s.Channel));
    setup.WriteText(corvane::AttributeText(L"Type", s.Type));
    setup.WriteText(corvane::AttributeText(L"Format", s.Format));
    setup.WriteText(corvane::AttributeText(L"Time", s.Time));
    setup.WriteText(corvane::AttributeText(L"Rate", s.Rate));
    setup.WriteText(corvane::AttributeText(L"CenterWin", s.CenterWin ? 1 : 0));
    setup.WriteText(corvane::AttributeText(L"WinLen", s.WinLen));
    setup.WriteText(corvane::AttributeText(L"NumVals", s.NumVals));
    setup.WriteText(corvane::AttributeText(L"EnableSatID2", s.EnableSatID2 ? 1 : 0));
    setup.WriteText(corvane::AttributeText(L"SatID2", s.SatID2));
    setup.WriteText(corvane::AttributeText(L"SCDChannel", s.SCDChannel));
    setup.WriteText(corvane::AttributeText(L"Antenna", s.Antenna));
    setup.WriteEndTag(L"/>");
    return true;
}

bool ReadSelfTimedSetup(CXMLSetup& setup, SelfTimedSettings& s, CXMLToken& next) {
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
        } else if (name == L"Type") {
            s.Type = static_cast<int>(WToL(value));
        } else if (name == L"Format") {
            s.Format = ConvertLegacyFormat(value);
        } else if (name == L"Time") {
            s.Time = value;
        } else if (name == L"Rate") {
            s.Rate = value;
        } else if (name == L"CenterWin") {
            s.CenterWin = WToL(value) != 0;
        } else if (name == L"WinLen") {
            s.WinLen = ConvertLegacyWinLen(value);
        } else if (name == L"NumVals") {
            s.NumVals = static_cast<int>(WToL(value));
        } else if (name == L"EnableSatID2") {
            s.EnableSatID2 = WToL(value) != 0;
        } else if (name == L"SatID2") {
            s.SatID2 = value;
        } else if (name == L"SCDChannel") {
            s.SCDChannel = static_cast<int>(WToL(value));
        } else if (name == L"Antenna") {
            s.Antenna = static_cast<int>(WToL(value));
        } else {
            TReport::Warning("SelfTimedMsgr: Eating unknown token: %s.",
                             corvane::ToLogText(name).c_str());
        }
    });
    return true;
}
