#include <atomic>
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

struct Counters {
    std::atomic<std::uint64_t> opens{0};
    std::atomic<std::uint64_t> failedOpens{0};
    std::atomic<std::uint64_t> bytesSent{0};
    std::atomic<std::uint64_t> bytesReceived{0};
};

struct PortMap {
    std::mutex mutex;
    std::map<std::wstring, PortTarget> targets;
    // By name, kept across mappings; entries are never removed, so a transport may hold one.
    std::map<std::wstring, std::unique_ptr<Counters>> traffic;
    std::map<std::wstring, std::shared_ptr<PortObserver>> observers;

    Counters& TrafficOf(const std::wstring& name) {
        auto& counters = traffic[name];
        if (!counters)
            counters = std::make_unique<Counters>();
        return *counters;
    }
};

PortMap& Ports() {
    // Never destroyed: a port may still be closed while the process exits.
    static PortMap* const ports = new PortMap;
    return *ports;
}

// Counts what goes through an opened transport and shows it to the port's observer, if any.
class CountingTransport : public Transport {
  public:
    CountingTransport(std::unique_ptr<Transport> inner, Counters& counters,
                      std::shared_ptr<PortObserver> observer)
        : inner_(std::move(inner)), counters_(counters), observer_(std::move(observer)) {
        if (observer_)
            observer_->Opened();
    }
    ~CountingTransport() override {
        if (observer_)
            observer_->Closed();
    }
    CountingTransport(const CountingTransport&) = delete;
    CountingTransport& operator=(const CountingTransport&) = delete;
    bool Configure(DWORD baud, BYTE dataBits, BYTE parity, BYTE stopBits) override {
        return inner_->Configure(baud, dataBits, parity, stopBits);
    }
    bool Send(const BYTE* data, std::size_t count) override {
        const bool sent = inner_->Send(data, count);
        if (sent) {
            counters_.bytesSent += count;
            if (observer_)
                observer_->Sent({data, count});
        } else if (observer_) {
            observer_->SendFailed();
        }
        return sent;
    }
    std::size_t Receive(BYTE* data, std::size_t count, const COMMTIMEOUTS& timeouts) override {
        const std::size_t got = inner_->Receive(data, count, timeouts);
        counters_.bytesReceived += got;
        if (observer_ && got > 0)
            observer_->Received({data, got});
        return got;
    }
    // What is thrown away still came back from the device (a late reply, say).
    bool FlushInput() override {
        counters_.bytesReceived += inner_->BytesWaiting();
        if (observer_)
            observer_->Flushed();
        return inner_->FlushInput();
    }
    std::size_t BytesWaiting() override { return inner_->BytesWaiting(); }
    bool Drain() override {
        const bool drained = inner_->Drain();
        if (!drained && observer_)
            observer_->SendFailed();
        return drained;
    }

  private:
    std::unique_ptr<Transport> inner_;
    Counters& counters_;
    const std::shared_ptr<PortObserver> observer_;
};

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
    ports.observers.clear();
}

std::unique_ptr<Transport> OpenTransport(const std::wstring& name, std::string& error) {
    PortTarget target;
    Counters* counters = nullptr;
    std::shared_ptr<PortObserver> observer;
    {
        PortMap& ports = Ports();
        std::lock_guard lock(ports.mutex);
        counters = &ports.TrafficOf(name);
        const auto found = ports.targets.find(name);
        if (found == ports.targets.end()) {
            ++counters->failedOpens;
            error = "no device or line is mapped to that name";
            return nullptr;
        }
        target = found->second;
        if (const auto watched = ports.observers.find(name); watched != ports.observers.end())
            observer = watched->second;
    }
    // Opened outside the map's lock: a device may take its time.
    std::unique_ptr<Transport> opened =
        std::holds_alternative<std::string>(target)
            ? OpenTermiosTransport(std::get<std::string>(target), error)
            : OpenMemoryPort(std::get<std::shared_ptr<MemoryLine>>(target), error);
    if (!opened) {
        ++counters->failedOpens;
        return nullptr;
    }
    ++counters->opens;
    return std::make_unique<CountingTransport>(std::move(opened), *counters, std::move(observer));
}

void ObservePort(const std::wstring& name, std::shared_ptr<PortObserver> observer) {
    PortMap& ports = Ports();
    std::lock_guard lock(ports.mutex);
    if (observer)
        ports.observers.insert_or_assign(name, std::move(observer));
    else
        ports.observers.erase(name);
}

void ResetPortTraffic() {
    PortMap& ports = Ports();
    std::lock_guard lock(ports.mutex);
    for (auto& [name, counters] : ports.traffic) {
        counters->opens = 0;
        counters->failedOpens = 0;
        counters->bytesSent = 0;
        counters->bytesReceived = 0;
    }
}

PortTraffic TrafficOf(const std::wstring& name) {
    PortMap& ports = Ports();
    std::lock_guard lock(ports.mutex);
    const Counters& counters = ports.TrafficOf(name);
    return PortTraffic{.opens = counters.opens.load(),
                       .failedOpens = counters.failedOpens.load(),
                       .bytesSent = counters.bytesSent.load(),
                       .bytesReceived = counters.bytesReceived.load()};
}

}  // namespace tarvo::host
