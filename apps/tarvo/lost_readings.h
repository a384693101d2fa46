// The readings a run's Log blocks could not keep (a full disk, a file that went away). Each Log
// block counts its own losses; once recording has stopped, and so every file is closed, they are
// gathered, the summary names each block, its file and how many readings it lost, and a run
// that lost any ends with the exit status kLostReadingsStatus.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/tarvo/run_session.h"

namespace tarvo::runner {

inline constexpr int kLostReadingsStatus = 4;

class LostReadings : public RunHooks {
  public:
    // Reads each Log block's count (the blocks have written, or failed to write, their last
    // rows when recording stopped) and, when any were lost, says how many on Err(): before the
    // run's summary.
    void AfterStop(RunSession& session) override;
    // "Readings lost" with a line per block that lost any, on Out().
    void Report(RunSession& session) override;
    int Status() const override { return losses_.empty() ? 0 : kLostReadingsStatus; }

  private:
    struct Loss {
        std::string block;
        std::string file;
        std::uint64_t readings = 0;
    };
    std::vector<Loss> losses_;
};

}  // namespace tarvo::runner
