// What the Random and RndGroup blocks see of the random messenger, for tests without one: the
// two block lists and the Sequence counter, with settings a test may change. Alarm signals are
// dropped.
#pragma once

#include <vector>

#include "corvane/random/group_alarm_signals.h"
#include "corvane/random/random_block_roster.h"
#include "corvane/random/random_settings.h"

namespace corvanetest {

class RandomLists : public GroupAlarmSignals, public RandomBlockRoster {
  public:
    void AddGroupBlock(RndGroup& block) override { groups.push_back(&block); }
    void RemoveGroupBlock(RndGroup& block) override { std::erase(groups, &block); }
    void SetGroupAlarm(int) override {}
    void ResetGroupAlarm(int) override {}
    void AddRandomBlock(Random& block) override { randoms.push_back(&block); }
    void RemoveRandomBlock(Random& block) override { std::erase(randoms, &block); }
    int NextRandomSequence() override { return ++sequence; }
    const RandomSettings& RandomSetup() const override { return settings; }

    std::vector<Random*> randoms;
    std::vector<RndGroup*> groups;
    int sequence = 0;
    RandomSettings settings;
};

}  // namespace corvanetest
