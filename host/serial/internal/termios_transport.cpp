#include "host/serial/internal/termios_transport.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/clock/clock.h"
#include "host/serial/internal/read_timeouts.h"

namespace tarvo::host {

namespace {

// The kernel cannot wake a clock wait, so waits for the device look at it in slices this long.
constexpr Micros kPollSlice = 1000;
// Longest a write or a drain may stall beyond the bytes' own line time before it is given up.
constexpr Micros kStallLimit = 2'000'000;

bool SpeedOf(DWORD baud, speed_t& speed) {
    static constexpr struct {
        DWORD baud;
        speed_t speed;
    } kSpeeds[] = {{300, B300},     {600, B600},       {1200, B1200},    {2400, B2400},
                   {4800, B4800},   {9600, B9600},     {19200, B19200},  {38400, B38400},
                   {57600, B57600}, {115200, B115200}, {230400, B230400}};
    for (const auto& entry : kSpeeds) {
        if (entry.baud == baud) {
            speed = entry.speed;
            return true;
        }
    }
    return false;
}

// Sleeps one slice of clock time, never past `deadline` when it is set.
void WaitSlice(Micros deadline) {
    WaitUntil({}, EarlierDeadline(NowMicros() + kPollSlice, deadline));
}

class TermiosTransport : public Transport, private ByteSource {
  public:
    explicit TermiosTransport(int fd) : fd_(fd) {}
    ~TermiosTransport() override { ::close(fd_); }
    TermiosTransport(const TermiosTransport&) = delete;
    TermiosTransport& operator=(const TermiosTransport&) = delete;

    bool Configure(DWORD baud, BYTE dataBits, BYTE parity, BYTE stopBits) override {
        speed_t speed;
        if (!SpeedOf(baud, speed))
            return false;
        termios tio{};
        if (::tcgetattr(fd_, &tio) != 0)
            return false;
        ::cfmakeraw(&tio);
        tio.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | PARODD | CSTOPB | CRTSCTS);
        switch (dataBits) {
            case 5:
                tio.c_cflag |= CS5;
                break;
            case 6:
                tio.c_cflag |= CS6;
                break;
            case 7:
                tio.c_cflag |= CS7;
                break;
            default:
                tio.c_cflag |= CS8;
                break;
        }
        if (parity == 1)
            tio.c_cflag |= PARENB | PARODD;
        else if (parity == 2)
            tio.c_cflag |= PARENB;
        if (stopBits == 2)
            tio.c_cflag |= CSTOPB;
        tio.c_cflag |= CLOCAL | CREAD;
        // Reads never block in the kernel; time-outs are kept in clock time above.
        tio.c_cc[VMIN] = 0;
        tio.c_cc[VTIME] = 0;
        if (::cfsetispeed(&tio, speed) != 0 || ::cfsetospeed(&tio, speed) != 0)
            return false;
        if (::tcsetattr(fd_, TCSANOW, &tio) != 0)
            return false;
        byteTime_ = 10'000'000 / static_cast<Micros>(baud);
        return true;
    }

    bool Send(const BYTE* data, std::size_t count) override {
        const Micros deadline = NowMicros() + static_cast<Micros>(count) * byteTime_ + kStallLimit;
        std::size_t sent = 0;
        while (sent < count) {
            const ssize_t n = ::write(fd_, data + sent, count - sent);
            if (n > 0) {
                sent += static_cast<std::size_t>(n);
                continue;
            }
            if (n < 0 && errno != EAGAIN && errno != EINTR)
                return false;
            if (NowMicros() >= deadline)
                return false;
            WaitSlice(deadline);
        }
        return true;
    }

    std::size_t Receive(BYTE* data, std::size_t count, const COMMTIMEOUTS& timeouts) override {
        return ReceiveWithTimeouts(*this, data, count, timeouts);
    }

    bool FlushInput() override { return ::tcflush(fd_, TCIFLUSH) == 0; }

    std::size_t BytesWaiting() override {
        int waiting = 0;
        if (::ioctl(fd_, FIONREAD, &waiting) != 0 || waiting < 0)
            return 0;
        return static_cast<std::size_t>(waiting);
    }

    bool Drain() override {
        // tcdrain would block in the kernel, outside the clock; watch the output queue instead.
        Micros deadline = -1;
        for (;;) {
            int queued = 0;
            if (::ioctl(fd_, TIOCOUTQ, &queued) != 0)
                return false;
            if (queued <= 0)
                return true;
            if (deadline < 0)
                deadline = NowMicros() + static_cast<Micros>(queued) * byteTime_ + kStallLimit;
            if (NowMicros() >= deadline)
                return false;
            WaitSlice(deadline);
        }
    }

  private:
    std::size_t Take(BYTE* data, std::size_t count) override {
        for (;;) {
            const ssize_t n = ::read(fd_, data, count);
            if (n > 0)
                return static_cast<std::size_t>(n);
            if (n < 0 && errno == EINTR)
                continue;
            return 0;  // nothing yet (EAGAIN), or the far end of a pty has gone (EIO)
        }
    }

    void WaitForData(Micros deadline) override { WaitSlice(deadline); }

    int fd_;
    Micros byteTime_ = 10'000'000 / 9600;
};

}  // namespace

std::unique_ptr<Transport> OpenTermiosTransport(const std::string& devicePath, std::string& error) {
    const int fd = ::open(devicePath.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        error = devicePath + ": " + std::strerror(errno);
        return nullptr;
    }
    if (!::isatty(fd)) {
        ::close(fd);
        error = devicePath + ": not a terminal";
        return nullptr;
    }
    auto transport = std::make_unique<TermiosTransport>(fd);
    if (!transport->Configure(9600, 8, 0, 1)) {
        error = devicePath + ": cannot set raw mode: " + std::strerror(errno);
        return nullptr;
    }
    return transport;
}

}  // namespace tarvo::host
