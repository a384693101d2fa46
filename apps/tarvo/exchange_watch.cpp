#include "apps/tarvo/exchange_watch.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "apps/tarvo/exchange_summary.h"
#include "sim/model/command_catalogue.h"
#include "sim/wire/crc16.h"
#include "sim/wire/frame.h"

namespace tarvo::runner {
namespace {

using sim::kReplyHeader;
using sim::kRequestHeader;
// Header, number, type code and payload length: a frame's overhead without its CRC.
constexpr std::size_t kHeaderBytes = sim::kFrameOverhead - 2;
constexpr std::size_t kKeptRequestBytes = kHeaderBytes + 1;  // and the payload's first byte

WORD Word(const std::vector<BYTE>& bytes, std::size_t at) {
    return static_cast<WORD>(bytes[at] << 8 | bytes[at + 1]);
}

AttemptResult Judge(const std::vector<BYTE>& reply, BYTE number) {
    if (reply.empty())
        return AttemptResult::NoAnswer;
    if (reply[0] != kReplyHeader)
        return AttemptResult::WrongHeader;
    if (reply.size() >= 2 && reply[1] != number)
        return AttemptResult::WrongNumber;
    if (reply.size() < kHeaderBytes)
        return AttemptResult::CutShort;
    const std::size_t frame = kHeaderBytes + Word(reply, 4);
    if (reply.size() < frame + 2)
        return AttemptResult::CutShort;
    const WORD sent = Word(reply, frame);
    return sim::Crc16({reply.data(), frame}) == sent ? AttemptResult::Answered
                                                     : AttemptResult::BadCrc;
}

// The module's reply rule for the requests it checks; "" when the answer is acceptance.
std::optional<std::string> Refusal(WORD code, const std::vector<BYTE>& payload) {
    if (code == 200 || code == 338) {
        if (!payload.empty() && payload[0] == 0)
            return std::string();
        return std::nullopt;
    }
    if (code == 770 && payload.size() >= 2) {
        std::string text(payload.begin(), payload.end());
        if (text != "Unknown command")
            return text;
    }
    return std::nullopt;
}

const char* ResultText(AttemptResult result) {
    switch (result) {
        case AttemptResult::Answered:
            return "answered";
        case AttemptResult::NoAnswer:
            return "no answer";
        case AttemptResult::WrongHeader:
            return "a reply with a wrong header";
        case AttemptResult::WrongNumber:
            return "a reply to another packet number";
        case AttemptResult::CutShort:
            return "a reply cut short";
        case AttemptResult::BadCrc:
            return "a reply with a bad CRC";
        case AttemptResult::NotSent:
            return "a write failure";
    }
    return "?";
}

}  // namespace

std::string DescribeFailure(const FailedRequest& failure) {
    std::string text = std::to_string(failure.code);
    // The simulator's names of the codes the transmitter knows; some are only numbers.
    const sim::CommandInfo* info = sim::FindCommand(failure.code);
    if (info != nullptr && info->arg == sim::Arg::Bool && failure.firstByte)
        text += *failure.firstByte != 0 ? " true" : " false";
    text += " (";
    if (info != nullptr && !std::isdigit(static_cast<unsigned char>(info->name[0]))) {
        text += info->name;
        text += ", ";
    }
    text += "packet #" + std::to_string(failure.number) + ") ";
    if (failure.refused) {
        // A device's text is shown escaped: it reaches a terminal.
        text += failure.refusal.empty()
                    ? "refused: the transmitter answered 0"
                    : "refused: the transmitter answered " +
                          BytesText({failure.refusal.begin(), failure.refusal.end()});
        return text;
    }
    const std::vector<AttemptResult>& attempts = failure.attempts;
    const bool alike = std::all_of(attempts.begin(), attempts.end(),
                                   [&](AttemptResult r) { return r == attempts.front(); });
    const std::string count =
        std::to_string(attempts.size()) + (attempts.size() == 1 ? " attempt" : " attempts");
    if (alike) {
        text += "failed: " + std::string(ResultText(attempts.front())) + " in " +
                (attempts.size() == 1 ? "its only attempt" : "each of " + count);
        return text;
    }
    text += "failed after " + count + ":";
    for (std::size_t i = 0; i < attempts.size(); ++i)
        text += std::string(i == 0 ? " " : ", ") + ResultText(attempts[i]);
    return text;
}

void ExchangeWatch::Watch(bool on) {
    std::lock_guard lock(mutex_);
    watched_.store(on ? std::this_thread::get_id() : std::thread::id(), std::memory_order_release);
    inAttempt_ = false;
    current_.reset();
    lastPayload_.reset();
}

std::vector<FailedRequest> ExchangeWatch::TakeFailures() {
    std::lock_guard lock(mutex_);
    return std::exchange(failures_, {});
}

void ExchangeWatch::Opened() {
    if (!Watched())
        return;
    std::lock_guard lock(mutex_);
    EndRequest();
}

void ExchangeWatch::Flushed() {
    if (!Watched())
        return;
    std::lock_guard lock(mutex_);
    BeginAttempt();
}

void ExchangeWatch::Sent(std::span<const BYTE> bytes) {
    if (!Watched())
        return;
    std::lock_guard lock(mutex_);
    if (!inAttempt_ || !reply_.empty())
        return;  // a request not seen from its start, or bytes after the reply began
    const std::size_t keep =
        std::min(bytes.size(), kKeptRequestBytes - std::min(kKeptRequestBytes, request_.size()));
    request_.insert(request_.end(), bytes.begin(), bytes.begin() + keep);
}

void ExchangeWatch::Received(std::span<const BYTE> bytes) {
    if (!Watched())
        return;
    std::lock_guard lock(mutex_);
    if (inAttempt_)
        reply_.insert(reply_.end(), bytes.begin(), bytes.end());
}

void ExchangeWatch::SendFailed() {
    if (!Watched())
        return;
    std::lock_guard lock(mutex_);
    sendFailed_ = inAttempt_;
}

void ExchangeWatch::Closed() {
    if (!Watched())
        return;
    std::lock_guard lock(mutex_);
    EndRequest();
}

void ExchangeWatch::BeginAttempt() {
    EndAttempt();
    inAttempt_ = true;
    sendFailed_ = false;
    request_.clear();
    reply_.clear();
}

void ExchangeWatch::EndAttempt() {
    if (!inAttempt_)
        return;
    inAttempt_ = false;
    // A request whose type code never went out is told by none of its attempts: the module's own
    // line for it is a trace.
    if (request_.size() < 4 || request_[0] != kRequestHeader)
        return;
    const BYTE number = request_[1];
    const WORD code = Word(request_, 2);
    if (current_ && (current_->number != number || current_->code != code))
        EndRequest();
    if (!current_) {
        current_ = FailedRequest{.code = code,
                                 .number = number,
                                 .firstByte = std::nullopt,
                                 .attempts = {},
                                 .refused = false,
                                 .refusal = {}};
        if (request_.size() > kHeaderBytes && Word(request_, 4) > 0)
            current_->firstByte = request_[kHeaderBytes];
    }
    const AttemptResult result = sendFailed_ || request_.size() < kHeaderBytes
                                     ? AttemptResult::NotSent
                                     : Judge(reply_, number);
    current_->attempts.push_back(result);
    if (result == AttemptResult::Answered)
        lastPayload_.emplace(reply_.begin() + kHeaderBytes,
                             reply_.begin() + kHeaderBytes + Word(reply_, 4));
    else
        lastPayload_.reset();
}

void ExchangeWatch::EndRequest() {
    EndAttempt();
    if (!current_)
        return;
    FailedRequest request = std::move(*current_);
    current_.reset();
    if (!lastPayload_) {
        failures_.push_back(std::move(request));
        return;
    }
    if (std::optional<std::string> refusal = Refusal(request.code, *lastPayload_)) {
        request.refused = true;
        request.refusal = std::move(*refusal);
        failures_.push_back(std::move(request));
    }
    lastPayload_.reset();
}

}  // namespace tarvo::runner
