// How long a GOES message takes on the air, from the public figures of the two rates that have
// them: N bytes take (137 + 4N)/150 s at 300 bps and (223 + 4N)/600 s at 1200 bps, preamble and
// framing included. The other transmitter types (CGMS, MSG, INSAT, ARGOS, ...) have no public
// figure here, and nothing guesses one for them.
#pragma once

#include <optional>

namespace tarvo::runner {

enum class BitRate { Bps300, Bps1200 };

// The rate of a self-timed type (the module's list of 14, by index): "300 bps", "300 G11/12"
// and "300 G13+" send at 300 bps, "1200 bps", "1200 G11/12" and "1200 G13+" at 1200 bps; none
// for the others or an index outside the list.
std::optional<BitRate> SelfTimedBitRate(int type);
// Likewise for a random type (the module's list of 10).
std::optional<BitRate> RandomBitRate(int type);

int BitsPerSecond(BitRate rate);
// The transmission time of `bytes` bytes, in seconds.
double AirSeconds(BitRate rate, int bytes);
// Whether `bytes` bytes go out within `windowSeconds`, decided in whole numbers so that a
// message that exactly fills its window fits.
bool FitsWindow(BitRate rate, int bytes, long windowSeconds);
// The most bytes that fit in `windowSeconds` (0 when not even an empty message does).
int MostBytesInWindow(BitRate rate, long windowSeconds);

}  // namespace tarvo::runner
