// The pseudobinary encoder against worked values: each row a value, its field and its
// characters.
#include "corvane/formats/pseudobinary.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

using corvane::FieldSign;

struct Row {
    const char* legend;
    double value;
    int characters;
    int rightDigits;
    FieldSign sign;
    std::string expected;
};

void PrintTo(const Row& row, std::ostream* os) {
    *os << row.legend;
}

class Pseudobinary : public ::testing::TestWithParam<Row> {};

TEST_P(Pseudobinary, EncodesTheValueAsItsCharacters) {
    const Row& row = GetParam();
    EXPECT_EQ(corvane::EncodePseudobinary(row.value, row.characters, row.rightDigits, row.sign),
              std::wstring(row.expected.begin(), row.expected.end()));
}

constexpr FieldSign S = FieldSign::Signed;
constexpr FieldSign U = FieldSign::Unsigned;

INSTANTIATE_TEST_SUITE_P(
    Table, Pseudobinary,
    ::testing::Values(
        Row{"12.34 is 1234: groups 0 19 18", 12.34, 3, 2, S, "@SR"},
        Row{"-1.00 is -100: groups 63 62 28, 63 written as ?", -1.0, 3, 2, S, "?~\\"},
        Row{"5000.00 clamps to 131071", 5000.0, 3, 2, S, "_??"},
        Row{"131.0715 at 3 digits lands just below 131.072", 131.0715, 3, 3, S, "_??"},
        Row{"zero is three at signs", 0.0, 3, 4, S, "@@@"},
        Row{"2.5 rounds away from zero to 3", 2.5, 3, 0, S, "@@C"},
        Row{"-2.5 rounds away from zero to -3", -2.5, 3, 0, S, "??}"},
        Row{"-32 in one signed character is group 32", -32.0, 1, 0, S, "`"},
        Row{"-1 in one signed character is group 63", -1.0, 1, 0, S, "?"},
        Row{"an offset of -5 minutes clamps to 0 unsigned", -5.0, 1, 0, U, "@"},
        Row{"63 minutes or more is ? unsigned", 70.0, 1, 0, U, "?"},
        Row{"widths below 1 count as 1", 5.0, 0, 0, U, "E"},
        Row{"widths above 3 count as 3", 1.0, 7, 0, U, "@@A"},
        Row{"two characters unsigned top out at 4095", 1e9, 2, 0, U, "??"},
        Row{"digits outside 0..15 round at two decimals but scale by their own power", 0.004, 3, 16,
            U, "???"},
        Row{"a value beyond 32 bits saturates before the clamp", -1e12, 3, 0, S, "`@@"}),
    [](const ::testing::TestParamInfo<Row>& info) { return "row" + std::to_string(info.index); });

}  // namespace
