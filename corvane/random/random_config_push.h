// The commands that copy the random settings into the transmitter at recording start and before
// a random test transmission, built apart from sending them.
#pragma once

#include <vector>

#include "corvane/link/packet.h"
#include "corvane/link/transmitter.h"
#include "corvane/random/random_settings.h"
#include "platform/types.h"

namespace corvane {

// The code the transmitter receives for a random Type; 0 (which it refuses) outside the list.
WORD RandomTypeCode(int type);

// The push in the order it is sent: 302, 306, 318, 320, 304 (a span of 0), 310 (the byte 1).
std::vector<CPacket> RandomConfigRequests(const RandomSettings& settings);

// The 862 the random settings would give for Types 6..9: the self-timed table's value for the
// type of the same name and the random Antenna. Built, never sent (see PushRandomConfig).
CPacket RandomParam862Request(const RandomSettings& settings);

// Writes RandomConfigRequests through `transmitter`: false at the first that gets no valid
// reply; a refusing reply does not end it. For Types 6..9 the 862 is assembled as well and not
// sent.
bool PushRandomConfig(Transmitter& transmitter, const RandomSettings& settings);

}  // namespace corvane
