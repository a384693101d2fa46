#include "sim/model/config_store.h"

#include <algorithm>
#include <array>
#include <bit>

#include "sim/model/command_catalogue.h"

namespace tarvo::sim {
namespace {

// Type codes the transmitter can transmit as, for the self-timed (208) and random (306) side,
// and the send-to-maker rates (600).
constexpr std::array<WORD, 14> kSelfTimedTypes{300, 1200, 100, 101, 4800, 102,  103,
                                               400, 401,  402, 302, 301,  1202, 1201};
constexpr std::array<WORD, 10> kRandomTypes{100, 300, 1200, 101, 102, 103, 302, 301, 1202, 1201};
constexpr std::array<WORD, 4> kMakerRates{100, 300, 301, 1201};

template <std::size_t N>
bool OneOf(WORD value, const std::array<WORD, N>& list) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

WORD ReadU16(std::span<const BYTE> p) {
    return static_cast<WORD>((p[0] << 8) | p[1]);
}

std::map<WORD, std::vector<BYTE>> MakeDefaults() {
    return {
        {37, {0x00, 0x00}},
        {40, {0x00, 0x00, 0x00, 0x00}},
        {42, {0xFF, 0xFF, 0xFF, 0xFF}},
        {200, {0x00}},
        {202, {0x00, 0x00}},
        {204, {0, 0, 0, 0}},
        {206, {0, 0, 0, 0}},
        {208, {0x01, 0x2C}},  // 300
        {212, {0, 0, 0, 0}},
        {214, {0x01}},
        {217, {}},
        {223, {0x00}},
        {225, {0x00}},
        {232, {0x00}},
        {251, {0x00, 0x01}},
        {302, {0x00, 0x00}},
        {304, {0, 0, 0, 0}},
        {306, {0x00, 0x64}},  // 100
        {310, {0x01}},
        {313, {}},
        {318, {0x00}},
        {320, {0x00}},
        {338, {0x00}},
        {506, {0x00}},
        {600, {0x01, 0x2C}},  // 300
        {602, {0x00, 0x00}},
        {604, {0x00, 0x00, 0x00, 0x00}},
        {862, {0x03, 0x00, 0x00, 0x00, 0x00}},
    };
}

}  // namespace

ConfigStore::ConfigStore() {
    Reset();
}

const std::map<WORD, std::vector<BYTE>>& ConfigStore::Defaults() {
    static const std::map<WORD, std::vector<BYTE>> defaults = MakeDefaults();
    return defaults;
}

void ConfigStore::Reset() {
    selfTimed_.reset();
    values_ = Defaults();
    written_.clear();
}

bool ConfigStore::Acceptable(WORD code, std::span<const BYTE> payload, std::string& why) {
    switch (code) {
        case 202:
        case 302:
        case 602: {
            const WORD channel = ReadU16(payload);
            if (channel < 1 || channel > 999) {
                why = "channel " + std::to_string(channel) + " outside 1..999";
                return false;
            }
            return true;
        }
        case 208:
            if (!OneOf(ReadU16(payload), kSelfTimedTypes)) {
                why = "unknown self-timed type " + std::to_string(ReadU16(payload));
                return false;
            }
            return true;
        case 306:
            if (!OneOf(ReadU16(payload), kRandomTypes)) {
                why = "unknown random type " + std::to_string(ReadU16(payload));
                return false;
            }
            return true;
        case 600:
            if (!OneOf(ReadU16(payload), kMakerRates)) {
                why = "unknown send-to-maker rate " + std::to_string(ReadU16(payload));
                return false;
            }
            return true;
        default:
            return true;
    }
}

void ConfigStore::Set(WORD code, std::span<const BYTE> payload) {
    selfTimed_.reset();
    values_[code].assign(payload.begin(), payload.end());
    written_[code] = true;
}

std::optional<std::vector<BYTE>> ConfigStore::Get(WORD code) const {
    const auto it = values_.find(code);
    if (it == values_.end()) {
        return std::nullopt;
    }
    return it->second;
}

bool ConfigStore::Written(WORD code) const {
    const auto it = written_.find(code);
    return it != written_.end() && it->second;
}

WORD ConfigStore::U16(WORD code) const {
    return ReadU16(values_.at(code));
}

DWORD ConfigStore::U32(WORD code) const {
    const auto& p = values_.at(code);
    return (DWORD{p[0]} << 24) | (DWORD{p[1]} << 16) | (DWORD{p[2]} << 8) | DWORD{p[3]};
}

bool ConfigStore::Bool(WORD code) const {
    return values_.at(code).at(0) != 0;
}

std::int64_t ConfigStore::Seconds(WORD code) const {
    return SpanSeconds(values_.at(code));
}

const SelfTimedConfig& ConfigStore::SelfTimed() const {
    if (selfTimed_) {
        return *selfTimed_;
    }
    SelfTimedConfig& config = selfTimed_.emplace();
    config.enabled = Bool(200);
    config.channel = U16(202);
    config.intervalSeconds = Seconds(204);
    config.firstSeconds = Seconds(206);
    config.typeCode = U16(208);
    config.windowSeconds = Seconds(212);
    config.centred = Bool(214);
    config.battery = Bool(223);
    config.position = Bool(225);
    config.dataFormat = values_.at(232).at(0);
    config.secondaryId = U32(42);
    config.scdChannel = U16(251);
    const auto& p = values_.at(862);
    config.value862 =
        std::bit_cast<float>((std::uint32_t{p[1]} << 24) | (std::uint32_t{p[2]} << 16) |
                             (std::uint32_t{p[3]} << 8) | std::uint32_t{p[4]});
    return config;
}

RandomConfig ConfigStore::Random() const {
    return RandomConfig{U16(302), U16(306), Bool(318), Bool(320)};
}

MakerConfig ConfigStore::Maker() const {
    return MakerConfig{U16(600), U16(602), U32(604)};
}

}  // namespace tarvo::sim
