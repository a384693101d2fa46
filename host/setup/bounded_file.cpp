#include "host/setup/bounded_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tarvo::host {
namespace {

// Closes the descriptor at the end of the scope.
struct Descriptor {
    int fd;
    ~Descriptor() {
        if (fd >= 0)
            close(fd);
    }
};

std::string Kind(mode_t mode) {
    if (S_ISDIR(mode))
        return "a directory";
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return "a device";
    if (S_ISFIFO(mode))
        return "a pipe";
    if (S_ISSOCK(mode))
        return "a socket";
    return "not a regular file";
}

std::string Size(std::size_t bytes) {
    return bytes % (1u << 20) == 0 ? std::to_string(bytes >> 20) + " MiB"
                                   : std::to_string(bytes) + " bytes";
}

}  // namespace

bool ReadBoundedFile(const std::string& path, FileLimit limit, std::string& text,
                     std::string& error) {
    const auto fail = [&](const std::string& why) {
        error = path + ": " + why;
        return false;
    };
    // Not blocking: opening a FIFO must not wait for a writer before it is refused.
    Descriptor file{open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    if (file.fd < 0)
        return fail(std::string("cannot read: ") + std::strerror(errno));
    struct stat info {};
    if (fstat(file.fd, &info) != 0)
        return fail(std::string("cannot read: ") + std::strerror(errno));
    if (!S_ISREG(info.st_mode))
        return fail("cannot read: " + Kind(info.st_mode) + ", not a file");
    const auto tooLarge = [&] {
        return fail("too large: " + std::string(limit.what) + " may hold at most " +
                    Size(limit.bytes));
    };
    if (static_cast<std::size_t>(info.st_size) > limit.bytes)
        return tooLarge();
    // The file may grow while it is read: never take more than the limit. The buffer grows with
    // what arrives, from the size the file had, so a small setup does not cost the whole limit.
    std::size_t got = 0;
    text.assign(std::min<std::size_t>(static_cast<std::size_t>(info.st_size), limit.bytes) + 1,
                '\0');
    for (;;) {
        if (got == text.size()) {
            if (got > limit.bytes)
                return tooLarge();
            text.resize(std::min(limit.bytes + 1, got * 2));
        }
        const ssize_t n = read(file.fd, text.data() + got, text.size() - got);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return fail(std::string("cannot read: ") + std::strerror(errno));
        if (n == 0)
            break;
        got += static_cast<std::size_t>(n);
    }
    if (got > limit.bytes)
        return tooLarge();
    text.resize(got);
    return true;
}

}  // namespace tarvo::host
