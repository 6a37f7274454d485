// Copying a cursor's current row into a property map, for every storage kind the store reports.
#include <dlog.h>
#include <gtest/gtest.h>
#include <pelmo/TilesModel.h>

#include <vector>

#include "LogCapture.h"
#include "PreviewDataUtil.h"
#include "StoredRows.h"

using namespace readback;

namespace {
// A cursor whose columns report what the test says, including storage types the store never
// reports, and which counts what it is asked.
class CScriptedCursor : public ISQLiteCursor {
public:
    struct Column {
        int iType;
        std::string sName;
        bool bGetterFails = false;  // the getter returns -1 and leaves its output alone
        long long llValue = 0;
        double dValue = 0.0;
        std::string sText;
    };
    explicit CScriptedCursor(std::vector<Column> vecColumns) : m_vecColumns(std::move(vecColumns)) {}

    int GetRowCount() const override
    {
        Count();
        return 1;
    }
    int GetColumnCount() const override
    {
        Count();
        return static_cast<int>(m_vecColumns.size());
    }
    void Reset() override { Count(); }
    int MoveNext() override
    {
        Count();
        return 0;
    }
    int GetInt(int column, int& value) const override
    {
        Count();
        if (Failing(column)) return -1;
        value = static_cast<int>(m_vecColumns[column].llValue);
        return 0;
    }
    int GetInt64(int column, long long& value) const override
    {
        Count();
        if (Failing(column)) return -1;
        value = m_vecColumns[column].llValue;
        return 0;
    }
    int GetDouble(int column, double& value) const override
    {
        Count();
        if (Failing(column)) return -1;
        value = m_vecColumns[column].dValue;
        return 0;
    }
    int GetString(int column, std::string& value) const override
    {
        Count();
        if (Failing(column)) return -1;
        value = m_vecColumns[column].sText;
        return 0;
    }
    int GetColumnIndex(const std::string&) const override
    {
        Count();
        return -1;
    }
    int GetColumnType(int column) const override
    {
        Count();
        return InRange(column) ? m_vecColumns[column].iType : COLUMN_TYPE_INVALID;
    }
    std::string GetColumnName(int column) const override
    {
        Count();
        ++m_iNameCalls;
        return InRange(column) ? m_vecColumns[column].sName : std::string();
    }

    mutable int m_iCalls = 0;
    mutable int m_iNameCalls = 0;

private:
    void Count() const { ++m_iCalls; }
    bool InRange(int column) const { return column >= 0 && column < static_cast<int>(m_vecColumns.size()); }
    bool Failing(int column) const { return !InRange(column) || m_vecColumns[column].bGetterFails; }
    std::vector<Column> m_vecColumns;
};

// The row of a one-row table, with the cursor standing on it.
std::shared_ptr<ISQLiteCursor> OnFirstRow(const std::vector<std::string>& vecColumns, const StoredRow& row)
{
    std::shared_ptr<ISQLiteCursor> cursor = CursorOver(MakeTable(vecColumns, {row}));
    if (cursor) {
        EXPECT_EQ(cursor->MoveNext(), 0);
    }
    return cursor;
}

// The row's values as GetItemValues copies the first iCount columns into an empty map; the tests
// compare the whole map, so that no entry besides one for each column goes unnoticed.
PropertyMap ValuesOf(const std::shared_ptr<ISQLiteCursor>& cursor, int iCount)
{
    PropertyMap mapProperty;
    CPreviewDataUtil().GetItemValues(cursor, iCount, mapProperty);
    return mapProperty;
}
}  // namespace

TEST(RowValues, EachStorageKindGetsItsValueTypeAndText)
{
    auto cursor = OnFirstRow(
        {"small", "wide", "real", "text"},
        {{"small", Integer(42)}, {"wide", Integer(4294967297LL)}, {"real", Real(1.5)}, {"text", Text("hello")}});
    ASSERT_NE(cursor, nullptr);
    EXPECT_EQ(ValuesOf(cursor, 4), (PropertyMap{{"small", PropertyValue(JSON_VALUE_INT, "42")},
                                                {"wide", PropertyValue(JSON_VALUE_UINT, "4294967297")},
                                                {"real", PropertyValue(JSON_VALUE_DOUBLE, "1.5")},
                                                {"text", PropertyValue(JSON_VALUE_STRING, "hello")}}));
}

TEST(RowValues, NegativeIntegersKeepTheirSignInBothWidths)
{
    auto cursor = OnFirstRow({"a", "b"}, {{"a", Integer(-5)}, {"b", Integer(-4294967297LL)}});
    ASSERT_NE(cursor, nullptr);
    EXPECT_EQ(ValuesOf(cursor, 2), (PropertyMap{{"a", PropertyValue(JSON_VALUE_INT, "-5")},
                                                {"b", PropertyValue(JSON_VALUE_UINT, "-4294967297")}}));
}

TEST(RowValues, DoublesAreWrittenWithSixSignificantDigits)
{
    auto cursor = OnFirstRow(
        {"big", "small", "pi", "whole"},
        {{"big", Real(1234567.0)}, {"small", Real(0.0000123456789)}, {"pi", Real(3.14159265)}, {"whole", Real(2.0)}});
    ASSERT_NE(cursor, nullptr);
    EXPECT_EQ(ValuesOf(cursor, 4), (PropertyMap{{"big", PropertyValue(JSON_VALUE_DOUBLE, "1.23457e+06")},
                                                {"small", PropertyValue(JSON_VALUE_DOUBLE, "1.23457e-05")},
                                                {"pi", PropertyValue(JSON_VALUE_DOUBLE, "3.14159")},
                                                {"whole", PropertyValue(JSON_VALUE_DOUBLE, "2")}}));
}

TEST(RowValues, AnEmptyTextColumnSetsTheStringTypeAndEmptyText)
{
    auto cursor = OnFirstRow({TilesModel::Tiles::TILE_TITLE}, {{TilesModel::Tiles::TILE_TITLE, Text("")}});
    ASSERT_NE(cursor, nullptr);
    CPreviewTile tile;
    ASSERT_EQ(tile.m_mapProperty[TilesModel::Tiles::TILE_TITLE].first, JSON_VALUE_NONE);
    CPreviewDataUtil().GetItemValues(cursor, 1, tile.m_mapProperty);
    EXPECT_EQ(tile.m_mapProperty[TilesModel::Tiles::TILE_TITLE], PropertyValue(JSON_VALUE_STRING, ""));
}

TEST(RowValues, ANullColumnReadsAsEmptyText)
{
    auto cursor = OnFirstRow({"nothing"}, {{}});
    ASSERT_NE(cursor, nullptr);
    EXPECT_EQ(ValuesOf(cursor, 1), (PropertyMap{{"nothing", PropertyValue(JSON_VALUE_STRING, "")}}));
}

TEST(RowValues, EntriesTheRowDoesNotNameKeepTheirDefaults)
{
    using namespace TilesModel::Tiles;
    auto cursor = OnFirstRow({TILE_TITLE, TILE_POSITION}, {{TILE_TITLE, Text("News")}, {TILE_POSITION, Integer(3)}});
    ASSERT_NE(cursor, nullptr);
    CPreviewTile tile;
    const PropertyMap mapDefaults = tile.m_mapProperty;
    CPreviewDataUtil().GetItemValues(cursor, 2, tile.m_mapProperty);
    EXPECT_EQ(tile.m_mapProperty.size(), mapDefaults.size());
    for (const auto& entry : mapDefaults) {
        if (entry.first == TILE_TITLE || entry.first == TILE_POSITION) continue;
        EXPECT_EQ(tile.m_mapProperty[entry.first], entry.second) << entry.first;
    }
    EXPECT_EQ(tile.m_mapProperty[TILE_ACTION_TYPE],
              PropertyValue(JSON_VALUE_STRING, TileActionTypes::TILE_ACTION_APP_LAUNCH));
    EXPECT_EQ(tile.m_mapProperty[TILE_TITLE], PropertyValue(JSON_VALUE_STRING, "News"));
    EXPECT_EQ(tile.m_mapProperty[TILE_POSITION], PropertyValue(JSON_VALUE_INT, "3"));
}

TEST(RowValues, AColumnTheMapDidNotKnowIsAdded)
{
    auto cursor = OnFirstRow({"unknown_column"}, {{"unknown_column", Integer(7)}});
    ASSERT_NE(cursor, nullptr);
    CPreviewSection section;
    const size_t iBefore = section.m_mapProperty.size();
    CPreviewDataUtil().GetItemValues(cursor, 1, section.m_mapProperty);
    EXPECT_EQ(section.m_mapProperty.size(), iBefore + 1);
    EXPECT_EQ(section.m_mapProperty["unknown_column"], PropertyValue(JSON_VALUE_INT, "7"));
}

TEST(RowValues, EachColumnIsLoggedWithNameTypeAndText)
{
    CLogCapture log;
    auto cursor = OnFirstRow({"tile_title", "_id"}, {{"tile_title", Text("Hi")}, {"_id", Integer(4294967297LL)}});
    ASSERT_NE(cursor, nullptr);
    PropertyMap mapProperty;
    CPreviewDataUtil().GetItemValues(cursor, 2, mapProperty);
    EXPECT_TRUE(log.Has(DLOG_DEBUG, "ColumnName : tile_title, key : 4, value : Hi")) << log.Dump();
    EXPECT_TRUE(log.Has(DLOG_DEBUG, "ColumnName : _id, key : 2, value : 4294967297")) << log.Dump();
}

TEST(RowValues, AColumnCountOfZeroOrBelowTouchesNeitherCursorNorMap)
{
    CScriptedCursor* pScripted = new CScriptedCursor({{ISQLiteCursor::COLUMN_TYPE_TEXT, "a", false, 0, 0.0, "x"}});
    std::shared_ptr<ISQLiteCursor> cursor(pScripted);
    CPreviewTile tile;
    const PropertyMap mapBefore = tile.m_mapProperty;
    for (int iCount : {0, -1, -100}) {
        CPreviewDataUtil().GetItemValues(cursor, iCount, tile.m_mapProperty);
        EXPECT_EQ(pScripted->m_iCalls, 0) << iCount;
        EXPECT_EQ(tile.m_mapProperty, mapBefore) << iCount;
    }
}

TEST(RowValues, AnInvalidColumnTypeIsLoggedAtDebugAndSkipped)
{
    CLogCapture log;
    CScriptedCursor* pScripted = new CScriptedCursor({
        {ISQLiteCursor::COLUMN_TYPE_TEXT, "first", false, 0, 0.0, "one"},
        {7, "odd", false, 0, 0.0, "never read"},
        {ISQLiteCursor::COLUMN_TYPE_INVALID, "gone", false, 0, 0.0, ""},
        {ISQLiteCursor::COLUMN_TYPE_INT, "last", false, 9, 0.0, ""},
    });
    std::shared_ptr<ISQLiteCursor> cursor(pScripted);
    PropertyMap mapProperty;
    mapProperty["odd"] = PropertyValue(JSON_VALUE_NONE, "kept");
    CPreviewDataUtil().GetItemValues(cursor, 4, mapProperty);
    EXPECT_EQ(mapProperty.size(), 3u);
    EXPECT_EQ(mapProperty["first"], PropertyValue(JSON_VALUE_STRING, "one"));
    EXPECT_EQ(mapProperty["odd"], PropertyValue(JSON_VALUE_NONE, "kept"));
    EXPECT_EQ(mapProperty.count("gone"), 0u);
    EXPECT_EQ(mapProperty["last"], PropertyValue(JSON_VALUE_INT, "9"));
    EXPECT_EQ(log.Count(DLOG_DEBUG, "ERROR, Invalid Column Type."), 2u) << log.Dump();
    EXPECT_TRUE(log.Bodies(DLOG_ERROR).empty()) << log.Dump();
    // The name is asked for valid columns only: three times each.
    EXPECT_EQ(pScripted->m_iNameCalls, 6);
}

TEST(RowValues, AColumnCountPastTheSelectedColumnsSkipsTheExtraIndex)
{
    CLogCapture log;
    auto cursor = OnFirstRow({"a", "b"}, {{"a", Text("x")}, {"b", Integer(1)}});
    ASSERT_NE(cursor, nullptr);
    PropertyMap mapProperty;
    CPreviewDataUtil().GetItemValues(cursor, 3, mapProperty);
    EXPECT_EQ(mapProperty.size(), 2u);
    EXPECT_EQ(mapProperty.count(""), 0u);
    EXPECT_EQ(log.Count(DLOG_DEBUG, "ERROR, Invalid Column Type."), 1u) << log.Dump();
}

TEST(RowValues, AGetterThatFailsLeavesZeroOrEmptyText)
{
    std::shared_ptr<ISQLiteCursor> cursor(new CScriptedCursor({
        {ISQLiteCursor::COLUMN_TYPE_INT, "i", true, 5, 0.0, ""},
        {ISQLiteCursor::COLUMN_TYPE_INT64, "l", true, 5, 0.0, ""},
        {ISQLiteCursor::COLUMN_TYPE_DOUBLE, "d", true, 0, 5.5, ""},
        {ISQLiteCursor::COLUMN_TYPE_TEXT, "s", true, 0, 0.0, "text"},
    }));
    EXPECT_EQ(ValuesOf(cursor, 4), (PropertyMap{{"i", PropertyValue(JSON_VALUE_INT, "0")},
                                                {"l", PropertyValue(JSON_VALUE_UINT, "0")},
                                                {"d", PropertyValue(JSON_VALUE_DOUBLE, "0")},
                                                {"s", PropertyValue(JSON_VALUE_STRING, "")}}));
}

TEST(RowValues, ScriptedStorageKindsMapToTheirValueTypes)
{
    std::shared_ptr<ISQLiteCursor> cursor(new CScriptedCursor({
        {ISQLiteCursor::COLUMN_TYPE_INT, "i", false, -12, 0.0, ""},
        {ISQLiteCursor::COLUMN_TYPE_INT64, "l", false, 4294967297LL, 0.0, ""},
        {ISQLiteCursor::COLUMN_TYPE_DOUBLE, "d", false, 0, 1234567.0, ""},
        {ISQLiteCursor::COLUMN_TYPE_TEXT, "s", false, 0, 0.0, "a b"},
    }));
    EXPECT_EQ(ValuesOf(cursor, 4), (PropertyMap{{"i", PropertyValue(JSON_VALUE_INT, "-12")},
                                                {"l", PropertyValue(JSON_VALUE_UINT, "4294967297")},
                                                {"d", PropertyValue(JSON_VALUE_DOUBLE, "1.23457e+06")},
                                                {"s", PropertyValue(JSON_VALUE_STRING, "a b")}}));
}
