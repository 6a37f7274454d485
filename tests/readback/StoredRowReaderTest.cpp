// The loaders read a result's rows through one reader that asks the column names once per
// result; every row must come out as the per-row copy (GetItemValues) gives it, log lines too.
#include <dlog.h>
#include <gtest/gtest.h>
#include <pelmo/TilesModel.h>

#include <string>
#include <vector>

#include "LogCapture.h"
#include "PreviewDataUtil.h"
#include "PreviewStoredRowReader.h"
#include "StoredRows.h"

using namespace readback;

namespace {
struct PT_READ {
    std::vector<PropertyMap> vecMaps;
    std::vector<std::string> vecLog;
};

// Every row of the table into a fresh tile's map (or an empty map), by either way of reading,
// asking for iExtra columns more than the table has.
template <typename ReadRow>
PT_READ ReadAll(const CResultTable& table, bool bTileDefaults, int iExtra, ReadRow readRow)
{
    PT_READ read;
    std::shared_ptr<ISQLiteCursor> cursor = CursorOver(table);
    EXPECT_NE(cursor, nullptr);
    if (!cursor) return read;
    CLogCapture log;
    while (cursor->MoveNext() == 0) {
        PropertyMap mapProperty = bTileDefaults ? CPreviewTile().m_mapProperty : PropertyMap();
        readRow(cursor, static_cast<int>(table.vecColumns.size()) + iExtra, mapProperty);
        read.vecMaps.push_back(mapProperty);
    }
    for (const CLogLine& line : log.Lines()) read.vecLog.push_back(CLogCapture::Body(line.sMessage));
    return read;
}

void ExpectSameAsPerRowCopy(const CResultTable& table, bool bTileDefaults, int iExtra)
{
    const PT_READ perRow =
        ReadAll(table, bTileDefaults, iExtra,
                [](const std::shared_ptr<ISQLiteCursor>& cursor, int iCount, PropertyMap& mapProperty) {
                    CPreviewDataUtil().GetItemValues(cursor, iCount, mapProperty);
                });
    std::shared_ptr<CStoredRowReader> reader;
    const PT_READ byReader =
        ReadAll(table, bTileDefaults, iExtra,
                [&](const std::shared_ptr<ISQLiteCursor>& cursor, int iCount, PropertyMap& mapProperty) {
                    if (!reader) reader = std::make_shared<CStoredRowReader>(*cursor);
                    reader->GetItemValues(iCount, mapProperty);
                });
    EXPECT_EQ(byReader.vecMaps, perRow.vecMaps);
    EXPECT_EQ(byReader.vecLog, perRow.vecLog);
    EXPECT_EQ(perRow.vecMaps.size(), table.vecRows.size());
}
}  // namespace

TEST(StoredRowReader, TileRowsInTheMapsKeyOrderComeOutAsThePerRowCopy)
{
    using namespace TilesModel::Tiles;
    const std::vector<std::string> vecColumns = {_ID, TILE_ACTION_PLAY, TILE_IMAGE_URL, TILE_POSITION, TILE_TITLE};
    std::vector<StoredRow> vecRows;
    for (int i = 0; i < 5; ++i) {
        vecRows.push_back({{_ID, Integer(4294967297LL + i)},
                           {TILE_ACTION_PLAY, Text("app://play/" + std::to_string(i) + "?long=enough-to-allocate")},
                           {TILE_IMAGE_URL, i % 2 == 0 ? Text("") : Text("http://img/" + std::to_string(i))},
                           {TILE_POSITION, Integer(i)},
                           {TILE_TITLE, Real(i + 0.25)}});
    }
    ExpectSameAsPerRowCopy(MakeTable(vecColumns, vecRows), true, 0);
}

TEST(StoredRowReader, ColumnsOutOfOrderUnknownOrPastTheEndComeOutAsThePerRowCopy)
{
    using namespace TilesModel::Tiles;
    // Not in key order, a name the map does not know, a repeated name, and one index too many.
    const std::vector<std::string> vecColumns = {TILE_TITLE, "zz_unknown", _ID, TILE_TITLE, "a_first"};
    std::vector<StoredRow> vecRows;
    for (int i = 0; i < 4; ++i) {
        vecRows.push_back({{TILE_TITLE, Text("t" + std::to_string(i))},
                           {"zz_unknown", Integer(i)},
                           {_ID, Integer(100 + i)},
                           {"a_first", Text(std::string(i * 10, 'x'))}});
    }
    ExpectSameAsPerRowCopy(MakeTable(vecColumns, vecRows), true, 1);
    ExpectSameAsPerRowCopy(MakeTable(vecColumns, vecRows), false, 1);
}
