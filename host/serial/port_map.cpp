#include <map>
#include <mutex>
#include <variant>

#include "host/serial/internal/memory_line.h"
#include "host/serial/internal/termios_transport.h"
#include "host/serial/serial_ports.h"

namespace tarvo::host {

namespace {

// A name maps to a device path or to an in-memory line.
using PortTarget = std::variant<std::string, std::shared_ptr<MemoryLine>>;

struct PortMap {
    std::mutex mutex;
    std::map<std::wstring, PortTarget> targets;
};

PortMap& Ports() {
    // Never destroyed: a port may still be closed while the process exits.
    static PortMap* const ports = new PortMap;
    return *ports;
}

}  // namespace

void MapPortToDevice(const std::wstring& name, const std::string& devicePath) {
    PortMap& ports = Ports();
    std::lock_guard lock(ports.mutex);
    ports.targets.insert_or_assign(name, devicePath);
}

std::shared_ptr<SerialPeer> MapPortToMemory(const std::wstring& name, bool modelLineSpeed) {
    auto line = std::make_shared<MemoryLine>(name, modelLineSpeed);
    PortMap& ports = Ports();
    std::lock_guard lock(ports.mutex);
    ports.targets.insert_or_assign(name, line);
    return line;
}

void UnmapPort(const std::wstring& name) {
    PortMap& ports = Ports();
    std::lock_guard lock(ports.mutex);
    ports.targets.erase(name);
}

void ClearPortMap() {
    PortMap& ports = Ports();
    std::lock_guard lock(ports.mutex);
    ports.targets.clear();
}

std::unique_ptr<Transport> OpenTransport(const std::wstring& name, std::string& error) {
    PortTarget target;
    {
        PortMap& ports = Ports();
        std::lock_guard lock(ports.mutex);
        const auto found = ports.targets.find(name);
        if (found == ports.targets.end()) {
            error = "no device or line is mapped to that name";
            return nullptr;
        }
        target = found->second;
    }
    // Opened outside the map's lock: a device may take its time.
    if (const auto* path = std::get_if<std::string>(&target))
        return OpenTermiosTransport(*path, error);
    return OpenMemoryPort(std::get<std::shared_ptr<MemoryLine>>(target), error);
}

}  // namespace tarvo::host
