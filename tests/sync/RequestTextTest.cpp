// The row and bulk documents of a publish are written without the JSON library's stream
// writer; their text must be exactly what that writer makes, for every value they may hold.
#include <gtest/gtest.h>
#include <json/json.h>

#include <random>
#include <string>

#include "PreviewRequestText.h"

namespace {
std::string LibraryText(const Json::Value& document)
{
    return Json::writeString(Json::StreamWriterBuilder(), document);
}

// Texts that exercise the quoting: plain, quotes and backslashes, slashes, control bytes,
// DEL, multi-byte UTF-8 (two, three and four bytes), broken UTF-8, and empty.
std::string RandomText(std::mt19937& random)
{
    static const std::string kPieces[] = {"a",        "tile_title", "Z9", " ",      "\"",     "\\",     "/",
                                          "\n",       "\r",         "\t", "\b",     "\f",     "\x01",   "\x1f",
                                          "\x7f",     "\xc3\xa9",   "\xe2\x82\xac", "\xf0\x9f\x8e\xac", "\xc3",
                                          "\xff",     "\xed\xa0\x80", "16:9", "app://x/play?id=1&v=2", "{}"};
    std::uniform_int_distribution<int> count(0, 6);
    std::uniform_int_distribution<size_t> pick(0, sizeof kPieces / sizeof kPieces[0] - 1);
    std::string sText;
    for (int i = count(random); i > 0; --i) sText += kPieces[pick(random)];
    return sText;
}

Json::Value RandomValue(std::mt19937& random, int iDepth)
{
    std::uniform_int_distribution<int> kind(0, iDepth > 0 ? 3 : 1);
    std::uniform_int_distribution<int> size(0, 4);
    switch (kind(random)) {
    case 0:
    case 1: return Json::Value(RandomText(random));
    case 2: {
        Json::Value array(Json::arrayValue);
        for (int i = size(random); i > 0; --i) array.append(RandomValue(random, iDepth - 1));
        return array;
    }
    default: {
        Json::Value object(Json::objectValue);
        for (int i = size(random); i > 0; --i) object[RandomText(random)] = RandomValue(random, iDepth - 1);
        return object;
    }
    }
}
}  // namespace

TEST(RequestText, BulkDocumentIsTheLibrarysDefaultStreamLayout)
{
    Json::Value document;
    document["table_name"] = "content://org.orvik.pelmo/tiles";
    for (int i = 0; i < 3; ++i) {
        Json::Value row;
        row["bulk_update_row_id_key"] = std::to_string(i + 1);
        row["tile_action_pre_play"] = "{\"is_resumable\":false,\"video_url\":\"\"}\n";
        row["tile_title"] = "Caf\xc3\xa9 \"night\" \\ trains";
        document["arrayitem"].append(row);
    }
    const std::string sText = PreviewRequestText::WriteDocument(document);
    EXPECT_EQ(sText, LibraryText(document));
    const std::string sStart = "{\n\t\"arrayitem\" : \n\t[\n\t\t{\n\t\t\t\"bulk_update_row_id_key\" : \"1\",\n";
    EXPECT_EQ(sText.substr(0, sStart.size()), sStart);
}

TEST(RequestText, EveryMixOfObjectsArraysAndTextsIsWrittenAsTheLibraryWritesIt)
{
    std::mt19937 random(20261122);
    for (int i = 0; i < 3000; ++i) {
        const Json::Value document = RandomValue(random, 4);
        ASSERT_EQ(PreviewRequestText::WriteDocument(document), LibraryText(document)) << "document " << i;
    }
}

TEST(RequestText, EmptyContainersAndOtherValueKindsComeOutAsTheLibraryWritesThem)
{
    Json::Value document(Json::objectValue);
    EXPECT_EQ(PreviewRequestText::WriteDocument(document), LibraryText(document));
    document["empty_object"] = Json::Value(Json::objectValue);
    document["empty_array"] = Json::Value(Json::arrayValue);
    document["text"] = "";
    EXPECT_EQ(PreviewRequestText::WriteDocument(document), LibraryText(document));
    // Kinds the publish never writes still come out right: the library writes those documents.
    document["number"] = 3;
    document["flag"] = true;
    document["nothing"] = Json::Value();
    document["fraction"] = 0.1;
    document["nested"]["list"].append(-7);
    EXPECT_EQ(PreviewRequestText::WriteDocument(document), LibraryText(document));
    Json::Value withNul;
    withNul["a"] = std::string("x\0y", 3);
    withNul[std::string("k\0z", 3)] = "v";
    EXPECT_EQ(PreviewRequestText::WriteDocument(withNul), LibraryText(withNul));
    EXPECT_EQ(PreviewRequestText::WriteDocument(Json::Value("top")), LibraryText(Json::Value("top")));
}
