// The transmitter's configuration: the last accepted payload of every setting code, and the
// meaning the model gives the ones it acts on.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/types.h"

namespace tarvo::sim {

struct SelfTimedConfig {
    bool enabled = false;              // 200
    WORD channel = 0;                  // 202
    std::int64_t intervalSeconds = 0;  // 204
    std::int64_t firstSeconds = 0;     // 206
    WORD typeCode = 0;                 // 208
    std::int64_t windowSeconds = 0;    // 212
    bool centred = false;              // 214
    bool battery = false;              // 223
    bool position = false;             // 225
    BYTE dataFormat = 0;               // 232
    DWORD secondaryId = 0;             // 42
    WORD scdChannel = 0;               // 251
    float value862 = 0;                // 862, after its leading byte
};

struct RandomConfig {
    WORD channel = 0;       // 302
    WORD typeCode = 0;      // 306
    bool battery = false;   // 318
    bool position = false;  // 320
};

struct MakerConfig {
    WORD rateCode = 0;     // 600
    WORD channel = 0;      // 602
    DWORD platformId = 0;  // 604
};

class ConfigStore {
  public:
    ConfigStore();

    // Back to the payloads a freshly reset transmitter holds.
    void Reset();
    static const std::map<WORD, std::vector<BYTE>>& Defaults();

    // Checks a setting's value beyond its shape (channels, type codes); `why` on refusal.
    static bool Acceptable(WORD code, std::span<const BYTE> payload, std::string& why);

    void Set(WORD code, std::span<const BYTE> payload);
    // The stored payload of a setting code; none for a code that is not a setting.
    std::optional<std::vector<BYTE>> Get(WORD code) const;
    const std::map<WORD, std::vector<BYTE>>& All() const { return values_; }
    // Whether the code was written since the last reset.
    bool Written(WORD code) const;

    // Valid until the next Set or Reset.
    const SelfTimedConfig& SelfTimed() const;
    RandomConfig Random() const;
    MakerConfig Maker() const;

  private:
    WORD U16(WORD code) const;
    DWORD U32(WORD code) const;
    bool Bool(WORD code) const;
    std::int64_t Seconds(WORD code) const;

    std::map<WORD, std::vector<BYTE>> values_;
    std::map<WORD, bool> written_;
    // The device looks at its self-timed settings whenever it acts; they change only by Set and
    // Reset, which drop this.
    mutable std::optional<SelfTimedConfig> selfTimed_;
};

}  // namespace tarvo::sim
