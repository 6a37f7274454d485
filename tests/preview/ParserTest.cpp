#include <dlog.h>
#include <gtest/gtest.h>
#include <pelmo/TilesModel.h>

#include <string>

#include "LogCapture.h"
#include "PreviewAccelerator.h"
#include "PreviewDataUtil.h"

using namespace TilesModel;

namespace {
std::string DocumentWithTiles(int n)
{
    std::string s = "{\"sections\":[{\"section_title\":\"S\",\"tiles\":[";
    for (int i = 0; i < n; ++i) {
        if (i) s += ",";
        s += "{\"tile_title\":\"t" + std::to_string(i) + "\"}";
    }
    return s + "]}]}";
}

bool Parse(const std::string& sJson, CPreviewAccelerator& accelerator, const std::string& sModule = "org.example.app")
{
    accelerator.m_mapProperty[TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME] = {4, sModule};
    CPreviewDataUtil util;
    return util.GetPreviewDataUsingJsonStr(sJson, accelerator, sModule);
}

const PropertyMap& TileMap(CPreviewAccelerator& a, size_t s = 0, size_t t = 0)
{
    return a.m_vecSection.at(s)->m_vecTile.at(t)->m_mapProperty;
}
}  // namespace

TEST(PreviewParser, TwoHundredTilesAreAcceptedAndTwoHundredOneRefused)
{
    CLogCapture log;
    CPreviewAccelerator a1, a2;
    EXPECT_TRUE(Parse(DocumentWithTiles(200), a1));
    EXPECT_TRUE(log.Has(DLOG_INFO, "Total tiles count: 200"));
    EXPECT_FALSE(Parse(DocumentWithTiles(201), a2));
    EXPECT_TRUE(log.Has(DLOG_ERROR, "ERROR, Preview tiles count over limit (Limit: 200)"));
}

TEST(PreviewParser, ThePlinthModuleMayHaveThreeHundredTiles)
{
    CLogCapture log;
    CPreviewAccelerator a1, a2;
    EXPECT_TRUE(Parse(DocumentWithTiles(300), a1, "org.orvik.plinth-app"));
    EXPECT_FALSE(Parse(DocumentWithTiles(301), a2, "org.orvik.plinth-app"));
    EXPECT_TRUE(log.Has(DLOG_ERROR, "ERROR, Preview tiles count over limit (Limit: 300)"));
}

TEST(PreviewParser, NonObjectSectionsAndTilesAreSkippedAndNotCounted)
{
    CLogCapture log;
    CPreviewAccelerator a;
    ASSERT_TRUE(Parse("{\"sections\":[1,\"x\",{}]}", a));
    ASSERT_EQ(a.m_vecSection.size(), 1u);
    EXPECT_TRUE(a.m_vecSection[0]->m_vecTile.empty());
    ASSERT_EQ(a.m_vecSectionHash.size(), 1u);
    EXPECT_EQ(a.m_vecSectionHash[0], CPreviewDataUtil::CalcSectionHash("", ""));
    EXPECT_EQ(a.m_vecSection[0]->m_hash, a.m_vecSectionHash[0]);

    CPreviewAccelerator b;
    ASSERT_TRUE(Parse("{\"sections\":[{\"tiles\":[{},7]}]}", b));
    EXPECT_EQ(b.m_vecSection[0]->m_vecTile.size(), 1u);
    EXPECT_TRUE(log.Has(DLOG_INFO, "Total tiles count: 1"));
}

TEST(PreviewParser, UnknownTileMembersGoToCompactPublicExtra)
{
    CLogCapture log;
    CPreviewAccelerator a;
    ASSERT_TRUE(Parse("{\"sections\":[{\"tiles\":[{\"foo\":1},{}]}]}", a));
    EXPECT_EQ(TileMap(a, 0, 0).at(Tiles::TILE_ACTION_PRE_PLAY),
              PropertyValue(4, "{\"foo\":1,\"is_resumable\":false,\"video_url\":\"\"}\n"));
    EXPECT_EQ(TileMap(a, 0, 1).at(Tiles::TILE_ACTION_PRE_PLAY),
              PropertyValue(4, "{\"is_resumable\":false,\"video_url\":\"\"}\n"));
    EXPECT_TRUE(log.Has(DLOG_DEBUG, "key(foo) is expended"));
}

TEST(PreviewParser, IsResumableIsKeptWhenTrueAndDefaultedWhenNull)
{
    CPreviewAccelerator a;
    ASSERT_TRUE(Parse("{\"sections\":[{\"tiles\":[{\"is_resumable\":true},{\"is_resumable\":null}]}]}", a));
    EXPECT_EQ(TileMap(a, 0, 0).at(Tiles::TILE_ACTION_PRE_PLAY).second,
              "{\"is_resumable\":true,\"video_url\":\"\"}\n");
    EXPECT_EQ(TileMap(a, 0, 1).at(Tiles::TILE_ACTION_PRE_PLAY).second,
              "{\"is_resumable\":false,\"video_url\":\"\"}\n");
}

TEST(PreviewParser, ObjectValuedTileMembersLeaveNoTrace)
{
    CPreviewAccelerator a;
    ASSERT_TRUE(Parse("{\"sections\":[{\"tiles\":[{\"public_extra\":{\"a\":1},\"bar\":{\"b\":2}}]}]}", a));
    EXPECT_EQ(TileMap(a).at(Tiles::TILE_ACTION_PRE_PLAY).second, "{\"is_resumable\":false,\"video_url\":\"\"}\n");
    EXPECT_EQ(TileMap(a).size(), 28u);
}

TEST(PreviewParser, SectionArrayPropertyIsNoneAndNullKeepsTheDefault)
{
    CPreviewAccelerator a;
    ASSERT_TRUE(Parse("{\"sections\":[{\"section_extra\":[1],\"section_title_display_mode\":null}]}", a));
    EXPECT_EQ(a.m_vecSection[0]->m_mapProperty.at(Sections::SECTION_EXTRA), PropertyValue(5, ""));
    EXPECT_EQ(a.m_vecSection[0]->m_mapProperty.at(Sections::SECTION_TITLE_DISPLAY_MODE),
              PropertyValue(4, "highlighted_only"));
}

TEST(PreviewParser, ArrayTitleIsAnExceptionThatFailsTheDocument)
{
    // The key is read with asString(), which jsoncpp refuses for an array.
    CLogCapture log;
    CPreviewAccelerator a;
    EXPECT_FALSE(Parse("{\"sections\":[{\"tiles\":[{\"tile_title\":[1]}]}]}", a));
    EXPECT_TRUE(log.Has(DLOG_ERROR, "Exception Caught"));
}

TEST(PreviewParser, NumbersAreTypedAsJsoncppClassifiesThem)
{
    CPreviewAccelerator a;
    ASSERT_TRUE(Parse("{\"sections\":[{\"tiles\":[{\"tile_position\":3.0,\"tile_image_width\":4000000000,"
                      "\"tile_image_height\":5000000000,\"tile_progress\":-1.5,\"tile_playable\":true,"
                      "\"tile_favorite\":false,\"tile_type\":\"movie\"}]}]}",
                      a));
    const PropertyMap& m = TileMap(a);
    EXPECT_EQ(m.at(Tiles::TILE_POSITION), PropertyValue(1, "3"));
    EXPECT_EQ(m.at(Tiles::TILE_IMAGE_WIDTH), PropertyValue(2, "4000000000"));
    EXPECT_EQ(m.at(Tiles::TILE_IMAGE_HEIGHT), PropertyValue(3, "5e+09"));
    EXPECT_EQ(m.at(Tiles::TILE_PROGRESS), PropertyValue(3, "-1.5"));
    EXPECT_EQ(m.at(Tiles::TILE_PLAYABLE), PropertyValue(0, "true"));
    EXPECT_EQ(m.at(Tiles::TILE_FAVORITE), PropertyValue(0, "false"));
    EXPECT_EQ(m.at(Tiles::TILE_TYPE), PropertyValue(4, "movie"));
}

TEST(PreviewParser, DoubleIsWrittenWithSixSignificantDigits)
{
    CPreviewAccelerator a;
    ASSERT_TRUE(Parse("{\"sections\":[{\"tiles\":[{\"tile_image_ratio\":3.14159265}]}]}", a));
    EXPECT_EQ(TileMap(a).at(Tiles::TILE_IMAGE_RATIO), PropertyValue(3, "3.14159"));
}

TEST(PreviewParser, DisplayPeriodIsPartOfTheKeyOnlyForTheListedModules)
{
    const std::string sDoc =
        "{\"sections\":[{\"tiles\":[{\"tile_title\":\"a\",\"tile_display_until\":1},"
        "{\"tile_title\":\"a\",\"tile_display_until\":2}]}]}";
    for (const char* sModule : {"com.example.livetv_news", "ambrel", "ambrel_foryou", "ambrel_banner"}) {
        CPreviewAccelerator a;
        ASSERT_TRUE(Parse(sDoc, a, sModule));
        EXPECT_NE(a.m_vecSection[0]->m_vecTileHash[0], a.m_vecSection[0]->m_vecTileHash[1]) << sModule;
    }
    for (const char* sModule : {"org.example.app", "ambrel2", "livetv"}) {
        CPreviewAccelerator a;
        ASSERT_TRUE(Parse(sDoc, a, sModule));
        EXPECT_EQ(a.m_vecSection[0]->m_vecTileHash[0], a.m_vecSection[0]->m_vecTileHash[1]) << sModule;
    }
}

TEST(PreviewParser, SkyvaneKeysTilesByPlayColumnAndDisplayPeriod)
{
    CPreviewDataUtil util;
    CPreviewAccelerator a;
    ASSERT_TRUE(Parse("{\"sections\":[{\"tiles\":[{\"tile_title\":\"a\",\"action_data\":\"ignored\","
                      "\"tile_action_play\":\"play\",\"tile_display_from\":1,\"tile_display_until\":2}]}]}",
                      a, "com.quenor.tv.Skyvane"));
    EXPECT_EQ(a.m_vecSection[0]->m_vecTileHash[0], util.CalcTileHash("a", "", "", "play12"));
    CPreviewAccelerator b;
    ASSERT_TRUE(Parse("{\"sections\":[{\"tiles\":[{\"tile_title\":\"a\",\"action_data\":\"act\","
                      "\"tile_action_play\":\"play\"}]}]}",
                      b));
    EXPECT_EQ(b.m_vecSection[0]->m_vecTileHash[0], util.CalcTileHash("a", "", "", "act"));
}

TEST(PreviewParser, NullDocumentIsAnEmptyPreview)
{
    CPreviewAccelerator a;
    EXPECT_TRUE(Parse("null", a));
    EXPECT_TRUE(a.m_vecSection.empty());
}

TEST(PreviewParser, RootThatIsNotAnObjectFailsWithExceptionCaught)
{
    for (const char* sDoc : {"3", "\"text\"", "[1,2]"}) {
        CLogCapture log;
        CPreviewAccelerator a;
        EXPECT_FALSE(Parse(sDoc, a)) << sDoc;
        EXPECT_TRUE(log.Has(DLOG_ERROR, "Exception Caught")) << sDoc;
    }
}

TEST(PreviewParser, EmptyAndBrokenTextsFailToParse)
{
    CLogCapture log;
    CPreviewAccelerator a, b;
    EXPECT_FALSE(Parse("", a));
    EXPECT_FALSE(Parse("{\"sections\":[", b));
    size_t n = 0;
    for (const std::string& s : log.Bodies(DLOG_ERROR)) n += s.rfind("Failed to parse Json : ", 0) == 0;
    EXPECT_EQ(n, 2u);
}

TEST(PreviewParser, ObjectInsteadOfArrayIsWalkedOverItsValuesInNameOrder)
{
    CPreviewAccelerator a;
    ASSERT_TRUE(Parse("{\"sections\":{\"b\":{\"section_title\":\"second\"},\"a\":{\"section_title\":\"first\","
                      "\"tiles\":{\"y\":{\"tile_title\":\"t2\"},\"x\":{\"tile_title\":\"t1\"}}}}}",
                      a));
    ASSERT_EQ(a.m_vecSection.size(), 2u);
    EXPECT_EQ(a.m_vecSection[0]->m_mapProperty.at(Sections::SECTION_TITLE).second, "first");
    EXPECT_EQ(a.m_vecSection[1]->m_mapProperty.at(Sections::SECTION_TITLE).second, "second");
    ASSERT_EQ(a.m_vecSection[0]->m_vecTile.size(), 2u);
    EXPECT_EQ(TileMap(a, 0, 0).at(Tiles::TILE_TITLE).second, "t1");
}

TEST(PreviewParser, LaterSortingNameWinsTheActionPlayColumn)
{
    // "action_data" sorts before "tile_action_play", so the column's own member wins.
    CPreviewAccelerator a;
    ASSERT_TRUE(Parse("{\"sections\":[{\"tiles\":[{\"action_data\":\"A\",\"tile_action_play\":\"P\"}]}]}", a));
    EXPECT_EQ(TileMap(a).at(Tiles::TILE_ACTION_PLAY), PropertyValue(4, "P"));
}

TEST(PreviewParser, ExpiresTakesTheTextOfANonEmptyValue)
{
    CPreviewAccelerator a, b, c, d;
    ASSERT_TRUE(Parse("{\"expires\":1700000000}", a));
    EXPECT_EQ(a.m_mapProperty.at("expires"), PropertyValue(4, "1700000000"));
    ASSERT_TRUE(Parse("{\"expires\":\"\"}", b));
    EXPECT_EQ(b.m_mapProperty.at("expires"), PropertyValue(4, ""));
    ASSERT_TRUE(Parse("{\"expires\":null}", c));
    EXPECT_EQ(c.m_mapProperty.at("expires"), PropertyValue(5, ""));
    ASSERT_TRUE(Parse("{\"expires\":[]}", d));
    EXPECT_EQ(d.m_mapProperty.at("expires"), PropertyValue(5, ""));
    CLogCapture log;
    CPreviewAccelerator e;
    EXPECT_FALSE(Parse("{\"expires\":[1]}", e));
    EXPECT_TRUE(log.Has(DLOG_ERROR, "Exception Caught"));
}

TEST(PreviewParser, SectionKeyUsesTitleAndIdAndNotTheTiles)
{
    CPreviewAccelerator a, b;
    ASSERT_TRUE(Parse("{\"sections\":[{\"section_title\":\"T\",\"section_id\":7,\"tiles\":[{}]}]}", a));
    ASSERT_TRUE(Parse("{\"sections\":[{\"section_title\":\"T\",\"section_id\":\"7\"}]}", b));
    EXPECT_EQ(a.m_vecSectionHash[0], CPreviewDataUtil::CalcSectionHash("T", "7"));
    EXPECT_EQ(a.m_vecSectionHash[0], b.m_vecSectionHash[0]);
}

TEST(PreviewParser, DeepNestingFailsCleanly)
{
    std::string sDoc = "{\"sections\":[{\"tiles\":[{\"x\":";
    for (int i = 0; i < 100000; ++i) sDoc += "[";
    CLogCapture log;
    CPreviewAccelerator a;
    EXPECT_FALSE(Parse(sDoc, a));
}

TEST(JsoncppBehaviour, PredicatesTheParserReliesOn)
{
    EXPECT_TRUE(Json::Value(3.0).isInt());
    EXPECT_FALSE(Json::Value(3.5).isInt());
    EXPECT_TRUE(Json::Value(Json::arrayValue).empty());
    EXPECT_TRUE(Json::Value(Json::objectValue).empty());
    EXPECT_TRUE(Json::Value().empty());
    EXPECT_FALSE(Json::Value("").empty());
    EXPECT_EQ(Json::Value(true).asString(), "true");
    EXPECT_EQ(Json::Value(12).asString(), "12");
    EXPECT_THROW(Json::Value(Json::arrayValue).asString(), std::exception);
    Json::Value object;
    object["b"] = 1;
    object["a"] = "x";
    EXPECT_EQ(Json::FastWriter().write(object), "{\"a\":\"x\",\"b\":1}\n");
}
