// The parameter writes that copy the self-timed settings into the transmitter when recording
// starts, built apart from sending them so that each packet's bytes can be checked on its own.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "corvane/link/packet.h"
#include "corvane/link/transmitter.h"
#include "corvane/selftimed/self_timed_settings.h"
#include "platform/types.h"

namespace corvane {

// The code the transmitter receives for a self-timed Type; 0 (which it refuses) for a Type
// outside the list, as a hand-edited setup may hold.
WORD SelfTimedTypeCode(int type);

// The value parameter 862 carries for the "G11/12" and "G13+" types 10..13 and an Antenna 0..2;
// 0.0 for an Antenna outside 0..2 or any other Type.
float Param862Value(int selfTimedType, int antenna);

// 862: the byte 3, then `value` as a big-endian IEEE single.
CPacket MakeParam862Request(float value);

// Parameter 232 for a format: 2 for the pseudobinary formats, 0 for the SHEF formats; none for
// every other format, which sends no 232 at all.
std::optional<BYTE> DataFormatCode(const std::wstring& format);

// The whole upload in the order it is sent: 202, 206, 204, 208, 212, 214, 223, 225, 42, then
// 251 for Type 9 only, 862 for Types 10..13 only and 232 for the four formats above only.
std::vector<CPacket> SelfTimedUploadRequests(const SelfTimedSettings& settings);

// Writes SelfTimedUploadRequests through `transmitter`: false at the first write that gets no
// valid reply (the rest are not sent); a refusing reply does not end it.
bool UploadSelfTimedConfig(Transmitter& transmitter, const SelfTimedSettings& settings);

}  // namespace corvane
