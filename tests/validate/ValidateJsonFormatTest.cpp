// `pelmoctl validate --format json` as a process: the same findings as the text lines, as one
// JSON object with path, line, column, kind, level, message and suggestion.
#include <gtest/gtest.h>
#include <json/json.h>

#include "ChildProcess.h"
#include "ModuleQuota.h"

namespace {
std::string Document(const std::string& sName)
{
    return std::string(PELMO_VALIDATE_DOCUMENTS) + "/" + sName;
}

Json::Value RunJson(const std::vector<std::string>& vecArgs, int iExpectedStatus, const std::string& sStdin = "")
{
    std::vector<std::string> vecArgv = {PELMOCTL_PATH, "validate"};
    vecArgv.insert(vecArgv.end(), vecArgs.begin(), vecArgs.end());
    vecArgv.push_back("--format");
    vecArgv.push_back("json");
    PT_CHILD_OPTIONS options;
    options.sInput = sStdin;
    const PT_CHILD_RESULT result = RunChild(vecArgv, options);
    EXPECT_EQ(result.iExit, iExpectedStatus) << result.sErr;
    EXPECT_EQ(result.sErr, "");
    Json::Value report;
    EXPECT_TRUE(Json::Reader().parse(result.sOut, report)) << result.sOut;
    return report;
}
}  // namespace

TEST(ValidateJsonFormat, UnknownMemberCarriesPositionLevelAndSuggestion)
{
    const Json::Value report = RunJson({Document("unknown_tile_member.json")}, 0);
    EXPECT_TRUE(report["usable"].asBool());
    EXPECT_EQ(report["errors"].asInt(), 0);
    EXPECT_EQ(report["warnings"].asInt(), 1);
    ASSERT_EQ(report["findings"].size(), 1u);
    const Json::Value& finding = report["findings"][0];
    EXPECT_EQ(finding["path"].asString(), "sections[0].tiles[0].tile_subtitel");
    EXPECT_EQ(finding["line"].asInt(), 10);
    EXPECT_GT(finding["column"].asInt(), 1);
    EXPECT_EQ(finding["kind"].asString(), "unknown-member");
    EXPECT_EQ(finding["level"].asString(), "warning");
    EXPECT_EQ(finding["suggestion"].asString(), "tile_subtitle");
    EXPECT_NE(finding["message"].asString().find("public_extra"), std::string::npos);
}

TEST(ValidateJsonFormat, ColumnIsWhereTheValueStartsOnItsLine)
{
    const std::string sText =
        "{\"sections\": [{\"section_id\": 1, \"section_title\": \"S\",\n"
        "  \"tiles\": [{\"tile_title\": \"T\",   \"tile_titel\": 5}]}]}";
    const Json::Value report = RunJson({"-"}, 0, sText);
    ASSERT_EQ(report["findings"].size(), 1u) << report;
    EXPECT_EQ(report["file"].asString(), "<stdin>");
    EXPECT_EQ(report["findings"][0]["line"].asInt(), 2);
    // The value 5 is the 49th byte of the second line.
    EXPECT_EQ(report["findings"][0]["column"].asInt(),
              static_cast<int>(std::string("  \"tiles\": [{\"tile_title\": \"T\",   \"tile_titel\": ").size()) + 1);
}

TEST(ValidateJsonFormat, ErrorsGiveStatusOneAndNoSuggestionWhenThereIsNone)
{
    const Json::Value report = RunJson({Document("tile_title_array.json")}, 1);
    EXPECT_EQ(report["errors"].asInt(), 1);
    const Json::Value& finding = report["findings"][0];
    EXPECT_EQ(finding["path"].asString(), "sections[0].tiles[2].tile_title");
    EXPECT_EQ(finding["line"].asInt(), 10);
    EXPECT_EQ(finding["kind"].asString(), "value-kind");
    EXPECT_EQ(finding["level"].asString(), "error");
    EXPECT_TRUE(finding["suggestion"].isNull());
}

TEST(ValidateJsonFormat, TextThatIsNotJsonIsOneSyntaxFindingWithLineAndColumn)
{
    const Json::Value report = RunJson({Document("syntax_missing_comma.json")}, 1);
    EXPECT_FALSE(report["usable"].asBool());
    ASSERT_EQ(report["findings"].size(), 1u);
    EXPECT_EQ(report["findings"][0]["kind"].asString(), "syntax");
    EXPECT_EQ(report["findings"][0]["line"].asInt(), 5);
    EXPECT_EQ(report["findings"][0]["column"].asInt(), 7);
}

TEST(ValidateJsonFormat, CleanDocumentHasNoFindings)
{
    const Json::Value report = RunJson(
        {"-"}, 0,
        "{\"sections\": [{\"section_id\": 1, \"section_title\": \"S\", \"tiles\": [{\"tile_title\": \"T\"}]}]}");
    EXPECT_TRUE(report["findings"].isArray());
    EXPECT_TRUE(report["findings"].empty()) << report;
    EXPECT_EQ(report["errors"].asInt(), 0);
}

TEST(ValidateJsonFormat, UnknownFormatIsBadUsage)
{
    const PT_CHILD_RESULT result = RunChild({PELMOCTL_PATH, "validate", Document("tiles_200.json"), "--format", "xml"});
    EXPECT_EQ(result.iExit, 2);
    EXPECT_NE(result.sErr.find("--format takes text or json"), std::string::npos);
}

TEST(ValidateJsonFormat, TextThatIsNotUtf8IsAWarningWhoseColumnIsTheFirstBadByte)
{
    const std::string sLine = "  \"tiles\": [{\"tile_title\": \"Caf";
    const Json::Value report =
        RunJson({"-"}, 0, "{\"sections\": [{\"section_id\": 1, \"section_title\": \"S\",\n" + sLine + "\xe9\"}]}]}");
    ASSERT_EQ(report["findings"].size(), 1u) << report;
    const Json::Value& finding = report["findings"][0];
    EXPECT_EQ(finding["kind"].asString(), "not-utf8");
    EXPECT_EQ(finding["level"].asString(), "warning");
    EXPECT_EQ(finding["path"].asString(), "sections[0].tiles[0].tile_title");
    EXPECT_EQ(finding["line"].asInt(), 2);
    EXPECT_EQ(finding["column"].asInt(), static_cast<int>(sLine.size()) + 1);
    EXPECT_EQ(report["warnings"].asInt(), 1);
    EXPECT_EQ(report["errors"].asInt(), 0);
}

TEST(ValidateJsonFormat, QuotaWarningsComeAsWarnings)
{
    // As many sections as the store holds of a module: near its quota, not over.
    const long long llSections = PT_MODULE_QUOTA().llSections;
    std::string sText = "{\"sections\": [";
    for (long long i = 0; i < llSections; ++i)
        sText += std::string(i ? "," : "") + "{\"section_id\": " + std::to_string(i + 1) + "}";
    sText += "]}";
    const Json::Value report = RunJson({"-"}, 0, sText);
    ASSERT_EQ(report["findings"].size(), 1u) << report;
    EXPECT_EQ(report["findings"][0]["kind"].asString(), "quota");
    EXPECT_EQ(report["findings"][0]["level"].asString(), "warning");
    EXPECT_EQ(report["findings"][0]["path"].asString(), "sections");
}
