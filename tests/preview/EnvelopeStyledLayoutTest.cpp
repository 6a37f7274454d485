// The envelope of a select or delete is written without the JSON library's styled writer; the
// text must be exactly what that writer makes, for every value an envelope may hold, including
// arrays on either side of the one-line limits.
#include <gtest/gtest.h>
#include <json/json.h>

#include <random>
#include <string>

#include "RandomTexts.h"
#include "PreviewStyledText.h"

namespace {
std::string LibraryText(const Json::Value& value)
{
    return Json::StyledWriter().write(value);
}

// The odd bytes are kept rare, so that most envelopes are written here, not by the library.
std::string RandomText(std::mt19937& random)
{
    return RandomTexts::Make(random, 5, 20);
}

Json::Value RandomValue(std::mt19937& random, int iDepth)
{
    std::uniform_int_distribution<int> kind(0, 40);
    std::uniform_int_distribution<int> smallSize(0, 4);
    std::uniform_int_distribution<int> arraySize(0, 30);
    const int iKind = kind(random);
    if (iKind == 0) return Json::Value(7);  // kinds an envelope never holds: the library writes them
    if (iKind == 1) return Json::Value(true);
    if (iKind == 2) return Json::Value();
    if (iKind < 20 || iDepth == 0) return Json::Value(RandomText(random));
    if (iKind < 32) {
        Json::Value array(Json::arrayValue);
        const int iSize = iKind < 26 ? arraySize(random) : smallSize(random);
        for (int i = 0; i < iSize; ++i) {
            array.append(kind(random) < 4 ? RandomValue(random, iDepth - 1) : Json::Value(RandomText(random)));
        }
        return array;
    }
    Json::Value object(Json::objectValue);
    for (int i = smallSize(random); i > 0; --i) object[RandomText(random)] = RandomValue(random, iDepth - 1);
    return object;
}

// Whether the value holds only objects, arrays and texts without NUL: those this writer writes
// itself, rather than handing them to the library's.
bool OnlyTexts(const Json::Value& value)
{
    if (value.isString()) return value.asString().find('\0') == std::string::npos;
    if (value.isArray()) {
        for (const Json::Value& element : value) {
            if (!OnlyTexts(element)) return false;
        }
        return true;
    }
    if (!value.isObject()) return false;
    for (const std::string& sName : value.getMemberNames()) {
        if (sName.find('\0') != std::string::npos || !OnlyTexts(value[sName])) return false;
    }
    return true;
}
}  // namespace

TEST(EnvelopeStyledLayout, ASelectEnvelopeIsTheLibrarysStyledLayout)
{
    Json::Value object;
    object["module_name"] = "org.example.m";
    object["order"] = "";
    object["table_name"] = "content://org.orvik.pelmo/tiles";
    object["where"] = "tile_section_raw_id=?";
    object["group_by"] = "";
    object["where_args"].append("12");
    const std::string sText = PreviewStyledText::Write(object);
    EXPECT_EQ(sText, LibraryText(object));
    EXPECT_NE(sText.find("   \"where_args\" : [ \"12\" ]\n}\n"), std::string::npos);
}

TEST(EnvelopeStyledLayout, RandomEnvelopesAreWrittenExactlyAsTheLibrarysStyledWriterWritesThem)
{
    std::mt19937 random(20261124);
    int iOwnLayout = 0;
    int iMultiLineArrays = 0;
    for (int i = 0; i < 5000; ++i) {
        Json::Value envelope(Json::objectValue);
        std::uniform_int_distribution<int> members(0, 6);
        for (int m = members(random); m > 0; --m) envelope[RandomText(random)] = RandomValue(random, 3);
        const std::string sExpected = LibraryText(envelope);
        ASSERT_EQ(PreviewStyledText::Write(envelope), sExpected) << "envelope " << i;
        if (OnlyTexts(envelope)) {
            ++iOwnLayout;
            if (sExpected.find("[\n") != std::string::npos) ++iMultiLineArrays;
        }
        const Json::Value value = RandomValue(random, 3);
        ASSERT_EQ(PreviewStyledText::Write(value), LibraryText(value)) << "value " << i;
    }
    // Most envelopes, many with arrays over several lines, were laid out here, not by the library.
    EXPECT_GT(iOwnLayout, 1500);
    EXPECT_GT(iMultiLineArrays, 300);
}

TEST(EnvelopeStyledLayout, ArraysAroundTheOneLineLimitsComeOutAsTheLibraryWritesThem)
{
    // 24 and 25 elements, and lines just under and at the margin.
    for (int iSize = 20; iSize <= 27; ++iSize) {
        Json::Value envelope;
        for (int i = 0; i < iSize; ++i) envelope["where_args"].append(std::to_string(i % 10));
        EXPECT_EQ(PreviewStyledText::Write(envelope), LibraryText(envelope)) << iSize;
    }
    for (size_t uLength = 60; uLength <= 80; ++uLength) {
        Json::Value array(Json::arrayValue);
        array.append(std::string(uLength, 'x'));
        array.append(Json::Value(Json::arrayValue));
        array.append(Json::Value(Json::objectValue));
        EXPECT_EQ(PreviewStyledText::Write(array), LibraryText(array)) << uLength;
        Json::Value nested;
        nested["list"].append(array);
        nested["list"].append("tail");
        EXPECT_EQ(PreviewStyledText::Write(nested), LibraryText(nested)) << uLength;
    }
    Json::Value commented;
    commented["where"] = "x=?";
    commented["where"].setComment(std::string("// the condition"), Json::commentBefore);
    EXPECT_EQ(PreviewStyledText::Write(commented), LibraryText(commented));
    EXPECT_EQ(PreviewStyledText::Write(Json::Value(Json::objectValue)),
              LibraryText(Json::Value(Json::objectValue)));
    EXPECT_EQ(PreviewStyledText::Write(Json::Value("top")), LibraryText(Json::Value("top")));
}
