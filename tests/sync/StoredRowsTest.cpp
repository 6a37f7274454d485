// Creating a module's section and tile rows under its accelerator row, finding that row, and
// clearing the module's sections and tiles.
#include "LogPrefix.h"
#include "SyncFixture.h"

using namespace sync_test;

namespace {
const char* kTwoSections = R"({"sections":[
    {"section_id":"s1","section_title":"News","tiles":[{"tile_title":"a"},{"tile_title":"b"}]},
    {"section_id":"s2","section_title":"Sport","tiles":[{"tile_title":"c"}]}]})";

std::string EmptyConditionEnvelope(const std::string& sTable)
{
    return "{\n   \"group_by\" : \"\",\n   \"table_name\" : \"" + sTable + "\",\n   \"where\" : \"\"\n}\n";
}
}  // namespace

TEST_F(SyncTest, TheAcceleratorRowIdIsSelectedByPackageName)
{
    SetAcceleratorRows({42});
    EXPECT_EQ(m_util.GetAcceleratorID(kModule), 42);
    const CRecordedCall call = OnlyCall("select", kModule);
    EXPECT_EQ(call.sInput,
              "{\n   \"column_list\" : [ \"_id\" ],\n   \"group_by\" : \"\",\n"
              "   \"module_name\" : \"" +
                  kModule +
                  "\",\n   \"order\" : \"\",\n"
                  "   \"table_name\" : \"content://org.orvik.pelmo/accelerators\",\n"
                  "   \"where\" : \"app_pkg_name = ?\",\n   \"where_args\" : [ \"" +
                  kModule + "\" ]\n}\n");
    EXPECT_TRUE(HasEntryLine("GetAcceleratorID")) << m_log.Dump();
}

TEST_F(SyncTest, OfSeveralAcceleratorRowsTheLastDeliveredWins)
{
    SetAcceleratorRows({3, 9, 5});
    EXPECT_EQ(m_util.GetAcceleratorID(kModule), 5);
}

TEST_F(SyncTest, AModuleWithoutAcceleratorRowHasNoAcceleratorId)
{
    SetAcceleratorRows({});
    EXPECT_EQ(m_util.GetAcceleratorID(kModule), -1);
}

TEST_F(SyncTest, AFailedAcceleratorSelectGivesNoAcceleratorId)
{
    Refuse("select");
    EXPECT_EQ(m_util.GetAcceleratorID(kModule), -1);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, select_request() failed."));
}

TEST_F(SyncTest, ASectionRowCarriesTheAcceleratorIdAndEveryPresentValueAsText)
{
    CPreviewAccelerator accelerator =
        ParseDocument(R"({"sections":[{"section_id":"s1","section_title":"News","section_position":3,
                                        "section_extra":true}]})");
    const long long llRowId = m_util.CreateSection(7, *accelerator.m_vecSection.at(0), kModule);
    EXPECT_EQ(llRowId, 100);
    const CRecordedCall call = OnlyCall("insert", kModule);
    // The position arrives as the text 3, not the number, and the flag as the text true.
    EXPECT_EQ(call.sInput,
              "{\n\t\"section_accelerator_raw_id\" : \"7\",\n\t\"section_extra\" : \"true\",\n"
              "\t\"section_id\" : \"s1\",\n"
              "\t\"section_position\" : \"3\",\n"
              "\t\"section_subtitle_display_mode\" : \"highlighted_only\",\n"
              "\t\"section_title\" : \"News\",\n\t\"section_title_display_mode\" : \"highlighted_only\",\n"
              "\t\"table_name\" : \"content://org.orvik.pelmo/sections\"\n}");
    EXPECT_TRUE(HasEntryLine("CreateSection"));
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "accID : 7"));
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "Key [section_position],Value [3] added in Insert JSON"));
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "Key [section_title],Value [News] added in Insert JSON"));
}

TEST_F(SyncTest, ASectionWithOnlyEmptyValuesSendsTheTableAndTheAcceleratorIdOnly)
{
    auto pSection = EmptySection(1);
    m_util.CreateSection(7, *pSection, kModule);
    ASSERT_EQ(m_service.CallCount(), 1u);
    EXPECT_EQ(Calls()[0].sInput,
              "{\n\t\"section_accelerator_raw_id\" : \"7\",\n"
              "\t\"table_name\" : \"content://org.orvik.pelmo/sections\"\n}");
}

TEST_F(SyncTest, ASectionValueNamedLikeTheAcceleratorIdColumnReplacesIt)
{
    auto pSection = EmptySection(1);
    pSection->m_mapProperty[TilesModel::Sections::SECTION_ACCELERATOR_RAW_ID] = {JSON_VALUE_STRING, "55"};
    m_util.CreateSection(7, *pSection, kModule);
    ASSERT_EQ(m_service.CallCount(), 1u);
    EXPECT_EQ(ParseJson(Calls()[0].sInput)["section_accelerator_raw_id"].asString(), "55");
}

TEST_F(SyncTest, AFailedSectionInsertReturnsMinusOne)
{
    Refuse("insert");
    auto pSection = EmptySection(1);
    EXPECT_EQ(m_util.CreateSection(7, *pSection, kModule), -1);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR. insert_request() failed."));
}

TEST_F(SyncTest, TilesOfASectionGoUnderTheGivenSectionRow)
{
    CPreviewAccelerator accelerator = ParseDocument(kTwoSections);
    m_util.CreateTiles(42LL, *accelerator.m_vecSection.at(0), kModule);
    m_util.CreateTiles(std::string("43"), *accelerator.m_vecSection.at(1), kModule);
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 2u);
    Json::Value first = ParseJson(calls[0].sInput)["arrayitem"];
    ASSERT_EQ(first.size(), 2u);
    EXPECT_EQ(first[0]["tile_section_raw_id"].asString(), "42");
    EXPECT_EQ(first[0]["tile_title"].asString(), "a");
    EXPECT_EQ(first[1]["tile_section_raw_id"].asString(), "42");
    EXPECT_EQ(first[1]["tile_title"].asString(), "b");
    Json::Value second = ParseJson(calls[1].sInput)["arrayitem"];
    ASSERT_EQ(second.size(), 1u);
    EXPECT_EQ(second[0]["tile_section_raw_id"].asString(), "43");
    // The two section forms only lead to the list form; they log nothing of their own: every
    // line of a CreateTiles is the list form's entry line, once per call.
    size_t iCreateTilesLines = 0;
    for (const CLogLine& line : m_log.Lines()) {
        if (line.sMessage.find("[CreateTiles:") == std::string::npos) continue;
        ++iCreateTilesLines;
        EXPECT_EQ(CLogCapture::Body(line.sMessage), "IN") << line.sMessage;
        EXPECT_EQ(CheckLogPrefix(line.sMessage, "src/common/PreviewDataUtil.cpp", "CreateTiles",
                                 "src/common/PreviewDataUtilTiles.cpp", "IN"),
                  "");
    }
    EXPECT_EQ(iCreateTilesLines, 2u) << m_log.Dump();
}

TEST_F(SyncTest, AWholePreviewIsStoredSectionBySectionEachFollowedByItsTiles)
{
    SetAcceleratorRows({7});
    CPreviewAccelerator accelerator = ParseDocument(kTwoSections);
    EXPECT_TRUE(m_util.AddAcceleratorItem(accelerator, kModule));
    EXPECT_EQ(Methods(), (std::vector<std::string>{"select", "insert", "insert_bulk", "insert", "insert_bulk"}));
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 5u);
    EXPECT_EQ(ParseJson(calls[1].sInput)["section_title"].asString(), "News");
    EXPECT_EQ(ParseJson(calls[1].sInput)["section_accelerator_raw_id"].asString(), "7");
    const Json::Value newsTiles = ParseJson(calls[2].sInput)["arrayitem"];
    ASSERT_EQ(newsTiles.size(), 2u);
    for (const Json::Value& row : newsTiles) EXPECT_EQ(row["tile_section_raw_id"].asString(), "100");
    EXPECT_EQ(ParseJson(calls[3].sInput)["section_title"].asString(), "Sport");
    Json::Value sportTiles = ParseJson(calls[4].sInput)["arrayitem"];
    ASSERT_EQ(sportTiles.size(), 1u);
    EXPECT_EQ(sportTiles[0]["tile_section_raw_id"].asString(), "101");
    EXPECT_TRUE(HasEntryLine("AddAcceleratorItem"));
}

TEST_F(SyncTest, APreviewWithoutSectionsIsStoredWithoutAnyInsert)
{
    CPreviewAccelerator accelerator = ParseDocument("{}");
    EXPECT_TRUE(m_util.AddAcceleratorItem(accelerator, kModule));
    EXPECT_EQ(Methods(), std::vector<std::string>{"select"});
}

TEST_F(SyncTest, APreviewOfAModuleWithoutAcceleratorRowIsRefusedWithoutAnyInsert)
{
    SetAcceleratorRows({});
    CPreviewAccelerator accelerator = ParseDocument(kTwoSections);
    EXPECT_FALSE(m_util.AddAcceleratorItem(accelerator, kModule));
    EXPECT_EQ(Methods(), std::vector<std::string>{"select"});
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "GetAcceleratorId() Failed. Check your accelerator item in DB."));
}

TEST_F(SyncTest, ASectionThatCannotBeStoredLosesItsTilesAndTheNextSectionGoesOn)
{
    RefuseNth("insert", 1);
    CPreviewAccelerator accelerator = ParseDocument(kTwoSections);
    EXPECT_TRUE(m_util.AddAcceleratorItem(accelerator, kModule));
    EXPECT_EQ(Methods(), (std::vector<std::string>{"select", "insert", "insert", "insert_bulk"}));
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR. Cannot find the section."));
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 4u);
    EXPECT_EQ(ParseJson(calls[2].sInput)["section_title"].asString(), "Sport");
    EXPECT_EQ(ParseJson(calls[3].sInput)["arrayitem"].size(), 1u);
}

TEST_F(SyncTest, ClearingAModuleDeletesAllItsTilesThenAllItsSections)
{
    EXPECT_TRUE(m_util.DeleteAcceleratorItem(kModule));
    auto calls = Calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].sMethod, "delete");
    EXPECT_EQ(calls[0].sPackage, kModule);
    EXPECT_EQ(calls[0].sInput, EmptyConditionEnvelope(kTilesUri));
    EXPECT_EQ(calls[1].sMethod, "delete");
    EXPECT_EQ(calls[1].sInput, EmptyConditionEnvelope(kSectionsUri));
    EXPECT_TRUE(HasEntryLine("DeleteAcceleratorItem"));
}

TEST_F(SyncTest, IfTheTileDeleteFailsNoSectionDeleteIsSent)
{
    Refuse("delete");
    EXPECT_FALSE(m_util.DeleteAcceleratorItem(kModule));
    EXPECT_EQ(m_service.CallCount(), 1u);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "Error. failed to delete tiles."));
}

TEST_F(SyncTest, AFailedSectionDeleteFailsTheClear)
{
    RefuseNth("delete", 2);
    EXPECT_FALSE(m_util.DeleteAcceleratorItem(kModule));
    EXPECT_EQ(m_service.CallCount(), 2u);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "Error. failed to delete section."));
}
