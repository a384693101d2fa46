// What a formatter reads of one SelfTimed block, and everything a self-timed message is built
// from. The SelfTimed block implements MessageBlock; a test scripts it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "corvane/shared/message_hook.h"
#include "platform/sensor_data.h"
#include "platform/time.h"

namespace corvane {

class CNOSFormatter;

// What a message is built for: only a message for transmission updates the NOS recent values.
enum class MessageUse { Transmission, Display };

class MessageBlock {
  public:
    virtual ~MessageBlock() = default;

    virtual std::wstring Label() const = 0;
    // Read again before every value: an operator may change it while a message is built.
    virtual int NumVals() const = 0;
    virtual std::wstring Interval() const = 0;
    // UseCalcTime set and the self-timed format one of the SHEF formats.
    virtual bool UsesCalcTime() const = 0;
    virtual bool Enabled() const = 0;
    // Value `line` (0 = newest) for a message built at `now`; on true `reading` shows the
    // block's right digits, which `rightDigits` receives. Takes the block's lock itself.
    virtual bool GetSelfTimedData(int line, TTime now, CSensorData& reading,
                                  int& rightDigits) const = 0;
    // Whole minutes from the time of value `line` to `transmission`: the latest schedule slot
    // for a scheduled block whatever the line, the stored reading's time when positional, 0 for
    // a zero-interval block without that reading. Takes the block's lock itself.
    virtual std::int64_t DataOffset(int line, TTime now, TTime transmission) const = 0;
};

// One self-timed message to build.
struct MessageRequest {
    std::wstring format;                      // the self-timed Format name
    int numVals = 0;                          // the self-timed NumVals (interleaved messages)
    std::vector<const MessageBlock*> blocks;  // in registry (message) order
    TTime now;                                // the current time
    TTime transmission;                       // the next transmission time after `now`
    MessageHook hook = nullptr;               // the self-timed hook, null when none
    MessageUse use = MessageUse::Transmission;
    // The window's length and the transmitter's rate: the room a NOS message has (0: unbounded).
    int windowSeconds = 0;
    int bitsPerSecond = 0;
    // The messenger's NOS formatter with its index cache; null: "NOS" makes one for the message.
    CNOSFormatter* nos = nullptr;
};

}  // namespace corvane
