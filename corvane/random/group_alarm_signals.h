// What an RndGroup block needs of the random messenger: to be listed while it exists, and to
// tell it when its group enters or leaves alarm. The messenger implements it; a test scripts it.
#pragma once

class RndGroup;

class GroupAlarmSignals {
  public:
    virtual ~GroupAlarmSignals() = default;

    // The block's construction and destruction. The messenger lists the block, never owns it.
    virtual void AddGroupBlock(RndGroup& block) = 0;
    virtual void RemoveGroupBlock(RndGroup& block) = 0;

    // Called on the processing thread at the edges of a group's alarm state. They only set
    // flags and events: the processing thread never waits for a transmission.
    virtual void SetGroupAlarm(int group) = 0;
    virtual void ResetGroupAlarm(int group) = 0;
};
