// The logger's side of the exchanges with the transmitter, read off the port: which request of
// the start or the stop sequence failed, and why, for the person running the station. It sees
// what the module sees, so it tells the same story with a simulator or a device on the line.
//
// It judges as the module does: the attempts of one request carry one packet number; an attempt
// succeeds when a reply comes back with the inverted header, the request's number, its whole
// payload and a good CRC; a request fails when its last attempt did not. Of the requests that
// were answered, 200 and 338 are refused by a payload whose first byte is 0, and 770 by a text
// of two bytes or more other than "Unknown command"; the module looks at no other reply.
//
// Only the thread that asked to watch is watched: the sequences run on the thread that starts
// and stops recording, while the messengers' requests around them are no part of them.
#pragma once

#include <atomic>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/serial/serial_ports.h"
#include "platform/types.h"

namespace tarvo::runner {

// What came back to one attempt.
enum class AttemptResult {
    Answered,     // a reply the module takes
    NoAnswer,     // not one byte
    WrongHeader,  // its first byte is not the inverted header
    WrongNumber,  // another request's packet number
    CutShort,     // fewer bytes than its header or its length field promise
    BadCrc,
    NotSent,  // the port failed to write the request whole
};

struct FailedRequest {
    WORD code = 0;
    BYTE number = 0;
    std::optional<BYTE> firstByte;        // of the request's payload, if it has one
    std::vector<AttemptResult> attempts;  // in order; the last is not Answered unless refused
    bool refused = false;                 // answered, and the answer was a refusal
    std::string refusal;                  // 770's reason as the transmitter gave it
};

// "42 (secondary satellite id, packet #17) failed: no answer in each of 3 attempts"; a command
// that takes a boolean shows it: "200 false (self-timed on, packet #3) refused: ...".
std::string DescribeFailure(const FailedRequest& failure);

class ExchangeWatch : public host::PortObserver {
  public:
    // Only requests that the calling thread makes from now on are judged (until Watch(false));
    // the rest pass at the cost of a comparison.
    void Watch(bool on);
    // The failed requests judged since the last call, in the order they were made.
    std::vector<FailedRequest> TakeFailures();

    void Opened() override;
    void Sent(std::span<const BYTE> bytes) override;
    void Received(std::span<const BYTE> bytes) override;
    void Flushed() override;
    void SendFailed() override;
    void Closed() override;

  private:
    // Starts a new attempt; an attempt begins where the module clears its input before a request,
    // so that watching never starts in the middle of a frame.
    void BeginAttempt();
    void EndAttempt();
    void EndRequest();

    // Whether the calling thread is the one watched; none is while not watching.
    bool Watched() const {
        return watched_.load(std::memory_order_acquire) == std::this_thread::get_id();
    }

    std::atomic<std::thread::id> watched_{};
    std::mutex mutex_;
    bool inAttempt_ = false;
    bool sendFailed_ = false;
    std::vector<BYTE> request_;  // the first bytes of the attempt's request: header to length
                                 // and the payload's first byte
    std::vector<BYTE> reply_;    // every byte the module read back
    std::optional<FailedRequest> current_;          // the request whose attempts are being gathered
    std::optional<std::vector<BYTE>> lastPayload_;  // of the current request's answered attempt
    std::vector<FailedRequest> failures_;
};

}  // namespace tarvo::runner
