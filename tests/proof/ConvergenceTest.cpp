// Random publish sequences with a fixed seed against the real store: after every publish the
// read-back equals the expected store, and the expected store itself agrees with hand-worked
// cases.
#include <gtest/gtest.h>
#include <stdlib.h>

#include "ConvergenceRun.h"
#include "LogCapture.h"
#include "PelmoGDBusUtil.h"

namespace {
Json::Value Parse(const std::string& sText)
{
    Json::Value value;
    EXPECT_TRUE(Json::Reader().parse(sText, value)) << sText;
    return value;
}

Json::Value Accelerator()
{
    Json::Value members;
    members["_id"] = 1;
    members["app_pkg_name"] = "m";
    return members;
}
}  // namespace

TEST(ExpectedStoreTest, NewTileIsTypedWrittenAndReadBackAsTheStoreKeepsIt)
{
    CExpectedStore store("m", 1, Accelerator());
    std::string sWhy;
    ASSERT_TRUE(store.Publish(R"({"sections":[{"section_id":"7","section_title":"S","section_position":2,"tiles":[
        {"tile_title":"A","tile_position":"3","tile_playable":"FALSE","tile_favorite":false,"tile_id":"42abc",
         "tile_image_width":5e9,"tile_image_ratio":1.5,"action_data":"go","resume":[1],"gone":{"x":1}}]}]})",
                              sWhy))
        << sWhy;
    const Json::Value expected = store.ExpectedJson();
    const Json::Value& section = expected["sections"][0];
    EXPECT_EQ(section["section_id"], Json::Value(7));
    EXPECT_EQ(section["section_title_display_mode"], Json::Value("highlighted_only"));
    const Json::Value& tile = section["tiles"][0];
    EXPECT_EQ(tile["tile_position"], Json::Value(3));
    EXPECT_EQ(tile["tile_playable"], Json::Value(1));  // only the exact text false is 0
    EXPECT_EQ(tile["tile_favorite"], Json::Value(0));
    EXPECT_EQ(tile["tile_id"], Json::Value(42));
    EXPECT_EQ(tile["tile_image_width"], Json::Value(5));  // 5e+09 read as a leading integer
    EXPECT_EQ(tile["tile_image_ratio"], Json::Value("1.5"));
    EXPECT_EQ(tile["tile_action_play"], Json::Value("go"));
    EXPECT_EQ(tile["tile_action_type"], Json::Value("app_launch"));
    EXPECT_EQ(tile["public_extra"], Json::Value("{\"is_resumable\":false,\"resume\":[1],\"video_url\":\"\"}\n"));
    EXPECT_FALSE(tile.isMember("gone"));
}

TEST(ExpectedStoreTest, KeptTileKeepsWhatTheUpdateDoesNotRewrite)
{
    CExpectedStore store("m", 1, Accelerator());
    std::string sWhy;
    ASSERT_TRUE(store.Publish(R"({"sections":[{"section_title":"S","section_position":0,"tiles":[
        {"tile_title":"A","tile_position":0,"tile_favorite":true,"tile_action_click":"c1","tile_extra":"e1"}]}]})",
                              sWhy));
    ASSERT_TRUE(store.Publish(R"({"sections":[{"section_title":"S","section_position":0,"tiles":[
        {"tile_title":"A","tile_position":1,"tile_action_click":"c2","tile_extra":"e2"}]}]})",
                              sWhy));
    const Json::Value tile = store.ExpectedJson()["sections"][0]["tiles"][0];
    EXPECT_EQ(tile["tile_position"], Json::Value(1));
    EXPECT_EQ(tile["tile_extra"], Json::Value("e2"));
    EXPECT_EQ(tile["tile_favorite"], Json::Value(1));         // left empty: not rewritten
    EXPECT_EQ(tile["tile_action_click"], Json::Value("c1"));  // never rewritten in place
    // A renamed tile is a new tile: nothing of the old one survives.
    ASSERT_TRUE(store.Publish(R"({"sections":[{"section_title":"S","section_position":0,"tiles":[
        {"tile_title":"B","tile_position":1}]}]})",
                              sWhy));
    const Json::Value renamed = store.ExpectedJson()["sections"][0]["tiles"][0];
    EXPECT_FALSE(renamed.isMember("tile_favorite"));
    EXPECT_FALSE(renamed.isMember("tile_action_click"));
}

TEST(ExpectedStoreTest, RefusedAndUncoveredDocumentsLeaveTheModelAlone)
{
    CExpectedStore store("m", 1, Accelerator());
    std::string sWhy;
    EXPECT_FALSE(store.Publish("{\"sections\": [", sWhy));
    EXPECT_EQ(sWhy.rfind("refused", 0), 0u) << sWhy;
    EXPECT_FALSE(store.Publish(R"({"sections":[{"tiles":[{"tile_title":"A"},{"tile_title":"A"}]}]})", sWhy));
    EXPECT_EQ(sWhy.rfind("not covered", 0), 0u) << sWhy;
    EXPECT_FALSE(store.ExpectedJson().isMember("sections"));
}

TEST(ExpectedStoreTest, ReadBackWithAChangedMemberIsReported)
{
    CExpectedStore store("m", 1, Accelerator());
    std::string sWhy;
    ASSERT_TRUE(store.Publish(R"({"sections":[{"section_title":"S","section_position":0,"tiles":[
        {"tile_title":"A","tile_position":0}]}]})",
                              sWhy));
    Json::Value readBack = Parse(R"({"_id":1,"app_pkg_name":"m","sections":[{"_id":4,"section_accelerator_raw_id":1,
        "section_title":"S","section_position":0,"section_title_display_mode":"highlighted_only",
        "section_subtitle_display_mode":"highlighted_only","tiles":[{"_id":9,"tile_section_raw_id":4,
        "tile_title":"A","tile_position":0,"tile_action_type":"app_launch",
        "public_extra":"{\"is_resumable\":false,\"video_url\":\"\"}\n"}]}]})");
    std::vector<std::string> vecDiff;
    EXPECT_TRUE(store.Matches(readBack, vecDiff)) << vecDiff.front();
    // The same read-back again, with the tile's position changed and its row replaced.
    readBack["sections"][0]["tiles"][0]["tile_position"] = 5;
    readBack["sections"][0]["tiles"][0]["_id"] = 10;
    vecDiff.clear();
    EXPECT_FALSE(store.Matches(readBack, vecDiff));
    ASSERT_EQ(vecDiff.size(), 2u);
    EXPECT_EQ(vecDiff[0], ".sections[0].tiles[0].tile_position: expected 0, got 5");
    EXPECT_EQ(vecDiff[1], ".sections[0].tiles[0]._id: expected the kept row 9, got 10");
}

TEST(ConvergenceTest, FixedSeedRandomPublishesAllReadBackAsExpected)
{
    CLogCapture log;  // keeps the library's expected error lines (refused documents) off the output
    CConvergenceRun run(20261122);
    std::string sError;
    ASSERT_TRUE(run.Start(PELMO_SERVICE_PATH, sError)) << sError;
    for (int i = 0; i < 150; ++i) run.Step();
    run.Stop();
    const PT_CONVERGENCE_FIGURES& figures = run.Figures();
    EXPECT_EQ(figures.iFailures, 0) << figures.sFirstCounterexample;
    // The sequence really exercised what it is about.
    EXPECT_GE(figures.iPublishes, 120) << CConvergenceRun::Describe(figures);
    EXPECT_GT(figures.iWithdrawals, 0);
    EXPECT_GT(figures.iRepeats, 0);
    EXPECT_GT(figures.iEdits, 0);
    EXPECT_GT(figures.iRefused, 0);
    std::cout << CConvergenceRun::Describe(figures) << std::endl;
}
