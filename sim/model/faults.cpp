#include "sim/model/faults.h"

#include <array>
#include <utility>

#include "sim/model/parse_number.h"

namespace tarvo::sim {
namespace {

constexpr std::array<std::pair<FaultKind, const char*>, 11> kNames{{
    {FaultKind::Silence, "silence"},
    {FaultKind::CorruptCrc, "corrupt-crc"},
    {FaultKind::WrongNumber, "wrong-number"},
    {FaultKind::PlainHeader, "plain-header"},
    {FaultKind::ShortPayload, "short-payload"},
    {FaultKind::Refuse, "refuse"},
    {FaultKind::MasterRefusal, "master-refusal"},
    {FaultKind::UnknownCommand, "unknown-command"},
    {FaultKind::InvalidTime, "invalid-time"},
    {FaultKind::SlowReply, "slow-reply"},
    {FaultKind::CutTime, "cut-time"},
}};

bool AppliesTo(FaultKind kind, WORD code) {
    switch (kind) {
        case FaultKind::MasterRefusal:
            return code == 770;
        case FaultKind::InvalidTime:
            return code == 31 || code == 35 || code == 219;
        case FaultKind::CutTime:
            return code == 31 || code == 219;
        default:
            return true;
    }
}

bool ActsOnFrame(FaultKind kind) {
    switch (kind) {
        case FaultKind::Silence:
        case FaultKind::CorruptCrc:
        case FaultKind::WrongNumber:
        case FaultKind::PlainHeader:
        case FaultKind::ShortPayload:
        case FaultKind::SlowReply:
            return true;
        default:
            return false;
    }
}

}  // namespace

const char* FaultName(FaultKind kind) {
    for (const auto& [k, name] : kNames) {
        if (k == kind) {
            return name;
        }
    }
    return "?";
}

bool ParseFaultKind(std::string_view name, FaultKind& kind) {
    for (const auto& [k, n] : kNames) {
        if (name == n) {
            kind = k;
            return true;
        }
    }
    return false;
}

bool ParseFault(std::string_view text, Fault& fault, std::string& error) {
    Fault parsed;
    const std::size_t comma = text.find(',');
    const std::string_view kind = text.substr(0, comma);
    if (!ParseFaultKind(kind, parsed.kind)) {
        error = "unknown fault kind '" + std::string(kind) + "'";
        return false;
    }
    std::string_view rest = comma == std::string_view::npos ? "" : text.substr(comma + 1);
    while (!rest.empty()) {
        const std::size_t eq = rest.find('=');
        if (eq == std::string_view::npos) {
            error = "expected key=value in '" + std::string(rest) + "'";
            return false;
        }
        const std::string_view key = rest.substr(0, eq);
        if (key == "text") {
            parsed.text = std::string(rest.substr(eq + 1));
            break;
        }
        const std::size_t next = rest.find(',');
        const std::string_view value = rest.substr(
            eq + 1, next == std::string_view::npos ? std::string_view::npos : next - eq - 1);
        rest = next == std::string_view::npos ? "" : rest.substr(next + 1);
        if (key == "code") {
            WORD code = 0;
            if (!ParseNumber(value, code)) {
                error = "bad code '" + std::string(value) + "'";
                return false;
            }
            parsed.code = code;
        } else if (key == "count") {
            if (value == "all") {
                parsed.count = kEveryTime;
            } else if (!ParseNumber(value, parsed.count) || parsed.count < 1) {
                error = "bad count '" + std::string(value) + "' (a number from 1, or all)";
                return false;
            }
        } else if (key == "delay") {
            if (!ParseNumber(value, parsed.delayMs)) {
                error = "bad delay '" + std::string(value) + "'";
                return false;
            }
        } else {
            error = "unknown key '" + std::string(key) + "'";
            return false;
        }
    }
    fault = std::move(parsed);
    return true;
}

void FaultSet::Add(const Fault& fault) {
    if (fault.count == 0 || fault.count < kEveryTime) {
        return;
    }
    faults_.push_back(fault);
}

std::vector<Fault> FaultSet::Take(WORD code, bool frameOnly) {
    std::vector<Fault> acting;
    for (auto it = faults_.begin(); it != faults_.end();) {
        const bool matches = (!it->code || *it->code == code) && AppliesTo(it->kind, code) &&
                             (!frameOnly || ActsOnFrame(it->kind));
        if (!matches) {
            ++it;
            continue;
        }
        acting.push_back(*it);
        if (it->count != kEveryTime && --it->count == 0) {
            it = faults_.erase(it);
        } else {
            ++it;
        }
    }
    return acting;
}

}  // namespace tarvo::sim
