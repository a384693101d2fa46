// The send-to-maker dialog: configures and starts the maker's service transmission (platform
// id, channel, rate), stopping recording for it when it runs.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "corvane/link/packet.h"

class CCorvane;
class CEngine;

// The service platform id the dialog offers first (docs/operator-interface.md).
inline constexpr wchar_t kServicePlatformId[] = L"53544D31";

struct SendToMakerRate {
    const wchar_t* name;
    WORD code;  // what 600 carries
};
inline constexpr std::array<SendToMakerRate, 4> kSendToMakerRates = {{
    {L"100 bps", 100},
    {L"300 bps", 300},
    {L"300 G13+", 301},
    {L"1200 G13+", 1201},
}};

// Control ids, for whatever acts as the operator.
enum SendToMakerControl {
    kMakerPlatformId = 1301,  // text, must be 8 characters on OK
    kMakerChannel,            // read-only, changed through kMakerChannelEdit
    kMakerChannelEdit,        // the number editor "Channel", 1 to 999, until valid or cancelled
    kMakerRate                // list of kSendToMakerRates
};

struct SendToMakerRequest {
    std::wstring platformId;  // hexadecimal text
    int channel = 1;
    WORD rateCode = 300;
};

// 604 (the id as an unsigned 32-bit), 602 (channel), 600 (rate code), 606, in that order.
std::vector<CPacket> SendToMakerRequests(const SendToMakerRequest& request);

// Runs "Send-to-Marvek" modally on the calling thread. On OK: while `engine` records, asks
// to stop it and stops it (No ends here); sends SendToMakerRequests, ending at the first
// without a valid reply; tells the result; then, when it stopped recording, offers to restart
// it. True when every request was answered.
bool RunSendToMakerDialog(CCorvane& corvane, CEngine& engine);
