// What the transmitter keeps for a test to look at: the transcript of the line and the downlink
// log of what it sent to the satellite (or failed to), each entry also as one JSON line.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/types.h"

namespace tarvo::sim {

enum class Direction {
    Request,   // a frame that reached the transmitter
    Reply,     // a frame it put on the line
    Noise,     // bytes that belonged to no frame
    Event,     // something the transmitter did by itself (reset, restart)
    LineFault  // something the line did to the bytes (corrupted, dropped, lost, delayed)
};

struct TranscriptEntry {
    std::int64_t loggerMs = 0;  // the logger's time when it happened
    Direction direction = Direction::Request;
    BYTE header = 0;
    BYTE number = 0;
    WORD type = 0;
    std::vector<BYTE> payload;  // the payload; for Noise the bytes
    bool crcGood = true;        // for a reply: whether the CRC sent is right
    std::string note;  // how it was handled: faults, refusals, "ignored: restarting"; what the
                       // line did
};

enum class DownlinkKind { SelfTimed, Random, SelfTimedTest, RandomTest, SendToMaker };

struct DownlinkEntry {
    std::int64_t loggerMs = 0;
    std::int64_t deviceMs = 0;  // the transmitter's own time
    DownlinkKind kind = DownlinkKind::SelfTimed;
    bool sent = true;    // false: a missed window or a refused transmission
    std::string reason;  // why not sent: "empty", "late", "failsafe", "stopped"
    WORD channel = 0;
    WORD typeCode = 0;
    std::vector<BYTE> bytes;
    // Self-timed windows only: the window, in device time.
    std::int64_t windowOpenMs = 0;
    std::int64_t windowCloseMs = 0;
    // Self-timed and self-timed test: the extras the transmitter appends (223, 225) and the
    // set-up it transmits under (232, 42, 251).
    bool battery = false;
    bool position = false;
    BYTE dataFormat = 0;
    DWORD secondaryId = 0;
    WORD scdChannel = 0;
};

const char* DirectionName(Direction direction);
const char* DownlinkKindName(DownlinkKind kind);

std::string ToHex(const std::vector<BYTE>& bytes);
// One line of JSON, without the line end.
std::string ToJson(const TranscriptEntry& entry);
std::string ToJson(const DownlinkEntry& entry);

}  // namespace tarvo::sim
