#include "sim/model/records.h"

#include <cstdio>

#include "sim/model/calendar.h"

namespace tarvo::sim {
namespace {

std::string Quoted(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (u < 0x20 || u >= 0x7F) {
            static const char* digits = "0123456789abcdef";
            out += "\\u00";
            out += digits[u >> 4];
            out += digits[u & 0xF];
        } else {
            out += c;
        }
    }
    return out + "\"";
}

std::string Bool(bool value) {
    return value ? "true" : "false";
}

}  // namespace

const char* DirectionName(Direction direction) {
    switch (direction) {
        case Direction::Request:
            return "request";
        case Direction::Reply:
            return "reply";
        case Direction::Noise:
            return "noise";
        case Direction::Event:
            return "event";
        case Direction::LineFault:
            return "line-fault";
    }
    return "?";
}

const char* DownlinkKindName(DownlinkKind kind) {
    switch (kind) {
        case DownlinkKind::SelfTimed:
            return "self-timed";
        case DownlinkKind::Random:
            return "random";
        case DownlinkKind::SelfTimedTest:
            return "self-timed-test";
        case DownlinkKind::RandomTest:
            return "random-test";
        case DownlinkKind::SendToMaker:
            return "send-to-maker";
    }
    return "?";
}

std::string ToHex(const std::vector<BYTE>& bytes) {
    static const char* digits = "0123456789abcdef";
    std::string hex;
    hex.reserve(bytes.size() * 2);
    for (const BYTE b : bytes) {
        hex += digits[b >> 4];
        hex += digits[b & 0xF];
    }
    return hex;
}

std::string ToJson(const TranscriptEntry& e) {
    std::string json = "{\"log\":\"transcript\",\"time\":" + Quoted(IsoTime(e.loggerMs)) +
                       ",\"direction\":\"" + DirectionName(e.direction) + "\"";
    if (e.direction == Direction::Request || e.direction == Direction::Reply) {
        json += ",\"header\":" + std::to_string(e.header) +
                ",\"number\":" + std::to_string(e.number) + ",\"type\":" + std::to_string(e.type);
    } else if (e.direction == Direction::LineFault && e.type != 0) {
        // A fault on a reply names the reply; one on request bytes cannot, they are not read yet.
        json += ",\"number\":" + std::to_string(e.number) + ",\"type\":" + std::to_string(e.type);
    }
    json += ",\"payload\":\"" + ToHex(e.payload) + "\"";
    if (e.direction == Direction::Request || e.direction == Direction::Reply) {
        json += ",\"crc_good\":" + Bool(e.crcGood);
    }
    if (!e.note.empty()) {
        json += ",\"note\":" + Quoted(e.note);
    }
    return json + "}";
}

std::string ToJson(const DownlinkEntry& e) {
    std::string json = "{\"log\":\"downlink\",\"time\":" + Quoted(IsoTime(e.loggerMs)) +
                       ",\"device_time\":" + Quoted(IsoTime(e.deviceMs)) + ",\"kind\":\"" +
                       DownlinkKindName(e.kind) + "\",\"sent\":" + Bool(e.sent);
    if (!e.sent) {
        json += ",\"reason\":" + Quoted(e.reason);
    }
    json += ",\"channel\":" + std::to_string(e.channel) +
            ",\"type\":" + std::to_string(e.typeCode) + ",\"bytes\":\"" + ToHex(e.bytes) + "\"";
    if (e.kind == DownlinkKind::SelfTimed) {
        json += ",\"window_open\":" + Quoted(IsoTime(e.windowOpenMs)) +
                ",\"window_close\":" + Quoted(IsoTime(e.windowCloseMs));
    }
    if (e.kind == DownlinkKind::SelfTimed || e.kind == DownlinkKind::SelfTimedTest) {
        char id[9];
        std::snprintf(id, sizeof id, "%08x", static_cast<unsigned>(e.secondaryId));
        json += ",\"battery\":" + Bool(e.battery) + ",\"position\":" + Bool(e.position) +
                ",\"data_format\":" + std::to_string(e.dataFormat) + ",\"secondary_id\":\"" + id +
                "\",\"scd_channel\":" + std::to_string(e.scdChannel);
    }
    return json + "}";
}

}  // namespace tarvo::sim
