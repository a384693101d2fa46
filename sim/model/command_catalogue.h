// The type codes the transmitter knows: what each carries and what kind of command it is.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "platform/types.h"

namespace tarvo::sim {

enum class Arg {
    None,      // no payload
    Bool,      // one byte, non-zero is true
    U8,        // one byte
    U16,       // two bytes, high first
    U32,       // four bytes, high first
    Span,      // four bytes: days, hours (<24), minutes (<60), seconds (<60)
    Bytes,     // any number of bytes, none included
    Message,   // one byte or more
    LeadFloat  // the byte 3, then a single-precision real, high byte first
};

// The role also says how a retry is answered: a query reads state, so a retry of it is answered
// afresh (a retried 35 must carry the time of the retry, not of the first attempt); every other
// role changes state or transmits, so a retry of it gets the previous reply again and is not
// carried out twice (a retried 300 must not transmit twice).
enum class Role {
    Query,    // answers data, changes nothing
    Setting,  // stored in the configuration; answers one byte, 1 accepted, 0 refused
    Action,   // does something; answers one byte, 1 done, 0 refused (770 answers text)
    Load      // fills a transmit buffer; answers one byte
};

struct CommandInfo {
    WORD code;
    Arg arg;
    Role role;
    // Refused (one byte 0) while the master switch is on: the device changes its set-up only
    // when stopped.
    bool needsStopped;
    const char* name;
};

// The known command of `code`; nullptr for a code the transmitter does not know.
const CommandInfo* FindCommand(WORD code);
std::span<const CommandInfo> Catalogue();

// Whether a retry of `code` is answered afresh: true for a query, false for any other code (an
// unknown code included), whose retry gets the previous reply again.
bool AnsweredAfresh(WORD code);

// Whether `payload` has the shape `arg` demands; otherwise `why` says what is wrong.
bool PayloadFits(Arg arg, std::span<const BYTE> payload, std::string& why);

// Seconds of a time-span payload (which must fit Arg::Span).
std::int64_t SpanSeconds(std::span<const BYTE> payload);

}  // namespace tarvo::sim
