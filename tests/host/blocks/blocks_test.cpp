// What blocks are made of: values and their digits, typed properties, a source's CSV rows.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "host/blocks/source_block.h"
#include "host/log/report_sinks.h"
#include "host/support/temp_dir.h"
#include "platform/property.h"
#include "platform/value.h"

namespace {

TEST(Value, FormatsWithItsDisplayDigits) {
    const struct {
        const char* legend;
        TValue value;
        const char* text;
        double asDouble;
        long asInteger;
    } cases[] = {
        {"default", TValue(), "0.00", 0.0, 0},
        {"two digits round half away", TValue(2.345, 2), "2.35", 2.345, 2},
        {"no digits", TValue(-7.5, 0), "-8", -7.5, -8},
        {"digits are clamped to 15", TValue(1.0, 40), "1.000000000000000", 1.0, 1},
        {"negative digits read as none", TValue(3.25, -1), "3", 3.25, 3},
        {"an integer ignores its digits", TValue::FromInteger(42, 3), "42", 42.0, 42},
        {"a huge real still fits", TValue(1e300, 2), "1e+300", 1e300, LONG_MIN},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_STREQ(c.value.AsCString(), c.text);
        EXPECT_EQ(c.value.AsDouble(), c.asDouble);
        if (c.asInteger != LONG_MIN) {
            EXPECT_EQ(c.value.AsInteger(), c.asInteger);
        }
    }
}

TEST(Property, ReadsConvertBetweenKinds) {
    const struct {
        const char* legend;
        TProperty property;
        long asInteger;
        double asReal;
        bool asBool;
        const wchar_t* asText;
    } cases[] = {
        {"integer", TProperty::Integer(L"ROCMag", 3), 3, 3.0, true, L"3"},
        {"real rounds to integer", TProperty::Real(L"HiLimit", 2.5), 3, 2.5, true, L"2.5"},
        {"negative real rounds away", TProperty::Real(L"R", -2.5), -3, -2.5, true, L"-2.5"},
        {"boolean", TProperty::Boolean(L"HiAlarm", true), 1, 1.0, true, L"true"},
        {"text starting with a number", TProperty::Text(L"T", L"15 min"), 15, 15.0, true,
         L"15 min"},
        {"text without a number", TProperty::Text(L"Label", L"B2"), 0, 0.0, false, L"B2"},
        {"text saying true", TProperty::Text(L"Flag", L"true"), 0, 0.0, true, L"true"},
        {"a real's shortest text", TProperty::Real(L"R", 0.1), 0, 0.1, true, L"0.1"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.legend);
        EXPECT_EQ(c.property.GetInteger(), c.asInteger);
        EXPECT_EQ(c.property.GetReal(), c.asReal);
        EXPECT_EQ(c.property.GetBool(), c.asBool);
        EXPECT_EQ(c.property.GetText(), c.asText);
    }
}

TEST(Property, SetupTextIsReadStrictly) {
    const struct {
        const char* legend;
        TProperty property;
        const wchar_t* text;
        bool accepted;
        const char* expected;
    } cases[] = {
        {"an integer", TProperty::Integer(L"I"), L" 42 ", true, ""},
        {"an integer with a tail", TProperty::Integer(L"I"), L"42x", false, "an integer"},
        {"a real", TProperty::Real(L"R"), L"-1.5e2", true, ""},
        {"not a real", TProperty::Real(L"R"), L"abc", false, "a number"},
        {"infinity is no real", TProperty::Real(L"R"), L"inf", false, "a number"},
        {"a boolean", TProperty::Boolean(L"B"), L"1", true, ""},
        {"not a boolean", TProperty::Boolean(L"B"), L"maybe", false, "true or false"},
        {"any text", TProperty::Text(L"T"), L"", true, ""},
    };
    for (auto c : cases) {
        SCOPED_TRACE(c.legend);
        std::wstring before = c.property.GetText();
        std::string error;
        EXPECT_EQ(c.property.FromText(c.text, error), c.accepted);
        EXPECT_EQ(error, c.expected);
        if (!c.accepted) {
            EXPECT_EQ(c.property.GetText(), before);
        }
    }
}

// A CSV row whose date lies outside four-digit years or the calendar is no row: past the
// header line it is refused with its line, and the block starts without data. A year of hundreds of
// millions once overflowed the instant's milliseconds.
TEST(SourceBlock, CsvRowsOutsideTheCalendarAreRefusedWithTheirLine) {
    const struct {
        const char* legend;
        const char* row;
        bool accepted;
    } rows[] = {
        {"the last second of year 9999", "9999-12-31 23:59:59", true},
        {"the first second of year 1", "0001-01-01 00:00:00", true},
        {"a year of hundreds of millions", "899998424-06-09 02:00:00", false},
        {"a five-digit year", "10000-01-01 00:00:00", false},
        {"year 0", "0000-12-31 00:00:00", false},
        {"month 13", "2024-13-01 00:00:00", false},
        {"hour 24", "2024-06-01 24:00:00", false},
    };
    tarvo::test::TempDir dir;
    tarvo::host::LogCapture log;
    tarvo::host::SetStderrLevel(TReportLevel::Warning, false);
    for (const auto& r : rows) {
        SCOPED_TRACE(r.legend);
        log.Clear();
        // The row twice: refused on line 1 it would pass for a header, so line 2 is the one
        // that must be refused.
        dir.Write("rows.csv", std::string(r.row) + ",1\n" + r.row + ",2\n");
        tarvo::host::SourceBlock block(dir.Path());
        block.SetName(L"S");
        block.GetProperty(L"Mode")->SetText(L"CSV");
        block.GetProperty(L"File")->SetText(L"rows.csv");
        EXPECT_EQ(block.Start(), r.accepted);
        const auto warnings = log.Texts(TReportLevel::Warning);
        if (r.accepted) {
            EXPECT_TRUE(warnings.empty());
        } else {
            ASSERT_EQ(warnings.size(), 1u);
            EXPECT_NE(warnings[0].find("rows.csv:2: expected"), std::string::npos) << warnings[0];
        }
    }
    tarvo::host::SetStderrLevel(TReportLevel::Warning, true);
}

}  // namespace
