#include "host/setup/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>

namespace tarvo::host {

namespace {

struct Hook {
    std::mutex mutex;
    std::function<bool(const std::string&)> beforeRename;
};

Hook& TheHook() {
    static Hook hook;
    return hook;
}

class Fd {
  public:
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }
    // Closes now so that a late write error is seen.
    bool Close() {
        const int fd = fd_;
        fd_ = -1;
        return ::close(fd) == 0;
    }

  private:
    int fd_;
};

std::string Failure(const std::string& path, const char* what) {
    return path + ": " + what + ": " + std::strerror(errno);
}

std::string DirectoryOf(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

bool WriteAll(int fd, std::string_view content) {
    while (!content.empty()) {
        const ssize_t n = ::write(fd, content.data(), content.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        content.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

bool CallHook(const std::string& tempPath) {
    Hook& hook = TheHook();
    std::function<bool(const std::string&)> beforeRename;
    {
        std::lock_guard lock(hook.mutex);
        beforeRename = hook.beforeRename;
    }
    return !beforeRename || beforeRename(tempPath);
}

}  // namespace

void SetBeforeRenameHook(std::function<bool(const std::string&)> hook) {
    Hook& theHook = TheHook();
    std::lock_guard lock(theHook.mutex);
    theHook.beforeRename = std::move(hook);
}

bool WriteFileAtomically(const std::string& path, std::string_view content, std::string& error) {
    const std::string directory = DirectoryOf(path);
    const auto slash = path.rfind('/');
    const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
    // Created with the usual mode so that the umask applies as to any new file.
    static std::atomic<unsigned> counter{0};
    std::string tempPath;
    int fd = -1;
    for (int attempt = 0; fd < 0 && attempt < 100; ++attempt) {
        tempPath = directory + "/." + base + ".tmp." + std::to_string(::getpid()) + "." +
                   std::to_string(counter.fetch_add(1));
        fd = ::open(tempPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST)
            break;
    }
    Fd temp(fd);
    if (temp.get() < 0) {
        error = Failure(path, "cannot create a temporary file beside it");
        return false;
    }
    // The temporary must not outlive a failure; after the rename it no longer exists.
    struct Remover {
        const std::string& path;
        bool armed = true;
        ~Remover() {
            if (armed)
                ::unlink(path.c_str());
        }
    } remover{tempPath};

    struct stat old {};
    if (::stat(path.c_str(), &old) == 0 && ::fchmod(temp.get(), old.st_mode & 07777) != 0) {
        error = Failure(tempPath, "cannot set permissions");
        return false;
    }
    if (!WriteAll(temp.get(), content)) {
        error = Failure(tempPath, "cannot write");
        return false;
    }
    if (::fsync(temp.get()) != 0) {
        error = Failure(tempPath, "cannot flush");
        return false;
    }
    if (!temp.Close()) {
        error = Failure(tempPath, "cannot close");
        return false;
    }
    if (!CallHook(tempPath)) {
        error = path + ": save interrupted before the rename";
        return false;
    }
    if (::rename(tempPath.c_str(), path.c_str()) != 0) {
        error = Failure(path, "cannot replace");
        return false;
    }
    remover.armed = false;
    // The rename itself is durable only once the directory is flushed.
    Fd dir(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dir.get() >= 0)
        ::fsync(dir.get());
    return true;
}

}  // namespace tarvo::host
