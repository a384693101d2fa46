#include "sim/model/command_catalogue.h"

#include <algorithm>
#include <array>

namespace tarvo::sim {
namespace {

constexpr std::array kCatalogue{
    CommandInfo{4, Arg::None, Role::Query, false, "status"},
    CommandInfo{5, Arg::None, Role::Action, false, "clear counters"},
    CommandInfo{6, Arg::None, Role::Action, false, "reset"},
    CommandInfo{7, Arg::None, Role::Action, false, "reset failsafe"},
    CommandInfo{31, Arg::None, Role::Query, false, "current time"},
    CommandInfo{35, Arg::None, Role::Query, false, "clock"},
    CommandInfo{37, Arg::U16, Role::Setting, true, "local time offset"},
    CommandInfo{40, Arg::U32, Role::Setting, true, "satellite id"},
    CommandInfo{42, Arg::U32, Role::Setting, true, "secondary satellite id"},
    CommandInfo{200, Arg::Bool, Role::Setting, true, "self-timed on"},
    CommandInfo{202, Arg::U16, Role::Setting, true, "self-timed channel"},
    CommandInfo{204, Arg::Span, Role::Setting, true, "self-timed interval"},
    CommandInfo{206, Arg::Span, Role::Setting, true, "self-timed first time"},
    CommandInfo{208, Arg::U16, Role::Setting, true, "self-timed type"},
    CommandInfo{212, Arg::Span, Role::Setting, true, "self-timed window length"},
    CommandInfo{214, Arg::Bool, Role::Setting, true, "self-timed centring"},
    CommandInfo{216, Arg::Message, Role::Load, false, "load self-timed buffer"},
    CommandInfo{217, Arg::Bytes, Role::Setting, false, "self-timed extra data"},
    CommandInfo{218, Arg::None, Role::Action, false, "self-timed test send"},
    CommandInfo{219, Arg::None, Role::Query, false, "self-timed window close"},
    CommandInfo{223, Arg::Bool, Role::Setting, true, "self-timed battery voltage"},
    CommandInfo{225, Arg::Bool, Role::Setting, true, "self-timed position"},
    CommandInfo{232, Arg::U8, Role::Setting, true, "self-timed data format"},
    CommandInfo{236, Arg::None, Role::Action, true, "self-timed test arm"},
    CommandInfo{251, Arg::U16, Role::Setting, true, "SCD channel"},
    CommandInfo{300, Arg::Bool, Role::Action, false, "random transmit"},
    CommandInfo{302, Arg::U16, Role::Setting, true, "random channel"},
    CommandInfo{304, Arg::Span, Role::Setting, true, "random 304"},
    CommandInfo{306, Arg::U16, Role::Setting, true, "random type"},
    CommandInfo{310, Arg::U8, Role::Setting, true, "random 310"},
    CommandInfo{312, Arg::Message, Role::Load, false, "load random buffer"},
    CommandInfo{313, Arg::Bytes, Role::Setting, false, "random extra data"},
    CommandInfo{314, Arg::None, Role::Action, false, "random test send"},
    CommandInfo{318, Arg::Bool, Role::Setting, true, "random battery voltage"},
    CommandInfo{320, Arg::Bool, Role::Setting, true, "random position"},
    CommandInfo{338, Arg::Bool, Role::Setting, true, "338"},
    CommandInfo{506, Arg::Bool, Role::Setting, false, "506"},
    CommandInfo{600, Arg::U16, Role::Setting, true, "send-to-maker rate"},
    CommandInfo{602, Arg::U16, Role::Setting, true, "send-to-maker channel"},
    CommandInfo{604, Arg::U32, Role::Setting, true, "send-to-maker platform id"},
    CommandInfo{606, Arg::None, Role::Action, true, "send-to-maker execute"},
    CommandInfo{770, Arg::None, Role::Action, false, "master start"},
    CommandInfo{771, Arg::None, Role::Action, false, "master stop"},
    CommandInfo{862, Arg::LeadFloat, Role::Setting, true, "862"},
};

bool Fits(std::size_t size, std::size_t want, std::string& why) {
    if (size == want) {
        return true;
    }
    why = "payload of " + std::to_string(size) + " bytes, expected " + std::to_string(want);
    return false;
}

}  // namespace

const CommandInfo* FindCommand(WORD code) {
    const auto it = std::find_if(kCatalogue.begin(), kCatalogue.end(),
                                 [code](const CommandInfo& info) { return info.code == code; });
    return it == kCatalogue.end() ? nullptr : &*it;
}

std::span<const CommandInfo> Catalogue() {
    return kCatalogue;
}

bool AnsweredAfresh(WORD code) {
    const CommandInfo* info = FindCommand(code);
    return info != nullptr && info->role == Role::Query;
}

bool PayloadFits(Arg arg, std::span<const BYTE> payload, std::string& why) {
    switch (arg) {
        case Arg::None:
            return Fits(payload.size(), 0, why);
        case Arg::Bool:
        case Arg::U8:
            return Fits(payload.size(), 1, why);
        case Arg::U16:
            return Fits(payload.size(), 2, why);
        case Arg::U32:
            return Fits(payload.size(), 4, why);
        case Arg::Span:
            if (!Fits(payload.size(), 4, why)) {
                return false;
            }
            if (payload[1] > 23 || payload[2] > 59 || payload[3] > 59) {
                why = "time span out of range";
                return false;
            }
            return true;
        case Arg::Bytes:
            return true;
        case Arg::Message:
            if (payload.empty()) {
                why = "empty message";
                return false;
            }
            return true;
        case Arg::LeadFloat:
            if (!Fits(payload.size(), 5, why)) {
                return false;
            }
            if (payload[0] != 3) {
                why = "first byte not 3";
                return false;
            }
            return true;
    }
    return false;
}

std::int64_t SpanSeconds(std::span<const BYTE> payload) {
    return ((payload[0] * 24LL + payload[1]) * 60LL + payload[2]) * 60LL + payload[3];
}

}  // namespace tarvo::sim
