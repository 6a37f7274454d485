// Loading a module's stored accelerator, sections and tiles through real selects.
#include <pelmo/TilesModel.h>

#include "StoredRows.h"

using namespace readback;

namespace {
const std::string kModule = "org.example.app";

const std::vector<std::string> kAcceleratorColumns = {
    "_id", "accelerator_enabled", "accelerator_icon", "accelerator_icon_unfocused", "accelerator_id",
    "accelerator_position", "accelerator_title", "app_pkg_name", "was_web_app_id"};
const std::vector<std::string> kSectionColumns = {
    "_id", "section_accelerator_raw_id", "section_extra", "section_id", "section_position",
    "section_subtitle_display_mode", "section_title", "section_title_display_mode"};
const std::vector<std::string> kTileColumns = {
    "_id", "tile_action_click", "tile_action_details", "tile_action_play", "tile_action_post_play",
    "tile_action_pre_play", "tile_action_type", "tile_display_from", "tile_display_until", "tile_extra",
    "tile_extra_app_id", "tile_favorite", "tile_id", "tile_image_height", "tile_image_path", "tile_image_ratio",
    "tile_image_url", "tile_image_width", "tile_notification", "tile_playable", "tile_position", "tile_progress",
    "tile_section_raw_id", "tile_source_icon", "tile_source_icon_path", "tile_subtitle", "tile_title", "tile_type"};

std::vector<std::string> Strings(const Json::Value& array)
{
    std::vector<std::string> vecOut;
    for (const Json::Value& value : array) vecOut.push_back(value.asString());
    return vecOut;
}

// Checks one sent select: every member of the envelope, and nothing else.
void ExpectSelect(const Json::Value& root, const std::string& sTable, const std::string& sWhere,
                  const std::string& sArg, const std::string& sOrder, const std::vector<std::string>& vecColumns,
                  const std::string& sModule)
{
    EXPECT_EQ(root.getMemberNames(), (std::vector<std::string>{"column_list", "group_by", "module_name", "order",
                                                                "table_name", "where", "where_args"}));
    EXPECT_EQ(root["table_name"].asString(), sTable);
    EXPECT_EQ(root["where"].asString(), sWhere);
    EXPECT_EQ(Strings(root["where_args"]), std::vector<std::string>{sArg});
    EXPECT_EQ(root["order"].asString(), sOrder);
    EXPECT_EQ(Strings(root["column_list"]), vecColumns);
    EXPECT_EQ(root["group_by"].asString(), "");
    EXPECT_EQ(root["module_name"].asString(), sModule);
}

StoredRow TileRow(long long llId, const std::string& sTitle, const std::string& sFrom = "",
                  const std::string& sUntil = "")
{
    return {{"_id", Integer(llId)},
            {"tile_title", Text(sTitle)},
            {"tile_subtitle", Text("sub")},
            {"tile_image_url", Text("http://img/1.png")},
            {"tile_action_play", Text("play://1")},
            {"tile_display_from", Text(sFrom)},
            {"tile_display_until", Text(sUntil)}};
}

// Whether the one tile loaded into the section and the one tile of the parsed document have the
// same content key.
::testing::AssertionResult SameSingleTileKey(const CPreviewSection& stored, const CPreviewAccelerator& parsed)
{
    if (parsed.m_vecSection.size() != 1 || parsed.m_vecSection[0]->m_vecTileHash.size() != 1) {
        return ::testing::AssertionFailure() << "the document did not give one section with one tile";
    }
    if (stored.m_vecTileHash.size() != 1) {
        return ::testing::AssertionFailure() << "the store gave " << stored.m_vecTileHash.size() << " tile keys";
    }
    const uint64_t uStored = stored.m_vecTileHash[0], uParsed = parsed.m_vecSection[0]->m_vecTileHash[0];
    if (uStored != uParsed) {
        return ::testing::AssertionFailure() << "stored key " << uStored << ", parsed key " << uParsed;
    }
    return ::testing::AssertionSuccess();
}
}  // namespace

class LoaderTest : public ReadbackTest {};

TEST_F(LoaderTest, AcceleratorSelectAsksForTheModulesRowWithEveryColumnButExpires)
{
    CPreviewAccelerator accelerator;
    ASSERT_TRUE(m_util.GetAcceleratorItems(kModule, accelerator)) << m_log.Dump();
    auto calls = m_service.Calls();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].sBusName, "org.orvik.Feltrix.dbus");
    EXPECT_EQ(calls[0].sPackage, kModule);
    ExpectSelect(Selects()[0], kAccelerators, "app_pkg_name = ?", kModule, "", kAcceleratorColumns, kModule);
    EXPECT_EQ(EntryLines("GetAcceleratorItems"), 1u) << m_log.Dump();
}

TEST_F(LoaderTest, AcceleratorRowFillsTheMapAndTheExtraIndexIsSkipped)
{
    Store(kAccelerators, kModule,
          {{{"_id", Integer(7)}, {"accelerator_title", Text("My app")}, {"app_pkg_name", Text(kModule)}}});
    CPreviewAccelerator accelerator;
    ASSERT_TRUE(m_util.GetAcceleratorItems(kModule, accelerator));
    EXPECT_EQ(accelerator.m_mapProperty["_id"], PropertyValue(JSON_VALUE_INT, "7"));
    EXPECT_EQ(accelerator.m_mapProperty["accelerator_title"], PropertyValue(JSON_VALUE_STRING, "My app"));
    // Columns the row leaves NULL come back as empty text.
    EXPECT_EQ(accelerator.m_mapProperty["accelerator_icon"], PropertyValue(JSON_VALUE_STRING, ""));
    EXPECT_EQ(accelerator.m_mapProperty["expires"], PropertyValue(JSON_VALUE_NONE, ""));
    EXPECT_EQ(accelerator.m_mapProperty.size(), 10u);
    // The map counts "expires", which is no column: that one index is read and skipped.
    EXPECT_EQ(m_log.Count(DLOG_DEBUG, "ERROR, Invalid Column Type."), 1u) << m_log.Dump();
}

TEST_F(LoaderTest, WithTwoAcceleratorRowsTheLastOneWins)
{
    Store(kAccelerators, kModule,
          {{{"_id", Integer(3)}, {"accelerator_title", Text("first")}, {"accelerator_icon", Text("a.png")}},
           {{"_id", Integer(9)}, {"accelerator_title", Text("second")}}});
    CPreviewAccelerator accelerator;
    ASSERT_TRUE(m_util.GetAcceleratorItems(kModule, accelerator));
    EXPECT_EQ(accelerator.m_mapProperty["_id"].second, "9");
    EXPECT_EQ(accelerator.m_mapProperty["accelerator_title"].second, "second");
    EXPECT_EQ(accelerator.m_mapProperty["accelerator_icon"].second, "");
}

TEST_F(LoaderTest, WithoutAnAcceleratorRowTheItemsLoadSucceedsAndLeavesTheIdEmpty)
{
    CPreviewAccelerator accelerator;
    ASSERT_TRUE(m_util.GetAcceleratorItems(kModule, accelerator));
    EXPECT_EQ(accelerator.m_mapProperty["_id"], PropertyValue(JSON_VALUE_NONE, ""));
}

TEST_F(LoaderTest, ARefusedAcceleratorSelectFails)
{
    Refuse(kAccelerators, kModule);
    CPreviewAccelerator accelerator;
    EXPECT_FALSE(m_util.GetAcceleratorItems(kModule, accelerator));
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, select_request() failed.")) << m_log.Dump();
}

TEST_F(LoaderTest, SectionSelectAsksForTheAcceleratorsSectionsInPositionOrder)
{
    CPreviewAccelerator accelerator;
    ASSERT_TRUE(m_util.GetSectionItems(kModule, "41", accelerator));
    ASSERT_EQ(m_service.CallCount(), 1u);
    ExpectSelect(Selects()[0], kSections, "section_accelerator_raw_id = ?", "41", "section_position",
                 kSectionColumns, kModule);
    EXPECT_TRUE(accelerator.m_vecSection.empty());
    EXPECT_TRUE(accelerator.m_vecSectionHash.empty());
}

TEST_F(LoaderTest, SectionsAreListedInDeliveryOrderWithTheirContentKeys)
{
    Store(kSections, "41",
          {{{"_id", Integer(2)}, {"section_title", Text("Top")}, {"section_id", Text("s-top")}},
           {{"_id", Integer(1)}, {"section_title", Text("More")}, {"section_id", Integer(5)}}});
    CPreviewAccelerator accelerator;
    ASSERT_TRUE(m_util.GetSectionItems(kModule, "41", accelerator));
    ASSERT_EQ(accelerator.m_vecSection.size(), 2u);
    ASSERT_EQ(accelerator.m_vecSectionHash.size(), 2u);
    const auto& first = accelerator.m_vecSection[0];
    const auto& second = accelerator.m_vecSection[1];
    EXPECT_EQ(first->m_mapProperty["_id"].second, "2");
    EXPECT_EQ(second->m_mapProperty["section_id"], PropertyValue(JSON_VALUE_INT, "5"));
    EXPECT_EQ(first->m_hash, CPreviewDataUtil::CalcSectionHash("Top", "s-top"));
    EXPECT_EQ(second->m_hash, CPreviewDataUtil::CalcSectionHash("More", "5"));
    EXPECT_NE(first->m_hash, second->m_hash);
    EXPECT_EQ(accelerator.m_vecSectionHash[0], first->m_hash);
    EXPECT_EQ(accelerator.m_vecSectionHash[1], second->m_hash);
    // Loaded sections start from the model's defaults: the display modes are stored NULL here.
    EXPECT_EQ(first->m_mapProperty.size(), CPreviewSection().m_mapProperty.size());
}

TEST_F(LoaderTest, AStoredSectionHashesLikeItsParsedTwin)
{
    Store(kSections, "41", {{{"_id", Integer(2)}, {"section_title", Text("Top")}, {"section_id", Integer(5)}}});
    CPreviewAccelerator stored;
    ASSERT_TRUE(m_util.GetSectionItems(kModule, "41", stored));
    CPreviewAccelerator parsed;
    ASSERT_TRUE(m_util.GetPreviewDataUsingJsonStr(
        "{\"sections\":[{\"section_title\":\"Top\",\"section_id\":5,\"tiles\":[]}]}", parsed, kModule));
    ASSERT_EQ(stored.m_vecSectionHash.size(), 1u);
    ASSERT_EQ(parsed.m_vecSectionHash.size(), 1u);
    EXPECT_EQ(stored.m_vecSectionHash[0], parsed.m_vecSectionHash[0]);
}

TEST_F(LoaderTest, ARefusedSectionSelectFails)
{
    Refuse(kSections, "41");
    CPreviewAccelerator accelerator;
    EXPECT_FALSE(m_util.GetSectionItems(kModule, "41", accelerator));
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, select_request() failed.")) << m_log.Dump();
}

TEST_F(LoaderTest, TileSelectAsksForTheSectionsTilesInPositionOrder)
{
    auto section = std::make_shared<CPreviewSection>();
    ASSERT_TRUE(m_util.GetTileItems(kModule, "12", section));
    ASSERT_EQ(m_service.CallCount(), 1u);
    ExpectSelect(Selects()[0], kTiles, "tile_section_raw_id = ?", "12", "tile_position", kTileColumns, kModule);
    EXPECT_TRUE(section->m_vecTile.empty());
}

TEST_F(LoaderTest, TilesAreListedInDeliveryOrderWithTheirContentKeysAndLogged)
{
    Store(kTiles, "12", {TileRow(30, "B"), TileRow(31, "A")});
    auto section = std::make_shared<CPreviewSection>();
    ASSERT_TRUE(m_util.GetTileItems(kModule, "12", section));
    ASSERT_EQ(section->m_vecTile.size(), 2u);
    ASSERT_EQ(section->m_vecTileHash.size(), 2u);
    EXPECT_EQ(section->m_vecTile[0]->m_mapProperty["tile_title"].second, "B");
    EXPECT_EQ(section->m_vecTile[1]->m_mapProperty["_id"], PropertyValue(JSON_VALUE_INT, "31"));
    const uint64_t hashB = m_util.CalcTileHash("B", "sub", "http://img/1.png", "play://1");
    EXPECT_EQ(section->m_vecTile[0]->m_hash, hashB);
    EXPECT_EQ(section->m_vecTileHash[0], hashB);
    EXPECT_EQ(section->m_vecTileHash[1], section->m_vecTile[1]->m_hash);
    // The host log turns the line breaks of a message into blanks.
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "Hash:[" + std::to_string(hashB) +
                                          "] title:[B] subtitle:[sub] imageUrl:[http://img/1.png] "
                                          "actionPlayUrl:[play://1]"))
        << m_log.Dump();
}

TEST_F(LoaderTest, AStoredTileHashesLikeItsParsedTwin)
{
    Store(kTiles, "12", {TileRow(30, "Movie", "2024-01-01", "2024-02-01")});
    auto section = std::make_shared<CPreviewSection>();
    ASSERT_TRUE(m_util.GetTileItems(kModule, "12", section));
    CPreviewAccelerator parsed;
    ASSERT_TRUE(m_util.GetPreviewDataUsingJsonStr(
        "{\"sections\":[{\"tiles\":[{\"tile_title\":\"Movie\",\"tile_subtitle\":\"sub\","
        "\"tile_image_url\":\"http://img/1.png\",\"action_data\":\"play://1\","
        "\"tile_display_from\":\"2024-01-01\",\"tile_display_until\":\"2024-02-01\"}]}]}",
        parsed, kModule));
    EXPECT_TRUE(SameSingleTileKey(*section, parsed));
}

// Modules whose tile key includes the display period.
class DisplayPeriodModuleTest : public ReadbackTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(DisplayPeriodModuleTest, ADifferentDisplayPeriodAloneGivesADifferentTileKey)
{
    const std::string sModule = GetParam();
    Store(kTiles, "12", {TileRow(30, "Same", "10", "20"), TileRow(31, "Same", "11", "20")});
    auto section = std::make_shared<CPreviewSection>();
    ASSERT_TRUE(m_util.GetTileItems(sModule, "12", section));
    ASSERT_EQ(section->m_vecTileHash.size(), 2u);
    EXPECT_NE(section->m_vecTileHash[0], section->m_vecTileHash[1]);
    EXPECT_EQ(section->m_vecTileHash[0], m_util.CalcTileHash("Same", "sub", "http://img/1.png", "play://11020"));
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "Hash:[" + std::to_string(section->m_vecTileHash[1]) +
                                          "] title:[Same] subtitle:[sub] imageUrl:[http://img/1.png] "
                                          "actionPlayUrl:[play://11120]"))
        << m_log.Dump();
}

TEST_P(DisplayPeriodModuleTest, TheStoredTileKeyEqualsTheParsedTileKey)
{
    const std::string sModule = GetParam();
    Store(kTiles, "12", {TileRow(30, "Movie", "10", "20")});
    auto section = std::make_shared<CPreviewSection>();
    ASSERT_TRUE(m_util.GetTileItems(sModule, "12", section));
    CPreviewAccelerator parsed;
    parsed.m_mapProperty[TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME] = {JSON_VALUE_STRING, sModule};
    ASSERT_TRUE(m_util.GetPreviewDataUsingJsonStr(
        "{\"sections\":[{\"tiles\":[{\"tile_title\":\"Movie\",\"tile_subtitle\":\"sub\","
        "\"tile_image_url\":\"http://img/1.png\",\"action_data\":\"play://1\","
        "\"tile_action_play\":\"play://1\",\"tile_display_from\":10,\"tile_display_until\":20}]}]}",
        parsed, sModule));
    EXPECT_TRUE(SameSingleTileKey(*section, parsed));
    // The period is in both keys, not left out of both.
    EXPECT_NE(section->m_vecTileHash[0], m_util.CalcTileHash("Movie", "sub", "http://img/1.png", "play://1"));
}

INSTANTIATE_TEST_SUITE_P(ListedModules, DisplayPeriodModuleTest,
                         ::testing::Values("ambrel", "ambrel_foryou", "ambrel_banner", "com.quenor.tv.Skyvane",
                                           "livetv_", "org.example.livetv_guide"));

TEST_F(LoaderTest, ForOtherModulesTheDisplayPeriodIsNotPartOfTheTileKey)
{
    Store(kTiles, "12", {TileRow(30, "Same", "10", "20"), TileRow(31, "Same", "11", "21")});
    for (const std::string sModule : {"org.example.app", "ambrel2", "xambrel", "livetv"}) {
        auto section = std::make_shared<CPreviewSection>();
        ASSERT_TRUE(m_util.GetTileItems(sModule, "12", section));
        ASSERT_EQ(section->m_vecTileHash.size(), 2u);
        EXPECT_EQ(section->m_vecTileHash[0], section->m_vecTileHash[1]) << sModule;
        EXPECT_EQ(section->m_vecTileHash[0], m_util.CalcTileHash("Same", "sub", "http://img/1.png", "play://1"));
    }
}

TEST_F(LoaderTest, ARefusedTileSelectFails)
{
    Refuse(kTiles, "12");
    auto section = std::make_shared<CPreviewSection>();
    EXPECT_FALSE(m_util.GetTileItems(kModule, "12", section));
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, select_request() failed.")) << m_log.Dump();
}
