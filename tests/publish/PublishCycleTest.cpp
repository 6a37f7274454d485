// A module's life through the exported functions: first publish, the same again, a changed
// document, withdrawal.
#include <algorithm>

#include "PublishFixture.h"

TEST_F(PublishTest, FirstPublishStoresExactlyTheDocumentsSectionsAndTiles)
{
    const std::string sFirst = Example("first.json");
    RequestsSinceLastLook();
    ASSERT_EQ(set_preview_metadata(sFirst.c_str(), kModule), 1) << m_log.Dump();
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "update_json_str_to_preview_db finished"));
    // The log keeps a message on one line: the document's line feeds arrive as blanks.
    std::string sOneLine = sFirst;
    std::replace(sOneLine.begin(), sOneLine.end(), '\n', ' ');
    EXPECT_TRUE(m_log.Has(DLOG_INFO, std::string("sModuleName : ") + kModule + ", sJsonStr : " + sOneLine));
    EXPECT_EQ(CountRows("sections", "module_name = 'org.example.player'"), 3);
    EXPECT_EQ(CountRows("tiles", "module_name = 'org.example.player'"), 7);
    auto mapRequests = RequestsSinceLastLook();
    EXPECT_EQ(mapRequests["insert"], 3);       // one per section
    EXPECT_EQ(mapRequests["insert_bulk"], 3);  // each section's tiles
    EXPECT_EQ(mapRequests["delete"], 0);
    EXPECT_EQ(mapRequests["update"], 0);
    EXPECT_EQ(mapRequests["send_sync"], 1);

    Json::Value document;
    ASSERT_TRUE(Json::Reader().parse(sFirst, document));
    ExpectReadBackHolds(document, ReadBack());
}

TEST_F(PublishTest, SameDocumentAgainSendsOnlyOneUpdatePerSectionAndOnePerSectionsTiles)
{
    const std::string sFirst = Example("first.json");
    ASSERT_EQ(set_preview_metadata(sFirst.c_str(), kModule), 1);
    RequestsSinceLastLook();
    ASSERT_EQ(set_preview_metadata(sFirst.c_str(), kModule), 1) << m_log.Dump();
    auto mapRequests = RequestsSinceLastLook();
    EXPECT_EQ(mapRequests["insert"], 0);
    EXPECT_EQ(mapRequests["insert_bulk"], 0);
    EXPECT_EQ(mapRequests["delete"], 0);
    EXPECT_EQ(mapRequests["update"], 6);  // 3 sections: their tiles, then the section itself
    // Loading: accelerator, sections, the tiles of each section; then the accelerator's row id,
    // which the section step asks for even when no section is new.
    EXPECT_EQ(mapRequests["select"], 6);
    EXPECT_EQ(mapRequests["send_sync"], 1);
    EXPECT_EQ(CountRows("tiles"), 7);
}

TEST_F(PublishTest, ChangedDocumentSendsOnlyWhatTheChangesNeedAndReadsBackAsTheDocument)
{
    ASSERT_EQ(set_preview_metadata(Example("first.json").c_str(), kModule), 1);
    // Row ids of tiles that stay the same tile must survive: they are updated, not replaced.
    const long long llGlassValley = CountRows("tiles", "tile_title = 'Glass Valley'");
    ASSERT_EQ(llGlassValley, 1);
    RequestsSinceLastLook();

    const std::string sChanged = Example("changed.json");
    ASSERT_EQ(set_preview_metadata(sChanged.c_str(), kModule), 1) << m_log.Dump();
    auto mapRequests = RequestsSinceLastLook();
    // "New this week" goes (one section delete; its tiles go with it); in "Recommended" two
    // stored tiles go (one removed, one whose subtitle changed) in one tile delete.
    EXPECT_EQ(mapRequests["delete"], 2);
    // "Because you watched Night Trains" is new: its row, then its tiles in one bulk insert;
    // "Recommended" gets its two new tiles in one bulk insert.
    EXPECT_EQ(mapRequests["insert"], 1);
    EXPECT_EQ(mapRequests["insert_bulk"], 2);
    // Two sections stay: each gets one update of its tiles and one of its own row.
    EXPECT_EQ(mapRequests["update"], 4);
    EXPECT_EQ(mapRequests["send_sync"], 1);

    EXPECT_EQ(CountRows("sections"), 3);
    EXPECT_EQ(CountRows("tiles"), 7);
    EXPECT_EQ(CountRows("tiles", "tile_title = 'Glass Valley' AND tile_favorite = 1"), 1);
    EXPECT_EQ(CountRows("tiles", "tile_title = 'The Ninth Bridge'"), 0);
    EXPECT_EQ(CountRows("sections", "section_title = 'New this week'"), 0);

    Json::Value document;
    ASSERT_TRUE(Json::Reader().parse(sChanged, document));
    ExpectReadBackHolds(document, ReadBack());
}

TEST_F(PublishTest, WithdrawingLeavesTheAcceleratorRowAndNothingElse)
{
    ASSERT_EQ(set_preview_metadata(Example("first.json").c_str(), kModule), 1);
    RequestsSinceLastLook();
    ASSERT_EQ(set_preview_metadata("{}", kModule), 1);
    EXPECT_EQ(CountRows("accelerators"), 1);
    EXPECT_EQ(CountRows("sections"), 0);
    EXPECT_EQ(CountRows("tiles"), 0);
    auto mapRequests = RequestsSinceLastLook();
    EXPECT_EQ(mapRequests["delete"], 2);  // tiles first, then sections
    EXPECT_EQ(mapRequests["send_sync"], 1);
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "json str is '{}'."));

    // The read-back is the accelerator alone.
    const Json::Value readBack = ReadBack();
    EXPECT_FALSE(readBack.isMember("sections"));
    EXPECT_EQ(readBack["app_pkg_name"].asString(), kModule);
    EXPECT_EQ(readBack["accelerator_title"].asString(), "Player");
}

TEST_F(PublishTest, ReadBackIsJsonInTheDocumentsNestingAndAsksForTheSchedulerFirst)
{
    ASSERT_EQ(set_preview_metadata(Example("small.json").c_str(), kModule), 1);
    RequestsSinceLastLook();
    const Json::Value readBack = ReadBack();
    auto mapRequests = RequestsSinceLastLook();
    EXPECT_EQ(mapRequests["start_preview_scheduler"], 1);
    ASSERT_TRUE(readBack.isObject());
    ASSERT_EQ(readBack["sections"].size(), 1u);
    ASSERT_EQ(readBack["sections"][0]["tiles"].size(), 1u);
    Json::Value document;
    ASSERT_TRUE(Json::Reader().parse(Example("small.json"), document));
    ExpectReadBackHolds(document, readBack);
    const std::string sLog = ReadRequestLog();
    EXPECT_LT(sLog.rfind("start_preview_scheduler"), sLog.rfind("select")) << sLog;
}
