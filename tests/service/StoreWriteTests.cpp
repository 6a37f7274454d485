// insert, insert_bulk and update as the library sends them.
#include <sys/stat.h>

#include "StoreTestSupport.h"

namespace {
// A tile row as a bulk request carries it: the table is named once, by the request.
Json::Value BulkTileRow(long long llSection, const std::string& sTitle)
{
    Json::Value row;
    row["tile_title"] = sTitle;
    row["tile_section_raw_id"] = std::to_string(llSection);
    return row;
}

Json::Value BulkOf(const std::string& sUri, const Json::Value& rows)
{
    Json::Value envelope;
    envelope["table_name"] = sUri;
    envelope["arrayitem"] = rows;
    return envelope;
}
}  // namespace

class StoreInsert : public CStoreFixture {
protected:
    // A row of the table with the given columns, as the library's insert sends it.
    static Json::Value Row(const std::string& sUri, std::initializer_list<std::pair<const char*, Json::Value>> columns)
    {
        Json::Value row;
        row["table_name"] = sUri;
        for (const auto& column : columns) row[column.first] = column.second;
        return row;
    }

    // Inserts the row as org.example.app, expecting a refusal that stores nothing at all; the
    // reply, for its reason.
    CStoreReply InsertRefused(const Json::Value& row)
    {
        const CStoreReply reply = Call("insert", "org.example.app", row);
        EXPECT_FALSE(reply.bResult);
        EXPECT_EQ(Counts(), (CRowCounts{0, 0, 0}));
        return reply;
    }
};
using StoreInsertBulk = CStoreFixture;
using StoreUpdate = CStoreFixture;

TEST_F(StoreInsert, AnswersTheNewRowIdAndIgnoresAClientChosenId)
{
    Json::Value row;
    row["table_name"] = StoreUris::kAccelerators;
    row["_id"] = "999";
    row["accelerator_title"] = "First";
    const CStoreReply reply = Call("insert", "org.example.app", row);
    ASSERT_TRUE(reply.bResult) << reply.sOutput;
    EXPECT_EQ(reply.sOutput, "1");
    EXPECT_EQ(reply.llRows, 1);
    EXPECT_EQ(AddAccelerator("org.example.app"), 2);
}

TEST_F(StoreInsert, AcceleratorPackageNameIsForcedToTheModule)
{
    Json::Value row;
    row["table_name"] = StoreUris::kAccelerators;
    row["app_pkg_name"] = "org.someone.else";
    ASSERT_TRUE(Call("insert", "org.example.app", row).bResult);
    Json::Value envelope = Envelope(StoreUris::kAccelerators);
    envelope["column_list"].append("app_pkg_name");
    const CResultTable* pTable = Select("org.example.app", envelope);
    ASSERT_NE(pTable, nullptr);
    ASSERT_EQ(pTable->vecRows.size(), 1u);
    EXPECT_EQ(pTable->vecRows[0][0].sText, "org.example.app");
    EXPECT_EQ(Select("org.someone.else", envelope)->vecRows.size(), 0u);
}

TEST_F(StoreInsert, RowNamingTheModuleColumnIsRefused)
{
    const CStoreReply reply = InsertRefused(Row(StoreUris::kTiles, {{"module_name", "org.other"}}));
    EXPECT_NE(reply.sOutput.find("module_name"), std::string::npos) << reply.sOutput;
}

TEST_F(StoreInsert, UnknownColumnIsRefusedAndNothingIsStored)
{
    const CStoreReply reply = InsertRefused(Row(StoreUris::kTiles, {{"tile_title", "ok"}, {"tile_colour", "red"}}));
    EXPECT_EQ(reply.sOutput, "unknown column 'tile_colour' of table tiles");
}

TEST_F(StoreInsert, ObjectOrArrayValueIsRefused)
{
    Json::Value object;
    object["nested"] = 1;
    InsertRefused(Row(StoreUris::kTiles, {{"tile_extra", object}}));
    InsertRefused(Row(StoreUris::kTiles, {{"tile_extra", Json::Value(Json::arrayValue)}}));
}

TEST_F(StoreInsert, UnknownOrMissingTableIsRefused)
{
    EXPECT_EQ(InsertRefused(Row("content://org.orvik.pelmo/users", {})).sOutput,
              "unknown table_name 'content://org.orvik.pelmo/users'");
    Json::Value row;
    row["tile_title"] = "x";
    EXPECT_EQ(InsertRefused(row).sOutput, "table_name missing");
}

TEST_F(StoreInsert, SectionNamingAMissingAcceleratorIsRefused)
{
    const CStoreReply reply = InsertRefused(Row(StoreUris::kSections, {{"section_accelerator_raw_id", "42"}}));
    EXPECT_NE(reply.sOutput.find("not a row of this module's accelerators"), std::string::npos) << reply.sOutput;
}

TEST_F(StoreInsert, SectionNamingItsModulesAcceleratorIsStored)
{
    const long long llAccelerator = AddAccelerator("org.example.app");
    const long long llSection = AddSection("org.example.app", llAccelerator);
    EXPECT_GT(llSection, 0);
    EXPECT_GT(AddTile("org.example.app", llSection), 0);
    EXPECT_EQ(Counts(), (CRowCounts{1, 1, 1}));
}

TEST_F(StoreInsertBulk, StoresAllRowsAndAnswersTheLastId)
{
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    Json::Value rows(Json::arrayValue);
    for (int i = 0; i < 5; ++i) rows.append(BulkTileRow(llSection, "tile " + std::to_string(i)));
    const CStoreReply reply = Call("insert_bulk", "org.example.app", BulkOf(StoreUris::kTiles, rows));
    ASSERT_TRUE(reply.bResult) << reply.sOutput;
    EXPECT_EQ(reply.sOutput, "5");
    EXPECT_EQ(reply.llRows, 5);
    EXPECT_EQ(Counts().llTiles, 5);
}

TEST_F(StoreInsertBulk, BadLastRowLeavesNoRow)
{
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    Json::Value rows(Json::arrayValue);
    for (int i = 0; i < 4; ++i) rows.append(BulkTileRow(llSection, "tile " + std::to_string(i)));
    Json::Value bad = BulkTileRow(llSection, "bad");
    bad["no_such_column"] = "x";
    rows.append(bad);
    const CStoreReply reply = Call("insert_bulk", "org.example.app", BulkOf(StoreUris::kTiles, rows));
    EXPECT_FALSE(reply.bResult);
    EXPECT_EQ(reply.sOutput, "row 4: unknown column 'no_such_column' of table tiles");
    EXPECT_EQ(Counts().llTiles, 0);
    // The ids the rolled-back rows would have had are free again.
    EXPECT_EQ(AddTile("org.example.app", llSection), 1);
}

TEST_F(StoreInsertBulk, LastRowWithAForeignParentLeavesNoRow)
{
    const long long llMine = AddSection("org.example.app", AddAccelerator("org.example.app"));
    const long long llTheirs = AddSection("org.other.app", AddAccelerator("org.other.app"));
    Json::Value rows(Json::arrayValue);
    rows.append(BulkTileRow(llMine, "mine"));
    rows.append(BulkTileRow(llTheirs, "theirs"));
    EXPECT_FALSE(Call("insert_bulk", "org.example.app", BulkOf(StoreUris::kTiles, rows)).bResult);
    EXPECT_EQ(Counts().llTiles, 0);
}

TEST_F(StoreInsertBulk, EmptyArrayIsRefused)
{
    const CStoreReply reply =
        Call("insert_bulk", "org.example.app", BulkOf(StoreUris::kTiles, Json::Value(Json::arrayValue)));
    EXPECT_FALSE(reply.bResult);
    EXPECT_EQ(reply.sOutput, "insert_bulk: arrayitem has no rows");
}

TEST_F(StoreInsertBulk, RowThatIsNotAnObjectIsRefused)
{
    Json::Value rows(Json::arrayValue);
    rows.append("tile");
    EXPECT_FALSE(Call("insert_bulk", "org.example.app", BulkOf(StoreUris::kTiles, rows)).bResult);
    EXPECT_EQ(Counts().llTiles, 0);
}

TEST_F(StoreUpdate, ChangesTheNamedColumnsOfTheModulesRows)
{
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    const long long llTile = AddTile("org.example.app", llSection, "old");
    const CStoreReply reply =
        Call("update", "org.example.app",
             UpdateOfOneRow(StoreUris::kTiles, llTile, {{"tile_title", "new"}, {"tile_position", "3"}}));
    ASSERT_TRUE(reply.bResult) << reply.sOutput;
    EXPECT_EQ(reply.sOutput, "");
    Json::Value envelope = Envelope(StoreUris::kTiles, "_id = ?", {std::to_string(llTile)});
    envelope["column_list"].append("tile_title");
    envelope["column_list"].append("tile_position");
    envelope["column_list"].append("tile_section_raw_id");
    const CResultTable* pTable = Select("org.example.app", envelope);
    ASSERT_NE(pTable, nullptr);
    ASSERT_EQ(pTable->vecRows.size(), 1u);
    EXPECT_EQ(pTable->vecRows[0][0].sText, "new");
    EXPECT_EQ(pTable->vecRows[0][1].eKind, CResultCell::kInteger);
    EXPECT_EQ(pTable->vecRows[0][1].llValue, 3);
    EXPECT_EQ(pTable->vecRows[0][2].llValue, llSection);
}

TEST_F(StoreUpdate, MissingRowFailsTheWholeRequest)
{
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    const long long llTile = AddTile("org.example.app", llSection, "old");
    Json::Value rows(Json::arrayValue);
    Json::Value row;
    row["bulk_update_row_id_key"] = std::to_string(llTile);
    row["tile_title"] = "new";
    rows.append(row);
    row["bulk_update_row_id_key"] = "777";
    rows.append(row);
    const CStoreReply reply = Call("update", "org.example.app", BulkOf(StoreUris::kTiles, rows));
    EXPECT_FALSE(reply.bResult);
    EXPECT_EQ(reply.sOutput, "row 1: row 777 is not a row of this module's tiles");
    const CResultTable* pTable = Select("org.example.app", Envelope(StoreUris::kTiles, "tile_title = ?", {"old"}));
    ASSERT_NE(pTable, nullptr);
    EXPECT_EQ(pTable->vecRows.size(), 1u);
}

TEST_F(StoreUpdate, RowWithoutTheIdKeyOrWithABadIdIsRefused)
{
    AddAccelerator("org.example.app");
    Json::Value rows(Json::arrayValue);
    Json::Value row;
    row["accelerator_title"] = "x";
    rows.append(row);
    CStoreReply reply = Call("update", "org.example.app", BulkOf(StoreUris::kAccelerators, rows));
    EXPECT_FALSE(reply.bResult);
    EXPECT_EQ(reply.sOutput, "row 0: an update row needs bulk_update_row_id_key");
    rows[0]["bulk_update_row_id_key"] = "1 OR 1=1";
    reply = Call("update", "org.example.app", BulkOf(StoreUris::kAccelerators, rows));
    EXPECT_FALSE(reply.bResult);
    EXPECT_NE(reply.sOutput.find("is not a row id"), std::string::npos) << reply.sOutput;
}

TEST_F(StoreUpdate, RepointingToAMissingParentChangesNothing)
{
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    const long long llTile = AddTile("org.example.app", llSection);
    EXPECT_FALSE(
        Call("update", "org.example.app", UpdateOfOneRow(StoreUris::kTiles, llTile, {{"tile_section_raw_id", "5000"}}))
            .bResult);
    const CResultTable* pTable =
        Select("org.example.app", Envelope(StoreUris::kTiles, "tile_section_raw_id = ?", {std::to_string(llSection)}));
    ASSERT_NE(pTable, nullptr);
    EXPECT_EQ(pTable->vecRows.size(), 1u);
}

TEST_F(StoreUpdate, EmptyArrayChangesNothingAndSucceeds)
{
    const CStoreReply reply =
        Call("update", "org.example.app", BulkOf(StoreUris::kTiles, Json::Value(Json::arrayValue)));
    EXPECT_TRUE(reply.bResult) << reply.sOutput;
    EXPECT_EQ(reply.llRows, 0);
}

namespace {
long long FileSize(const std::string& sPath)
{
    struct stat info {};
    return stat(sPath.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : -1;
}
}  // namespace

// Apps republish the same preview again and again, and the library then rewrites every common
// tile with what it already holds (never its parent column). Such an update must not append to
// the write-ahead log: each commit that does waits for the disk.
TEST_F(StoreUpdate, RewritingARowWithItsOwnValuesWritesNothingToTheDatabaseFile)
{
    CTempDir dir;
    ASSERT_FALSE(dir.Path().empty());
    const std::string sPath = dir.Path() + "/store.db";
    Open(sPath);
    const long long llSection = AddSection("org.example.app", AddAccelerator("org.example.app"));
    const long long llTile = AddTile("org.example.app", llSection, "same");
    Json::Value row;
    row["bulk_update_row_id_key"] = std::to_string(llTile);
    row["tile_title"] = "same";
    Json::Value rows(Json::arrayValue);
    rows.append(row);

    const long long llWalBefore = FileSize(sPath + "-wal");
    ASSERT_GT(llWalBefore, 0);
    CStoreReply reply = Call("update", "org.example.app", BulkOf(StoreUris::kTiles, rows));
    ASSERT_TRUE(reply.bResult) << reply.sOutput;
    EXPECT_EQ(reply.llRows, 1);
    EXPECT_EQ(FileSize(sPath + "-wal"), llWalBefore);

    // The same request with another title does reach the file, and the row keeps its id and
    // stays findable through its parent.
    rows[0]["tile_title"] = "changed";
    reply = Call("update", "org.example.app", BulkOf(StoreUris::kTiles, rows));
    ASSERT_TRUE(reply.bResult) << reply.sOutput;
    EXPECT_GT(FileSize(sPath + "-wal"), llWalBefore);
    const CResultTable* pTable =
        Select("org.example.app", Envelope(StoreUris::kTiles, "tile_section_raw_id = ?", {std::to_string(llSection)}));
    ASSERT_NE(pTable, nullptr);
    ASSERT_EQ(pTable->vecRows.size(), 1u);
    EXPECT_EQ(pTable->vecRows[0][0].llValue, llTile);
}
