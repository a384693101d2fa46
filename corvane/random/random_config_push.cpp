#include "corvane/random/random_config_push.h"

#include "corvane/link/command_codes.h"
#include "corvane/link/commands.h"
#include "corvane/selftimed/self_timed_settings.h"
#include "corvane/selftimed/self_timed_upload.h"

namespace corvane {
namespace {

// Random Types 6..9 are the self-timed Types 10..13 under the same names and codes, so the 862
// table of the self-timed upload serves both.
constexpr int kRandomToSelfTimedType = 4;
static_assert(kRandomTypes[6].code == kSelfTimedTypes[10].code);
static_assert(kRandomTypes[7].code == kSelfTimedTypes[11].code);
static_assert(kRandomTypes[8].code == kSelfTimedTypes[12].code);
static_assert(kRandomTypes[9].code == kSelfTimedTypes[13].code);

}  // namespace

WORD RandomTypeCode(int type) {
    if (type < 0 || type >= static_cast<int>(kRandomTypes.size())) {
        return 0;
    }
    return static_cast<WORD>(kRandomTypes[type].code);
}

std::vector<CPacket> RandomConfigRequests(const RandomSettings& s) {
    std::vector<CPacket> requests;
    requests.push_back(MakeWordRequest(cmd::kRtChannel, s.Channel));
    requests.push_back(MakeWordRequest(cmd::kRtType, RandomTypeCode(s.Type)));
    requests.push_back(MakeBoolRequest(cmd::kRtQuality, s.Quality));
    requests.push_back(MakeBoolRequest(cmd::kRtLatLon, s.LatLon));
    CPacket param304(cmd::kRtParam304);
    param304.SetTimeSpan(0);
    requests.push_back(param304);
    requests.push_back(MakeByteRequest(cmd::kRtParam310, 1));
    return requests;
}

CPacket RandomParam862Request(const RandomSettings& s) {
    const float value = RandomTypeHasAntenna(s.Type)
                            ? Param862Value(s.Type + kRandomToSelfTimedType, s.Antenna)
                            : 0.0f;
    return MakeParam862Request(value);
}

bool PushRandomConfig(Transmitter& transmitter, const RandomSettings& settings) {
    if (!transmitter.WriteParameters(RandomConfigRequests(settings))) {
        return false;
    }
    if (RandomTypeHasAntenna(settings.Type)) {
        // Deliberately assembled and dropped. The transmitter holds one 862, which the self-timed
        // upload sets (for self-timed Types 10..13) from the self-timed Type and Antenna; sending
        // this one would overwrite it with a value from the random settings. Stations have
        // always run without it, so it stays unsent.
        [[maybe_unused]] const CPacket unsent = RandomParam862Request(settings);
    }
    return true;
}

}  // namespace corvane
