// The pieces of `pelmoctl validate`: positions and paths, name suggestions, and the checks on
// documents held in memory, against the library's own reader.
#include <dirent.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "BusMessageLimit.h"
#include "DocumentPositions.h"
#include "NameSuggestion.h"
#include "ValidateDocument.h"
#include "ValidateInProcess.h"

namespace {

TEST(DocumentPositions, OffsetsBecomeLinesAndColumns)
{
    const CDocumentPositions positions("ab\ncde\n\nf");
    EXPECT_EQ(1, positions.PositionOf(0).iLine);
    EXPECT_EQ(1, positions.PositionOf(0).iColumn);
    EXPECT_EQ(1, positions.PositionOf(2).iLine);  // the line feed belongs to its line
    EXPECT_EQ(3, positions.PositionOf(2).iColumn);
    EXPECT_EQ(2, positions.PositionOf(3).iLine);
    EXPECT_EQ(1, positions.PositionOf(3).iColumn);
    EXPECT_EQ(3, positions.PositionOf(7).iLine);
    EXPECT_EQ(4, positions.PositionOf(8).iLine);
    EXPECT_EQ(1, positions.PositionOf(8).iColumn);
    EXPECT_EQ(4, positions.PositionOf(1000).iLine);  // past the end: the end
    EXPECT_EQ(2, positions.PositionOf(1000).iColumn);
    EXPECT_EQ(0, positions.PositionOf(-1).iLine);
}

TEST(DocumentPositions, ParsedValuesKnowTheirLine)
{
    const std::string sText = "{\n \"a\": [\n  1,\n  {\"b\": \"x\"}\n ]\n}";
    Json::Value root;
    Json::Reader reader;
    ASSERT_TRUE(reader.parse(sText, root, true));
    const CDocumentPositions positions(sText);
    EXPECT_EQ(1, positions.LineOf(root));
    EXPECT_EQ(2, positions.LineOf(root["a"]));
    EXPECT_EQ(3, positions.LineOf(root["a"][0]));
    EXPECT_EQ(4, positions.LineOf(root["a"][1]["b"]));
    EXPECT_EQ(0, positions.LineOf(Json::Value("not read")));
}

TEST(JsonPath, NamesLikeIdentifiersAreDottedOthersQuoted)
{
    EXPECT_EQ("$", JsonPathRoot());
    EXPECT_EQ("sections", JsonPathMember(JsonPathRoot(), "sections"));
    EXPECT_EQ("sections[2].tiles[5].tile_title",
              JsonPathMember(JsonPathIndex(JsonPathMember(JsonPathIndex("sections", 2), "tiles"), 5), "tile_title"));
    EXPECT_EQ("$[\"two words\"]", JsonPathMember(JsonPathRoot(), "two words"));
    EXPECT_EQ("sections[0][\"9lives\"]", JsonPathMember("sections[0]", "9lives"));
    EXPECT_EQ("x[\"\"]", JsonPathMember("x", ""));
    EXPECT_EQ("x[\"q\\\"\\\\\\u000a\"]", JsonPathMember("x", "q\"\\\n"));
}

TEST(NameSuggestion, EditDistanceCountsSingleByteEdits)
{
    EXPECT_EQ(0u, EditDistance("tile_title", "tile_title"));
    EXPECT_EQ(1u, EditDistance("tile_titel", "tile_title") - 1);  // a swap is two edits
    EXPECT_EQ(1u, EditDistance("tile_titl", "tile_title"));
    EXPECT_EQ(3u, EditDistance("", "abc"));
    EXPECT_EQ(3u, EditDistance("kitten", "sitting"));
}

TEST(NameSuggestion, SuggestsOnlyPlausibleNames)
{
    const std::vector<std::string> vecKnown{"tile_title", "tile_subtitle", "tile_position", "action_data"};
    EXPECT_EQ("tile_title", SuggestName("tile_titel", vecKnown, "tile_"));
    EXPECT_EQ("tile_title", SuggestName("title", vecKnown, "tile_"));
    EXPECT_EQ("tile_subtitle", SuggestName("subtitle", vecKnown, "tile_"));
    EXPECT_EQ("action_data", SuggestName("actiondata", vecKnown, "tile_"));
    EXPECT_EQ("", SuggestName("resume_position", vecKnown, "tile_"));
    EXPECT_EQ("", SuggestName("zz", vecKnown, "tile_"));
    EXPECT_EQ("", SuggestName("", vecKnown, "tile_"));
    EXPECT_EQ("", SuggestName(std::string(200, 't'), vecKnown, "tile_"));
}

// Which tile members the reader reads as text is the reader's business; validate asks it.
TEST(ValidateChecks, ArraysFailThePublishOnlyWhereTheReaderNeedsText)
{
    for (const char* sName :
         {"tile_title", "tile_subtitle", "tile_image_url", "action_data", "tile_display_from", "tile_display_until"}) {
        const PT_VALIDATE_RESULT result =
            Validate(std::string("{\"sections\":[{\"tiles\":[{\"") + sName + "\": [1]}]}]}");
        EXPECT_FALSE(result.bReaderAccepts) << sName;
        const auto vecKind = FindingsOfKind(result, "value-kind");
        ASSERT_EQ(1u, vecKind.size()) << sName;
        EXPECT_EQ(std::string("sections[0].tiles[0].") + sName, vecKind[0].sPath);
    }
    for (const char* sName : {"tile_image_width", "tile_action_play", "tile_extra", "public_extra", "foo"}) {
        const PT_VALIDATE_RESULT result =
            Validate(std::string("{\"sections\":[{\"tiles\":[{\"") + sName + "\": [1]}]}]}");
        EXPECT_TRUE(result.bReaderAccepts) << sName;
        EXPECT_EQ(0, result.ErrorCount()) << sName;
    }
    // Scalars of every kind are fine in a text member.
    const PT_VALIDATE_RESULT scalars = Validate(
        "{\"sections\":[{\"section_title\": 1.5, \"tiles\":[{\"tile_title\": true, \"action_data\": 7, "
        "\"tile_subtitle\": null, \"tile_image_url\": \"u\"}]}]}");
    EXPECT_TRUE(scalars.bReaderAccepts);
    EXPECT_EQ(0, scalars.ErrorCount());
}

TEST(ValidateChecks, ContentKeysFollowTheModuleRules)
{
    // Two tiles that differ only in their display period: one tile for an ordinary module,
    // two for a module whose tiles are known by their period as well.
    const std::string sText =
        "{\"sections\":[{\"tiles\":["
        "{\"tile_title\":\"A\",\"action_data\":\"a\",\"tile_display_until\":1893456000},"
        "{\"tile_title\":\"A\",\"action_data\":\"a\",\"tile_display_until\":1893456001}]}]}";
    const auto vecOrdinary = FindingsOfKind(Validate(sText, "org.example.films"), "shared-key");
    ASSERT_EQ(1u, vecOrdinary.size());
    EXPECT_EQ("sections[0].tiles[1]", vecOrdinary[0].sPath);
    EXPECT_TRUE(vecOrdinary[0].bError);
    EXPECT_TRUE(FindingsOfKind(Validate(sText, "org.example.livetv_news"), "shared-key").empty());
}

TEST(ValidateChecks, SharedKeysAreFoundAlsoAfterARefusedValue)
{
    // The reader stops at the refused "expires"; the duplicate tiles are still compared.
    const PT_VALIDATE_RESULT result =
        Validate("{\"expires\":[1],\"sections\":[{\"tiles\":[{\"tile_title\":\"A\"},{\"tile_title\":\"A\"}]}]}");
    EXPECT_EQ(1u, FindingsOfKind(result, "value-kind").size());
    const auto vecShared = FindingsOfKind(result, "shared-key");
    ASSERT_EQ(1u, vecShared.size());
    EXPECT_EQ("sections[0].tiles[1]", vecShared[0].sPath);
}

TEST(ValidateChecks, TileLimitNamesTheFirstTileTooMany)
{
    std::string sText = "{\"sections\":[{\"tiles\":[";
    for (int i = 0; i < 201; ++i)
        sText += std::string(i ? "," : "") + "{\"tile_title\":\"t" + std::to_string(i) + "\"}";
    sText += "]}]}";
    const auto vecLimit = FindingsOfKind(Validate(sText), "tile-limit");
    ASSERT_EQ(1u, vecLimit.size());
    EXPECT_EQ("sections[0].tiles[200]", vecLimit[0].sPath);
    EXPECT_TRUE(FindingsOfKind(Validate(sText, "org.orvik.plinth-app"), "tile-limit").empty());
}

TEST(ValidateChecks, ExactlyAnEmptyObjectIsAWithdrawal)
{
    const auto vecRoot = FindingsOfKind(Validate("{}"), "root");
    ASSERT_EQ(1u, vecRoot.size());
    EXPECT_FALSE(vecRoot[0].bError);
    EXPECT_NE(std::string::npos, vecRoot[0].sMessage.find("withdraws"));
    // Any other spelling is an ordinary empty document.
    EXPECT_TRUE(Validate("{ }").vecFinding.empty());
}

TEST(ValidateChecks, SyntaxErrorsGiveLineAndColumn)
{
    const PT_VALIDATE_RESULT result = Validate("{\n  \"sections\": [\n    {]\n}");
    EXPECT_FALSE(result.bUsable);
    EXPECT_EQ(0u, result.sUnusable.find("not JSON: line 3, column 6: ")) << result.sUnusable;
}

TEST(ValidateChecks, NestingBeyondTheReadersLimitIsUnusableNotACrash)
{
    const PT_VALIDATE_RESULT result = Validate(std::string(5000, '[') + std::string(5000, ']'));
    EXPECT_FALSE(result.bUsable);
    EXPECT_FALSE(result.sUnusable.empty());
}

void CollectFiles(const std::string& sDir, std::vector<std::string>& vecFile)
{
    DIR* pDir = opendir(sDir.c_str());
    if (pDir == nullptr) return;
    while (dirent* pEntry = readdir(pDir)) {
        const std::string sName = pEntry->d_name;
        if (sName != "." && sName != ".." && sName != "MANIFEST" && pEntry->d_type != DT_DIR) {
            vecFile.push_back(sDir + "/" + sName);
        }
    }
    closedir(pDir);
}

// Every refusal of the reader is explained by a finding of its own kind, and no such finding
// is made for a document the reader accepts.
TEST(ValidateChecks, FindingsAgreeWithTheReaderOnEveryCommittedDocument)
{
    std::vector<std::string> vecFile;
    CollectFiles(PELMO_VALIDATE_DOCUMENTS, vecFile);
    CollectFiles(PELMO_PREVIEW_CORPUS, vecFile);
    ASSERT_GE(vecFile.size(), 25u);
    for (const std::string& sFile : vecFile) {
        std::ifstream in(sFile, std::ios::binary);
        const std::string sText((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        for (const char* sModule : {"", "org.orvik.plinth-app", "com.quenor.tv.Skyvane"}) {
            const PT_VALIDATE_RESULT result = Validate(sText, sModule);
            if (!result.bUsable) continue;
            EXPECT_TRUE(FindingsOfKind(result, "refused").empty()) << sFile << " " << sModule;
            const bool bExplained =
                std::any_of(result.vecFinding.begin(), result.vecFinding.end(), [](const PT_VALIDATE_FINDING& finding) {
                    return finding.bError &&
                           (finding.sKind == "root" || finding.sKind == "value-kind" || finding.sKind == "tile-limit");
                });
            EXPECT_EQ(!result.bReaderAccepts, bExplained) << sFile << " " << sModule;
        }
    }
}

}  // namespace

namespace {
// One section of iTiles tiles whose titles are iTitleBytes long.
std::string SectionWithLongTitles(int iTiles, std::size_t iTitleBytes)
{
    Json::Value root;
    Json::Value section;
    section["section_title"] = "Long";
    section["section_id"] = 1;
    for (int i = 0; i < iTiles; ++i) {
        Json::Value tile;
        tile["tile_title"] = std::to_string(i) + std::string(iTitleBytes, 't');
        section["tiles"].append(tile);
    }
    root["sections"].append(section);
    return Json::StyledWriter().write(root);
}

PT_VALIDATE_RESULT ValidateWithMessageLimit(const std::string& sText, long long llMaxMessage)
{
    PT_VALIDATE_OPTIONS options;
    options.llNow = 1767225600;
    options.llMaxMessage = llMaxMessage;
    return ValidateDocumentText(sText, options);
}
}  // namespace

TEST(ValidateRequestSize, SectionNearTheBusMessageSizeIsAWarningAndOverItAnError)
{
    // About 10 x 3000 bytes of titles in one tile bulk.
    const std::string sText = SectionWithLongTitles(10, 3000);
    const auto vecNone = FindingsOfKind(ValidateWithMessageLimit(sText, 100000), ValidateKind::REQUEST_SIZE);
    EXPECT_TRUE(vecNone.empty());
    const auto vecNear = FindingsOfKind(ValidateWithMessageLimit(sText, 40000), ValidateKind::REQUEST_SIZE);
    ASSERT_EQ(vecNear.size(), 1u);
    EXPECT_FALSE(vecNear[0].bError);
    EXPECT_EQ(vecNear[0].sPath, "sections[0]");
    EXPECT_NE(vecNear[0].sMessage.find("little room"), std::string::npos) << vecNear[0].sMessage;
    const PT_VALIDATE_RESULT over = ValidateWithMessageLimit(sText, 30000);
    const auto vecOver = FindingsOfKind(over, ValidateKind::REQUEST_SIZE);
    ASSERT_EQ(vecOver.size(), 1u);
    EXPECT_TRUE(vecOver[0].bError);
    EXPECT_NE(vecOver[0].sMessage.find("would not be stored"), std::string::npos) << vecOver[0].sMessage;
    EXPECT_EQ(over.ErrorCount(), 1);
}

TEST(ValidateRequestSize, BusConfigurationSetsTheMessageSize)
{
    EXPECT_EQ(
        BusMessageLimit::FromConfigText("<busconfig><limit name=\"max_message_size\">1000000</limit></busconfig>"),
        1000000);
    // Commented out, as in the system bus's own file: not set.
    EXPECT_EQ(BusMessageLimit::FromConfigText(
                  "<busconfig><!-- <limit name=\"max_message_size\">33554432</limit> --></busconfig>"),
              -1);
    // The last setting counts; other limits are not it.
    EXPECT_EQ(BusMessageLimit::FromConfigText("<limit name=\"max_message_size\">5</limit>"
                                              "<limit name=\"max_incoming_bytes\">9</limit>"
                                              "<limit name=\"max_message_size\"> 7 </limit>"),
              7);
    EXPECT_EQ(BusMessageLimit::FromConfigText("<limit name=\"max_message_size\">lots</limit>"), -1);
    std::string sSource;
    EXPECT_EQ(BusMessageLimit::Read("/nonexistent/bus.conf", sSource), BusMessageLimit::kBuiltInMaxMessageSize);
    EXPECT_EQ(sSource, "dbus-daemon's built-in limit");
}
