// The consistency check of Random and RndGroup blocks: each failure's text, one per check, in
// the order of the checks.
#include "corvane/random/random_consistency.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "corvane/random/group_alarm_signals.h"
#include "corvane/random/random_block.h"
#include "corvane/random/random_block_roster.h"
#include "corvane/random/random_settings.h"
#include "corvane/random/rnd_group.h"
#include "corvane/support/random_lists.h"

namespace {

using Lists = corvanetest::RandomLists;

// One block as a row describes it.
struct RandomRow {
    std::wstring groupMap;
    int sequence;
    bool enabled = true;
};
struct GroupRow {
    int group;
    bool enabled = true;
    std::wstring label = L"B2";
};

struct Scenario {
    const char* legend;
    std::vector<RandomRow> randoms;
    std::vector<GroupRow> groups;
    std::wstring errors;  // empty: the check passes
};

void PrintTo(const Scenario& s, std::ostream* os) {
    *os << s.legend;
}

class RandomConsistency : public ::testing::TestWithParam<Scenario> {};

TEST_P(RandomConsistency, ReportsEachFailedCheckOnceInCheckOrder) {
    const Scenario& s = GetParam();
    Lists lists;
    std::vector<std::unique_ptr<TModule>> blocks;
    for (const RandomRow& row : s.randoms) {
        auto block = std::make_unique<Random>(lists);
        std::vector<std::wstring> entries;
        for (wchar_t c : row.groupMap)
            entries.push_back(std::wstring(1, c));
        block->GetProperty(L"GroupMap")->SetTexts(entries);
        block->GetProperty(L"Sequence")->SetInteger(row.sequence);
        block->SetEnabled(row.enabled);
        blocks.push_back(std::move(block));
    }
    for (const GroupRow& row : s.groups) {
        auto block = std::make_unique<RndGroup>(lists);
        block->GetProperty(L"Group")->SetInteger(row.group);
        block->GetProperty(L"Label")->SetText(row.label);
        block->SetEnabled(row.enabled);
        blocks.push_back(std::move(block));
    }
    std::wstring errors = L"before; ";
    EXPECT_EQ(CheckRandomBlocks(lists.randoms, lists.groups, errors), s.errors.empty());
    EXPECT_EQ(errors, L"before; " + s.errors);
}

// GroupMap rows are written entry by entry from group 2: "01" is a member of group 3 only.
INSTANTIATE_TEST_SUITE_P(
    Table, RandomConsistency,
    ::testing::Values(
        Scenario{"no blocks at all pass", {}, {}, L""},
        Scenario{"one parameter with its group block passes", {{L"01", 1}}, {{3}}, L""},
        Scenario{"equal sequences in groups 3 and 5 name group 3 only",
                 {{L"0101", 4}, {L"0101", 4}},
                 {{3}, {5}},
                 L"Random sequences overlap in group 3; "},
        Scenario{"equal sequences overlap only where both are enabled members",
                 {{L"01", 4}, {L"0001", 4}, {L"01", 4, false}},
                 {{3}, {5}},
                 L""},
        Scenario{"a member of a group without an enabled group block",
                 {{L"011", 1}},
                 {{3}, {4, false}},
                 L"Random group block missing for group 4; "},
        Scenario{"a group whose only member is disabled",
                 {{L"01", 1, false}},
                 {{3}},
                 L"Random param blocks missing for group 3; "},
        Scenario{"a disabled group block still needs parameters",
                 {},
                 {{6, false}},
                 L"Random param blocks missing for group 6; "},
        Scenario{"two group blocks of one group with different labels",
                 {{L"01", 1}},
                 {{3, true, L"B3"}, {3, true, L"XX"}},
                 L"DTime, DInter, or Label differ for group 3; "},
        Scenario{"every check fails, each once, in order",
                 {{L"1", 2}, {L"1", 2}, {L"00000001", 3}},
                 {{2}, {4}, {5}, {4, true, L"Z"}},
                 L"Random sequences overlap in group 2; Random group block missing for group 9; "
                 L"Random param blocks missing for group 4; DTime, DInter, or Label differ for "
                 L"group 4; "}),
    [](const ::testing::TestParamInfo<Scenario>& info) {
        std::string name;
        for (const char* c = info.param.legend; *c != '\0'; ++c)
            name += std::isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
        return name;
    });

}  // namespace
