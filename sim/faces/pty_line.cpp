#include "sim/faces/pty_line.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace tarvo::sim {
namespace {

std::string Errno(const char* what) {
    return std::string(what) + ": " + std::strerror(errno);
}

// Writes what the slave side will take; a line nobody reads drops the rest, as a real one would.
void WriteAll(int fd, const std::vector<BYTE>& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n > 0) {
            done += static_cast<std::size_t>(n);
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else {
            return;
        }
    }
}

}  // namespace

PtyLine::~PtyLine() {
    if (slave_ >= 0) {
        ::close(slave_);
    }
    if (master_ >= 0) {
        ::close(master_);
    }
}

bool PtyLine::Open(std::string& error) {
    master_ = ::posix_openpt(O_RDWR | O_NOCTTY);
    if (master_ < 0) {
        error = Errno("posix_openpt");
        return false;
    }
    if (::grantpt(master_) != 0 || ::unlockpt(master_) != 0) {
        error = Errno("grantpt/unlockpt");
        return false;
    }
    const char* name = ::ptsname(master_);
    if (name == nullptr) {
        error = Errno("ptsname");
        return false;
    }
    slavePath_ = name;
    slave_ = ::open(slavePath_.c_str(), O_RDWR | O_NOCTTY);
    if (slave_ < 0) {
        error = Errno("open slave");
        return false;
    }
    termios tio{};
    if (::tcgetattr(slave_, &tio) != 0) {
        error = Errno("tcgetattr");
        return false;
    }
    ::cfmakeraw(&tio);
    ::cfsetispeed(&tio, B9600);
    ::cfsetospeed(&tio, B9600);
    tio.c_cflag |= CLOCAL | CREAD;
    if (::tcsetattr(slave_, TCSANOW, &tio) != 0) {
        error = Errno("tcsetattr");
        return false;
    }
    const int flags = ::fcntl(master_, F_GETFL);
    if (flags < 0 || ::fcntl(master_, F_SETFL, flags | O_NONBLOCK) != 0) {
        error = Errno("fcntl");
        return false;
    }
    return true;
}

bool ServePty(Transmitter& device, const TimeSource& time, PtyLine& line, int stopFd,
              std::string& error) {
    std::vector<BYTE> buffer(4096);
    int idleMs = 0;  // after a read error: how long to leave the master alone
    while (true) {
        device.Poll();
        WriteAll(line.MasterFd(), device.TakeDueOutput());

        int timeoutMs = -1;
        if (const auto wake = device.NextWake()) {
            const Micros left = *wake - time.MonotonicMicros();
            if (left <= 0) {
                continue;
            }
            timeoutMs = static_cast<int>(std::min<Micros>((left + 999) / 1000, 3'600'000));
        }
        pollfd fds[2] = {{stopFd, POLLIN, 0}, {line.MasterFd(), POLLIN, 0}};
        nfds_t count = 2;
        if (idleMs > 0) {
            count = 1;
            timeoutMs = timeoutMs < 0 ? idleMs : std::min(timeoutMs, idleMs);
            idleMs = 0;
        }
        const int ready = ::poll(fds, count, timeoutMs);
        if (ready < 0) {
            if (errno == EINTR) {
                continue;
            }
            error = Errno("poll");
            return false;
        }
        if (fds[0].revents != 0) {
            return true;
        }
        if (count < 2 || fds[1].revents == 0) {
            continue;
        }
        const ssize_t n = ::read(line.MasterFd(), buffer.data(), buffer.size());
        if (n > 0) {
            device.Receive(std::span<const BYTE>(buffer.data(), static_cast<std::size_t>(n)));
        } else if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
            continue;
        } else {
            // EIO or a hang-up: the slave side is closed everywhere. It cannot be while the line
            // holds its own descriptor, but if it is, look again shortly rather than spin.
            idleMs = 50;
        }
    }
}

}  // namespace tarvo::sim
