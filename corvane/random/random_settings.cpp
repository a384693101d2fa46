#include "corvane/random/random_settings.h"

#include "corvane/shared/setup_fields.h"
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

namespace {

using Field = corvane::SetupField<RandomSettings>;
using R = RandomSettings;

const Field kFields[] = {
    {L"Enabled", &R::Enabled},
    {L"LatLon", &R::LatLon},
    {L"Quality", &R::Quality},
    {L"Channel", &R::Channel},
    {L"NormRate", &R::NormRate},
    {L"AlarmRate", &R::AlarmRate},
    {L"Type", &R::Type},
    {L"BurstCount", &R::BurstCount},
    {L"BurstRate", &R::BurstRate, nullptr, L"BurstInt"},
    {L"Format", &R::Format},
    {L"NumVals", &R::NumVals},
    {L"Antenna", &R::Antenna},
};

}  // namespace

bool WriteRandomSetup(CXMLSetup& setup, const RandomSettings& s) {
    setup.WriteStartTag(L"<Random");
    corvane::WriteFields(setup, s, kFields);
    setup.WriteEndTag(L"/>");
    return true;
}

bool ReadRandomSetup(CXMLSetup& setup, RandomSettings& s, CXMLToken& next) {
    corvane::ReadAttributes(setup, next, [&s](const std::wstring& name, const std::wstring& value) {
        if (!corvane::ReadField(s, kFields, name, value)) {
            TReport::Warning("CRandomMsgr: Eating unknown token: %s.",
                             corvane::ToLogText(name).c_str());
        }
    });
    return true;
}
