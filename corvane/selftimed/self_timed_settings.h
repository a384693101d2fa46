// The self-timed settings record: what the transmitter needs for its scheduled transmissions,
// the lists its indexes point into, and its <SelfTimed element in the setup file.
#pragma once

#include <array>
#include <string>

#include "corvane/formats/format_catalogue.h"
#include "platform/xml_setup.h"

// Two sets of defaults on purpose: a newly constructed record holds the member initialisers
// below, while the reset for a fresh setup (ResetSelfTimedSettings) writes a different set and
// leaves Antenna alone.
struct SelfTimedSettings {
    bool Enabled = false;
    bool LatLon = false;
    bool Quality = false;             // append the battery voltage
    int Channel = 151;                // 1..999
    int Type = 0;                     // index into kSelfTimedTypes
    std::wstring Format = L"SHEF";    // a name of kSelfTimedFormats
    std::wstring Time = L"00:00:00";  // first transmission of the day
    std::wstring Rate = L"01:00:00";  // interval between transmissions
    bool CenterWin = true;
    std::wstring WinLen = L"00:00:10";  // transmit window length
    int NumVals = 8;                    // 1..99
    bool EnableSatID2 = false;          // INSAT only
    std::wstring SatID2 = L"00000000";
    int SCDChannel = 1;  // 1..20
    int Antenna = 0;     // index into kAntennas

    bool operator==(const SelfTimedSettings&) const = default;
};

struct SelfTimedType {
    const wchar_t* name;
    int code;           // what the transmitter receives
    int bitsPerSecond;  // how fast it sends: the room a message has in its window
};

// Indexed by Type. The codes of 10/11 and 12/13 run against the order of the names: required.
inline constexpr std::array<SelfTimedType, 14> kSelfTimedTypes = {{
    {L"300 bps", 300, 300},
    {L"1200 bps", 1200, 1200},
    {L"CGMS 100", 100, 100},
    {L"MSG", 101, 100},
    {L"INSAT", 4800, 4800},
    {L"GMS", 102, 100},
    {L"Feng Yun FY", 103, 100},
    {L"ARGOS", 400, 400},
    {L"SCD", 401, 400},
    {L"ARGOS/SCD", 402, 400},
    {L"300 G11/12", 302, 300},
    {L"300 G13+", 301, 300},
    {L"1200 G11/12", 1202, 1200},
    {L"1200 G13+", 1201, 1200},
}};
inline constexpr int kSelfTimedTypeInsat = 4;
inline constexpr int kSelfTimedTypeArgosScd = 9;

// The formats the self-timed properties offer, in list order: the catalogue's.
inline constexpr const auto& kSelfTimedFormats = corvane::kFormatNames;

// The SHEF formats, the only ones under which a block's UseCalcTime takes effect.
inline bool IsShefFormat(const std::wstring& format) {
    return format == kSelfTimedFormats[0] || format == kSelfTimedFormats[1];
}
// "Bin Int" interleaves the blocks' values, so every block carries the settings' NumVals.
inline bool IsInterleavedFormat(const std::wstring& format) {
    return format == kSelfTimedFormats[2];
}

// Indexed by Antenna (self-timed and random alike).
inline constexpr std::array<const wchar_t*, 3> kAntennas = {L"YAGI (10-11db)",
                                                            L"Dome/Hat (5.5-8db)", L"Omni (3db)"};

// The values of a fresh setup; Antenna keeps what it held.
void ResetSelfTimedSettings(SelfTimedSettings& settings);

// An older setup stored the format as a number 0..8: such a text becomes its name, with Debug
// "Converting format int %d to string %s". Any other text, a number outside the table included,
// is returned as it stands.
std::wstring ConvertLegacyFormat(const std::wstring& format);

// An older setup stored WinLen as whole seconds: text without a colon is read as a number of
// seconds and becomes "HH:MM:SS" of that span (days dropped); text with a colon stands.
std::wstring ConvertLegacyWinLen(const std::wstring& winLen);

// Writes "<SelfTimed" with one attribute per field, then "/>". Always true.
bool WriteSelfTimedSetup(CXMLSetup& setup, const SelfTimedSettings& settings);
// Reads the attributes of a <SelfTimed element (the reader stands after its start tag); an
// unknown name gives Warning "SelfTimedMsgr: Eating unknown token: %s." and is skipped. `next`
// receives the token that ended the attributes. Always true.
bool ReadSelfTimedSetup(CXMLSetup& setup, SelfTimedSettings& settings, CXMLToken& next);
