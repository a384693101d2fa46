// A serial device through termios (host side, internal): a real port or a pseudo-terminal.
#pragma once

#include <memory>
#include <string>

#include "host/serial/serial_ports.h"

namespace tarvo::host {

// Opens `devicePath` in raw mode at 9600 8N1; null with `error` set when it cannot, or when it
// is not a terminal.
std::unique_ptr<Transport> OpenTermiosTransport(const std::string& devicePath, std::string& error);

}  // namespace tarvo::host
