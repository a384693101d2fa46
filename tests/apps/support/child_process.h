// Programs run as child processes with their output on pipes, and a temporary folder, for the
// tests of the programs themselves.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tarvo::testing {

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
    int Lines(const std::string& name) const;

  private:
    std::string path_;
};

// A child program with its standard output and error on pipes, started in `cwd`.
class Child {
  public:
    Child(const std::string& program, const std::vector<std::string>& args, const std::string& cwd);
    // Kills a child still running (SIGKILL) and reaps it.
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // Reads standard error until `text` has appeared in it; false if the child closed it first.
    bool WaitForError(const std::string& text);
    // Reads until standard output holds a whole first line and returns it without its line end;
    // empty if the child closed its output first.
    std::string WaitForFirstLine();

    void Signal(int sig);
    // Reads everything and returns the exit status (128 + signal when killed).
    int Finish();

    std::string out;
    std::string err;

  private:
    // One read from whichever pipe has data; false once both are closed (or, with `errOnly`,
    // once standard error is).
    bool ReadSome(bool errOnly);

    pid_t pid_ = -1;
    int out_ = -1;
    int err_ = -1;
    bool outClosed_ = false;
    bool errClosed_ = false;
    bool finished_ = false;
};

struct Result {
    int status;
    std::string out;
    std::string err;
};

// Runs `program` to its end.
Result Run(const std::string& program, const std::vector<std::string>& args,
           const std::string& cwd = "/tmp");

}  // namespace tarvo::testing
