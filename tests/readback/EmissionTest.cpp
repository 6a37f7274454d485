// Writing property maps back as JSON members of the types their value types name.
#include <dlog.h>
#include <gtest/gtest.h>
#include <pelmo/TilesModel.h>

#include <stdexcept>

#include "LogCapture.h"
#include "PreviewDataUtil.h"

namespace {
const char* kDefaultPublicExtra = "{\"video_url\":\"\",\"is_resumable\":false}";

class EmissionTest : public ::testing::Test {
protected:
    Json::Value Emit(int iType, const std::string& sText)
    {
        Json::Value object(Json::objectValue);
        m_util.SetPropertyInJson(object, "m", PropertyValue(iType, sText));
        return object;
    }
    CPreviewDataUtil m_util;
    CLogCapture m_log;
};
}  // namespace

TEST_F(EmissionTest, BooleanTextsTrueAndFalseBecomeJsonBooleans)
{
    Json::Value object = Emit(JSON_VALUE_BOOL, "true");
    ASSERT_TRUE(object["m"].isBool());
    EXPECT_TRUE(object["m"].asBool());
    object = Emit(JSON_VALUE_BOOL, "false");
    ASSERT_TRUE(object["m"].isBool());
    EXPECT_FALSE(object["m"].asBool());
}

TEST_F(EmissionTest, AnyOtherBooleanTextIsFalseAndJoinsTheTable)
{
    for (const char* sText : {"1", "TRUE", "yes", ""}) {
        Json::Value object = Emit(JSON_VALUE_BOOL, sText);
        ASSERT_TRUE(object["m"].isBool()) << sText;
        EXPECT_FALSE(object["m"].asBool()) << sText;
    }
    EXPECT_EQ(CPreviewDataUtil::m_mapStringToBool.count("TRUE"), 1u);
    EXPECT_FALSE(CPreviewDataUtil::m_mapStringToBool["TRUE"]);
    EXPECT_TRUE(CPreviewDataUtil::m_mapStringToBool["true"]);
}

TEST_F(EmissionTest, IntegerTextsTakeTheirLeadingNumber)
{
    Json::Value object = Emit(JSON_VALUE_INT, "12abc");
    ASSERT_TRUE(object["m"].isInt());
    EXPECT_EQ(object["m"].asInt(), 12);
    EXPECT_EQ(Emit(JSON_VALUE_INT, "  -7").get("m", 0).asInt(), -7);
    EXPECT_EQ(Emit(JSON_VALUE_INT, "2147483647")["m"].asInt(), 2147483647);
    EXPECT_EQ(Emit(JSON_VALUE_INT, "-2147483648")["m"].asInt(), -2147483647 - 1);
}

TEST_F(EmissionTest, UnsignedTextsAreWrittenAsSigned32BitIntegers)
{
    Json::Value object = Emit(JSON_VALUE_UINT, "4000");
    ASSERT_TRUE(object["m"].isInt());
    EXPECT_EQ(object["m"].type(), Json::intValue);
    EXPECT_EQ(object["m"].asInt(), 4000);
}

TEST_F(EmissionTest, AnIntegerTextWithoutDigitsRaisesInvalidArgumentAndWritesNothing)
{
    Json::Value object(Json::objectValue);
    EXPECT_THROW(m_util.SetPropertyInJson(object, "m", PropertyValue(JSON_VALUE_INT, "abc")), std::invalid_argument);
    EXPECT_THROW(m_util.SetPropertyInJson(object, "m", PropertyValue(JSON_VALUE_UINT, "")), std::invalid_argument);
    EXPECT_FALSE(object.isMember("m"));
}

TEST_F(EmissionTest, AnIntegerOutsideTheSigned32BitRangeRaisesOutOfRange)
{
    Json::Value object(Json::objectValue);
    EXPECT_THROW(m_util.SetPropertyInJson(object, "m", PropertyValue(JSON_VALUE_UINT, "3000000000")),
                 std::out_of_range);
    EXPECT_THROW(m_util.SetPropertyInJson(object, "m", PropertyValue(JSON_VALUE_UINT, "4294967297")),
                 std::out_of_range);
    EXPECT_THROW(m_util.SetPropertyInJson(object, "m", PropertyValue(JSON_VALUE_INT, "2147483648")),
                 std::out_of_range);
    EXPECT_FALSE(object.isMember("m"));
}

TEST_F(EmissionTest, DoubleTextsBecomeJsonNumbers)
{
    Json::Value object = Emit(JSON_VALUE_DOUBLE, "1.5");
    ASSERT_TRUE(object["m"].isDouble());
    EXPECT_DOUBLE_EQ(object["m"].asDouble(), 1.5);
    EXPECT_DOUBLE_EQ(Emit(JSON_VALUE_DOUBLE, "1.23457e+06")["m"].asDouble(), 1234570.0);
    EXPECT_DOUBLE_EQ(Emit(JSON_VALUE_DOUBLE, "2.5kg")["m"].asDouble(), 2.5);
}

TEST_F(EmissionTest, ADoubleTextWithoutANumberOrOutOfRangeRaises)
{
    Json::Value object(Json::objectValue);
    EXPECT_THROW(m_util.SetPropertyInJson(object, "m", PropertyValue(JSON_VALUE_DOUBLE, "abc")),
                 std::invalid_argument);
    EXPECT_THROW(m_util.SetPropertyInJson(object, "m", PropertyValue(JSON_VALUE_DOUBLE, "1e400")), std::out_of_range);
    EXPECT_THROW(m_util.SetPropertyInJson(object, "m", PropertyValue(JSON_VALUE_DOUBLE, "1e-400")), std::out_of_range);
    EXPECT_FALSE(object.isMember("m"));
}

TEST_F(EmissionTest, StringTextsAreWrittenUnchangedEvenWhenEmpty)
{
    Json::Value object = Emit(JSON_VALUE_STRING, "");
    ASSERT_TRUE(object.isMember("m"));
    ASSERT_TRUE(object["m"].isString());
    EXPECT_EQ(object["m"].asString(), "");
    EXPECT_EQ(Emit(JSON_VALUE_STRING, " 12 ")["m"].asString(), " 12 ");
}

TEST_F(EmissionTest, InvalidValueTypesAreLoggedAndWriteNothing)
{
    for (int iType : {static_cast<int>(JSON_VALUE_NONE), -1, 6, 100}) {
        m_log.Clear();
        Json::Value object(Json::objectValue);
        object["m"] = "before";
        m_util.SetPropertyInJson(object, "m", PropertyValue(iType, "x"));
        EXPECT_EQ(object.size(), 1u);
        EXPECT_EQ(object["m"].asString(), "before") << iType;
        EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, Invalid Value Type.")) << m_log.Dump();
        EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "iValueType : " + std::to_string(iType) + ", sValue : x")) << m_log.Dump();
    }
}

TEST_F(EmissionTest, AValueReplacesAMemberOfTheSameName)
{
    Json::Value object(Json::objectValue);
    object["m"] = "old";
    m_util.SetPropertyInJson(object, "m", PropertyValue(JSON_VALUE_INT, "5"));
    EXPECT_EQ(object.size(), 1u);
    EXPECT_EQ(object["m"], Json::Value(5));
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "iValueType : 1, sValue : 5")) << m_log.Dump();
}

TEST_F(EmissionTest, ADefaultTileYieldsOnlyItsActionTypeAndTheDefaultPublicExtra)
{
    Json::Value object(Json::objectValue);
    m_util.SetComponentsInJson(object, CPreviewTile().m_mapProperty);
    EXPECT_EQ(object.getMemberNames(), (std::vector<std::string>{"public_extra", "tile_action_type"}));
    EXPECT_EQ(object["tile_action_type"], Json::Value("app_launch"));
    EXPECT_EQ(object["public_extra"], Json::Value(kDefaultPublicExtra));
}

TEST_F(EmissionTest, AnEmptyStoredPublicExtraIsReplacedByTheDefault)
{
    CPreviewTile tile;
    tile.m_mapProperty[TilesModel::Tiles::TILE_ACTION_PRE_PLAY] = PropertyValue(JSON_VALUE_STRING, "");
    Json::Value object(Json::objectValue);
    m_util.SetComponentsInJson(object, tile.m_mapProperty);
    EXPECT_EQ(object["public_extra"], Json::Value(kDefaultPublicExtra));
    tile.m_mapProperty[TilesModel::Tiles::TILE_ACTION_PRE_PLAY] = PropertyValue(JSON_VALUE_NONE, "{\"a\":1}");
    Json::Value other(Json::objectValue);
    m_util.SetComponentsInJson(other, tile.m_mapProperty);
    EXPECT_EQ(other["public_extra"], Json::Value(kDefaultPublicExtra));
}

TEST_F(EmissionTest, AStoredPublicExtraIsWrittenAsItsTextUnderTheDocumentName)
{
    using namespace TilesModel::Tiles;
    CPreviewTile tile;
    tile.m_mapProperty[TILE_ACTION_PRE_PLAY] = PropertyValue(JSON_VALUE_STRING, "{\"is_resumable\":true}\n");
    tile.m_mapProperty[TILE_ACTION_PLAY] = PropertyValue(JSON_VALUE_STRING, "play://x");
    tile.m_mapProperty[TILE_SOURCE_ICON] = PropertyValue(JSON_VALUE_STRING, "icon.png");
    Json::Value object(Json::objectValue);
    m_util.SetComponentsInJson(object, tile.m_mapProperty);
    ASSERT_TRUE(object["public_extra"].isString());
    EXPECT_EQ(object["public_extra"].asString(), "{\"is_resumable\":true}\n");
    EXPECT_FALSE(object.isMember(TILE_ACTION_PRE_PLAY));
    // Only the extras go back to their document name.
    EXPECT_EQ(object[TILE_ACTION_PLAY], Json::Value("play://x"));
    EXPECT_EQ(object[TILE_SOURCE_ICON], Json::Value("icon.png"));
    EXPECT_FALSE(object.isMember("action_data"));
    EXPECT_FALSE(object.isMember("source_icon"));
}

TEST_F(EmissionTest, AcceleratorAndSectionMapsNeverYieldPublicExtra)
{
    Json::Value accelerator(Json::objectValue);
    m_util.SetComponentsInJson(accelerator, CPreviewAccelerator().m_mapProperty);
    EXPECT_EQ(accelerator, Json::Value(Json::objectValue));
    Json::Value section(Json::objectValue);
    m_util.SetComponentsInJson(section, CPreviewSection().m_mapProperty);
    EXPECT_EQ(section.getMemberNames(),
              (std::vector<std::string>{"section_subtitle_display_mode", "section_title_display_mode"}));
    EXPECT_EQ(section["section_title_display_mode"], Json::Value("highlighted_only"));
}

TEST_F(EmissionTest, TypeNoneAndEmptyTextsAreLeftOutOfTheObject)
{
    using namespace TilesModel::Tiles;
    CPreviewTile tile;
    tile.m_mapProperty[TILE_ACTION_TYPE] = PropertyValue(JSON_VALUE_NONE, "app_launch");
    tile.m_mapProperty[TILE_TITLE] = PropertyValue(JSON_VALUE_STRING, "");
    tile.m_mapProperty[TILE_POSITION] = PropertyValue(JSON_VALUE_INT, "");
    tile.m_mapProperty[TILE_PROGRESS] = PropertyValue(JSON_VALUE_DOUBLE, "0.5");
    tile.m_mapProperty[TILE_PLAYABLE] = PropertyValue(JSON_VALUE_BOOL, "true");
    Json::Value object(Json::objectValue);
    m_util.SetComponentsInJson(object, tile.m_mapProperty);
    EXPECT_EQ(object.getMemberNames(), (std::vector<std::string>{"public_extra", "tile_playable", "tile_progress"}));
    EXPECT_EQ(object[TILE_PLAYABLE], Json::Value(true));
    EXPECT_EQ(object[TILE_PROGRESS], Json::Value(0.5));
}

TEST_F(EmissionTest, AnInvalidTypeInAMapIsSkippedAndTheRestIsWritten)
{
    PropertyMap mapProperty{{"a", {9, "x"}}, {"b", {JSON_VALUE_INT, "3"}}};
    Json::Value object(Json::objectValue);
    m_util.SetComponentsInJson(object, mapProperty);
    EXPECT_EQ(object.getMemberNames(), std::vector<std::string>{"b"});
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ERROR, Invalid Value Type.")) << m_log.Dump();
}

TEST_F(EmissionTest, AConversionErrorInAMapKeepsTheMembersWrittenBeforeIt)
{
    PropertyMap mapProperty{{"a", {JSON_VALUE_STRING, "first"}}, {"b", {JSON_VALUE_UINT, "4294967297"}},
                            {"c", {JSON_VALUE_STRING, "never"}}};
    Json::Value object(Json::objectValue);
    EXPECT_THROW(m_util.SetComponentsInJson(object, mapProperty), std::out_of_range);
    EXPECT_EQ(object.getMemberNames(), std::vector<std::string>{"a"});
}
