// The documents shipped in examples/ read into the trees an app developer expects.
#include <gtest/gtest.h>
#include <pelmo/TilesModel.h>

#include <fstream>
#include <sstream>
#include <string>

#include "PreviewAccelerator.h"
#include "PreviewDataUtil.h"

using namespace TilesModel;

namespace {
std::string ReadExample(const std::string& sName)
{
    std::ifstream in(std::string(PELMO_EXAMPLES_DIR) + "/previews/" + sName);
    std::stringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
}

bool Parse(const std::string& sJson, CPreviewAccelerator& accelerator, const std::string& sModule)
{
    accelerator.m_mapProperty[TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME] = {4, sModule};
    CPreviewDataUtil util;
    return util.GetPreviewDataUsingJsonStr(sJson, accelerator, sModule);
}
}  // namespace

TEST(PreviewExamples, SmallDocumentReadsIntoTheExpectedTree)
{
    CPreviewAccelerator a;
    ASSERT_TRUE(Parse(ReadExample("small.json"), a, "org.example.app"));
    ASSERT_EQ(a.m_vecSection.size(), 1u);
    CPreviewSection expectedSection;
    expectedSection.m_mapProperty[Sections::SECTION_ID] = {1, "1"};
    expectedSection.m_mapProperty[Sections::SECTION_TITLE] = {4, "Continue watching"};
    expectedSection.m_mapProperty[Sections::SECTION_POSITION] = {1, "0"};
    EXPECT_EQ(a.m_vecSection[0]->m_mapProperty, expectedSection.m_mapProperty);
    EXPECT_EQ(a.m_vecSection[0]->m_hash, CPreviewDataUtil::CalcSectionHash("Continue watching", "1"));

    ASSERT_EQ(a.m_vecSection[0]->m_vecTile.size(), 1u);
    CPreviewTile expectedTile;
    expectedTile.m_mapProperty[Tiles::TILE_ID] = {1, "101"};
    expectedTile.m_mapProperty[Tiles::TILE_TITLE] = {4, "The Lighthouse Keeper"};
    expectedTile.m_mapProperty[Tiles::TILE_SUBTITLE] = {4, "Episode 3"};
    expectedTile.m_mapProperty[Tiles::TILE_IMAGE_URL] = {4, "https://images.example.org/lighthouse-3.jpg"};
    expectedTile.m_mapProperty[Tiles::TILE_IMAGE_RATIO] = {4, "16:9"};
    expectedTile.m_mapProperty[Tiles::TILE_POSITION] = {1, "0"};
    expectedTile.m_mapProperty[Tiles::TILE_PLAYABLE] = {0, "true"};
    expectedTile.m_mapProperty[Tiles::TILE_PROGRESS] = {0, "true"};
    expectedTile.m_mapProperty[Tiles::TILE_ACTION_PLAY] = {4, "app://org.example.player/play?id=lh3"};
    expectedTile.m_mapProperty[Tiles::TILE_ACTION_PRE_PLAY] = {
        4, "{\"is_resumable\":false,\"resume_position\":1234,\"video_url\":\"\"}\n"};
    EXPECT_EQ(a.m_vecSection[0]->m_vecTile[0]->m_mapProperty, expectedTile.m_mapProperty);
    CPreviewDataUtil util;
    EXPECT_EQ(a.m_vecSection[0]->m_vecTileHash,
              std::vector<uint64_t>{util.CalcTileHash("The Lighthouse Keeper", "Episode 3",
                                                      "https://images.example.org/lighthouse-3.jpg",
                                                      "app://org.example.player/play?id=lh3")});
}

TEST(PreviewExamples, FirstAndChangedDocumentsShareExactlyTheIntendedKeys)
{
    CPreviewAccelerator first, changed;
    ASSERT_TRUE(Parse(ReadExample("first.json"), first, "org.example.app"));
    ASSERT_TRUE(Parse(ReadExample("changed.json"), changed, "org.example.app"));
    ASSERT_EQ(first.m_vecSection.size(), 3u);
    ASSERT_EQ(changed.m_vecSection.size(), 3u);
    // Kept: "Continue watching" and "Recommended"; dropped "New this week"; added a fourth.
    EXPECT_EQ(first.m_vecSectionHash[0], changed.m_vecSectionHash[0]);
    EXPECT_EQ(first.m_vecSectionHash[2], changed.m_vecSectionHash[1]);
    EXPECT_NE(first.m_vecSectionHash[1], changed.m_vecSectionHash[2]);
    // In "Recommended": 301 kept (updated in place), 302 gone, 303 re-keyed by its subtitle, 304 new.
    const auto& oldTiles = first.m_vecSection[2]->m_vecTileHash;
    const auto& newTiles = changed.m_vecSection[1]->m_vecTileHash;
    ASSERT_EQ(oldTiles.size(), 3u);
    ASSERT_EQ(newTiles.size(), 3u);
    EXPECT_EQ(oldTiles[0], newTiles[0]);
    EXPECT_NE(oldTiles[2], newTiles[1]);
    for (uint64_t key : newTiles) {
        EXPECT_TRUE(key == oldTiles[0] || (key != oldTiles[1] && key != oldTiles[2]));
    }
}
