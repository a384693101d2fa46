// The end-of-run summary of what went over the line to a simulated transmitter and what it sent
// to the satellite, made from the simulator's transcript and downlink log alone (so it tells
// what the transmitter saw, whatever the module believes it sent).
#pragma once

#include <cstddef>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "sim/model/records.h"

namespace tarvo::runner {

// How the transmitter took one request, as its transcript entry tells.
enum class RequestOutcome {
    Done,        // executed and answered
    Refused,     // answered with a refusal (a zero byte or a refusal text)
    Unknown,     // answered "Unknown command"
    Repeat,      // a retry of the previous request: answered again, not done again
    Unanswered,  // heard but not answered (a silence fault)
    Ignored,     // arrived while the transmitter was restarting
    BadCrc,      // a frame whose CRC was wrong: not answered
};

RequestOutcome ClassifyRequest(const sim::TranscriptEntry& request);
// "" for Done, else the mark shown after the type code: "(refused)", "(unknown)", "(repeat)",
// "(no answer)", "(ignored)", "(bad CRC)".
const char* OutcomeMark(RequestOutcome outcome);

struct CodeCounts {
    int requests = 0;  // well-formed requests (bad CRC ones are counted apart)
    int replies = 0;
    int refused = 0;
    int unknown = 0;
    int unanswered = 0;  // not answered or ignored
    int repeats = 0;
    int badCrc = 0;
    int badReplies = 0;  // replies the transmitter garbled on purpose (a fault on the reply)

    bool operator==(const CodeCounts&) const = default;
};

struct ExchangeSummary {
    // The requests of the start and the stop sequence in order, each its type code and mark.
    std::vector<std::string> start;
    std::vector<std::string> stop;
    std::map<int, int> recording;  // requests while recording, by type code
    std::map<int, CodeCounts> byCode;
    CodeCounts total;
    int noiseRuns = 0;   // runs of bytes that belonged to no frame
    int events = 0;      // things the transmitter did by itself (restarts)
    int lineFaults = 0;  // request bytes corrupted or dropped, replies corrupted, lost or delayed
};

// Which part of the run a transcript entry was made in: the start sequence, recording or the stop
// sequence.
enum class Sequence { Start, Recording, Stop };

// Counts one entry into `summary`, as it is made: a long run keeps the tally, not the transcript.
void AddToSummary(ExchangeSummary& summary, const sim::TranscriptEntry& entry, Sequence sequence);

// `startEnd` and `stopBegin` are the transcript's lengths when recording had started and when it
// was about to stop; entries before the first are the start sequence, entries from the second on
// the stop sequence.
ExchangeSummary Summarize(const std::vector<sim::TranscriptEntry>& transcript, std::size_t startEnd,
                          std::size_t stopBegin);

// The bytes as a quoted text when every byte is printable (line ends and tabs escaped), else as
// hex prefixed "hex ".
std::string BytesText(const std::vector<BYTE>& bytes);

// The summary's text, each line indented two blanks; lines wrap before 100 columns.
void PrintExchanges(std::FILE* out, const ExchangeSummary& summary);
void PrintDownlink(std::FILE* out, const std::vector<sim::DownlinkEntry>& downlink);

}  // namespace tarvo::runner
