// The property dialogs of the module's three block types: "Self-Timed Properties" of a SelfTimed
// block, "Random Properties" of a Random block and "Random Group Properties" of an RndGroup
// block, each run by the block's EditProperties on the interface thread.
//
// Where they live: the blocks belong to selftimed/ and random/, which may not include ui/ (the
// messengers and blocks stay free of the operator interface). Each block declares its
// EditProperties override in its own header, and the definitions are here, in ui/, beside the
// other dialogs: the blocks get their dialogs without a hook installed at load time or any
// global, and no source of selftimed/ or random/ includes anything of ui/. Both halves are linked
// into the same library. Each EditProperties returns true when the operator pressed OK, after
// writing the edited values back to the block's properties (each property guards itself, so a
// messenger reading one sees the old or the new value).
#pragma once

namespace corvane::ui {

// Control ids of the forms, for whatever drives them.
namespace self_timed_block_properties {
enum Control : int {
    kLabel = 400,
    kLabelEdit,
    kOffset,
    kOffsetEdit,
    kInterval,
    kIntervalEdit,
    kNumVals,
    kNumValsEdit,
    kSequence,
    kUseCalcTime,
};
}  // namespace self_timed_block_properties

namespace random_block_properties {
enum Control : int {
    kMembership = 500,
    kGroup2,  // kGroup2 + g - 2 is the check box of group g, up to group 9
    kSequence = 510,
    kSequenceEdit,
    kNumVals,
    kNumValsEdit,
    kLabel,
};
}  // namespace random_block_properties

namespace rnd_group_properties {
enum Control : int {
    kGroup = 600,
    kGroupEdit,
    kLabel,
    kOffset,
    kOffsetEdit,
    kInterval,
    kIntervalEdit,
    kHiLimit,
    kHiLimitEdit,
    kLowLimit,
    kLowLimitEdit,
    kROCMag,
    kROCMagEdit,
    kDeadband,
    kDeadbandEdit,
    kHiAlarm,
    kLowAlarm,
    kROCFixed,
    kROCMode,
};
}  // namespace rnd_group_properties

}  // namespace corvane::ui
