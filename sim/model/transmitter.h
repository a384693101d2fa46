// The simulated Corvane transmitter, independent of how bytes reach it: bytes go in through
// Receive, reply bytes come out of TakeDueOutput when their time has come, and Poll lets it act
// on its own (window decisions, the end of a restart). A face (in-process thread, pseudo-terminal
// program) moves the bytes and calls Poll by NextWake. Not thread-safe: a face serialises calls.
//
// The model is described in docs/simulator.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/types.h"
#include "sim/model/config_store.h"
#include "sim/model/device_clock.h"
#include "sim/model/faults.h"
#include "sim/model/line_faults.h"
#include "sim/model/records.h"
#include "sim/model/self_timed_schedule.h"
#include "sim/model/time_source.h"
#include "sim/wire/frame.h"
#include "sim/wire/frame_reader.h"

namespace tarvo::sim {

struct TransmitterOptions {
    DWORD replyLatencyMs = 5;       // from a request's last byte to its reply's first
    DWORD resetSilenceMs = 60'000;  // how long command 6 leaves it deaf
    DWORD loadMarginMs = 10'000;    // a window's message must be loaded this long before it closes
    DWORD frameGapMs = 500;         // an incomplete frame is given up after this long
    DWORD repeatWindowMs = 10'000;  // the same request again within this long is a retry
    std::size_t maxPayload = kMaxPayload;
    std::int64_t clockOffsetMs = 0;  // device clock ahead of the logger's at start
    double clockDriftPpm = 0;
    bool clockValid = true;
    LineFaultOptions lineFaults;  // faults of the line at a rate; none by default
    bool keepRecords = true;      // keep transcript and downlink log in memory
    // Receives every transcript and downlink entry as one JSON line, as it is made.
    std::function<void(const std::string&)> sink;
    // Receive every entry as it is made, for a face that tallies entries instead of keeping them.
    std::function<void(const TranscriptEntry&)> onTranscript;
    std::function<void(const DownlinkEntry&)> onDownlink;
};

// Transmission and error counters: shown by status (4), cleared by 5 and by a reset.
struct Counters {
    std::uint32_t selfTimedSent = 0;
    std::uint32_t selfTimedMissed = 0;
    std::uint32_t randomSent = 0;
    std::uint32_t randomRefused = 0;
    std::uint32_t testsSent = 0;
    std::uint32_t makerSent = 0;
    std::uint32_t crcErrors = 0;
    std::uint32_t noiseRuns = 0;
    std::uint32_t refusals = 0;

    bool operator==(const Counters&) const = default;
};

inline constexpr const char* kAlreadyRunning = "System is already running.";
inline constexpr const char* kUnknownCommand = "Unknown command";

class Transmitter {
  public:
    explicit Transmitter(const TimeSource& time, TransmitterOptions options = {});

    // Bytes that arrived from the line now.
    void Receive(std::span<const BYTE> bytes);
    // Does what has come due by now by itself.
    void Poll();
    // The reply bytes due by now, in order, taken from the queue (and written to the transcript).
    std::vector<BYTE> TakeDueOutput();
    // The same, appended to `out`, for a face that keeps one buffer for every turn.
    void TakeDueOutput(std::vector<BYTE>& out);
    // The monotonic time at which Poll or TakeDueOutput will next have something to do.
    std::optional<Micros> NextWake() const;

    // ---- inspection
    const ConfigStore& Config() const { return config_; }
    const std::vector<TranscriptEntry>& Transcript() const { return transcript_; }
    const std::vector<DownlinkEntry>& Downlink() const { return downlink_; }
    const Counters& Counts() const { return counters_; }
    bool MasterRunning() const { return master_; }
    bool Restarting() const { return restarting_; }
    bool FailsafeTripped() const { return failsafe_; }
    const std::vector<BYTE>& SelfTimedBuffer() const { return selfTimedBuffer_; }
    const std::vector<BYTE>& RandomBuffer() const { return randomBuffer_; }
    std::int64_t DeviceTimeMs() const { return clock_.NowMs(); }
    const DeviceClock& Clock() const { return clock_; }
    // The self-timed window being served while transmissions run; none otherwise.
    std::optional<Window> ServedWindow() const;
    // The text that command 4 answers.
    std::string StatusText() const;
    const FaultSet& Faults() const { return faults_; }
    const TransmitterOptions& Options() const { return options_; }

    // ---- control
    void InjectFault(const Fault& fault) { faults_.Add(fault); }
    void ClearFaults() { faults_.Clear(); }
    // Device clock = logger clock + offset, from now on.
    void SetClockOffset(std::int64_t offsetMs);
    void SetClockTime(std::int64_t deviceMs);
    void SetClockDrift(double ppm);
    void SetClockValid(bool valid);
    void SetResetSilence(DWORD ms) { options_.resetSilenceMs = ms; }
    void SetLoadMargin(DWORD ms);
    void SetReplyLatency(DWORD ms) { options_.replyLatencyMs = ms; }
    // Trips the failsafe: transmissions are inhibited until command 7.
    void TripFailsafe() { failsafe_ = true; }
    void ClearRecords();

  private:
    struct Served {
        explicit Served(const Window& w) : window(w) {}
        Window window;
        bool committed = false;  // the load deadline has passed
        bool hasMessage = false;
        std::vector<BYTE> message;
        bool lateLoad = false;  // a message came after the deadline, before the close
    };
    struct Outgoing {
        Micros due;
        std::vector<BYTE> bytes;
        TranscriptEntry entry;
        std::optional<ReplyLineFault> lineFault;  // what the line does to it
    };
    struct LastRequest {
        Frame frame;
        std::vector<BYTE> reply;  // kept only for a code whose retry gets it again
        Micros at;
    };

    void Handle(const ReaderEvent& event, Micros now);
    void HandleRequest(const Frame& frame, Micros now);
    std::vector<BYTE> Execute(const Frame& frame, bool invalidTime, std::string& note);
    std::vector<BYTE> Refuse(std::string& note, const std::string& why);
    std::vector<BYTE> SendRandom(std::string& note);
    std::vector<BYTE> SendTest(DownlinkKind kind, std::vector<BYTE>& buffer, std::string& note);
    std::vector<BYTE> SendToMaker(std::string& note);
    void BeginRestart(Micros now);
    void RunSchedule(Micros now);
    void CloseWindow(const Served& served, const SelfTimedConfig& config);
    DownlinkEntry NewDownlink(DownlinkKind kind) const;
    void Record(TranscriptEntry entry);
    void Record(DownlinkEntry entry);
    void RecordEvent(const std::string& note);
    void RecordLineFault(const std::string& note, BYTE number = 0, WORD type = 0);

    const TimeSource& time_;
    TransmitterOptions options_;
    DeviceClock clock_;
    FrameReader reader_;
    ConfigStore config_;
    FaultSet faults_;
    LineFaults line_;
    Counters counters_;

    bool master_ = false;
    bool failsafe_ = false;
    bool testArmed_ = false;
    bool restarting_ = false;
    bool restartRequested_ = false;
    Micros restartUntil_ = 0;
    std::vector<BYTE> selfTimedBuffer_;
    std::vector<BYTE> randomBuffer_;
    std::optional<Served> served_;
    std::optional<LastRequest> last_;
    std::deque<Outgoing> output_;
    // What the reader found in the bytes of one Receive or Poll; kept to spare an allocation each.
    std::vector<ReaderEvent> events_;
    Micros lastDue_ = 0;

    std::vector<TranscriptEntry> transcript_;
    std::vector<DownlinkEntry> downlink_;
};

}  // namespace tarvo::sim
