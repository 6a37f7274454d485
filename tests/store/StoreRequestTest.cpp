// Every data request of the library, end to end through the real store.
#include "StoreFixture.h"

namespace {
const std::string kTiles = "content://org.orvik.pelmo/tiles";
const std::string kSections = "content://org.orvik.pelmo/sections";

std::string TileRow(long long llSection, const std::string& sTitle)
{
    return "{\"tile_title\":\"" + sTitle + "\",\"tile_section_raw_id\":\"" + std::to_string(llSection) + "\"}";
}

std::string Bulk(const std::string& sTable, const std::vector<std::string>& vecRows)
{
    std::string sText = "{\"table_name\":\"" + sTable + "\",\"arrayitem\":[";
    for (size_t i = 0; i < vecRows.size(); ++i) sText += (i ? "," : "") + vecRows[i];
    return sText + "]}";
}

std::vector<std::string> Titles(PT_CONSUMER_SELECT_OUT_PARAM& out)
{
    std::vector<std::string> vecTitles;
    const int iColumn = out.cursor->GetColumnIndex("tile_title");
    while (out.cursor->MoveNext() == 0) {
        std::string sTitle;
        out.cursor->GetString(iColumn, sTitle);
        vecTitles.push_back(sTitle);
    }
    return vecTitles;
}
}  // namespace

TEST_F(StoreTest, InsertStoresTheRowUnderTheModuleAndAnswersItsId)
{
    const long long llSection = AddModuleWithSection("org.example.a");
    ASSERT_GT(llSection, 0);
    const long long llTile =
        Insert("{\"table_name\":\"" + kTiles + "\",\"tile_title\":\"t\",\"tile_section_raw_id\":\"" +
                   std::to_string(llSection) + "\"}",
               "org.example.a");
    ASSERT_GT(llTile, 0);
    EXPECT_EQ(CountRows("tiles", "module_name = 'org.example.a' AND _id = " + std::to_string(llTile)), 1);
}

TEST_F(StoreTest, BulkInsertStoresEveryRowAndAnswersTheLastId)
{
    const long long llSection = AddModuleWithSection("m");
    PT_JSON_IN_PARAM param;
    param.data = Bulk(kTiles, {TileRow(llSection, "a"), TileRow(llSection, "b"), TileRow(llSection, "c")});
    long long llLast = -1;
    ASSERT_EQ(insert_request_for_bulk_data(param, &llLast, "m"), 0) << m_log.Dump();
    EXPECT_EQ(CountRows("tiles"), 3);
    EXPECT_EQ(CountRows("tiles", "_id = " + std::to_string(llLast) + " AND tile_title = 'c'"), 1);
}

TEST_F(StoreTest, BulkUpdateChangesTheNamedRowsOnly)
{
    const long long llSection = AddModuleWithSection("m");
    PT_JSON_IN_PARAM param;
    param.data = Bulk(kTiles, {TileRow(llSection, "a"), TileRow(llSection, "b")});
    long long llLast = -1;
    ASSERT_EQ(insert_request_for_bulk_data(param, &llLast, "m"), 0);
    PT_JSON_IN_PARAM update;
    update.data =
        Bulk(kTiles, {"{\"bulk_update_row_id_key\":\"" + std::to_string(llLast) + "\",\"tile_title\":\"changed\"}"});
    long long llOut = 0;
    ASSERT_EQ(update_request_for_bulk_data(update, &llOut, "m"), 0) << m_log.Dump();
    EXPECT_EQ(CountRows("tiles", "tile_title = 'changed'"), 1);
    EXPECT_EQ(CountRows("tiles", "tile_title = 'a'"), 1);
}

TEST_F(StoreTest, DeleteWithConditionRemovesMatchingRowsAndWithoutRemovesAllOfTheModule)
{
    const long long llSection = AddModuleWithSection("m");
    PT_JSON_IN_PARAM param;
    param.data = Bulk(kTiles, {TileRow(llSection, "a"), TileRow(llSection, "b"), TileRow(llSection, "c")});
    long long llLast = -1;
    ASSERT_EQ(insert_request_for_bulk_data(param, &llLast, "m"), 0);

    PT_JSON_IN_PARAM del;
    del.table_name = kTiles;
    del.data = "_id=? or _id=?";
    del.where_args = {std::to_string(llLast), std::to_string(llLast - 1)};
    ASSERT_EQ(delete_request(del, "m"), 0) << m_log.Dump();
    EXPECT_EQ(CountRows("tiles"), 1);

    PT_JSON_IN_PARAM all;
    all.table_name = kTiles;
    ASSERT_EQ(delete_request(all, "m"), 0);
    EXPECT_EQ(CountRows("tiles"), 0);
    // Nothing left to delete is still a success.
    EXPECT_EQ(delete_request(all, "m"), 0);
}

TEST_F(StoreTest, DeletingSectionsDeletesTheirTiles)
{
    const long long llSection = AddModuleWithSection("m");
    PT_JSON_IN_PARAM param;
    param.data = Bulk(kTiles, {TileRow(llSection, "a"), TileRow(llSection, "b")});
    long long llLast = -1;
    ASSERT_EQ(insert_request_for_bulk_data(param, &llLast, "m"), 0);
    PT_JSON_IN_PARAM del;
    del.table_name = kSections;
    del.data = "_id=?";
    del.where_args = {std::to_string(llSection)};
    ASSERT_EQ(delete_request(del, "m"), 0);
    EXPECT_EQ(CountRows("sections"), 0);
    EXPECT_EQ(CountRows("tiles"), 0);
    EXPECT_EQ(CountRows("accelerators"), 1);
}

TEST_F(StoreTest, SelectReturnsTheModulesRowsInTheAskedOrderAndColumns)
{
    const long long llSection = AddModuleWithSection("m");
    PT_JSON_IN_PARAM param;
    param.data = Bulk(kTiles, {"{\"tile_title\":\"b\",\"tile_position\":\"2\",\"tile_section_raw_id\":\"" +
                                   std::to_string(llSection) + "\"}",
                               "{\"tile_title\":\"a\",\"tile_position\":\"1\",\"tile_section_raw_id\":\"" +
                                   std::to_string(llSection) + "\"}"});
    long long llLast = -1;
    ASSERT_EQ(insert_request_for_bulk_data(param, &llLast, "m"), 0);

    PT_CONSUMER_SELECT_IN_PARAM in = SelectTiles("tile_section_raw_id = ?", {std::to_string(llSection)});
    in.order = "tile_position";
    in.column_list = {"tile_position", "tile_title"};
    PT_CONSUMER_SELECT_OUT_PARAM out;
    ASSERT_TRUE(select_request(in, out, "m")) << m_log.Dump();
    ASSERT_NE(out.cursor, nullptr);
    EXPECT_FALSE(out.req_id.empty());
    EXPECT_EQ(out.cursor->GetColumnCount(), 2);
    EXPECT_EQ(out.cursor->GetColumnName(0), "tile_position");
    EXPECT_EQ(out.cursor->GetColumnName(1), "tile_title");
    EXPECT_EQ(Titles(out), (std::vector<std::string>{"a", "b"}));

    in.order = "tile_position DESC";
    ASSERT_TRUE(select_request(in, out, "m"));
    EXPECT_EQ(Titles(out), (std::vector<std::string>{"b", "a"}));
}

TEST_F(StoreTest, SelectOfNothingGivesAnEmptyCursor)
{
    PT_CONSUMER_SELECT_IN_PARAM in = SelectTiles("tile_title = ?", {"none"});
    PT_CONSUMER_SELECT_OUT_PARAM out;
    ASSERT_TRUE(select_request(in, out, "m")) << m_log.Dump();
    ASSERT_NE(out.cursor, nullptr);
    EXPECT_EQ(out.cursor->GetRowCount(), 0);
    EXPECT_NE(out.cursor->MoveNext(), 0);
}

TEST_F(StoreTest, ControlRequestsAreAnsweredByTheStore)
{
    EXPECT_TRUE(start_preview_scheduler("org.example.a"));
    EXPECT_TRUE(stop_preview_scheduler("org.example.a"));
    setenv("PELMO_APP_ID", "Feltrix", 1);
    // Recorded and answered; the store never ends a process it did not start.
    EXPECT_TRUE(terminate_service_app("org.example.a", "999999"));
    const std::string sLog = ReadRequestLog();
    EXPECT_NE(sLog.find("start_preview_scheduler module=org.example.a ok"), std::string::npos) << sLog;
    EXPECT_NE(sLog.find("stop_preview_scheduler module=org.example.a ok"), std::string::npos) << sLog;
    EXPECT_NE(sLog.find("terminate_service module=org.example.a ok"), std::string::npos) << sLog;
}

TEST_F(StoreTest, EveryRequestIsOneLineOfTheRequestLog)
{
    const long long llSection = AddModuleWithSection("m");
    ASSERT_GT(llSection, 0);
    PT_JSON_IN_PARAM del;
    del.table_name = kTiles;
    ASSERT_EQ(delete_request(del, "m"), 0);
    const std::string sLog = ReadRequestLog();
    size_t uInserts = 0, uDeletes = 0;
    for (size_t pos = sLog.find("insert module=m ok"); pos != std::string::npos;
         pos = sLog.find("insert module=m ok", pos + 1)) {
        ++uInserts;
    }
    for (size_t pos = sLog.find("delete module=m ok"); pos != std::string::npos;
         pos = sLog.find("delete module=m ok", pos + 1)) {
        ++uDeletes;
    }
    EXPECT_EQ(uInserts, 2u) << sLog;
    EXPECT_EQ(uDeletes, 1u) << sLog;
}
