// The NOS format table file: the header value, where each field lands, the checked fields, the
// 30-line cut and carriage returns.
#include "corvane/formats/nos_format_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "host/log/report_sinks.h"
#include "host/support/temp_dir.h"

namespace {

using corvane::NosFormatTable;

class NosTable : public ::testing::Test {
  protected:
    int Read(const std::string& text) {
        const std::string path = dir.File("NOSGOESFormat.txt");
        std::ofstream(path, std::ios::binary) << text;
        return corvane::ReadNosFormatTable(path, table);
    }
    std::wstring Cell(int row, int column) const { return table.cells[row][column]; }

    tarvo::test::TempDir dir;
    NosFormatTable table;
    tarvo::host::LogCapture log;
};

TEST_F(NosTable, TakesTheHeaderValueAfterTheEqualsSignPastTheFirstSolidus) {
    const struct {
        const char* header;
        wchar_t value;
    } rows[] = {{"NOS/TYPE=Q", L'Q'},
                {"NOS/TYPE Q", L'P'},
                {"NOS/=Q", L'P'},
                {"X=R/Y", L'P'},
                {"A=B", L'B'}};
    for (const auto& row : rows) {
        EXPECT_EQ(Read(std::string(row.header) + "\n"), 1) << row.header;
        EXPECT_EQ(Cell(0, 0), std::wstring(1, row.value)) << row.header;
    }
}

TEST_F(NosTable, PlacesFieldsInTheirColumnsAndLeavesTheRestBlank) {
    ASSERT_EQ(Read("H=P\nA,B,C\nf1,f2,f3,f4,f5,10,5,f8,f9,f10,f11,f12,f13,f14\nA,,C\nlast,\n"), 5);
    EXPECT_THAT(table.cells[1], ::testing::ElementsAre(L"A", L"B", L"C", L" ", L" ", L" ", L" ",
                                                       L" ", L" ", L" ", L" ", L" "));
    EXPECT_THAT(table.cells[2], ::testing::ElementsAre(L"f1", L"f2", L"f3", L"f8", L"f4", L"f5",
                                                       L"f9", L"f10", L"f11", L"f12", L"10", L"5"));
    EXPECT_EQ(Cell(3, 0), L"A");
    EXPECT_EQ(Cell(3, 2), L" ") << "an empty field ends the line";
    EXPECT_EQ(Cell(4, 0), L"last");
    EXPECT_EQ(Cell(4, 1), L" ") << "an empty last field is a blank";
    EXPECT_TRUE(log.Texts(TReportLevel::Error).empty());
}

TEST_F(NosTable, MarksAnInvalidStOrRrField) {
    ASSERT_EQ(Read("H\na,b,c,d,e,01,6\na,b,c,d,e,1,3\n"), 3);
    EXPECT_EQ(Cell(1, 10), L"??");
    EXPECT_EQ(Cell(1, 11), L"??");
    EXPECT_EQ(Cell(2, 10), L"1");
    EXPECT_EQ(Cell(2, 11), L"3");
    EXPECT_THAT(log.Texts(TReportLevel::Error),
                ::testing::ElementsAre("NOS GOES Format Table invalid #ST 01",
                                       "NOS GOES Format Table invalid #RR 6"));
}

TEST_F(NosTable, ReadsAtMostThirtyLinesAndDropsCarriageReturns) {
    std::string text = "HDR=T\r\n";
    for (int i = 1; i <= 40; ++i)
        text += "L" + std::to_string(i) + ",x\r\n";
    EXPECT_EQ(Read(text), 30);
    EXPECT_EQ(Cell(0, 0), L"T");
    EXPECT_EQ(Cell(29, 0), L"L29");
    EXPECT_EQ(Cell(29, 1), L"x") << "no carriage return left in the last field";
}

TEST_F(NosTable, AMissingFileReadsAsNoLines) {
    table.lines = 7;
    EXPECT_EQ(corvane::ReadNosFormatTable(dir.File("absent.txt"), table), 0);
    EXPECT_EQ(table.lines, 0);
}

}  // namespace
