// The self-timed formats on scripted blocks: each row a layout, its blocks and the exact
// message, with a legend; then the dispatch and the hook.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "corvane/formats/format_catalogue.h"
#include "corvane/formats/text_formats.h"
#include "host/log/report_sinks.h"

namespace {

using corvane::MessageBlock;
using corvane::MessageRequest;

// A block whose values, offsets and settings a test writes down.
struct FakeBlock : MessageBlock {
    std::wstring label;
    std::vector<std::optional<TValue>> values;  // line 0 first (the newest)
    std::vector<std::int64_t> offsets = {5};    // by line; the last repeats
    std::wstring interval = L"00:15:00";
    bool calcTime = false;
    bool enabled = true;
    int numVals = -1;  // -1: as many as values

    std::wstring Label() const override { return label; }
    int NumVals() const override { return numVals < 0 ? static_cast<int>(values.size()) : numVals; }
    std::wstring Interval() const override { return interval; }
    bool UsesCalcTime() const override { return calcTime; }
    bool Enabled() const override { return enabled; }
    bool GetSelfTimedData(int line, TTime now, CSensorData& reading, int& digits) const override {
        if (line < 0 || static_cast<std::size_t>(line) >= values.size() || !values[line])
            return false;
        reading = CSensorData(*values[line], now);
        digits = values[line]->GetRightDigits();
        return true;
    }
    std::int64_t DataOffset(int line, TTime, TTime) const override {
        return offsets[std::min(static_cast<std::size_t>(line), offsets.size() - 1)];
    }
};

std::optional<TValue> V(double v, int digits = 2) {
    return TValue(v, digits);
}
const std::optional<TValue> kMissing;

FakeBlock Block(std::wstring label, std::vector<std::optional<TValue>> values) {
    FakeBlock b;
    b.label = std::move(label);
    b.values = std::move(values);
    return b;
}

struct Row {
    const char* legend;
    std::wstring format;
    std::vector<FakeBlock> blocks;
    std::wstring expected;
    int numVals = 0;
};

void PrintTo(const Row& row, std::ostream* os) {
    *os << row.legend;
}

std::wstring Build(const Row& row) {
    MessageRequest request;
    request.format = row.format;
    request.numVals = row.numVals;
    for (const FakeBlock& b : row.blocks)
        request.blocks.push_back(&b);
    std::wstring message = L"untouched";
    EXPECT_TRUE(corvane::FormatSelfTimedMessage(request, message));
    return message;
}

class Formats : public ::testing::TestWithParam<Row> {};

TEST_P(Formats, BuildExactlyTheirMessage) {
    EXPECT_EQ(Build(GetParam()), GetParam().expected);
}

FakeBlock HgBlock() {
    return Block(L"HG", {V(1.23), V(1.25), V(1.30)});
}
FakeBlock PcBlock() {
    return Block(L"PC", {V(10.2, 1), kMissing, V(10.1, 1)});
}
FakeBlock WithCalcTime() {
    FakeBlock b = Block(L"TA", {V(1.5, 1), V(2.5, 1)});
    b.calcTime = true;
    b.offsets = {3, 18};
    return b;
}
FakeBlock WithNumVals(FakeBlock b, int n) {
    b.numVals = n;
    return b;
}
FakeBlock WithInterval(FakeBlock b, std::wstring interval, std::vector<std::int64_t> offsets) {
    b.interval = std::move(interval);
    b.offsets = std::move(offsets);
    return b;
}
FakeBlock Disabled(FakeBlock b) {
    b.enabled = false;
    return b;
}

INSTANTIATE_TEST_SUITE_P(
    Shef, Formats,
    ::testing::Values(Row{"SHEF: two blocks, the second value of PC missing",
                          L"SHEF",
                          {HgBlock(), PcBlock()},
                          L":HG 5 #15 1.23 1.25 1.30 :PC 5 #15 10.2 M 10.1 "},
                      Row{"SHEF Fixed: the same data in columns of seven",
                          L"SHEF Fixed",
                          {HgBlock(), PcBlock()},
                          L":HG 5 #15    1.23    1.25    1.30 :PC 5 #15    10.2       M    10.1 "},
                      Row{"SHEF Fixed cuts a value text of nine characters to seven",
                          L"SHEF Fixed",
                          {Block(L"Q", {V(12345.678, 3)})},
                          L":Q 5 #15 12345.6 "},
                      Row{"SHEF with no blocks leaves the message", L"SHEF", {}, L"untouched"},
                      Row{"SHEF NumVals 0 gives the header only",
                          L"SHEF",
                          {WithNumVals(HgBlock(), 0)},
                          L":HG 5 #15 "},
                      Row{"59 seconds is #0, an hour #60, a negative offset keeps its sign",
                          L"SHEF",
                          {WithInterval(Block(L"A", {V(1)}), L"00:00:59", {-7}),
                           WithInterval(Block(L"B", {V(2)}), L"01:00:00", {60})},
                          L":A -7 #0 1.00 :B 60 #60 2.00 "},
                      Row{"UseCalcTime gives every value a header with its own offset",
                          L"SHEF",
                          {WithCalcTime()},
                          L":TA 3 #15 1.5 :TA 18 #15 2.5 "}),
    [](const ::testing::TestParamInfo<Row>& info) { return "row" + std::to_string(info.index); });

// 12.34 is "@SR", -1.00 "?~\", 5000.00 "_??" (three characters, two digits, signed).
INSTANTIATE_TEST_SUITE_P(
    Pseudobinary, Formats,
    ::testing::Values(Row{"Bin Int: value i of every block in turn; the short block gives ///",
                          L"Bin Int",
                          {Block(L"A", {V(12.34), V(-1.0), V(5000.0)}), Block(L"B", {V(0.0, 4)})},
                          L"B1E@SR@@@?~\\///_?"
                          L"?///",
                          3},
                      Row{"Bin Non-Int: each block's own NumVals in turn",
                          L"Bin Non-Int",
                          {Block(L"A", {V(12.34), V(-1.0)}),
                           WithNumVals(Block(L"B", {V(0.0, 4)}), 2)},
                          L"B1E@SR?~\\@@@///"},
                      Row{"an offset of -5 minutes clamps to the at sign",
                          L"Bin Non-Int",
                          {WithInterval(Block(L"A", {V(12.34)}), L"00:15:00", {-5})},
                          L"B1@@SR"},
                      Row{"an offset of 63 minutes or more is ?",
                          L"Bin Non-Int",
                          {WithInterval(Block(L"A", {V(12.34)}), L"00:15:00", {90})},
                          L"B1?@SR"},
                      Row{"no blocks leave the message", L"Bin Int", {}, L"untouched", 3}),
    [](const ::testing::TestParamInfo<Row>& info) { return "row" + std::to_string(info.index); });

INSTANTIATE_TEST_SUITE_P(
    FixedFields, Formats,
    ::testing::Values(Row{"NFDRS with no blocks is no data", L"NFDRS", {}, L"no data"},
                      Row{"NFDRS appends a line a block, oldest first, disabled blocks skipped",
                          L"NFDRS",
                          {Block(L"pch", {V(3.456), kMissing, V(100.0)}),
                           Disabled(Block(L"X", {V(1)})), Block(L"TMP", {V(7), V(-5)})},
                          L"untouched\r\n///// ///// 03.46\r\n-05 007"},
                      Row{"Handar: a line a block, oldest first, M for a missing value",
                          L"Handar",
                          {HgBlock(), PcBlock(), WithNumVals(Block(L"Z", {}), 0)},
                          L"\r\n1.30 1.25 1.23 \r\n10.1 M 10.2 \r\n\r\n"},
                      Row{"Handar with no blocks leaves the message", L"Handar", {}, L"untouched"}),
    [](const ::testing::TestParamInfo<Row>& info) { return "row" + std::to_string(info.index); });

// INSAT bytes: the count of values, then each as 16 bits big-endian, zeros to 25 or 50 bytes.
std::wstring InsatBytes(std::vector<int> bytes, std::size_t size) {
    std::wstring message(bytes.begin(), bytes.end());
    message.resize(size, L'\0');
    return message;
}

INSTANTIATE_TEST_SUITE_P(
    Insat, Formats,
    ::testing::Values(
        Row{"INSAT: each value scaled by its digits, 0x8000 for a missing one, in 25 bytes",
            L"INSAT",
            {HgBlock(), PcBlock()},
            InsatBytes({6, 0x00, 123, 0x00, 125, 0x00, 130, 0x00, 102, 0x80, 0x00, 0x00, 101}, 25)},
        Row{"INSAT: 13 values take 50 bytes; negatives are two's complement",
            L"INSAT",
            {Block(L"N", std::vector<std::optional<TValue>>(13, V(-1.0, 0)))},
            InsatBytes({13,   0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                        0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                        0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
                       50)},
        Row{"INSAT clamps a value beyond 16 bits and skips an unlabelled block",
            L"INSAT",
            {Block(L"", {V(1.0)}), Block(L"Q", {V(5000.0), V(-5000.0)})},
            InsatBytes({2, 0x7F, 0xFF, 0x80, 0x01}, 25)},
        Row{"INSAT with no labelled block leaves the message",
            L"INSAT",
            {Block(L"", {V(1.0)})},
            L"untouched"}),
    [](const ::testing::TestParamInfo<Row>& info) { return "row" + std::to_string(info.index); });

struct FieldRow {
    const wchar_t* label;
    bool present;
    TValue value;
    const wchar_t* field;
};

TEST(NfdrsFields, FollowTheirLabel) {
    const FieldRow rows[] = {
        {L"pch", true, TValue(3.456), L"03.46"}, {L"PAH", true, TValue(100.0), L"/////"},
        {L"PCH", true, TValue(-0.5), L"/////"},  {L"PCH", false, TValue(3.0), L"/////"},
        {L"VBH", true, TValue(12.34), L"12.3"},  {L"vbh", true, TValue(99.95), L"////"},
        {L"RDH", true, TValue(12.0), L"0012"},   {L"RDH", true, TValue(10000.0), L"////"},
        {L"TMP", true, TValue(-5.0), L"-05"},    {L"TMP", true, TValue(-99.0), L"///"},
        {L"TMP", true, TValue(1000.0), L"///"},  {L"TMP", true, TValue(7.0), L"007"},
        {L"TMP", true, TValue(-98.0), L"-98"},   {L"TMP", true, TValue(999.0), L"999"},
    };
    for (const FieldRow& row : rows)
        EXPECT_EQ(corvane::NfdrsField(row.label, row.present, row.value), row.field)
            << row.label << " " << row.value.AsDouble();
}

bool Refuse(std::wstring&, int) {
    return false;
}
bool Supply(std::wstring& message, int number) {
    message = L"HOOK" + std::to_wstring(number);
    return true;
}

TEST(FormatDispatch, NamesAreExactAndTheHookHasTheLastWord) {
    const FakeBlock hg = HgBlock();
    MessageRequest request;
    request.format = L"SHEF";
    request.blocks = {&hg};
    std::wstring message;
    request.hook = Refuse;
    EXPECT_FALSE(corvane::FormatSelfTimedMessage(request, message)) << "a refusing hook fails it";
    EXPECT_EQ(message, L":HG 5 #15 1.23 1.25 1.30 ");
    request.hook = nullptr;
    EXPECT_TRUE(corvane::FormatSelfTimedMessage(request, message)) << "without the hook, as made";

    request.format = L"shef";
    message = L"left";
    EXPECT_FALSE(corvane::FormatSelfTimedMessage(request, message)) << "no such format";
    EXPECT_EQ(message, L"left");
    request.hook = Supply;
    EXPECT_TRUE(corvane::FormatSelfTimedMessage(request, message));
    EXPECT_EQ(message, L"HOOK0") << "the hook alone makes the message of an unknown name";
}

}  // namespace
