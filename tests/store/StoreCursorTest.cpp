// Values read back through the cursor keep the storage type the store gave them.
#include "StoreFixture.h"

namespace {
struct CTileRead {
    PT_CONSUMER_SELECT_OUT_PARAM out;
    int Column(const std::string& sName) const { return out.cursor->GetColumnIndex(sName); }
};
}  // namespace

TEST_F(StoreTest, CursorReportsIntegerWideIntegerDoubleTextAndNullAsTheirStorageTypes)
{
    const long long llSection = AddModuleWithSection("m");
    ASSERT_GT(llSection, 0);
    ASSERT_GT(Insert("{\"table_name\":\"content://org.orvik.pelmo/tiles\",\"tile_section_raw_id\":\"" +
                         std::to_string(llSection) +
                         "\",\"tile_position\":\"3\",\"tile_display_from\":\"4294967297\","
                         "\"tile_progress\":\"0.5\",\"tile_title\":\"title\",\"tile_image_width\":\"-7\"}",
                     "m"),
              0);
    CTileRead read;
    PT_CONSUMER_SELECT_IN_PARAM in = SelectTiles();
    in.column_list = {"tile_position", "tile_display_from", "tile_progress",
                      "tile_title",    "tile_subtitle",     "tile_image_width"};
    ASSERT_TRUE(select_request(in, read.out, "m")) << m_log.Dump();
    ASSERT_NE(read.out.cursor, nullptr);
    ISQLiteCursor& cursor = *read.out.cursor;
    ASSERT_EQ(cursor.MoveNext(), 0);

    int iValue = 0;
    EXPECT_EQ(cursor.GetColumnType(0), ISQLiteCursor::COLUMN_TYPE_INT);
    EXPECT_EQ(cursor.GetInt(0, iValue), 0);
    EXPECT_EQ(iValue, 3);

    long long llValue = 0;
    EXPECT_EQ(cursor.GetColumnType(1), ISQLiteCursor::COLUMN_TYPE_INT64);
    EXPECT_EQ(cursor.GetInt64(1, llValue), 0);
    EXPECT_EQ(llValue, 4294967297LL);

    double dValue = 0;
    EXPECT_EQ(cursor.GetColumnType(2), ISQLiteCursor::COLUMN_TYPE_DOUBLE);
    EXPECT_EQ(cursor.GetDouble(2, dValue), 0);
    EXPECT_DOUBLE_EQ(dValue, 0.5);

    std::string sValue;
    EXPECT_EQ(cursor.GetColumnType(3), ISQLiteCursor::COLUMN_TYPE_TEXT);
    EXPECT_EQ(cursor.GetString(3, sValue), 0);
    EXPECT_EQ(sValue, "title");

    // Never written: NULL, which reads as empty text.
    sValue = "before";
    EXPECT_EQ(cursor.GetColumnType(4), ISQLiteCursor::COLUMN_TYPE_TEXT);
    EXPECT_EQ(cursor.GetString(4, sValue), 0);
    EXPECT_EQ(sValue, "");

    EXPECT_EQ(cursor.GetColumnType(5), ISQLiteCursor::COLUMN_TYPE_INT);
    EXPECT_EQ(cursor.GetInt(5, iValue), 0);
    EXPECT_EQ(iValue, -7);

    // Past the last column.
    EXPECT_EQ(cursor.GetColumnType(6), ISQLiteCursor::COLUMN_TYPE_INVALID);
    EXPECT_EQ(cursor.GetColumnName(6), "");
    EXPECT_EQ(cursor.GetColumnType(-1), ISQLiteCursor::COLUMN_TYPE_INVALID);
    EXPECT_NE(cursor.MoveNext(), 0);
}

TEST_F(StoreTest, SelectWithoutColumnListReturnsEveryColumnButTheOwner)
{
    const long long llSection = AddModuleWithSection("m");
    ASSERT_GT(llSection, 0);
    PT_CONSUMER_SELECT_IN_PARAM in;
    in.table_name = "content://org.orvik.pelmo/sections";
    PT_CONSUMER_SELECT_OUT_PARAM out;
    ASSERT_TRUE(select_request(in, out, "m")) << m_log.Dump();
    ASSERT_NE(out.cursor, nullptr);
    std::vector<std::string> vecNames;
    for (int i = 0; i < out.cursor->GetColumnCount(); ++i) vecNames.push_back(out.cursor->GetColumnName(i));
    EXPECT_EQ(vecNames, (std::vector<std::string>{"_id", "section_id", "section_title", "section_position",
                                                  "section_accelerator_raw_id", "section_title_display_mode",
                                                  "section_subtitle_display_mode", "section_extra"}));
    ASSERT_EQ(out.cursor->MoveNext(), 0);
    long long llId = 0;
    int iId = 0;
    // Row ids are small here, so they come back as 32-bit integers.
    EXPECT_EQ(out.cursor->GetInt(0, iId), 0);
    EXPECT_EQ(out.cursor->GetInt64(0, llId), 0);
    EXPECT_EQ(iId, llSection);
    EXPECT_EQ(llId, llSection);
}
