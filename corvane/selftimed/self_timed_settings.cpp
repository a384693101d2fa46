#include "corvane/selftimed/self_timed_settings.h"

#include "corvane/shared/setup_fields.h"
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

namespace {

using Field = corvane::SetupField<SelfTimedSettings>;
using S = SelfTimedSettings;

const Field kFields[] = {
    {L"Enabled", &S::Enabled},     {L"LatLon", &S::LatLon},
    {L"Quality", &S::Quality},     {L"Channel", &S::Channel},
    {L"Type", &S::Type},           {L"Format", &S::Format, ConvertLegacyFormat},
    {L"Time", &S::Time},           {L"Rate", &S::Rate},
    {L"CenterWin", &S::CenterWin}, {L"WinLen", &S::WinLen, ConvertLegacyWinLen},
    {L"NumVals", &S::NumVals},     {L"EnableSatID2", &S::EnableSatID2},
    {L"SatID2", &S::SatID2},       {L"SCDChannel", &S::SCDChannel},
    {L"Antenna", &S::Antenna},
};

}  // namespace

bool WriteSelfTimedSetup(CXMLSetup& setup, const SelfTimedSettings& s) {
    setup.WriteStartTag(L"<SelfTimed");
    corvane::WriteFields(setup, s, kFields);
    setup.WriteEndTag(L"/>");
    return true;
}

bool ReadSelfTimedSetup(CXMLSetup& setup, SelfTimedSettings& s, CXMLToken& next) {
    corvane::ReadAttributes(setup, next, [&s](const std::wstring& name, const std::wstring& value) {
        if (!corvane::ReadField(s, kFields, name, value)) {
            TReport::Warning("SelfTimedMsgr: Eating unknown token: %s.",
                             corvane::ToLogText(name).c_str());
        }
    });
    return true;
}
