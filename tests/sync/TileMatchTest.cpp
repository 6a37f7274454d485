// Matching the tiles of a section that the store and the new document both have: which tiles
// are deleted, inserted and rewritten, and the one request each step sends.
#include <algorithm>
#include <utility>

#include "SyncFixture.h"

using namespace sync_test;

namespace {
const char* kStoredDoc = R"({"sections":[{"section_id":"s1","section_title":"News","tiles":[
    {"tile_title":"a","action_data":"play:a"},{"tile_title":"b","action_data":"play:b"},
    {"tile_title":"c","action_data":"play:c"}]}]})";

// The stored model with row ids, and its section, keys sorted.
struct CPair {
    CPreviewAccelerator stored;
    CPreviewAccelerator fresh;
    std::shared_ptr<CPreviewSection> pOld;
    std::shared_ptr<CPreviewSection> pNew;
};

CPair MakePair(const std::string& sStoredDoc, const std::string& sNewDoc)
{
    CPair pair;
    pair.stored = ParseDocument(sStoredDoc);
    AssignRowIds(pair.stored);
    pair.fresh = ParseDocument(sNewDoc);
    pair.pOld = pair.stored.m_vecSection.at(0);
    pair.pNew = pair.fresh.m_vecSection.at(0);
    SortTileKeys(*pair.pOld);
    SortTileKeys(*pair.pNew);
    return pair;
}

std::string DeleteEnvelope(const std::string& sWhere, const std::vector<std::string>& vecArgs)
{
    std::string sText = "{\n   \"group_by\" : \"\",\n   \"table_name\" : \"" + kTilesUri + "\",\n   \"where\" : \"" +
                        sWhere + "\",\n   \"where_args\" : [ ";
    for (size_t i = 0; i < vecArgs.size(); ++i) sText += (i ? ", \"" : "\"") + vecArgs[i] + "\"";
    return sText + " ]\n}\n";
}
}  // namespace

TEST_F(SyncTest, FindTileTakesTilesWithTheKeyOnceEachInListOrder)
{
    auto pSection = EmptySection(1);
    AddTile(*pSection, EmptyTile(5, "a"));
    AddTile(*pSection, EmptyTile(6, "b"));
    AddTile(*pSection, EmptyTile(5, "c"));
    std::vector<int> vecTaken(3, 0);
    auto pFirst = m_util.FindTile(pSection, 5, vecTaken);
    auto pSecond = m_util.FindTile(pSection, 5, vecTaken);
    auto pThird = m_util.FindTile(pSection, 5, vecTaken);
    ASSERT_TRUE(pFirst && pSecond);
    EXPECT_EQ(pFirst, pSection->m_vecTile[0]);
    EXPECT_EQ(pSecond, pSection->m_vecTile[2]);
    EXPECT_EQ(pThird, nullptr);
    EXPECT_EQ(vecTaken, (std::vector<int>{1, 0, 1}));
    EXPECT_EQ(m_util.FindTile(pSection, 7, vecTaken), nullptr);
}

TEST_F(SyncTest, FindTileNeverReturnsATileBeyondTheTakenList)
{
    auto pSection = EmptySection(1);
    AddTile(*pSection, EmptyTile(6));
    AddTile(*pSection, EmptyTile(5));
    std::vector<int> vecTaken(1, 0);
    EXPECT_EQ(m_util.FindTile(pSection, 5, vecTaken), nullptr);
    EXPECT_EQ(m_util.FindTile(nullptr, 5, vecTaken), nullptr);
}

TEST_F(SyncTest, EveryTileStepRefusesMissingSectionsWithoutARequest)
{
    auto pSection = EmptySection(1);
    m_util.DeleteExpiredTileItem(kModule, nullptr, pSection);
    m_util.CreateNewTileItem(kModule, pSection, nullptr);
    m_util.UpdateCommonTileItem(kModule, nullptr, nullptr);
    EXPECT_EQ(m_log.Count(DLOG_ERROR, "sections are NULL"), 3u);
    EXPECT_EQ(m_service.CallCount(), 0u);
}

TEST_F(SyncTest, ExpiredTilesGoInOneDeleteNamingTheirRowIdsInKeyOrder)
{
    CPair pair = MakePair(kStoredDoc, R"({"sections":[{"section_id":"s1","section_title":"News","tiles":[
        {"tile_title":"b","action_data":"play:b"}]}]})");
    m_util.DeleteExpiredTileItem(kModule, pair.pOld, pair.pNew);

    std::vector<std::pair<uint64_t, std::string>> vecExpired = {{TileTitled(*pair.pOld, "a")->m_hash, "101"},
                                                                {TileTitled(*pair.pOld, "c")->m_hash, "103"}};
    std::sort(vecExpired.begin(), vecExpired.end());
    const std::vector<std::string> vecIds = {vecExpired[0].second, vecExpired[1].second};

    const CRecordedCall call = OnlyCall("delete", kModule);
    EXPECT_EQ(call.sInput, DeleteEnvelope("_id=? or _id=?", vecIds));
    EXPECT_TRUE(m_log.Has(DLOG_INFO, kModule + ":1:Section:News: expired tile items size:2")) << m_log.Dump();
    const std::string sTitle0 = vecIds[0] == "101" ? "a" : "c";
    const std::string sTitle1 = vecIds[1] == "101" ? "a" : "c";
    EXPECT_TRUE(m_log.Has(DLOG_INFO, TileLine(1, vecExpired[0].first, vecIds[0], sTitle0)));
    EXPECT_TRUE(m_log.Has(DLOG_INFO, TileLine(2, vecExpired[1].first, vecIds[1], sTitle1)));
}

TEST_F(SyncTest, NoExpiredTileSendsNoDelete)
{
    CPair pair = MakePair(kStoredDoc, kStoredDoc);
    m_util.DeleteExpiredTileItem(kModule, pair.pOld, pair.pNew);
    EXPECT_EQ(m_service.CallCount(), 0u);
    EXPECT_TRUE(m_log.Has(DLOG_INFO, kModule + ":1:Section:News: expired tile items size:0"));
}

TEST_F(SyncTest, AFailedTileDeleteLogsEveryRowId)
{
    Refuse("delete");
    CPair pair = MakePair(kStoredDoc, R"({"sections":[{"section_id":"s1","section_title":"News"}]})");
    m_util.DeleteExpiredTileItem(kModule, pair.pOld, pair.pNew);
    ASSERT_EQ(m_service.CallCount(), 1u);
    EXPECT_EQ(WhereOf(Calls()[0]), "_id=? or _id=? or _id=?");
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "Error. failed to delete tile."));
    for (const char* sId : {"101 ", "102 ", "103 "}) EXPECT_TRUE(m_log.Has(DLOG_ERROR, sId)) << sId;
}

TEST_F(SyncTest, AnExpiredKeyWithoutAnUntakenTileIsNotMatchedAndAddsNoId)
{
    // The key list names the tile's key twice, the tile list holds it once.
    auto pOld = EmptySection(1, "1");
    AddTile(*pOld, EmptyTile(40, "401"));
    pOld->m_vecTileHash.push_back(40);
    auto pNew = EmptySection(1);
    m_util.DeleteExpiredTileItem(kModule, pOld, pNew);
    EXPECT_EQ(m_log.Count(DLOG_ERROR, "Error! Not matched"), 1u);
    ASSERT_EQ(m_service.CallCount(), 1u);
    EXPECT_EQ(WhereOf(Calls()[0]), "_id=?");
    EXPECT_EQ(WhereArgsOf(Calls()[0]), std::vector<std::string>{"401"});
}

TEST_F(SyncTest, NewTilesJoinTheStoredSectionRowInOneBulkInsert)
{
    CPair pair = MakePair(R"({"sections":[{"section_id":"s1","section_title":"News"}]})",
                          R"({"sections":[{"section_id":"s1","section_title":"News","tiles":[
                              {"tile_title":"n","action_data":"play:n"}]}]})");
    m_util.CreateNewTileItem(kModule, pair.pOld, pair.pNew);
    const CRecordedCall call = OnlyCall("insert_bulk", kModule);
    // The stream writer's default layout: tabs, " : " between name and value.
    EXPECT_EQ(call.sInput,
              "{\n\t\"arrayitem\" : \n\t[\n\t\t{\n"
              "\t\t\t\"tile_action_play\" : \"play:n\",\n"
              "\t\t\t\"tile_action_pre_play\" : \"{\\\"is_resumable\\\":false,\\\"video_url\\\":\\\"\\\"}\\n\",\n"
              "\t\t\t\"tile_action_type\" : \"app_launch\",\n"
              "\t\t\t\"tile_section_raw_id\" : \"1\",\n"
              "\t\t\t\"tile_title\" : \"n\"\n"
              "\t\t}\n\t],\n\t\"table_name\" : \"content://org.orvik.pelmo/tiles\"\n}");
    const uint64_t key = pair.pNew->m_vecTile[0]->m_hash;
    EXPECT_TRUE(m_log.Has(DLOG_INFO, kModule + ":1:Section:News: new tile items size:1")) << m_log.Dump();
    EXPECT_TRUE(m_log.Has(DLOG_INFO, TileLine(1, key, "", "n")));
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "IN"));
}

TEST_F(SyncTest, NoNewTileSendsNoInsert)
{
    CPair pair = MakePair(kStoredDoc, R"({"sections":[{"section_id":"s1","section_title":"News","tiles":[
        {"tile_title":"b","action_data":"play:b"}]}]})");
    m_util.CreateNewTileItem(kModule, pair.pOld, pair.pNew);
    EXPECT_EQ(m_service.CallCount(), 0u);
    EXPECT_TRUE(m_log.Has(DLOG_INFO, kModule + ":1:Section:News: new tile items size:0"));
}

TEST_F(SyncTest, ASectionWithAllTilesUnchangedSendsOneUpdateRowPerTile)
{
    CPair pair = MakePair(kStoredDoc, kStoredDoc);
    m_util.UpdateCommonTileItem(kModule, pair.pOld, pair.pNew);
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].sMethod, "update");
    Json::Value document = ParseJson(calls[0].sInput);
    EXPECT_EQ(document["table_name"].asString(), kTilesUri);
    ASSERT_EQ(document["arrayitem"].size(), 3u);
    std::vector<std::string> vecRowIds;
    for (const Json::Value& row : document["arrayitem"]) {
        vecRowIds.push_back(row["bulk_update_row_id_key"].asString());
        // Key columns are never rewritten for a common tile.
        EXPECT_FALSE(row.isMember("tile_title"));
        EXPECT_FALSE(row.isMember("tile_action_play"));
        EXPECT_EQ(row["tile_action_type"].asString(), "app_launch");
    }
    std::sort(vecRowIds.begin(), vecRowIds.end());
    EXPECT_EQ(vecRowIds, (std::vector<std::string>{"101", "102", "103"}));
    EXPECT_TRUE(m_log.Has(DLOG_INFO, kModule + ":1:Section:News: duplicated tile items size:3"));
    // Rows follow the ascending keys; the first one is the stored tile with the smallest key.
    const uint64_t firstKey = pair.pOld->m_vecTileHash[0];
    std::shared_ptr<CPreviewTile> pFirst;
    for (const auto& pTile : pair.pOld->m_vecTile) {
        if (pTile->m_hash == firstKey) pFirst = pTile;
    }
    ASSERT_TRUE(pFirst);
    const std::string sFirstId = pFirst->m_mapProperty[TilesModel::Tiles::_ID].second;
    EXPECT_EQ(document["arrayitem"][0]["bulk_update_row_id_key"].asString(), sFirstId);
    EXPECT_TRUE(m_log.Has(
        DLOG_INFO, TileLine(1, firstKey, sFirstId, pFirst->m_mapProperty[TilesModel::Tiles::TILE_TITLE].second)));
}

TEST_F(SyncTest, ACommonTileWithOnlyEmptyOrNullColumnsStillSendsItsRowId)
{
    auto pOld = EmptySection(1, "1");
    AddTile(*pOld, EmptyTile(40, "401"));
    auto pNew = EmptySection(1);
    auto pTile = EmptyTile(40);
    pTile->m_mapProperty[TilesModel::Tiles::TILE_TYPE].second = "null";
    pTile->m_mapProperty[TilesModel::Tiles::TILE_EXTRA].second = "null";
    AddTile(*pNew, pTile);
    m_util.UpdateCommonTileItem(kModule, pOld, pNew);
    ASSERT_EQ(m_service.CallCount(), 1u);
    EXPECT_EQ(Calls()[0].sInput,
              "{\n\t\"arrayitem\" : \n\t[\n\t\t{\n\t\t\t\"bulk_update_row_id_key\" : \"401\"\n\t\t}\n\t],\n"
              "\t\"table_name\" : \"content://org.orvik.pelmo/tiles\"\n}");
}

TEST_F(SyncTest, NoCommonPairSendsNoUpdate)
{
    // The key lists agree on a key that neither tile list holds.
    auto pOld = EmptySection(1, "1");
    pOld->m_vecTileHash.push_back(40);
    auto pNew = EmptySection(1);
    pNew->m_vecTileHash.push_back(40);
    m_util.UpdateCommonTileItem(kModule, pOld, pNew);
    EXPECT_EQ(m_service.CallCount(), 0u);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "Common data is not matched"));
    EXPECT_TRUE(m_log.Has(DLOG_INFO, kModule + ":1:Section:: duplicated tile items size:1"));
}

TEST_F(SyncTest, AFailedCommonTileUpdateIsLogged)
{
    Refuse("update");
    CPair pair = MakePair(kStoredDoc, kStoredDoc);
    m_util.UpdateCommonTileItem(kModule, pair.pOld, pair.pNew);
    EXPECT_EQ(m_service.CallCount(), 1u);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "Common tiles bulk update fail"));
}

TEST_F(SyncTest, TwoNewTilesWithOneStoredKeyInsertAndRewriteWithTheFirstOnly)
{
    CPair pair = MakePair(R"({"sections":[{"section_id":"s1","section_title":"News","tiles":[
                              {"tile_title":"k","action_data":"play:k","tile_type":"stored"}]}]})",
                          R"({"sections":[{"section_id":"s1","section_title":"News","tiles":[
                              {"tile_title":"k","action_data":"play:k","tile_type":"first"},
                              {"tile_title":"k","action_data":"play:k","tile_type":"second"}]}]})");
    m_util.DeleteExpiredTileItem(kModule, pair.pOld, pair.pNew);
    m_util.CreateNewTileItem(kModule, pair.pOld, pair.pNew);
    m_util.UpdateCommonTileItem(kModule, pair.pOld, pair.pNew);
    EXPECT_EQ(Methods(), (std::vector<std::string>{"insert_bulk", "update"}));
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 2u);
    Json::Value inserted = ParseJson(calls[0].sInput)["arrayitem"];
    ASSERT_EQ(inserted.size(), 1u);
    EXPECT_EQ(inserted[0]["tile_type"].asString(), "first");
    Json::Value updated = ParseJson(calls[1].sInput)["arrayitem"];
    ASSERT_EQ(updated.size(), 1u);
    EXPECT_EQ(updated[0]["bulk_update_row_id_key"].asString(), "101");
    EXPECT_EQ(updated[0]["tile_type"].asString(), "first");
    EXPECT_EQ(calls[0].sInput.find("second"), std::string::npos);
    EXPECT_EQ(calls[1].sInput.find("second"), std::string::npos);
}

TEST_F(SyncTest, TwoStoredTilesWithOneNewKeyDeleteAndRewriteTheFirstRow)
{
    CPair pair = MakePair(R"({"sections":[{"section_id":"s1","section_title":"News","tiles":[
                              {"tile_title":"k","action_data":"play:k"},{"tile_title":"k","action_data":"play:k"}]}]})",
                          R"({"sections":[{"section_id":"s1","section_title":"News","tiles":[
                              {"tile_title":"k","action_data":"play:k","tile_type":"new"}]}]})");
    m_util.DeleteExpiredTileItem(kModule, pair.pOld, pair.pNew);
    m_util.CreateNewTileItem(kModule, pair.pOld, pair.pNew);
    m_util.UpdateCommonTileItem(kModule, pair.pOld, pair.pNew);
    EXPECT_EQ(Methods(), (std::vector<std::string>{"delete", "update"}));
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(WhereArgsOf(calls[0]), std::vector<std::string>{"101"});
    Json::Value updated = ParseJson(calls[1].sInput)["arrayitem"];
    ASSERT_EQ(updated.size(), 1u);
    EXPECT_EQ(updated[0]["bulk_update_row_id_key"].asString(), "101");
    EXPECT_EQ(calls[0].sInput.find("102"), std::string::npos);
    EXPECT_EQ(calls[1].sInput.find("102"), std::string::npos);
}
