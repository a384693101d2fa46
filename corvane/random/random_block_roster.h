// What a Random block needs of the random messenger: to be listed while it exists, the
// module-wide Sequence counter, and the random settings that shape its store.
#pragma once

struct RandomSettings;
class Random;

class RandomBlockRoster {
  public:
    virtual ~RandomBlockRoster() = default;

    // The block's construction and destruction. The messenger lists the block, never owns it.
    virtual void AddRandomBlock(Random& block) = 0;
    virtual void RemoveRandomBlock(Random& block) = 0;
    // The next value of the module-wide counter that numbers Random blocks as they are made.
    virtual int NextRandomSequence() = 0;
    // Read when the block starts recording.
    virtual const RandomSettings& RandomSetup() const = 0;
};
