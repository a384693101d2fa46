// What `tarvo check` finds in one setup, and how it is printed: for people as text, for a
// script as one JSON object a line.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "apps/tarvo/airtime.h"

namespace tarvo::runner {

// "what is wrong, what is expected", at a line of the setup file (0: the file as a whole).
struct CheckProblem {
    int line = 0;
    std::string text{};
};

struct SelfTimedPlan {
    bool enabled = false;
    std::string format{};
    int channel = 0;
    std::string typeName{};
    std::optional<BitRate> rate{};  // none: the type has no public figure
    long windowSeconds = 0;
    bool centred = true;
    long firstSeconds = 0;  // of the day
    long rateSeconds = 0;
    int perDay = 0;
    std::optional<int> widestBytes{};  // none: the format is not predicted
    bool fits = true;
    // What the transmitter appends itself, of no public size and so not counted.
    bool appendsBattery = false;
    bool appendsPosition = false;
};

struct GroupPlan {
    long group = 0;
    std::string label{};
    int widestBytes = 0;
    bool hasSlot = true;  // groups 8 and 9 never transmit
    long normalSeconds = 0;
    int normalPerDay = 0;
    long burstCount = 0;
    long burstSeconds = 0;
    long alarmSeconds = 0;
    int alarmDayTransmissions = 0;  // a day of continuous alarm
};

struct RandomPlan {
    bool enabled = false;
    std::string format{};
    int channel = 0;
    std::string typeName{};
    std::optional<BitRate> rate{};
    bool appendsBattery = false;
    bool appendsPosition = false;
    std::vector<GroupPlan> groups{};
};

struct CheckReport {
    std::string setup{};  // the path as given
    // Each makes the exit status 1: what recording start refuses, a value outside its range,
    // a message that can overflow its window.
    std::vector<CheckProblem> problems{};
    // What recording start would warn about or convert, and what is not predicted.
    std::vector<CheckProblem> notes{};
    SelfTimedPlan selfTimed;
    RandomPlan random;
};

void PrintCheckText(const CheckReport& report, std::FILE* out);
void PrintCheckJson(const CheckReport& report, std::FILE* out);

// "HH:MM:SS" of a count of seconds within a day.
std::string ClockText(long seconds);

}  // namespace tarvo::runner
