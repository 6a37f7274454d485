// What a client reads back from a serialised result through the cursor.
#include <gtest/gtest.h>

#include <limits>

#include "SharedResultTestData.h"
#include "pelmo/SharedResult.h"

using namespace shm_test;

namespace {

std::shared_ptr<ISQLiteCursor> CursorOver(const CResultTable& table)
{
    const std::string sBytes = CSharedResultWriter::Serialize(table);
    EXPECT_FALSE(sBytes.empty());
    std::string sError;
    std::shared_ptr<ISQLiteCursor> pCursor = CSharedResultReader::FromBytes(sBytes.data(), sBytes.size(), sError);
    EXPECT_NE(pCursor, nullptr) << sError;
    return pCursor;
}

// The text of a cell of the current row, which GetString must give (0) in place of whatever the
// string held before.
std::string StringAt(ISQLiteCursor& cursor, int iColumn)
{
    std::string sValue = "untouched";
    EXPECT_EQ(cursor.GetString(iColumn, sValue), 0) << "column " << iColumn;
    return sValue;
}

}  // namespace

TEST(SharedResultCursor, RoundTripKeepsEveryIntegerAndItsType)
{
    auto pCursor = CursorOver(EveryKindTable());
    ASSERT_NE(pCursor, nullptr);
    ASSERT_EQ(pCursor->MoveNext(), 0);

    const struct {
        int iColumn;
        long long llValue;
        int iType;
    } aCases[] = {
        {0, 0, ISQLiteCursor::COLUMN_TYPE_INT},
        {1, std::numeric_limits<int>::max(), ISQLiteCursor::COLUMN_TYPE_INT},
        {2, std::numeric_limits<int>::min(), ISQLiteCursor::COLUMN_TYPE_INT},
        {3, kPastInt32, ISQLiteCursor::COLUMN_TYPE_INT64},
        {4, 4294967297LL, ISQLiteCursor::COLUMN_TYPE_INT64},
        {5, kNegative64, ISQLiteCursor::COLUMN_TYPE_INT64},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(pCursor->GetColumnName(c.iColumn));
        EXPECT_EQ(pCursor->GetColumnType(c.iColumn), c.iType);
        long long llValue = 0;
        EXPECT_EQ(pCursor->GetInt64(c.iColumn, llValue), 0);
        EXPECT_EQ(llValue, c.llValue);
        int iValue = 12345;
        if (c.iType == ISQLiteCursor::COLUMN_TYPE_INT) {
            EXPECT_EQ(pCursor->GetInt(c.iColumn, iValue), 0);
            EXPECT_EQ(iValue, c.llValue);
        } else {
            EXPECT_EQ(pCursor->GetInt(c.iColumn, iValue), -1);
            EXPECT_EQ(iValue, 12345);
        }
    }
}

TEST(SharedResultCursor, RoundTripKeepsDoublesTextsAndNull)
{
    auto pCursor = CursorOver(EveryKindTable());
    ASSERT_NE(pCursor, nullptr);
    ASSERT_EQ(pCursor->MoveNext(), 0);

    double dValue = 0;
    EXPECT_EQ(pCursor->GetColumnType(6), ISQLiteCursor::COLUMN_TYPE_DOUBLE);
    EXPECT_EQ(pCursor->GetDouble(6, dValue), 0);
    EXPECT_EQ(dValue, 2.5);

    EXPECT_EQ(pCursor->GetColumnType(7), ISQLiteCursor::COLUMN_TYPE_TEXT);
    EXPECT_EQ(StringAt(*pCursor, 7), "");

    EXPECT_EQ(pCursor->GetColumnType(8), ISQLiteCursor::COLUMN_TYPE_TEXT);
    EXPECT_EQ(StringAt(*pCursor, 8), kUtf8Text);

    EXPECT_EQ(pCursor->GetColumnType(9), ISQLiteCursor::COLUMN_TYPE_TEXT);
    EXPECT_EQ(StringAt(*pCursor, 9), "");
}

TEST(SharedResultCursor, TypesBelongToTheCurrentRowsCell)
{
    auto pCursor = CursorOver(EveryKindTable());
    ASSERT_NE(pCursor, nullptr);
    ASSERT_EQ(pCursor->MoveNext(), 0);
    ASSERT_EQ(pCursor->MoveNext(), 0);
    EXPECT_EQ(pCursor->GetColumnType(0), ISQLiteCursor::COLUMN_TYPE_TEXT);
    EXPECT_EQ(pCursor->GetColumnType(1), ISQLiteCursor::COLUMN_TYPE_TEXT);
    EXPECT_EQ(pCursor->GetColumnType(2), ISQLiteCursor::COLUMN_TYPE_DOUBLE);
    EXPECT_EQ(pCursor->GetColumnType(3), ISQLiteCursor::COLUMN_TYPE_INT);
    EXPECT_EQ(pCursor->GetColumnType(9), ISQLiteCursor::COLUMN_TYPE_INT64);
    EXPECT_EQ(StringAt(*pCursor, 4), std::string("a\0b", 3));
}

TEST(SharedResultCursor, GettersOfAnotherKindFailAndLeaveTheValue)
{
    auto pCursor = CursorOver(EveryKindTable());
    ASSERT_NE(pCursor, nullptr);
    ASSERT_EQ(pCursor->MoveNext(), 0);
    int iValue = 77;
    long long llValue = 77;
    double dValue = 77.0;
    EXPECT_EQ(pCursor->GetDouble(0, dValue), -1);  // integer
    EXPECT_EQ(pCursor->GetInt(6, iValue), -1);     // double
    EXPECT_EQ(pCursor->GetInt64(6, llValue), -1);  // double
    EXPECT_EQ(pCursor->GetInt(8, iValue), -1);     // text
    EXPECT_EQ(pCursor->GetInt64(9, llValue), -1);  // NULL
    EXPECT_EQ(pCursor->GetDouble(9, dValue), -1);  // NULL
    EXPECT_EQ(iValue, 77);
    EXPECT_EQ(llValue, 77);
    EXPECT_EQ(dValue, 77.0);
}

TEST(SharedResultCursor, GetStringGivesTheDecimalTextOfNumbers)
{
    auto pCursor = CursorOver(EveryKindTable());
    ASSERT_NE(pCursor, nullptr);
    ASSERT_EQ(pCursor->MoveNext(), 0);
    EXPECT_EQ(StringAt(*pCursor, 2), "-2147483648");
    EXPECT_EQ(StringAt(*pCursor, 4), "4294967297");
    EXPECT_EQ(StringAt(*pCursor, 5), "-9000000000000000000");
    EXPECT_EQ(StringAt(*pCursor, 6), "2.5");
    ASSERT_EQ(pCursor->MoveNext(), 0);
    EXPECT_EQ(StringAt(*pCursor, 7), "3.0");  // a whole double still reads as a double
    EXPECT_EQ(StringAt(*pCursor, 2), "-0.25");
}

TEST(SharedResultCursor, ColumnPastTheLastHasNoTypeNameOrValue)
{
    auto pCursor = CursorOver(EveryKindTable());
    ASSERT_NE(pCursor, nullptr);
    ASSERT_EQ(pCursor->MoveNext(), 0);
    const int iPast = pCursor->GetColumnCount();
    EXPECT_EQ(iPast, 10);
    for (int iColumn : {iPast, iPast + 1, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        SCOPED_TRACE(iColumn);
        EXPECT_EQ(pCursor->GetColumnType(iColumn), ISQLiteCursor::COLUMN_TYPE_INVALID);
        EXPECT_EQ(pCursor->GetColumnName(iColumn), "");
        std::string sValue = "untouched";
        long long llValue = 5;
        EXPECT_EQ(pCursor->GetString(iColumn, sValue), -1);
        EXPECT_EQ(pCursor->GetInt64(iColumn, llValue), -1);
        EXPECT_EQ(sValue, "untouched");
        EXPECT_EQ(llValue, 5);
    }
    EXPECT_EQ(pCursor->GetColumnName(iPast - 1), "nothing");
}

TEST(SharedResultCursor, ColumnIndexFindsNamesAndRefusesUnknownOnes)
{
    auto pCursor = CursorOver(EveryKindTable());
    ASSERT_NE(pCursor, nullptr);
    EXPECT_EQ(pCursor->GetColumnIndex("zero"), 0);
    EXPECT_EQ(pCursor->GetColumnIndex("real"), 6);
    EXPECT_EQ(pCursor->GetColumnIndex("nothing"), 9);
    EXPECT_EQ(pCursor->GetColumnIndex("Zero"), -1);
    EXPECT_EQ(pCursor->GetColumnIndex(""), -1);
    EXPECT_EQ(pCursor->GetColumnIndex("missing"), -1);
}

TEST(SharedResultCursor, NoRowIsCurrentBeforeTheFirstMoveNext)
{
    auto pCursor = CursorOver(EveryKindTable());
    ASSERT_NE(pCursor, nullptr);
    EXPECT_EQ(pCursor->GetRowCount(), 2);
    EXPECT_EQ(pCursor->GetColumnType(0), ISQLiteCursor::COLUMN_TYPE_INVALID);
    int iValue = 9;
    EXPECT_EQ(pCursor->GetInt(0, iValue), -1);
    EXPECT_EQ(iValue, 9);
    EXPECT_EQ(pCursor->GetColumnName(0), "zero");  // names do not need a row
}

TEST(SharedResultCursor, MoveNextStopsPastTheLastRowAndStaysThere)
{
    auto pCursor = CursorOver(EveryKindTable());
    ASSERT_NE(pCursor, nullptr);
    EXPECT_EQ(pCursor->MoveNext(), 0);
    EXPECT_EQ(pCursor->MoveNext(), 0);
    EXPECT_NE(pCursor->MoveNext(), 0);
    EXPECT_NE(pCursor->MoveNext(), 0);
    int iValue = 9;
    EXPECT_EQ(pCursor->GetInt(3, iValue), -1);
    EXPECT_EQ(iValue, 9);
    EXPECT_EQ(pCursor->GetColumnType(0), ISQLiteCursor::COLUMN_TYPE_INVALID);
}

TEST(SharedResultCursor, ResetStartsBeforeTheFirstRowAgain)
{
    auto pCursor = CursorOver(EveryKindTable());
    ASSERT_NE(pCursor, nullptr);
    while (pCursor->MoveNext() == 0) {
    }
    pCursor->Reset();
    EXPECT_EQ(pCursor->GetColumnType(0), ISQLiteCursor::COLUMN_TYPE_INVALID);
    ASSERT_EQ(pCursor->MoveNext(), 0);
    int iValue = 9;
    EXPECT_EQ(pCursor->GetInt(1, iValue), 0);
    EXPECT_EQ(iValue, std::numeric_limits<int>::max());
    // Reset in the middle goes back to the first row, too.
    ASSERT_EQ(pCursor->MoveNext(), 0);
    pCursor->Reset();
    ASSERT_EQ(pCursor->MoveNext(), 0);
    EXPECT_EQ(pCursor->GetColumnType(0), ISQLiteCursor::COLUMN_TYPE_INT);
}

TEST(SharedResultCursor, EmptyResultHasColumnsButNoRows)
{
    CResultTable table;
    table.vecColumns = {"a", "b"};
    auto pCursor = CursorOver(table);
    ASSERT_NE(pCursor, nullptr);
    EXPECT_EQ(pCursor->GetRowCount(), 0);
    EXPECT_EQ(pCursor->GetColumnCount(), 2);
    EXPECT_EQ(pCursor->GetColumnName(1), "b");
    EXPECT_NE(pCursor->MoveNext(), 0);
    EXPECT_EQ(pCursor->GetColumnType(0), ISQLiteCursor::COLUMN_TYPE_INVALID);
    pCursor->Reset();
    EXPECT_NE(pCursor->MoveNext(), 0);
}

TEST(SharedResultCursor, TableWithoutColumnsOrRowsIsValid)
{
    auto pCursor = CursorOver(CResultTable());
    ASSERT_NE(pCursor, nullptr);
    EXPECT_EQ(pCursor->GetRowCount(), 0);
    EXPECT_EQ(pCursor->GetColumnCount(), 0);
    EXPECT_NE(pCursor->MoveNext(), 0);
    EXPECT_EQ(pCursor->GetColumnName(0), "");
}

TEST(SharedResultCursor, GetStringOfADoubleIsTheShortestTextThatReadsBack)
{
    CResultTable table;
    table.vecColumns = {"tenth", "huge", "negative_zero", "third"};
    table.vecRows.push_back({Real(0.1), Real(1e100), Real(-0.0), Real(1.0 / 3.0)});
    auto pCursor = CursorOver(table);
    ASSERT_NE(pCursor, nullptr);
    ASSERT_EQ(pCursor->MoveNext(), 0);
    EXPECT_EQ(StringAt(*pCursor, 0), "0.1");
    EXPECT_EQ(StringAt(*pCursor, 1), "1e+100");
    EXPECT_EQ(StringAt(*pCursor, 2), "-0.0");
    EXPECT_EQ(std::stod(StringAt(*pCursor, 3)), 1.0 / 3.0);
}
