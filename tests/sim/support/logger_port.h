// The logger's side of the line, used the way the module uses it: open, write, read, close.
#pragma once

#include <string>

#include "platform/serial.h"
#include "sim/support/wire.h"

namespace simtest {

class LoggerPort {
  public:
    explicit LoggerPort(std::wstring portName) : name(std::move(portName)) {
        port_.SetTimeouts(COMMTIMEOUTS{2000, 0, 0, 10, 100});
    }

    // Opens, writes `noise` and one request with the next number, reads one reply frame (waiting
    // up to 2 s for each byte) and closes: what the line answered (see PayloadOf).
    Bytes Ask(std::uint16_t type, const Bytes& payload = {}, const Bytes& noise = {}) {
        port_.Open(name);
        for (const std::uint8_t byte : Cat({noise, Request(++number_, type, payload)})) {
            port_.PutByte(byte);
        }
        Bytes reply;
        BYTE byte = 0;
        while ((reply.size() < 6 || reply.size() < 8u + ((reply[4] << 8) | reply[5])) &&
               port_.GetByte(byte)) {
            reply.push_back(byte);
        }
        port_.Close();
        return PayloadOf(reply, number_, type);
    }

    std::wstring name;  // the port opened for the next request

  private:
    CSerialComm port_;
    std::uint8_t number_ = 0;
};

}  // namespace simtest
