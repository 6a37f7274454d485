// Bringing the stored sections in line with a new document: which requests go out, in which
// order, and with which texts.
#include <algorithm>
#include <utility>

#include "SyncFixture.h"

using namespace sync_test;
using namespace TilesModel::Sections;

namespace {
// These messages end with a line break, which the platform log writes as a blank.
const char* kSectionUpdated = "section updated ";
const char* kNoUpdate = "no update ";
const char* kUpdateFailed = "Common sections bulk update fail ";

const char* kNewsAndSport = R"({"sections":[
    {"section_id":"11","section_title":"News","tiles":[{"tile_title":"a"},{"tile_title":"b"}]},
    {"section_id":"12","section_title":"Sport","tiles":[{"tile_title":"c"}]}]})";

std::shared_ptr<CPreviewSection> TitledSection(uint64_t key, const std::string& sRowId, const std::string& sTitle)
{
    auto pSection = EmptySection(key, sRowId);
    pSection->m_mapProperty[SECTION_TITLE].second = sTitle;
    return pSection;
}

void AddSection(CPreviewAccelerator& accelerator, const std::shared_ptr<CPreviewSection>& pSection)
{
    accelerator.m_vecSection.push_back(pSection);
    accelerator.m_vecSectionHash.push_back(pSection->m_hash);
}

// The row ids of a parsed-and-numbered model's sections, in ascending key order.
std::vector<std::string> RowIdsByKey(const CPreviewAccelerator& accelerator)
{
    std::vector<std::pair<uint64_t, std::string>> vecPairs;
    for (const auto& pSection : accelerator.m_vecSection) {
        vecPairs.emplace_back(pSection->m_hash, pSection->m_mapProperty.at(_ID).second);
    }
    std::sort(vecPairs.begin(), vecPairs.end());
    std::vector<std::string> vecIds;
    for (const auto& pair : vecPairs) vecIds.push_back(pair.second);
    return vecIds;
}
}  // namespace

TEST_F(SyncTest, TwoEmptyModelsOnlyAskForTheAcceleratorId)
{
    CPreviewAccelerator stored, fresh;
    m_util.ComparedDBUpdate(kModule, stored, fresh);
    EXPECT_EQ(Methods(), std::vector<std::string>{"select"});
    EXPECT_TRUE(m_log.Has(DLOG_INFO, kModule + ":Duplicated sections size:0"));
    EXPECT_TRUE(m_log.Has(DLOG_INFO, kModule + ":Expired sections size:0"));
    EXPECT_TRUE(m_log.Has(DLOG_INFO, kModule + ":New sections size:0"));
}

TEST_F(SyncTest, AnUnchangedDocumentStillUpdatesEverySectionAndItsTilesOnce)
{
    CPreviewAccelerator stored = ParseDocument(kNewsAndSport);
    AssignRowIds(stored);
    CPreviewAccelerator fresh = ParseDocument(kNewsAndSport);
    m_util.ComparedDBUpdate(kModule, stored, fresh);
    EXPECT_EQ(Methods(), (std::vector<std::string>{"update", "update", "update", "update", "select"}));
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 5u);
    // Sections follow their ascending keys; tiles first, then the section's own row.
    const std::vector<std::string> vecIds = RowIdsByKey(stored);
    for (int i = 0; i < 2; ++i) {
        const std::string sId = vecIds[i];
        const CRecordedCall& tiles = calls[2 * i];
        const CRecordedCall& section = calls[2 * i + 1];
        EXPECT_EQ(ParseJson(tiles.sInput)["table_name"].asString(), kTilesUri);
        EXPECT_EQ(ParseJson(tiles.sInput)["arrayitem"].size(), sId == "1" ? 2u : 1u);
        Json::Value sectionDoc = ParseJson(section.sInput);
        EXPECT_EQ(sectionDoc["table_name"].asString(), kSectionsUri);
        ASSERT_EQ(sectionDoc["arrayitem"].size(), 1u);
        EXPECT_EQ(sectionDoc["arrayitem"][0]["bulk_update_row_id_key"].asString(), sId);
        if (sId == "1") {
            EXPECT_EQ(section.sInput,
                      "{\n\t\"arrayitem\" : \n\t[\n\t\t{\n"
                      "\t\t\t\"bulk_update_row_id_key\" : \"1\",\n\t\t\t\"section_id\" : \"11\",\n"
                      "\t\t\t\"section_subtitle_display_mode\" : \"highlighted_only\",\n"
                      "\t\t\t\"section_title\" : \"News\",\n"
                      "\t\t\t\"section_title_display_mode\" : \"highlighted_only\"\n"
                      "\t\t}\n\t],\n\t\"table_name\" : \"content://org.orvik.pelmo/sections\"\n}");
        }
    }
    EXPECT_TRUE(m_log.Has(DLOG_INFO, kModule + ":Duplicated sections size:2"));
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "[1]:[News]"));
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "[2]:[Sport]"));
    EXPECT_EQ(m_log.Count(DLOG_DEBUG, kSectionUpdated), 2u);
    EXPECT_TRUE(HasEntryLine("UpdateSectionItem"));
}

TEST_F(SyncTest, ASectionWithoutAnyPresentColumnIsNotUpdated)
{
    CPreviewAccelerator stored, fresh;
    AddSection(stored, TitledSection(5, "1", "News"));
    auto pNew = TitledSection(5, "", "null");
    pNew->m_mapProperty[SECTION_EXTRA].second = "null";
    AddSection(fresh, pNew);
    m_util.ComparedDBUpdate(kModule, stored, fresh);
    EXPECT_EQ(Methods(), std::vector<std::string>{"select"});
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, kNoUpdate));
}

TEST_F(SyncTest, ASectionRowTakesTheSixSectionColumnsWithACanonicalSectionId)
{
    auto pSection = EmptySection(5);
    pSection->m_mapProperty[SECTION_ID].second = "007x";
    pSection->m_mapProperty[SECTION_TITLE].second = "null";
    pSection->m_mapProperty[SECTION_POSITION].second = "4";
    pSection->m_mapProperty[SECTION_TITLE_DISPLAY_MODE].second = "always";
    pSection->m_mapProperty[SECTION_SUBTITLE_DISPLAY_MODE].second = "never";
    pSection->m_mapProperty[SECTION_EXTRA].second = "{}";
    pSection->m_mapProperty[SECTION_ACCELERATOR_RAW_ID].second = "7";
    Json::Value row;
    m_util.MakeUpdatedSectionJson(kModule, row, pSection);
    Json::Value expected;
    expected[SECTION_ID] = "7";
    expected[SECTION_POSITION] = "4";
    expected[SECTION_TITLE_DISPLAY_MODE] = "always";
    expected[SECTION_SUBTITLE_DISPLAY_MODE] = "never";
    expected[SECTION_EXTRA] = "{}";
    EXPECT_EQ(row, expected) << row.toStyledString();
}

TEST_F(SyncTest, AFailedSectionUpdateIsLogged)
{
    Refuse("update");
    auto pSection = TitledSection(5, "", "News");
    m_util.UpdateSectionItem(kModule, "3", pSection);
    ASSERT_EQ(m_service.CallCount(), 1u);
    EXPECT_EQ(ParseJson(Calls()[0].sInput)["arrayitem"][0]["bulk_update_row_id_key"].asString(), "3");
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, kUpdateFailed));
}

TEST_F(SyncTest, AKeyTwiceInBothModelsUpdatesTheFirstPairTwice)
{
    CPreviewAccelerator stored, fresh;
    AddSection(stored, TitledSection(5, "1", "A"));
    AddSection(stored, TitledSection(5, "2", "A"));
    AddSection(fresh, TitledSection(5, "", "A"));
    AddSection(fresh, TitledSection(5, "", "B"));
    m_util.ComparedDBUpdate(kModule, stored, fresh);
    EXPECT_EQ(Methods(), (std::vector<std::string>{"update", "update", "select"}));
    for (const CRecordedCall& call : CallsOf("update")) {
        Json::Value row = ParseJson(call.sInput)["arrayitem"][0];
        EXPECT_EQ(row["bulk_update_row_id_key"].asString(), "1");
        EXPECT_EQ(row[SECTION_TITLE].asString(), "A");
    }
}

TEST_F(SyncTest, FindSectionReturnsTheFirstSectionWithTheKey)
{
    CPreviewAccelerator accelerator;
    auto pFirst = TitledSection(5, "1", "A");
    AddSection(accelerator, TitledSection(4, "0", "Z"));
    AddSection(accelerator, pFirst);
    AddSection(accelerator, TitledSection(5, "2", "B"));
    EXPECT_EQ(m_util.FindSection(accelerator, 5), pFirst);
    EXPECT_EQ(m_util.FindSection(accelerator, 6), nullptr);
}

TEST_F(SyncTest, KeysWithoutSectionsAreNotMatchedAndSkipped)
{
    // Both key lists name a key no section has; the new one names another one too.
    CPreviewAccelerator stored, fresh;
    stored.m_vecSectionHash = {9};
    fresh.m_vecSectionHash = {8, 9};
    m_util.ComparedDBUpdate(kModule, stored, fresh);
    EXPECT_EQ(m_log.Count(DLOG_ERROR, "Error! Not matched"), 2u);
    EXPECT_EQ(Methods(), std::vector<std::string>{"select"});
}

TEST_F(SyncTest, TwoExpiredSectionsWithOneKeyAreDeletedOnceEach)
{
    CPreviewAccelerator stored, fresh;
    AddSection(stored, TitledSection(5, "1", "A"));
    AddSection(stored, TitledSection(5, "2", "B"));
    m_util.DeleteExpiredSectionItem(kModule, stored, fresh);
    const CRecordedCall call = OnlyCall("delete", kModule);
    EXPECT_EQ(WhereOf(call), "_id=? or _id=?");
    EXPECT_EQ(WhereArgsOf(call), (std::vector<std::string>{"1", "2"}));
    EXPECT_TRUE(m_log.Has(DLOG_INFO, kModule + ":Expired sections size:2"));
    EXPECT_EQ(m_log.Count(DLOG_INFO, "[1]:[A]"), 1u);
    EXPECT_EQ(m_log.Count(DLOG_INFO, "[2]:[B]"), 1u);
}

TEST_F(SyncTest, ThreeExpiredSectionsGoInOneDeleteInKeyOrder)
{
    CPreviewAccelerator stored = ParseDocument(R"({"sections":[{"section_title":"A"},{"section_title":"B"},
                                                  {"section_title":"C"}]})");
    AssignRowIds(stored);
    CPreviewAccelerator fresh = ParseDocument(R"({"sections":[]})");
    const std::vector<std::string> vecIds = RowIdsByKey(stored);
    m_util.ComparedDBUpdate(kModule, stored, fresh);
    EXPECT_EQ(Methods(), (std::vector<std::string>{"delete", "select"}));
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].sInput, "{\n   \"group_by\" : \"\",\n   \"table_name\" : \"" + kSectionsUri +
                                   "\",\n   \"where\" : \"_id=? or _id=? or _id=?\",\n   \"where_args\" : [ \"" +
                                   vecIds[0] + "\", \"" + vecIds[1] + "\", \"" + vecIds[2] + "\" ]\n}\n");
}

TEST_F(SyncTest, EveryStoredSectionOffTheExpiredKeyIsLoggedAsNotMatched)
{
    CPreviewAccelerator stored, fresh;
    for (uint64_t key = 1; key <= 5; ++key) AddSection(stored, TitledSection(key, std::to_string(key), "S"));
    for (uint64_t key = 3; key <= 5; ++key) AddSection(fresh, TitledSection(key, "", "S"));
    m_util.DeleteExpiredSectionItem(kModule, stored, fresh);
    EXPECT_EQ(m_log.Count(DLOG_ERROR, "Error! Not matched"), 8u);
    ASSERT_EQ(m_service.CallCount(), 1u);
    EXPECT_EQ(WhereArgsOf(Calls()[0]), (std::vector<std::string>{"1", "2"}));
}

TEST_F(SyncTest, AFailedSectionDeleteStillLetsTheNewSectionsBeCreated)
{
    Refuse("delete");
    CPreviewAccelerator stored, fresh;
    AddSection(stored, TitledSection(5, "1", "Old"));
    AddSection(fresh, TitledSection(6, "", "Fresh"));
    m_util.ComparedDBUpdate(kModule, stored, fresh);
    EXPECT_EQ(Methods(), (std::vector<std::string>{"delete", "select", "insert", "insert_bulk"}));
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "Error. failed to delete section."));
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "1 "));
}

TEST_F(SyncTest, NewSectionsAreInsertedOneByOneEachFollowedByItsTiles)
{
    SetAcceleratorRows({7});
    CPreviewAccelerator stored;
    CPreviewAccelerator fresh = ParseDocument(kNewsAndSport);
    const bool bNewsFirst = fresh.m_vecSection[0]->m_hash < fresh.m_vecSection[1]->m_hash;
    m_util.ComparedDBUpdate(kModule, stored, fresh);
    EXPECT_EQ(Methods(), (std::vector<std::string>{"select", "insert", "insert_bulk", "insert", "insert_bulk"}));
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 5u);
    const std::string sFirst = bNewsFirst ? "News" : "Sport";
    const std::string sSecond = bNewsFirst ? "Sport" : "News";
    EXPECT_EQ(ParseJson(calls[1].sInput)[SECTION_TITLE].asString(), sFirst);
    EXPECT_EQ(ParseJson(calls[1].sInput)[SECTION_ACCELERATOR_RAW_ID].asString(), "7");
    EXPECT_EQ(ParseJson(calls[3].sInput)[SECTION_TITLE].asString(), sSecond);
    const Json::Value firstTiles = ParseJson(calls[2].sInput)["arrayitem"];
    const Json::Value secondTiles = ParseJson(calls[4].sInput)["arrayitem"];
    ASSERT_EQ(firstTiles.size(), bNewsFirst ? 2u : 1u);
    ASSERT_EQ(secondTiles.size(), bNewsFirst ? 1u : 2u);
    for (const Json::Value& row : firstTiles) EXPECT_EQ(row["tile_section_raw_id"].asString(), "100");
    for (const Json::Value& row : secondTiles) EXPECT_EQ(row["tile_section_raw_id"].asString(), "101");
    EXPECT_TRUE(m_log.Has(DLOG_INFO, kModule + ":New sections size:2"));
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "[100]:[" + sFirst + "]"));
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "[101]:[" + sSecond + "]"));
}

TEST_F(SyncTest, APublishUpdatesCommonSectionsThenDeletesStaleOnesThenCreatesNewOnes)
{
    CPreviewAccelerator stored = ParseDocument(R"({"sections":[
        {"section_id":"1","section_title":"News","tiles":[{"tile_title":"a"},{"tile_title":"b"}]},
        {"section_id":"2","section_title":"Old","tiles":[{"tile_title":"x"}]}]})");
    AssignRowIds(stored);
    CPreviewAccelerator fresh = ParseDocument(R"({"sections":[
        {"section_id":"3","section_title":"Fresh","tiles":[{"tile_title":"y"}]},
        {"section_id":"1","section_title":"News","tiles":[{"tile_title":"c"},{"tile_title":"b"}]}]})");
    m_util.ComparedDBUpdate(kModule, stored, fresh);
    EXPECT_EQ(Methods(), (std::vector<std::string>{"delete", "insert_bulk", "update", "update", "delete", "select",
                                                   "insert", "insert_bulk"}));
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 8u);
    // News: tile a (101) goes, c joins section row 1, b (102) is rewritten, then the section.
    EXPECT_EQ(ParseJson(calls[0].sInput)["table_name"].asString(), kTilesUri);
    EXPECT_EQ(WhereArgsOf(calls[0]), std::vector<std::string>{"101"});
    Json::Value inserted = ParseJson(calls[1].sInput)["arrayitem"];
    ASSERT_EQ(inserted.size(), 1u);
    EXPECT_EQ(inserted[0]["tile_title"].asString(), "c");
    EXPECT_EQ(inserted[0]["tile_section_raw_id"].asString(), "1");
    EXPECT_EQ(ParseJson(calls[2].sInput)["arrayitem"][0]["bulk_update_row_id_key"].asString(), "102");
    EXPECT_EQ(ParseJson(calls[3].sInput)["table_name"].asString(), kSectionsUri);
    // Old (row 2) goes in one delete; Fresh is created with its tile under the new row.
    EXPECT_EQ(ParseJson(calls[4].sInput)["table_name"].asString(), kSectionsUri);
    EXPECT_EQ(WhereArgsOf(calls[4]), std::vector<std::string>{"2"});
    EXPECT_EQ(ParseJson(calls[6].sInput)[SECTION_TITLE].asString(), "Fresh");
    EXPECT_EQ(ParseJson(calls[7].sInput)["arrayitem"][0]["tile_section_raw_id"].asString(), "100");
    // The key lists are left sorted.
    EXPECT_TRUE(std::is_sorted(stored.m_vecSectionHash.begin(), stored.m_vecSectionHash.end()));
    EXPECT_TRUE(std::is_sorted(fresh.m_vecSectionHash.begin(), fresh.m_vecSectionHash.end()));
}

TEST_F(SyncTest, CommonSectionsHaveTheirTileKeysSortedBeforeTheTilesAreMatched)
{
    CPreviewAccelerator stored, fresh;
    auto pOld = TitledSection(5, "1", "News");
    AddTile(*pOld, EmptyTile(9, "901"));
    AddTile(*pOld, EmptyTile(3, "301"));
    auto pNew = TitledSection(5, "", "News");
    AddTile(*pNew, EmptyTile(3));
    AddTile(*pNew, EmptyTile(9));
    AddSection(stored, pOld);
    AddSection(fresh, pNew);
    m_util.ComparedDBUpdate(kModule, stored, fresh);
    EXPECT_EQ(pOld->m_vecTileHash, (std::vector<uint64_t>{3, 9}));
    EXPECT_EQ(pNew->m_vecTileHash, (std::vector<uint64_t>{3, 9}));
    // Both tiles are common: nothing is deleted or inserted, both rows are rewritten in key order.
    EXPECT_EQ(Methods(), (std::vector<std::string>{"update", "update", "select"}));
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 3u);
    const Json::Value rows = ParseJson(calls[0].sInput)["arrayitem"];
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0]["bulk_update_row_id_key"].asString(), "301");
    EXPECT_EQ(rows[1]["bulk_update_row_id_key"].asString(), "901");
}

TEST_F(SyncTest, ANewSectionWithoutTilesStillSendsItsTileInsertWithoutRows)
{
    CPreviewAccelerator stored;
    CPreviewAccelerator fresh = ParseDocument(R"({"sections":[{"section_id":"4","section_title":"Empty"}]})");
    m_util.ComparedDBUpdate(kModule, stored, fresh);
    EXPECT_EQ(Methods(), (std::vector<std::string>{"select", "insert", "insert_bulk"}));
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[2].sInput, "{\n\t\"table_name\" : \"content://org.orvik.pelmo/tiles\"\n}");
}
