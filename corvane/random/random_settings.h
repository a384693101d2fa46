// The random settings record: whether and how alarm-driven transmissions are made, the list
// its Type indexes, and its <Random element in the setup file.
#pragma once

#include <array>
#include <string>

#include "corvane/formats/format_catalogue.h"
#include "platform/xml_setup.h"

struct RandomSettings {
    bool Enabled = false;
    bool LatLon = false;
    bool Quality = false;  // append the battery voltage
    int Channel = 151;     // 1..999
    int Type = 0;          // index into kRandomTypes
    int Format = 0;        // 0 "Bin Int" (interleaved), 1 "Bin Non-Int"
    std::wstring NormRate = L"12:00:00";
    std::wstring AlarmRate = L"01:00:00";
    int BurstCount = 3;  // 1..200
    std::wstring BurstRate = L"00:01:00";
    int NumVals = 1;  // 1..99
    int Antenna = 0;  // offered for types 6..9 only

    bool operator==(const RandomSettings&) const = default;
};

struct RandomType {
    const wchar_t* name;
    int code;  // what the transmitter receives
};

// Indexed by Type.
inline constexpr std::array<RandomType, 10> kRandomTypes = {{
    {L"CGMS 100", 100},
    {L"300 bps", 300},
    {L"1200 bps", 1200},
    {L"MSG", 101},
    {L"GMS", 102},
    {L"Feng Yun FY", 103},
    {L"300 G11/12", 302},
    {L"300 G13+", 301},
    {L"1200 G11/12", 1202},
    {L"1200 G13+", 1201},
}};

// The catalogue's two pseudobinary formats, by the random Format index.
inline constexpr std::array<const wchar_t*, 2> kRandomFormats = {corvane::kFormatNames[2],
                                                                 corvane::kFormatNames[3]};

// Whether the antenna selection applies to a type.
inline bool RandomTypeHasAntenna(int type) {
    return type >= 6 && type < 10;
}

// The defaults of a fresh setup. Antenna keeps what it held: only construction sets it.
void ResetRandomSettings(RandomSettings& settings);

// Writes "<Random" with one attribute per field, then "/>". Always true.
bool WriteRandomSetup(CXMLSetup& setup, const RandomSettings& settings);
// Reads the attributes of a <Random element (the reader stands after its start tag). The older
// name BurstInt still fills BurstRate; an unknown name gives Warning "CRandomMsgr: Eating
// unknown token: %s." and is skipped. `next` receives the token that ended the attributes.
// Always true.
bool ReadRandomSetup(CXMLSetup& setup, RandomSettings& settings, CXMLToken& next);
