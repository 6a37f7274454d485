// The tile rows that reach the store: the column rules of an inserted row and of a rewritten
// common row.
#include "SyncFixture.h"

using namespace sync_test;
using namespace TilesModel::Tiles;

namespace {
const std::string kWebAppModule = "K3vQ8nWz1P";

void Set(CPreviewTile& tile, const char* sColumn, const std::string& sValue)
{
    tile.m_mapProperty[sColumn] = {JSON_VALUE_STRING, sValue};
}

// A tile that exercises every rule: integer columns, flags, a "null" text and an empty column.
std::shared_ptr<CPreviewTile> RuleTile()
{
    auto pTile = EmptyTile(1);
    Set(*pTile, TILE_ID, "42abc");
    Set(*pTile, TILE_DISPLAY_FROM, "007");
    Set(*pTile, TILE_DISPLAY_UNTIL, " -7");
    Set(*pTile, TILE_IMAGE_WIDTH, "1.9");
    Set(*pTile, TILE_IMAGE_HEIGHT, "abc");
    Set(*pTile, TILE_PLAYABLE, "false");
    Set(*pTile, TILE_PROGRESS, "FALSE");
    Set(*pTile, TILE_NOTIFICATION, "0");
    Set(*pTile, TILE_FAVORITE, "true");
    Set(*pTile, TILE_TITLE, "Title");
    Set(*pTile, TILE_TYPE, "null");
    Set(*pTile, TILE_IMAGE_RATIO, "16:9");
    Set(*pTile, TILE_ACTION_CLICK, "click:1");
    Set(*pTile, TILE_ACTION_PRE_PLAY, "{\"is_resumable\":true}\n");
    return pTile;
}
}  // namespace

TEST_F(SyncTest, InsertedTileRowsCanonicaliseIntegersAndFlagsAndKeepOtherTextsAsTheyAre)
{
    m_util.CreateTiles("12", {RuleTile()}, kModule);
    const CRecordedCall call = OnlyCall("insert_bulk", kModule);
    Json::Value expected;
    expected["table_name"] = kTilesUri;
    Json::Value row;
    row[TILE_SECTION_RAW_ID] = "12";
    row[TILE_ID] = "42";
    row[TILE_DISPLAY_FROM] = "7";
    row[TILE_DISPLAY_UNTIL] = "-7";
    row[TILE_IMAGE_WIDTH] = "1";
    row[TILE_IMAGE_HEIGHT] = "0";
    row[TILE_PLAYABLE] = "0";
    row[TILE_PROGRESS] = "1";
    row[TILE_NOTIFICATION] = "1";
    row[TILE_FAVORITE] = "1";
    row[TILE_TITLE] = "Title";
    row[TILE_TYPE] = "null";  // only empty texts are left out of an insert
    row[TILE_IMAGE_RATIO] = "16:9";
    row[TILE_ACTION_CLICK] = "click:1";
    row[TILE_ACTION_PRE_PLAY] = "{\"is_resumable\":true}\n";
    expected["arrayitem"].append(row);
    EXPECT_EQ(ParseJson(call.sInput), expected) << call.sInput;
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "[tile_id] : [42abc] is converted to [42]")) << m_log.Dump();
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "[tile_display_from] : [007] is converted to [7]"));
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "[tile_image_height] : [abc] is converted to [0]"));
}

TEST_F(SyncTest, AnIntegerColumnIsLoggedAsConvertedEvenWhenItIsUnchanged)
{
    auto pTile = EmptyTile(1);
    Set(*pTile, TILE_IMAGE_WIDTH, "320");
    m_util.CreateTiles("12", {pTile}, kModule);
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "[tile_image_width] : [320] is converted to [320]"));
}

TEST_F(SyncTest, InsertedTileRowsFollowTheListOrder)
{
    auto pFirst = EmptyTile(1);
    Set(*pFirst, TILE_TITLE, "first");
    auto pSecond = EmptyTile(2);
    Set(*pSecond, TILE_TITLE, "second");
    m_util.CreateTiles("3", {pFirst, pSecond}, kModule);
    ASSERT_EQ(m_service.CallCount(), 1u);
    Json::Value rows = ParseJson(Calls()[0].sInput)["arrayitem"];
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0][TILE_TITLE].asString(), "first");
    EXPECT_EQ(rows[1][TILE_TITLE].asString(), "second");
}

TEST_F(SyncTest, ForTheWebAppModuleParsedTilesAreInsertedWithTheirOwnActionTypeAndOnlyRewrittenAsWebApp)
{
    // The reader gives every tile an action type (app_launch unless the document names one), and
    // an inserted row takes the tile's own columns after the module's value: the insert keeps
    // the tile's type. Only the rewrite of a common tile writes the module's web_app_launch.
    CPreviewAccelerator parsed = ParseDocument(R"({"sections":[{"section_title":"S","tiles":[
        {"tile_title":"default"},{"tile_title":"own","tile_action_type":"web_app_launch"}]}]})",
                                               kWebAppModule);
    const std::shared_ptr<CPreviewSection> pSection = parsed.m_vecSection.at(0);
    ASSERT_EQ(pSection->m_vecTile.size(), 2u);
    EXPECT_EQ(pSection->m_vecTile[0]->m_mapProperty[TILE_ACTION_TYPE].second, "app_launch");
    m_util.CreateTiles("5", pSection->m_vecTile, kWebAppModule);
    ASSERT_EQ(m_service.CallCount(), 1u);
    Json::Value rows = ParseJson(Calls()[0].sInput)["arrayitem"];
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0][TILE_ACTION_TYPE].asString(), "app_launch");
    EXPECT_EQ(rows[1][TILE_ACTION_TYPE].asString(), "web_app_launch");

    Json::Value rewritten;
    m_util.MakeUpdatedTileJson(kWebAppModule, rewritten, pSection->m_vecTile[0]);
    EXPECT_EQ(rewritten[TILE_ACTION_TYPE].asString(), "web_app_launch");
}

TEST_F(SyncTest, OtherModulesGetNoActionTypeTheTileDoesNotCarry)
{
    m_util.CreateTiles("5", {EmptyTile(1)}, kModule);
    ASSERT_EQ(m_service.CallCount(), 1u);
    Json::Value rows = ParseJson(Calls()[0].sInput)["arrayitem"];
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_FALSE(rows[0].isMember(TILE_ACTION_TYPE));
}

TEST_F(SyncTest, AFailedTileInsertIsLogged)
{
    Refuse("insert_bulk");
    m_util.CreateTiles("5", {EmptyTile(1)}, kModule);
    EXPECT_EQ(m_service.CallCount(), 1u);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "Error. Faile to create tile."));
}

TEST_F(SyncTest, ARewrittenCommonTileTakesOnlyTheUpdatableColumnsWithTheirRules)
{
    auto pTile = RuleTile();
    Set(*pTile, TILE_ACTION_TYPE, "app_launch");
    Set(*pTile, TILE_SOURCE_ICON, "icon.png");
    Set(*pTile, TILE_EXTRA_APP_ID, "null");
    Set(*pTile, TILE_POSITION, "2");
    Set(*pTile, TILE_EXTRA, "x");
    Json::Value row;
    row["bulk_update_row_id_key"] = "401";
    m_util.MakeUpdatedTileJson(kModule, row, pTile);

    Json::Value expected;
    expected["bulk_update_row_id_key"] = "401";
    expected[TILE_ID] = "42";
    expected[TILE_DISPLAY_FROM] = "7";
    expected[TILE_DISPLAY_UNTIL] = "-7";
    expected[TILE_ACTION_TYPE] = "app_launch";
    expected[TILE_IMAGE_WIDTH] = "1";
    expected[TILE_IMAGE_HEIGHT] = "0";
    expected[TILE_IMAGE_RATIO] = "16:9";
    expected[TILE_SOURCE_ICON] = "icon.png";
    expected[TILE_PLAYABLE] = "0";
    expected[TILE_POSITION] = "2";
    expected[TILE_PROGRESS] = "1";
    expected[TILE_NOTIFICATION] = "1";
    expected[TILE_FAVORITE] = "1";
    expected[TILE_EXTRA] = "x";
    expected[TILE_ACTION_PRE_PLAY] = "{\"is_resumable\":true}\n";
    // Not written: the title and the click action (not updatable), the "null" type and extra app id.
    EXPECT_EQ(row, expected) << row.toStyledString();
    // The platform log writes the text's closing line break as a blank.
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "key:[public_extra] : \t[{\"is_resumable\":true} ]")) << m_log.Dump();
}

TEST_F(SyncTest, ForTheWebAppModuleARewrittenRowLaunchesAsWebAppOnlyWhenTheTileHasAnActionType)
{
    auto pOwn = EmptyTile(1);
    Set(*pOwn, TILE_ACTION_TYPE, "app_launch");
    Json::Value withType;
    m_util.MakeUpdatedTileJson(kWebAppModule, withType, pOwn);
    EXPECT_EQ(withType[TILE_ACTION_TYPE].asString(), "web_app_launch");

    Json::Value withoutType;
    m_util.MakeUpdatedTileJson(kWebAppModule, withoutType, EmptyTile(2));
    EXPECT_FALSE(withoutType.isMember(TILE_ACTION_TYPE));
}

TEST_F(SyncTest, OnlyTheExactTextFalseTurnsAFlagOff)
{
    auto pTile = EmptyTile(1);
    Set(*pTile, TILE_PLAYABLE, "FALSE");
    Set(*pTile, TILE_PROGRESS, "0");
    Set(*pTile, TILE_NOTIFICATION, "false");
    Set(*pTile, TILE_FAVORITE, "no");
    Json::Value row;
    m_util.MakeUpdatedTileJson(kModule, row, pTile);
    EXPECT_EQ(row[TILE_PLAYABLE].asString(), "1");
    EXPECT_EQ(row[TILE_PROGRESS].asString(), "1");
    EXPECT_EQ(row[TILE_NOTIFICATION].asString(), "0");
    EXPECT_EQ(row[TILE_FAVORITE].asString(), "1");
}

TEST_F(SyncTest, ARewriteWithoutATileLeavesTheRowAsItWas)
{
    Json::Value row;
    row["bulk_update_row_id_key"] = "9";
    const Json::Value before = row;
    m_util.MakeUpdatedTileJson(kModule, row, nullptr);
    EXPECT_EQ(row, before);
}
