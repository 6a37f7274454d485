// The read-back text is written straight from the loaded tree, without a value tree and the JSON
// library's styled writer; it must be exactly what that writer makes of the tree the property
// emission builds, for every tree: odd texts and names, every value type, empty objects, long
// and short arrays, conversion errors. The log lines must be the same too.
#include <dlog.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <pelmo/TilesModel.h>

#include <exception>
#include <random>
#include <string>
#include <typeinfo>
#include <vector>

#include "LogCapture.h"
#include "PreviewDataUtil.h"
#include "PreviewStyledText.h"
#include "RandomTexts.h"

namespace {
// The tree the property emission builds for the loaded preview, written by the library.
std::string LibraryText(CPreviewDataUtil& util, const CPreviewAccelerator& accelerator)
{
    Json::Value root(Json::objectValue);
    util.SetComponentsInJson(root, accelerator.m_mapProperty);
    Json::Value sections(Json::arrayValue);
    for (const std::shared_ptr<CPreviewSection>& section : accelerator.m_vecSection) {
        Json::Value sectionObject(Json::objectValue);
        util.SetComponentsInJson(sectionObject, section->m_mapProperty);
        Json::Value tiles(Json::arrayValue);
        for (const std::shared_ptr<CPreviewTile>& tile : section->m_vecTile) {
            Json::Value tileObject(Json::objectValue);
            util.SetComponentsInJson(tileObject, tile->m_mapProperty);
            tiles.append(tileObject);
        }
        if (!tiles.empty()) sectionObject["tiles"] = tiles;
        sections.append(sectionObject);
    }
    if (!sections.empty()) root["sections"] = sections;
    return Json::StyledWriter().write(root);
}

// What one way of writing gave: the text, or the exception it threw; and the lines it logged.
struct PT_OUTCOME {
    std::string sText;
    std::string sError;  // type and message of the exception, empty without one
    std::vector<std::string> vecLog;
};

template <typename Write>
PT_OUTCOME Outcome(Write write)
{
    PT_OUTCOME outcome;
    CLogCapture log;
    try {
        outcome.sText = write();
    } catch (const std::exception& e) {
        outcome.sError = std::string(typeid(e).name()) + ": " + e.what();
    }
    for (const CLogLine& line : log.Lines()) {
        outcome.vecLog.push_back(std::to_string(line.iPriority) + " " + CLogCapture::Body(line.sMessage));
    }
    return outcome;
}

// Texts that exercise the quoting (RandomTexts.h), every odd piece kept, and empty.
std::string RandomText(std::mt19937& random)
{
    return RandomTexts::Make(random, 5, 1);
}

// A value text for the value type; now and then one that the conversion refuses.
std::string RandomValueText(std::mt19937& random, int iType)
{
    std::uniform_int_distribution<int> percent(0, 999);
    const int iRoll = percent(random);
    switch (iType) {
        case JSON_VALUE_BOOL: {
            static const char* const kTexts[] = {"true", "false", "1", "TRUE", "yes"};
            return kTexts[iRoll % 5];
        }
        case JSON_VALUE_INT:
        case JSON_VALUE_UINT:
            if (iRoll == 0) return "no digits";
            if (iRoll == 1) return "4294967297";
            if (iRoll < 50) return std::to_string(iRoll) + "abc";
            if (iRoll < 100) return "  -" + std::to_string(iRoll);
            return std::to_string(std::uniform_int_distribution<int>(-2147483647 - 1, 2147483647)(random));
        case JSON_VALUE_DOUBLE: {
            if (iRoll == 0) return "1e400";
            if (iRoll == 1) return "not a number";
            static const char* const kTexts[] = {"0.5", "-2.25", "3", "1e-7", "1e300", "inf", "-inf", "nan", "0", "-0"};
            if (iRoll < 300) return kTexts[iRoll % 10];
            char sText[40];
            std::snprintf(sText, sizeof sText, "%.17g", std::uniform_real_distribution<double>(-1e6, 1e6)(random));
            return sText;
        }
        default:
            return RandomText(random);
    }
}

// A property of any value type, the string type most often; some without a type, some of a
// type no value has.
PropertyValue RandomProperty(std::mt19937& random)
{
    static const int kTypes[] = {JSON_VALUE_STRING,
                                 JSON_VALUE_STRING,
                                 JSON_VALUE_STRING,
                                 JSON_VALUE_STRING,
                                 JSON_VALUE_INT,
                                 JSON_VALUE_UINT,
                                 JSON_VALUE_DOUBLE,
                                 JSON_VALUE_BOOL,
                                 JSON_VALUE_NONE,
                                 JSON_VALUE_NONE,
                                 7,
                                 -1};
    const int iType = kTypes[std::uniform_int_distribution<size_t>(0, sizeof kTypes / sizeof kTypes[0] - 1)(random)];
    std::uniform_int_distribution<int> percent(0, 99);
    return PropertyValue(iType, percent(random) < 10 ? std::string() : RandomValueText(random, iType));
}

// Sets some of the map's properties and adds some of other names: the names that clash with
// the document's own members and odd names among them.
void Fill(std::mt19937& random, PropertyMap& mapProperty, int iChangePercent)
{
    std::uniform_int_distribution<int> percent(0, 99);
    for (auto& entry : mapProperty) {
        if (percent(random) < iChangePercent) entry.second = RandomProperty(random);
    }
    static const std::string kNames[] = {"public_extra", "tiles", "sections", TilesModel::Tiles::TILE_ACTION_PRE_PLAY,
                                         "_id",          "zzz",   "a",        "\xc3\xa9t\xc3\xa9"};
    for (int i = std::uniform_int_distribution<int>(0, 2)(random); i > 0; --i) {
        const size_t uPick = std::uniform_int_distribution<size_t>(0, 9)(random);
        mapProperty[uPick < 8 ? kNames[uPick] : RandomText(random)] = RandomProperty(random);
    }
}

// Clears a map's texts so that its object has no members (except a tile's default extras).
void Empty(PropertyMap& mapProperty)
{
    for (auto& entry : mapProperty) entry.second.second.clear();
}

CPreviewAccelerator RandomPreview(std::mt19937& random)
{
    std::uniform_int_distribution<int> percent(0, 99);
    CPreviewAccelerator accelerator;
    Fill(random, accelerator.m_mapProperty, 60);
    // Mostly a few sections with a few tiles; sometimes many, or many empty ones, so that arrays
    // of every length on both sides of the writer's one-line margin occur.
    const int iShape = percent(random);
    const int iSections = iShape < 70 ? std::uniform_int_distribution<int>(0, 4)(random)
                                      : std::uniform_int_distribution<int>(0, 30)(random);
    const bool bEmptySections = iShape >= 85;
    for (int s = 0; s < iSections; ++s) {
        auto section = std::make_shared<CPreviewSection>();
        if (bEmptySections || percent(random) < 10) {
            Empty(section->m_mapProperty);
        } else {
            Fill(random, section->m_mapProperty, 50);
        }
        const int iTiles = bEmptySections         ? 0
                           : percent(random) < 90 ? std::uniform_int_distribution<int>(0, 4)(random)
                                                  : std::uniform_int_distribution<int>(0, 30)(random);
        const bool bBareTiles = percent(random) < 15;
        for (int t = 0; t < iTiles; ++t) {
            auto tile = std::make_shared<CPreviewTile>();
            if (bBareTiles) {
                // A tile map without the extras column: its object may have no members at all.
                tile->m_mapProperty.clear();
                if (percent(random) < 30) Fill(random, tile->m_mapProperty, 0);
            } else {
                Fill(random, tile->m_mapProperty, 50);
            }
            section->m_vecTile.push_back(tile);
        }
        accelerator.m_vecSection.push_back(section);
    }
    return accelerator;
}
}  // namespace

TEST(MetaDataText, EveryRandomPreviewIsWrittenAsTheLibrarysStyledWriterWritesIt)
{
    std::mt19937 random(20261124);
    size_t uTexts = 0, uErrors = 0, uOneLineArrays = 0, uEscapes = 0;
    for (int i = 0; i < 4000; ++i) {
        const CPreviewAccelerator accelerator = RandomPreview(random);
        CPreviewAccelerator copy = accelerator;
        CPreviewDataUtil util;
        const PT_OUTCOME library = Outcome([&] { return LibraryText(util, accelerator); });
        const PT_OUTCOME direct = Outcome([&] { return util.WriteMetaData(copy); });
        ASSERT_EQ(direct.sError, library.sError) << "preview " << i;
        ASSERT_EQ(direct.sText, library.sText) << "preview " << i;
        ASSERT_EQ(direct.vecLog, library.vecLog) << "preview " << i;
        if (library.sError.empty()) {
            ++uTexts;
            if (library.sText.find("[ {}") != std::string::npos) ++uOneLineArrays;
            if (library.sText.find("\\u") != std::string::npos) ++uEscapes;
        } else {
            ++uErrors;
        }
    }
    // The random previews reach every case: texts, refused conversions, one-line arrays, escapes.
    EXPECT_GT(uTexts, 2000u);
    EXPECT_GT(uErrors, 20u);
    EXPECT_GT(uOneLineArrays, 50u);
    EXPECT_GT(uEscapes, 1000u);
}

TEST(MetaDataText, ArraysOfEmptyObjectsGoOnOneLineUpToTheWritersMargin)
{
    CPreviewDataUtil util;
    for (int iSections = 1; iSections <= 30; ++iSections) {
        CPreviewAccelerator accelerator;
        accelerator.m_mapProperty["_id"] = PropertyValue(JSON_VALUE_UINT, "1");
        for (int s = 0; s < iSections; ++s) {
            auto section = std::make_shared<CPreviewSection>();
            Empty(section->m_mapProperty);
            accelerator.m_vecSection.push_back(section);
        }
        const std::string sText = util.WriteMetaData(accelerator);
        EXPECT_EQ(sText, LibraryText(util, accelerator)) << iSections;
        EXPECT_EQ(sText.find("[ {}") != std::string::npos, iSections <= 17) << sText;
    }
}

namespace {
// Any value tree: every value type, nested arrays and objects (empty ones too), long and short
// arrays of scalars on both sides of the one-line margin, odd texts and member names.
Json::Value RandomTree(std::mt19937& random, int iDepth)
{
    std::uniform_int_distribution<int> kind(0, iDepth > 0 ? 9 : 7);
    switch (kind(random)) {
        case 0:
        case 1:
            return Json::Value(RandomText(random));
        case 2:
            return Json::Value(std::uniform_int_distribution<int>(-2147483647 - 1, 2147483647)(random));
        case 3:
            return Json::Value(static_cast<Json::UInt64>(random()) << 20);
        case 4:
            return Json::Value(std::uniform_real_distribution<double>(-1e9, 1e9)(random));
        case 5:
            return Json::Value(std::uniform_int_distribution<int>(0, 1)(random) == 1);
        case 6:
            return Json::Value();
        case 7:
            return Json::Value(std::uniform_int_distribution<int>(0, 1)(random) == 1 ? Json::arrayValue
                                                                                     : Json::objectValue);
        case 8: {
            Json::Value array(Json::arrayValue);
            const int iSize = std::uniform_int_distribution<int>(0, 1)(random) == 1
                                  ? std::uniform_int_distribution<int>(0, 30)(random)
                                  : std::uniform_int_distribution<int>(0, 4)(random);
            for (int i = 0; i < iSize; ++i) array.append(RandomTree(random, iDepth - 1));
            return array;
        }
        default: {
            Json::Value object(Json::objectValue);
            for (int i = std::uniform_int_distribution<int>(0, 5)(random); i > 0; --i) {
                object[RandomText(random)] = RandomTree(random, iDepth - 1);
            }
            return object;
        }
    }
}
}  // namespace

TEST(StyledText, EveryRandomTreeIsWrittenAsTheLibrarysStyledWriterWritesIt)
{
    std::mt19937 random(1124);
    size_t uOneLine = 0, uMultiLine = 0;
    for (int i = 0; i < 6000; ++i) {
        const Json::Value tree = RandomTree(random, 3);
        const std::string sExpected = Json::StyledWriter().write(tree);
        ASSERT_EQ(PreviewStyledText::Write(tree), sExpected) << "tree " << i;
        if (sExpected.find("[ ") != std::string::npos) ++uOneLine;
        if (sExpected.find("[\n") != std::string::npos) ++uMultiLine;
    }
    EXPECT_GT(uOneLine, 300u);
    EXPECT_GT(uMultiLine, 300u);
}

TEST(StyledText, AnEnvelopeIsWrittenAsTheLibrarysStyledWriterWritesIt)
{
    // A select's envelope: short and long column lists, arguments, empty members.
    for (int iColumns : {0, 1, 3, 9, 28}) {
        Json::Value object;
        object["module_name"] = "org.example.app";
        object["order"] = iColumns % 2 == 0 ? "" : "tile_position";
        for (int i = 0; i < iColumns; ++i) object["column_list"].append("column_" + std::to_string(i));
        object["table_name"] = "content://org.orvik.pelmo/tiles";
        object["where"] = "tile_section_raw_id = ?";
        object["group_by"] = "";
        object["where_args"].append("17");
        EXPECT_EQ(PreviewStyledText::Write(object), Json::StyledWriter().write(object)) << iColumns;
    }
}

TEST(StyledText, ATreeWithCommentsIsLeftToTheLibrarysWriter)
{
    Json::Value object;
    object["a"] = "x";
    object["a"].setComment(std::string("// why"), Json::commentBefore);
    PreviewStyledText::CStyledText text;
    EXPECT_FALSE(text.Value(object));
    EXPECT_EQ(PreviewStyledText::Write(object), Json::StyledWriter().write(object));
}
