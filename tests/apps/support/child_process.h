// Programs run as child processes with their output on pipes, and a temporary folder, for the
// tests of the programs themselves.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tarvo::testing {

// A folder under /tmp, removed with everything in it at the end.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& Path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "/" + name; }
    void Write(const std::string& name, const std::string& text) const;
    std::string Read(const std::string& name) const;

  private:
    std::string path_;
};

// A child program with its standard output and error on pipes, started in `cwd`.
class Child {
  public:
    Child(const std::string& program, const std::vector<std::string>& args,
          const std::string& cwd = "/tmp");
    // Kills a child still running (SIGKILL) and reaps it.
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // Reads until `text` is in standard error (or, with `inOut`, the first line end in standard
    // output); false if the child closed that pipe first.
    bool WaitFor(const std::string& text, bool inOut = false);
    // The first line of standard output without its line end; empty if none came.
    std::string WaitForFirstLine() {
        return WaitFor("\n", true) ? out.substr(0, out.find('\n')) : "";
    }
    void Signal(int sig);
    // Reads everything and returns the exit status (128 + signal when killed).
    int Finish();

    std::string out;
    std::string err;

  private:
    // One read from whichever pipe has data; false once both are closed.
    bool ReadSome();

    pid_t pid_ = -1;
    int fds_[2] = {-1, -1};  // standard output, standard error
    bool finished_ = false;
};

// The type codes of the requests in a transcript of the simulated transmitter (JSON lines), in
// order, as "506 771 200".
std::string RequestTypes(const std::string& jsonLines);

}  // namespace tarvo::testing
