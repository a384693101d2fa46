#include "host/serial/internal/memory_line.h"

#include <algorithm>
#include <array>

#include "host/serial/internal/read_timeouts.h"
#include "host/text/utf8.h"

namespace tarvo::host {

namespace {

constexpr std::int64_t kNanosPerSecond = 1'000'000'000;

// Start bit, data bits, parity bit and stop bits: 10 for 8N1.
std::int64_t ByteTimeNanos(DWORD baud, int bitsPerByte) {
    return (kNanosPerSecond * bitsPerByte + baud / 2) / baud;
}

}  // namespace

// The port side's view of its direction for a timed read.
class MemoryLine::Source : public ByteSource {
  public:
    explicit Source(MemoryLine& line) : line_(line) {}
    std::size_t Take(BYTE* data, std::size_t count) override {
        line_.CatchUpPeer();
        std::lock_guard lock(line_.mutex_);
        return line_.TakeArrived(line_.toPort_, data, count, NowNanos());
    }
    void WaitForData(Micros deadline) override {
        Micros next;
        {
            std::lock_guard lock(line_.mutex_);
            next = line_.NextPendingArrival(line_.toPort_);
        }
        next = EarlierDeadline(next, line_.PeerNextEvent());
        const std::array<TWaitable*, 1> objects{&line_.toPort_.arrived};
        WaitUntil(objects, EarlierDeadline(deadline, next));
    }

  private:
    MemoryLine& line_;
};

MemoryLine::MemoryLine(const std::wstring& name, bool modelLineSpeed)
    : modelLineSpeed_(modelLineSpeed),
      byteTime_(ByteTimeNanos(9600, 10)),
      toPeer_(ToUtf8(name) + " to peer"),
      toPort_(ToUtf8(name) + " to port") {}

bool MemoryLine::OpenPort() {
    CatchUpPeer();
    std::lock_guard lock(mutex_);
    if (portOpen_)
        return false;
    portOpen_ = true;
    toPort_.bytes.clear();
    return true;
}

void MemoryLine::ClosePort() {
    CatchUpPeer();
    std::lock_guard lock(mutex_);
    portOpen_ = false;
    // Whatever was still coming towards the port is lost with nobody listening.
    toPort_.bytes.clear();
}

bool MemoryLine::ConfigurePort(DWORD baud, BYTE dataBits, BYTE parity, BYTE stopBits) {
    if (baud == 0)
        return false;
    CatchUpPeer();
    std::lock_guard lock(mutex_);
    baud_ = baud;
    byteTime_ = ByteTimeNanos(baud, 1 + dataBits + (parity != 0 ? 1 : 0) + stopBits);
    return true;
}

void MemoryLine::Queue(Direction& direction, const BYTE* data, std::size_t count, Nanos now) {
    for (std::size_t i = 0; i < count; ++i) {
        Nanos arrival = now;
        if (modelLineSpeed_) {
            // Back to back after whatever is still on the wire.
            arrival = std::max(now, direction.lineFree) + byteTime_;
            direction.lineFree = arrival;
        }
        direction.bytes.push_back({data[i], arrival});
    }
}

std::size_t MemoryLine::TakeArrived(Direction& direction, BYTE* data, std::size_t count,
                                    Nanos now) {
    std::size_t taken = 0;
    while (taken < count && !direction.bytes.empty() && direction.bytes.front().arrival <= now) {
        data[taken++] = direction.bytes.front().byte;
        direction.bytes.pop_front();
    }
    return taken;
}

std::size_t MemoryLine::CountArrived(const Direction& direction, Nanos now) const {
    // Arrival times rise along the queue, so the arrived bytes are a prefix.
    const auto firstPending =
        std::find_if(direction.bytes.begin(), direction.bytes.end(),
                     [now](const Timed& timed) { return timed.arrival > now; });
    return static_cast<std::size_t>(firstPending - direction.bytes.begin());
}

Micros MemoryLine::NextPendingArrival(const Direction& direction) const {
    const Nanos now = NowNanos();
    for (const Timed& timed : direction.bytes) {
        if (timed.arrival > now)
            return CeilMicros(timed.arrival);
    }
    return -1;
}

bool MemoryLine::PortSend(const BYTE* data, std::size_t count) {
    CatchUpPeer();
    bool readerWaits = false;
    {
        std::lock_guard lock(mutex_);
        if (!portOpen_)
            return false;
        Queue(toPeer_, data, count, NowNanos());
        readerWaits = peerReaders_ > 0;
    }
    // Without line speed the bytes are there at once: a catch-up at this instant has work again.
    if (!modelLineSpeed_)
        caughtUpAt_.store(std::numeric_limits<Micros>::min());
    // The module sends byte by byte; a passive peer never reads, and signalling costs the clock's
    // lock each time.
    if (readerWaits)
        toPeer_.arrived.Set();
    return true;
}

std::size_t MemoryLine::PortReceive(BYTE* data, std::size_t count, const COMMTIMEOUTS& timeouts) {
    Source source(*this);
    return ReceiveWithTimeouts(source, data, count, timeouts);
}

void MemoryLine::PortFlushInput() {
    CatchUpPeer();
    std::lock_guard lock(mutex_);
    // Only what has arrived is in the input buffer; bytes still on the wire come later.
    const std::size_t arrived = CountArrived(toPort_, NowNanos());
    toPort_.bytes.erase(toPort_.bytes.begin(),
                        toPort_.bytes.begin() + static_cast<std::ptrdiff_t>(arrived));
}

std::size_t MemoryLine::PortBytesWaiting() {
    CatchUpPeer();
    std::lock_guard lock(mutex_);
    return CountArrived(toPort_, NowNanos());
}

void MemoryLine::PortDrain() {
    Nanos lineFree;
    {
        std::lock_guard lock(mutex_);
        lineFree = toPeer_.lineFree;
    }
    if (lineFree > NowNanos())
        WaitUntil({}, CeilMicros(lineFree));
}

bool MemoryLine::Write(const BYTE* data, std::size_t count) {
    return WriteAt(data, count, NowMicros());
}

bool MemoryLine::WriteAt(const BYTE* data, std::size_t count, Micros at) {
    {
        std::lock_guard lock(mutex_);
        if (!portOpen_)
            return true;  // sent into a line nobody listens to
        Queue(toPort_, data, count, at * 1000);
    }
    toPort_.arrived.Set();
    return true;
}

std::size_t MemoryLine::TakeArrivedBy(BYTE* data, std::size_t count, Micros at,
                                      Micros* nextArrival) {
    std::lock_guard lock(mutex_);
    const std::size_t taken = TakeArrived(toPeer_, data, count, at * 1000);
    if (nextArrival != nullptr)
        *nextArrival = FirstArrival(toPeer_);
    return taken;
}

Micros MemoryLine::NextArrival() {
    std::lock_guard lock(mutex_);
    return FirstArrival(toPeer_);
}

Micros MemoryLine::FirstArrival(const Direction& direction) {
    return direction.bytes.empty() ? -1 : CeilMicros(direction.bytes.front().arrival);
}

void MemoryLine::AttachPassive(PassivePeer* peer) {
    std::lock_guard lock(passiveMutex_);
    passive_ = peer;
    caughtUpAt_.store(std::numeric_limits<Micros>::min());
}

void MemoryLine::CatchUpPeer() {
    const Micros now = NowMicros();
    if (caughtUpAt_.load() == now)
        return;
    std::lock_guard lock(passiveMutex_);
    if (passive_ != nullptr) {
        passive_->CatchUp();
        caughtUpAt_.store(now);
    }
}

Micros MemoryLine::PeerNextEvent() {
    std::lock_guard lock(passiveMutex_);
    return passive_ != nullptr ? passive_->NextEvent() : -1;
}

std::size_t MemoryLine::Read(BYTE* data, std::size_t count, DWORD timeoutMs) {
    if (count == 0)
        return 0;
    const Micros deadline =
        timeoutMs == INFINITE ? -1 : NowMicros() + static_cast<Micros>(timeoutMs) * 1000;
    // Counted as a reader from before it looks until after it has waited, so that a send in
    // between signals it (see PortSend).
    struct Reader {
        explicit Reader(MemoryLine& line) : line_(line) {
            std::lock_guard lock(line_.mutex_);
            ++line_.peerReaders_;
        }
        ~Reader() {
            std::lock_guard lock(line_.mutex_);
            --line_.peerReaders_;
        }
        Reader(const Reader&) = delete;
        Reader& operator=(const Reader&) = delete;
        MemoryLine& line_;
    } reader(*this);
    for (;;) {
        Micros next;
        {
            std::lock_guard lock(mutex_);
            if (wake_) {
                wake_ = false;
                return 0;
            }
            const std::size_t taken = TakeArrived(toPeer_, data, count, NowNanos());
            if (taken > 0)
                return taken;
            next = NextPendingArrival(toPeer_);
        }
        if (deadline >= 0 && NowMicros() >= deadline)
            return 0;
        const std::array<TWaitable*, 1> objects{&toPeer_.arrived};
        WaitUntil(objects, EarlierDeadline(deadline, next));
    }
}

std::size_t MemoryLine::Available() {
    std::lock_guard lock(mutex_);
    return CountArrived(toPeer_, NowNanos());
}

void MemoryLine::Wake() {
    {
        std::lock_guard lock(mutex_);
        wake_ = true;
    }
    toPeer_.arrived.Set();
}

bool MemoryLine::PortIsOpen() const {
    std::lock_guard lock(mutex_);
    return portOpen_;
}

DWORD MemoryLine::Baud() const {
    std::lock_guard lock(mutex_);
    return baud_;
}

namespace {

class MemoryPort : public Transport {
  public:
    explicit MemoryPort(std::shared_ptr<MemoryLine> line) : line_(std::move(line)) {}
    ~MemoryPort() override { line_->ClosePort(); }
    MemoryPort(const MemoryPort&) = delete;
    MemoryPort& operator=(const MemoryPort&) = delete;

    bool Configure(DWORD baud, BYTE dataBits, BYTE parity, BYTE stopBits) override {
        return line_->ConfigurePort(baud, dataBits, parity, stopBits);
    }
    bool Send(const BYTE* data, std::size_t count) override { return line_->PortSend(data, count); }
    std::size_t Receive(BYTE* data, std::size_t count, const COMMTIMEOUTS& timeouts) override {
        return line_->PortReceive(data, count, timeouts);
    }
    bool FlushInput() override {
        line_->PortFlushInput();
        return true;
    }
    std::size_t BytesWaiting() override { return line_->PortBytesWaiting(); }
    bool Drain() override {
        line_->PortDrain();
        return true;
    }

  private:
    std::shared_ptr<MemoryLine> line_;
};

}  // namespace

std::unique_ptr<Transport> OpenMemoryPort(const std::shared_ptr<MemoryLine>& line,
                                          std::string& error) {
    if (!line->OpenPort()) {
        error = "the port is already open";
        return nullptr;
    }
    return std::make_unique<MemoryPort>(line);
}

}  // namespace tarvo::host
