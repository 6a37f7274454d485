// The bulk documents of a publish are written row by row straight into their text; that text
// must be exactly what the JSON library's default stream writer makes of the same rows, whatever
// names and values they hold and in whatever order the members are set.
#include <gtest/gtest.h>
#include <json/json.h>

#include <random>
#include <string>
#include <vector>

#include "PreviewRequestText.h"
#include "RandomTexts.h"

namespace {
std::string LibraryText(const Json::Value& document)
{
    return Json::writeString(Json::StreamWriterBuilder(), document);
}

std::string RandomText(std::mt19937& random)
{
    return RandomTexts::Make(random, 6, 1);
}

// Mostly the store's column names, so that rows share and repeat names as real rows do.
std::string RandomName(std::mt19937& random)
{
    static const char* const kColumns[] = {"_id",
                                           "bulk_update_row_id_key",
                                           "tile_id",
                                           "tile_title",
                                           "tile_section_raw_id",
                                           "tile_action_type",
                                           "tile_playable",
                                           "tile_action_pre_play",
                                           "tile_image_url",
                                           "tile",
                                           "tile_",
                                           "a"};
    std::uniform_int_distribution<int> kind(0, 3);
    if (kind(random) == 0) return RandomText(random);
    std::uniform_int_distribution<size_t> pick(0, sizeof kColumns / sizeof kColumns[0] - 1);
    return kColumns[pick(random)];
}

// The same rows, set member by member into both the direct writer and a JSON value.
struct PT_ROWS {
    std::vector<std::vector<std::pair<std::string, std::string>>> vecRows;
};

PT_ROWS RandomRows(std::mt19937& random)
{
    std::uniform_int_distribution<int> rows(0, 5);
    std::uniform_int_distribution<int> members(0, 8);
    PT_ROWS result;
    for (int r = rows(random); r > 0; --r) {
        std::vector<std::pair<std::string, std::string>> vecRow;
        for (int m = members(random); m > 0; --m) vecRow.emplace_back(RandomName(random), RandomText(random));
        result.vecRows.push_back(std::move(vecRow));
    }
    return result;
}

std::string DirectText(const PT_ROWS& rows, const std::string& sTable, bool bOwned)
{
    PreviewRequestText::CRowsDocument document;
    for (const auto& vecRow : rows.vecRows) {
        document.BeginRow();
        for (const auto& member : vecRow) {
            if (bOwned) {
                document.SetOwned(member.first, member.second);
            } else {
                document.Set(member.first, member.second);
            }
        }
    }
    return document.Write(sTable);
}

Json::Value LibraryDocument(const PT_ROWS& rows, const std::string& sTable)
{
    Json::Value document;
    document["table_name"] = sTable;
    for (const auto& vecRow : rows.vecRows) {
        Json::Value row(Json::objectValue);
        for (const auto& member : vecRow) row[member.first] = member.second;
        document["arrayitem"].append(row);
    }
    return document;
}
}  // namespace

TEST(RowsDocument, RandomRowsAreWrittenExactlyAsTheLibrarysStreamWriterWritesThem)
{
    std::mt19937 random(20261124);
    const std::string kTables[] = {"content://org.orvik.pelmo/tiles", "content://org.orvik.pelmo/sections"};
    int iWithNul = 0;
    for (int i = 0; i < 5000; ++i) {
        const PT_ROWS rows = RandomRows(random);
        const std::string& sTable = kTables[i % 2];
        const std::string sExpected = LibraryText(LibraryDocument(rows, sTable));
        ASSERT_EQ(DirectText(rows, sTable, i % 3 == 0), sExpected) << "document " << i;
        if (sExpected.find("\\u0000") != std::string::npos) ++iWithNul;
    }
    // The texts with a NUL byte went through the library's writer and still matched.
    EXPECT_GT(iWithNul, 100);
}

TEST(RowsDocument, EmptyDocumentsRowsAndTextsComeOutAsTheLibraryWritesThem)
{
    PT_ROWS rows;
    EXPECT_EQ(DirectText(rows, "t", false), LibraryText(LibraryDocument(rows, "t")));
    rows.vecRows.emplace_back();
    EXPECT_EQ(DirectText(rows, "t", false), LibraryText(LibraryDocument(rows, "t")));
    rows.vecRows.push_back({{"", ""}, {"b", ""}});
    rows.vecRows.emplace_back();
    EXPECT_EQ(DirectText(rows, "", false), LibraryText(LibraryDocument(rows, "")));
    EXPECT_EQ(DirectText(rows, "a\"b", false), LibraryText(LibraryDocument(rows, "a\"b")));
    rows.vecRows.push_back({{std::string("k\0z", 3), "v"}, {"k", std::string("x\0y", 3)}});
    EXPECT_EQ(DirectText(rows, "t", false), LibraryText(LibraryDocument(rows, "t")));
}

TEST(RowsDocument, ANameSetTwiceKeepsTheLaterValueInTheNamesPlace)
{
    PreviewRequestText::CRowsDocument document;
    document.BeginRow();
    document.Set("tile_action_type", "web_app_launch");
    document.Set("tile_section_raw_id", "7");
    document.Set("_id", "1");
    document.Set("tile_action_type", "app_launch");
    EXPECT_EQ(document.LastRowSize(), 3u);
    EXPECT_EQ(document.Write("tiles"),
              "{\n\t\"arrayitem\" : \n\t[\n\t\t{\n\t\t\t\"_id\" : \"1\",\n\t\t\t\"tile_action_type\" : "
              "\"app_launch\",\n\t\t\t\"tile_section_raw_id\" : \"7\"\n\t\t}\n\t],\n\t\"table_name\" : \"tiles\"\n}");
    Json::Value row;
    row["bulk_update_row_id_key"] = "9";
    document.CopyLastRow(row);
    EXPECT_EQ(row.size(), 4u);
    EXPECT_EQ(row["tile_action_type"].asString(), "app_launch");
    EXPECT_EQ(row["bulk_update_row_id_key"].asString(), "9");
}

TEST(RowsDocument, IntegerTextIsTheCanonicalTextOfTheLeadingSixtyFourBitInteger)
{
    EXPECT_EQ(PreviewRequestText::IntegerText("42abc"), "42");
    EXPECT_EQ(PreviewRequestText::IntegerText("abc"), "0");
    EXPECT_EQ(PreviewRequestText::IntegerText(""), "0");
    EXPECT_EQ(PreviewRequestText::IntegerText("  -17"), "-17");
    EXPECT_EQ(PreviewRequestText::IntegerText("+0008"), "8");
    EXPECT_EQ(PreviewRequestText::IntegerText("4102444800000"), "4102444800000");
    EXPECT_EQ(PreviewRequestText::IntegerText("99999999999999999999"), "9223372036854775807");
    EXPECT_EQ(PreviewRequestText::IntegerText("-99999999999999999999"), "-9223372036854775808");
}
