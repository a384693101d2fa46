#include "corvane/selftimed/self_timed_upload.h"

#include <array>

#include "corvane/link/command_codes.h"
#include "corvane/link/commands.h"
#include "platform/time.h"

namespace corvane {
namespace {

// The first of the types that take parameter 862 ("300 G11/12"); the table runs to 13.
constexpr int kFirst862Type = 10;

// Rows: Types 10..13; columns: Antenna 0..2. 10.0001 for "1200 G11/12" with the dome antenna is
// what those transmitters were configured with; it is not a typo for 10.0.
constexpr std::array<std::array<float, 3>, 4> k862Values = {{
    {2.5f, 5.0f, 10.0f},
    {1.25f, 2.5f, 7.0f},
    {10.0f, 10.0001f, 14.0f},
    {5.0f, 10.0f, 14.0f},
}};

// Time texts go over as whole seconds, the milliseconds dropped.
CPacket SpanRequest(WORD type, const std::wstring& timeText) {
    CPacket request(type);
    request.SetTimeSpan(StrToMS(timeText) / 1000);
    return request;
}

}  // namespace

WORD SelfTimedTypeCode(int type) {
    if (type < 0 || type >= static_cast<int>(kSelfTimedTypes.size())) {
        return 0;
    }
    return static_cast<WORD>(kSelfTimedTypes[type].code);
}

float Param862Value(int selfTimedType, int antenna) {
    const int row = selfTimedType - kFirst862Type;
    if (row < 0 || row >= static_cast<int>(k862Values.size()) || antenna < 0 ||
        antenna >= static_cast<int>(k862Values[0].size())) {
        return 0.0f;
    }
    return k862Values[row][antenna];
}

CPacket MakeParam862Request(float value) {
    CPacket request(cmd::kParam862);
    request.SetByte(3);
    request.AppendFloat(value);
    return request;
}

std::optional<BYTE> DataFormatCode(const std::wstring& format) {
    if (format == L"Bin Int" || format == L"Bin Non-Int") {
        return BYTE{2};
    }
    if (format == L"SHEF" || format == L"SHEF Fixed") {
        return BYTE{0};
    }
    return std::nullopt;
}

std::vector<CPacket> SelfTimedUploadRequests(const SelfTimedSettings& s) {
    std::vector<CPacket> requests;
    requests.push_back(MakeWordRequest(cmd::kStChannel, s.Channel));
    requests.push_back(SpanRequest(cmd::kStFirstTime, s.Time));
    requests.push_back(SpanRequest(cmd::kStRate, s.Rate));
    requests.push_back(MakeWordRequest(cmd::kStType, SelfTimedTypeCode(s.Type)));
    requests.push_back(SpanRequest(cmd::kStWindow, s.WinLen));
    requests.push_back(MakeBoolRequest(cmd::kStCenter, s.CenterWin));
    requests.push_back(MakeBoolRequest(cmd::kStQuality, s.Quality));
    requests.push_back(MakeBoolRequest(cmd::kStLatLon, s.LatLon));

    // The secondary id only means something to an INSAT transmitter sending INSAT messages;
    // every other set-up clears it to all bits set.
    const bool useSatId2 = s.EnableSatID2 && s.Type == kSelfTimedTypeInsat && s.Format == L"INSAT";
    CPacket satId2(cmd::kSetSatId2);
    satId2.SetDword(SatIdValue(useSatId2 ? s.SatID2 : std::wstring(L"FFFFFFFF")));
    requests.push_back(satId2);

    if (s.Type == kSelfTimedTypeArgosScd) {
        requests.push_back(MakeWordRequest(cmd::kStScdChannel, s.SCDChannel));
    }
    if (s.Type >= kFirst862Type && s.Type < kFirst862Type + static_cast<int>(k862Values.size())) {
        requests.push_back(MakeParam862Request(Param862Value(s.Type, s.Antenna)));
    }
    if (const std::optional<BYTE> code = DataFormatCode(s.Format)) {
        requests.push_back(MakeByteRequest(cmd::kStDataFormat, *code));
    }
    return requests;
}

bool UploadSelfTimedConfig(Transmitter& transmitter, const SelfTimedSettings& settings) {
    return transmitter.WriteParameters(SelfTimedUploadRequests(settings));
}

}  // namespace corvane
