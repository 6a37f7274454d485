// Publishes that must not change the store, and the recovery of a store that cannot be read.
#include "PublishFixture.h"

namespace {
std::string TilesDocument(int iTiles)
{
    Json::Value root;
    Json::Value section;
    section["section_id"] = 1;
    section["section_title"] = "Everything";
    for (int i = 0; i < iTiles; ++i) {
        Json::Value tile;
        tile["tile_title"] = "Tile " + std::to_string(i);
        tile["tile_position"] = i;
        section["tiles"].append(tile);
    }
    root["sections"].append(section);
    return Json::FastWriter().write(root);
}

// Rows written straight into the database file, as an older store might have left them.
void WriteOrphans(const std::string& sDatabase, const std::string& sModule)
{
    sqlite3* pDb = nullptr;
    ASSERT_EQ(sqlite3_open(sDatabase.c_str(), &pDb), SQLITE_OK);
    sqlite3_busy_timeout(pDb, 5000);
    const std::string sSql = "INSERT INTO sections (_id, section_title, module_name) VALUES (900, 'orphan', '" +
                             sModule + "'); INSERT INTO tiles (tile_title, tile_section_raw_id, module_name) "
                             "VALUES ('orphan tile', 900, '" + sModule + "');";
    char* sError = nullptr;
    EXPECT_EQ(sqlite3_exec(pDb, sSql.c_str(), nullptr, nullptr, &sError), SQLITE_OK) << (sError ? sError : "");
    sqlite3_free(sError);
    sqlite3_close(pDb);
}
}  // namespace

TEST_F(PublishTest, DocumentWithTooManyTilesChangesNothing)
{
    ASSERT_EQ(set_preview_metadata(Example("first.json").c_str(), kModule), 1);
    RequestsSinceLastLook();
    const std::string sTooMany = TilesDocument(201);
    EXPECT_EQ(set_preview_metadata(sTooMany.c_str(), kModule), 0);
    auto mapRequests = RequestsSinceLastLook();
    EXPECT_TRUE(mapRequests.empty()) << mapRequests.begin()->first;
    EXPECT_EQ(CountRows("sections"), 3);
    EXPECT_EQ(CountRows("tiles"), 7);
    // Exactly at the limit is fine.
    EXPECT_EQ(set_preview_metadata(TilesDocument(200).c_str(), kModule), 1);
    EXPECT_EQ(CountRows("tiles"), 200);
}

TEST_F(PublishTest, ModuleWithoutAcceleratorRowGetsZeroAndItsStoredRowsCleared)
{
    const char* sStranger = "org.example.unregistered";
    WriteOrphans(m_options.sDatabase, sStranger);
    ASSERT_EQ(CountRows("sections", "module_name = 'org.example.unregistered'"), 1);
    EXPECT_EQ(set_preview_metadata(Example("first.json").c_str(), sStranger), 0);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, sAcceleratorRawID is empty."));
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, std::string("ERROR, CGetMetaDataFromDB failed. Clear all tiles of ") + sStranger));
    EXPECT_EQ(CountRows("sections", "module_name = 'org.example.unregistered'"), 0);
    EXPECT_EQ(CountRows("tiles", "module_name = 'org.example.unregistered'"), 0);
    // The registered module next door is untouched.
    EXPECT_EQ(CountRows("accelerators"), 1);
}

TEST_F(PublishTest, DocumentThatDoesNotParseLeavesTheStoreAlone)
{
    ASSERT_EQ(set_preview_metadata(Example("first.json").c_str(), kModule), 1);
    RequestsSinceLastLook();
    EXPECT_EQ(set_preview_metadata("{\"sections\": [", kModule), 0);
    EXPECT_EQ(set_preview_metadata("", kModule), 0);
    auto mapRequests = RequestsSinceLastLook();
    EXPECT_EQ(mapRequests["delete"], 0);
    EXPECT_EQ(mapRequests["insert"], 0);
    EXPECT_EQ(mapRequests["update"], 0);
    EXPECT_EQ(CountRows("tiles"), 7);
}

TEST_F(PublishTest, BlankPaddedEmptyObjectIsAPublishOfNoSectionsNotAWithdrawal)
{
    ASSERT_EQ(set_preview_metadata(Example("first.json").c_str(), kModule), 1);
    RequestsSinceLastLook();
    EXPECT_EQ(set_preview_metadata(" {} ", kModule), 1);
    EXPECT_FALSE(m_log.Has(DLOG_DEBUG, "json str is '{}'."));
    auto mapRequests = RequestsSinceLastLook();
    // The stored sections are all gone from the document: one delete of sections, which the
    // store carries on to their tiles; the tile delete of a withdrawal is not sent.
    EXPECT_EQ(mapRequests["delete"], 1);
    EXPECT_EQ(mapRequests["select"], 6);
    EXPECT_EQ(CountRows("sections"), 0);
    EXPECT_EQ(CountRows("tiles"), 0);
    EXPECT_EQ(CountRows("accelerators"), 1);
}

TEST_F(PublishTest, EmptyModuleNameFailsWithoutARequest)
{
    RequestsSinceLastLook();
    EXPECT_EQ(set_preview_metadata(Example("first.json").c_str(), ""), 0);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR: module name is empty"));
    EXPECT_TRUE(RequestsSinceLastLook().empty());
}

TEST_F(PublishTest, NullArgumentsRaiseTheStandardLogicError)
{
    EXPECT_THROW(set_preview_metadata(nullptr, kModule), std::logic_error);
    EXPECT_THROW(set_preview_metadata("{}", nullptr), std::logic_error);
}

TEST_F(PublishTest, ANullDocumentRaisesTheSameErrorTextAsANullModuleName)
{
    // The module name's error comes from making a string of it; the document's must read the same.
    RequestsSinceLastLook();
    std::string sModuleError, sDocumentError;
    try {
        set_preview_metadata("{}", nullptr);
    } catch (const std::logic_error& e) {
        sModuleError = e.what();
    }
    try {
        set_preview_metadata(nullptr, kModule);
    } catch (const std::logic_error& e) {
        sDocumentError = e.what();
    }
    EXPECT_FALSE(sModuleError.empty());
    EXPECT_EQ(sDocumentError, sModuleError);
    EXPECT_TRUE(RequestsSinceLastLook().empty());
}
