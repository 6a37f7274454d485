// The JSON Schema of a preview document against the library's preview model and against
// `pelmoctl validate`: the three must name the same members.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "PreviewSchema.h"
#include "ValidateDocument.h"

namespace {

// Findings of validate for a document with one section of one tile, with sName: "x" added to
// the tile (or to the section).
std::vector<PT_VALIDATE_FINDING> FindingsWith(const std::string& sName, bool bInTile)
{
    Json::Value tile;
    tile["tile_title"] = "t";
    Json::Value section;
    section["section_id"] = 1;
    section["section_title"] = "s";
    (bInTile ? tile : section)[sName] = "x";
    if (sName != "tiles") section["tiles"].append(tile);
    Json::Value document;
    document["sections"].append(section);
    PT_VALIDATE_OPTIONS options;
    options.llNow = 1767225600;
    return ValidateDocumentText(Json::FastWriter().write(document), options).vecFinding;
}

bool SaysUnknown(const std::vector<PT_VALIDATE_FINDING>& vecFinding)
{
    return std::any_of(vecFinding.begin(), vecFinding.end(),
                       [](const PT_VALIDATE_FINDING& finding) { return finding.sKind == "unknown-member"; });
}

}  // namespace

TEST(PreviewSchema, TableNamesExactlyTheMembersOfThePreviewModel)
{
    const std::vector<std::string> vecDisagreements = PreviewSchemaDisagreements();
    EXPECT_TRUE(vecDisagreements.empty()) << vecDisagreements.front();
    EXPECT_FALSE(BuildPreviewSchema().isNull());
}

TEST(PreviewSchema, AMemberTheModelGainsIsNoticedAndStopsTheSchema)
{
    const std::vector<std::string> vecDisagreements = PreviewSchemaDisagreements({"tile_brand_new"}, {"section_new"});
    EXPECT_EQ(vecDisagreements, (std::vector<std::string>{"tile member tile_brand_new is not in the schema",
                                                          "section member section_new is not in the schema"}));
}

TEST(PreviewSchema, ValidateKnowsEveryTileAndSectionMemberOfTheSchemaAndNoOther)
{
    for (const std::string& sName : PreviewSchemaTileMembers()) {
        EXPECT_FALSE(SaysUnknown(FindingsWith(sName, true))) << "tile member " << sName;
    }
    for (const std::string& sName : PreviewSchemaSectionMembers()) {
        EXPECT_FALSE(SaysUnknown(FindingsWith(sName, false))) << "section member " << sName;
    }
    EXPECT_TRUE(SaysUnknown(FindingsWith("tile_titel", true)));
    EXPECT_TRUE(SaysUnknown(FindingsWith("section_titel", false)));
}

TEST(PreviewSchema, SchemaOfTheBuildIsTheOneTheTableMakes)
{
    std::ifstream in(PELMO_PREVIEW_SCHEMA);
    ASSERT_TRUE(in) << PELMO_PREVIEW_SCHEMA;
    Json::Value written;
    ASSERT_TRUE(Json::Reader().parse(in, written));
    EXPECT_EQ(written, BuildPreviewSchema());
    const Json::Value& tile = written["$defs"]["tile"]["properties"];
    EXPECT_EQ(tile["tile_action_type"]["enum"][1].asString(), "web_app_launch");
    EXPECT_EQ(written["$defs"]["section"]["properties"]["section_title_display_mode"]["enum"][2].asString(),
              "highlighted_only");
    EXPECT_NE(written["description"].asString().find("At most 200 tile objects per document (300 for"),
              std::string::npos);
}
