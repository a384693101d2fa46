// The simulated transmitter on a pseudo-terminal, in real time: the program's face.
//
// The line keeps a descriptor of its own slave side open for its whole life, so that clients may
// open and close the slave path any number of times without the master side ever seeing a
// hang-up. Replies written while no client has the slave open wait in the slave's input queue,
// as far as it holds them; a client that flushes its input on open (as the logger's port does)
// never sees them.
#pragma once

#include <string>

#include "sim/model/time_source.h"
#include "sim/model/transmitter.h"

namespace tarvo::sim {

class PtyLine {
  public:
    PtyLine() = default;
    ~PtyLine();
    PtyLine(const PtyLine&) = delete;
    PtyLine& operator=(const PtyLine&) = delete;

    // Opens a new pseudo-terminal in raw mode, 9600 baud, 8N1. False with `error` on failure.
    bool Open(std::string& error);
    const std::string& SlavePath() const { return slavePath_; }
    int MasterFd() const { return master_; }

  private:
    int master_ = -1;
    int slave_ = -1;
    std::string slavePath_;
};

// Serves `device` on `line` until `stopFd` becomes readable or is closed. The device must run on
// `time`, a source on the real clock. Returns false with `error` when the line fails for good.
bool ServePty(Transmitter& device, const TimeSource& time, PtyLine& line, int stopFd,
              std::string& error);

}  // namespace tarvo::sim
