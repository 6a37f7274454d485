#include <dlog.h>
#include <gtest/gtest.h>
#include <pelmo/TilesModel.h>

#include "LogCapture.h"
#include "PreviewAccelerator.h"
#include "PreviewDataUtil.h"

using namespace TilesModel;

TEST(PreviewModel, FreshTileHasTwentyEightDefaultsWithAppLaunchActionType)
{
    CPreviewTile tile;
    EXPECT_EQ(tile.m_mapProperty.size(), 28u);
    for (const auto& entry : tile.m_mapProperty) {
        if (entry.first == Tiles::TILE_ACTION_TYPE) {
            EXPECT_EQ(entry.second, PropertyValue(4, "app_launch"));
        } else {
            EXPECT_EQ(entry.second, PropertyValue(5, "")) << entry.first;
        }
    }
    EXPECT_EQ(tile.m_hash, 0u);
}

TEST(PreviewModel, FreshSectionHasBothDisplayModesHighlightedOnly)
{
    CPreviewSection section;
    EXPECT_EQ(section.m_mapProperty.size(), 8u);
    EXPECT_EQ(section.m_mapProperty[Sections::SECTION_TITLE_DISPLAY_MODE], PropertyValue(4, "highlighted_only"));
    EXPECT_EQ(section.m_mapProperty[Sections::SECTION_SUBTITLE_DISPLAY_MODE], PropertyValue(4, "highlighted_only"));
    EXPECT_EQ(section.m_hash, 0u);
}

TEST(PreviewModel, FreshAcceleratorHasTenKeysIncludingExpires)
{
    CPreviewAccelerator accelerator;
    EXPECT_EQ(accelerator.m_mapProperty.size(), 10u);
    EXPECT_EQ(accelerator.m_mapProperty.at("expires"), PropertyValue(5, ""));
    EXPECT_EQ(accelerator.m_mapProperty.count(TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME), 1u);
}

TEST(PreviewModel, ActionDataIsStoredUnderTheActionPlayColumn)
{
    CPreviewAccelerator accelerator;
    accelerator.AddProperty("", 5, "", 3);
    accelerator.AddProperty("", 5, "", 1);
    accelerator.AddProperty("action_data", 4, "x", 0);
    const auto& map = accelerator.m_vecSection[0]->m_vecTile[0]->m_mapProperty;
    EXPECT_EQ(map.at(Tiles::TILE_ACTION_PLAY), PropertyValue(4, "x"));
    EXPECT_EQ(map.count("action_data"), 0u);
    EXPECT_EQ(map.size(), 28u);
}

TEST(PreviewModel, UnknownKeysChangeNothingAtTileAndSectionDepths)
{
    CPreviewAccelerator accelerator;
    accelerator.AddProperty("", 5, "", 3);
    accelerator.AddProperty("", 5, "", 1);
    accelerator.AddProperty("not_a_column", 4, "x", 0);
    accelerator.AddProperty(Tiles::TILE_TITLE, 4, "x", 2);
    accelerator.AddProperty("unknown", 4, "x", 4);
    EXPECT_EQ(accelerator.m_vecSection[0]->m_vecTile[0]->m_mapProperty.size(), 28u);
    EXPECT_EQ(accelerator.m_vecSection[0]->m_mapProperty.size(), 8u);
    EXPECT_EQ(accelerator.m_vecSection[0]->m_mapProperty.count(Tiles::TILE_TITLE), 0u);
    EXPECT_EQ(accelerator.m_mapProperty.size(), 10u);
}

TEST(PreviewModel, InvalidDepthLogsAndChangesNothing)
{
    CLogCapture log;
    CPreviewAccelerator accelerator;
    accelerator.AddProperty(Accelerators::ACCELERATOR_TITLE, 4, "x", 5);
    accelerator.AddProperty(Accelerators::ACCELERATOR_TITLE, 4, "x", -1);
    EXPECT_EQ(log.Count(DLOG_ERROR, "ERROR, Invalid depth value."), 2u);
    EXPECT_EQ(accelerator.m_mapProperty[Accelerators::ACCELERATOR_TITLE], PropertyValue(5, ""));
    EXPECT_TRUE(accelerator.m_vecSection.empty());
    ASSERT_FALSE(log.Lines().empty());
    EXPECT_NE(log.Lines()[0].sMessage.find("[PreviewAccelerator.cpp][AddProperty:"), std::string::npos);
}

TEST(PreviewModel, TileGoesIntoTheNewestSection)
{
    CPreviewAccelerator accelerator;
    accelerator.AddProperty("", 5, "", 3);
    accelerator.AddProperty("", 5, "", 3);
    accelerator.AddProperty("", 5, "", 1);
    EXPECT_TRUE(accelerator.m_vecSection[0]->m_vecTile.empty());
    EXPECT_EQ(accelerator.m_vecSection[1]->m_vecTile.size(), 1u);
}

TEST(PreviewModel, OutOfOrderCallsDoNothing)
{
    CPreviewAccelerator accelerator;
    accelerator.AddProperty(Tiles::TILE_TITLE, 4, "x", 0);
    accelerator.AddProperty("", 5, "", 1);
    accelerator.AddProperty(Sections::SECTION_TITLE, 4, "x", 2);
    EXPECT_TRUE(accelerator.m_vecSection.empty());
    accelerator.AddProperty("", 5, "", 3);
    accelerator.AddProperty(Tiles::TILE_TITLE, 4, "x", 0);  // no tile yet
    EXPECT_TRUE(accelerator.m_vecSection[0]->m_vecTile.empty());
}

TEST(PreviewModel, BooleanTablesHoldBothValuesAtLoad)
{
    EXPECT_EQ(CPreviewDataUtil::m_mapBoolToString.at(false), "false");
    EXPECT_EQ(CPreviewDataUtil::m_mapBoolToString.at(true), "true");
    EXPECT_EQ(CPreviewDataUtil::m_mapStringToBool.at("false"), false);
    EXPECT_EQ(CPreviewDataUtil::m_mapStringToBool.at("true"), true);
}

TEST(ContentKeys, FourEmptyTextsGiveTheHashOfEmptyCombined)
{
    CPreviewDataUtil util;
    EXPECT_EQ(util.CalcTileHash("", "", "", ""), CPreviewDataUtil::CalcSectionHash("", ""));
    if constexpr (sizeof(size_t) == 8) {
        const std::hash<std::string> h;
        EXPECT_EQ(util.CalcTileHash("", "", "", ""), static_cast<uint64_t>(h("")) ^ (static_cast<uint64_t>(h("")) << 1));
    }
}

// Keys are 64 bits wide on every target, 32-bit ones included, and equal to what the 64-bit
// standard library's string hash gives: a publish sends the same requests in the same order
// whatever the word size of the process that makes it.
TEST(ContentKeys, AreTheSame64BitValuesOnEveryWordSize)
{
    const struct {
        const char* sText;
        uint64_t uKey;  // CalcSectionHash(sText, "") of a 64-bit process
    } aKnown[] = {
        {"", 0xff43b4b022ca7eb2ull},
        {"a", 0xef30f9c4b44db9b7ull},
        {"ab", 0xe63081ed141027a7ull},
        {"abcdefg", 0x74934f109f23d673ull},
        {"abcdefgh", 0xd24094c3b134cc67ull},
        {"abcdefghi", 0x1e91b577b990de73ull},
        {"Top", 0x97b23e9e2b4087e3ull},
        {"s-top", 0xf7806bad234937f5ull},
        {"0123456789abcdef", 0x39362a563aceb95aull},
        {"0123456789abcdefX", 0x2c9d76733a8b5283ull},
        {"\xc3\xa9t\xc3\xa9 \xff\x80", 0x537f427c857b3f12ull},
    };
    for (const auto& known : aKnown) {
        EXPECT_EQ(CPreviewDataUtil::CalcSectionHash(known.sText, ""), known.uKey) << "text \"" << known.sText << "\"";
    }
    CPreviewDataUtil util;
    EXPECT_EQ(util.CalcTileHash("Title", "Sub", "http://img/1.png", "play://1"), 0xda3c3ac13a66d41full);
}

TEST(ContentKeys, BoundaryBetweenConcatenatedTextsDoesNotMatter)
{
    CPreviewDataUtil util;
    EXPECT_EQ(util.CalcTileHash("ab", "", "", ""), util.CalcTileHash("a", "", "", "b"));
    EXPECT_EQ(util.CalcTileHash("", "ab", "", ""), util.CalcTileHash("", "a", "b", ""));
}

TEST(ContentKeys, ExchangingTitleAndSubtitleChangesTheHash)
{
    CPreviewDataUtil util;
    EXPECT_NE(util.CalcTileHash("t", "s", "", ""), util.CalcTileHash("s", "t", "", ""));
}

TEST(ContentKeys, SectionKeyCombinesTitleAndShiftedId)
{
    if constexpr (sizeof(size_t) == 8) {
        const std::hash<std::string> h;
        EXPECT_EQ(CPreviewDataUtil::CalcSectionHash("T", "7"),
                  static_cast<uint64_t>(h("T")) ^ (static_cast<uint64_t>(h("7")) << 1));
    }
    // The same combination, as a 64-bit process computes it, on every word size.
    EXPECT_EQ(CPreviewDataUtil::CalcSectionHash("T", "7"), 0xee887acf05ea947aull);
    EXPECT_NE(CPreviewDataUtil::CalcSectionHash("T", "7"), CPreviewDataUtil::CalcSectionHash("7", "T"));
}

TEST(IntegerValidator, CanonicalisesTheLeadingInteger)
{
    CPreviewDataUtil util;
    EXPECT_EQ(util.IntegerValidator("42abc"), "42");
    EXPECT_EQ(util.IntegerValidator("abc"), "0");
    EXPECT_EQ(util.IntegerValidator(" -7"), "-7");
    EXPECT_EQ(util.IntegerValidator("007"), "7");
    EXPECT_EQ(util.IntegerValidator("1.9"), "1");
    EXPECT_EQ(util.IntegerValidator(""), "0");
    EXPECT_EQ(util.IntegerValidator("99999999999999999999"), "9223372036854775807");
    EXPECT_EQ(util.IntegerValidator("-99999999999999999999"), "-9223372036854775808");
}

// Integer columns carry 64-bit values on every word size: a display window after 2038 (a time
// past 2147483647) is stored as given by a 32-bit process too, not clamped to 2038-01-19.
TEST(IntegerValidator, KeepsValuesPastThirtyTwoBitsOnEveryWordSize)
{
    CPreviewDataUtil util;
    for (const char* sText : {"2147483647", "2147483648", "4102444800", "-2147483649", "9223372036854775807"}) {
        EXPECT_EQ(util.IntegerValidator(sText), sText);
    }
    EXPECT_EQ(util.IntegerValidator(" 4102444800 UTC"), "4102444800");
}
