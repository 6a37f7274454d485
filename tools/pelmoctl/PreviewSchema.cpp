#include "PreviewSchema.h"

#include <pelmo/TilesModel.h>

#include <set>

#include "PreviewDataUtil.h"

namespace {

enum class EKind { kText, kInteger, kBoolean, kDisplayMode, kActionType, kObjectList, kAny, kRowId };

struct PT_SCHEMA_MEMBER {
    const char* sName;
    EKind eKind;
    const char* sDescription;
    // Named in the document only: the model stores it under another name, or not at all.
    bool bDocumentOnly = false;
};

const PT_SCHEMA_MEMBER kSectionMembers[] = {
    {"section_id", EKind::kInteger, "With section_title, the section's content key. An array refuses the document."},
    {"section_title", EKind::kText, "The section's title; part of its content key. An array refuses the document."},
    {"section_position", EKind::kInteger, "Display order of the read-back."},
    {"section_title_display_mode", EKind::kDisplayMode,
     "When the home screen shows the title (default highlighted_only)."},
    {"section_subtitle_display_mode", EKind::kDisplayMode,
     "When the home screen shows the subtitle (default highlighted_only)."},
    {"section_extra", EKind::kText, "Free text for the platform."},
    {"_id", EKind::kRowId, "Row id the store sets: leave it out."},
    {"section_accelerator_raw_id", EKind::kRowId, "Row id the library sets: leave it out."},
    {"tiles", EKind::kObjectList, "The tiles in display order; elements that are not objects are skipped.", true},
};

const PT_SCHEMA_MEMBER kTileMembers[] = {
    {"tile_title", EKind::kText, "The tile's title; part of its content key. An array refuses the document."},
    {"tile_subtitle", EKind::kText, "Part of the content key. An array refuses the document."},
    {"tile_image_url", EKind::kText, "Part of the content key. An array refuses the document."},
    {"action_data", EKind::kText, "Stored as tile_action_play; part of the content key. An array refuses the document.",
     true},
    {"tile_action_play", EKind::kText, "The same column as action_data; of the two, tile_action_play wins."},
    {"tile_id", EKind::kInteger, "Stored as the integer its text starts with (\"42abc\" gives 42)."},
    {"tile_type", EKind::kText, "Stored as text."},
    {"tile_display_from", EKind::kInteger,
     "Start of the display window, seconds since 1970; 0 is no bound. An array refuses the document."},
    {"tile_display_until", EKind::kInteger,
     "End of the display window, seconds since 1970; 0 is no bound. An array refuses the document."},
    {"tile_action_click", EKind::kText, "Stored as text."},
    {"tile_action_details", EKind::kText, "Stored as text."},
    {"tile_action_type", EKind::kActionType, "How the tile's action starts (default app_launch)."},
    {"tile_image_path", EKind::kText, "A local image path."},
    {"tile_image_width", EKind::kInteger, "Image width in pixels."},
    {"tile_image_height", EKind::kInteger, "Image height in pixels."},
    {"tile_image_ratio", EKind::kText, "The image ratio as text, e.g. \"16:9\"."},
    {"source_icon", EKind::kText, "Stored as tile_source_icon.", true},
    {"tile_source_icon", EKind::kText, "Stored as text."},
    {"tile_source_icon_path", EKind::kText, "Stored as text."},
    {"tile_action_post_play", EKind::kText, "Stored as text."},
    {"tile_extra_app_id", EKind::kText, "Stored as text."},
    {"tile_playable", EKind::kBoolean, "Stored as 0 for false, 1 for any other value."},
    {"tile_progress", EKind::kBoolean, "Stored as 0 for false, 1 for any other value."},
    {"tile_notification", EKind::kBoolean, "Stored as 0 for false, 1 for any other value."},
    {"tile_favorite", EKind::kBoolean, "Stored as 0 for false, 1 for any other value."},
    {"tile_position", EKind::kInteger, "Display order of the read-back."},
    {"tile_extra", EKind::kText, "Stored as text."},
    {"public_extra", EKind::kAny,
     "Replaced by the public extra data (the tile's unknown members); an object here is skipped.", true},
    {"tile_action_pre_play", EKind::kAny, "Replaced by the public extra data (the tile's unknown members)."},
    {"_id", EKind::kRowId, "Row id the store sets: leave it out."},
    {"tile_section_raw_id", EKind::kRowId, "Row id the library sets: leave it out."},
};

Json::Value Types(std::initializer_list<const char*> listTypes)
{
    Json::Value types(Json::arrayValue);
    for (const char* sType : listTypes) types.append(sType);
    return types;
}

Json::Value MemberSchema(const PT_SCHEMA_MEMBER& member)
{
    Json::Value schema(Json::objectValue);
    schema["description"] = member.sDescription;
    // null leaves the default everywhere.
    switch (member.eKind) {
        case EKind::kText:
            schema["type"] = Types({"string", "null"});
            break;
        case EKind::kInteger:
            // Documents written by hand give whole numbers as decimal text too; the library takes both.
            schema["anyOf"][0]["type"] = Types({"integer", "null"});
            schema["anyOf"][1]["type"] = "string";
            schema["anyOf"][1]["pattern"] = "^-?[0-9]+$";
            break;
        case EKind::kBoolean:
            schema["type"] = Types({"boolean", "null"});
            break;
        case EKind::kDisplayMode: {
            using namespace TilesModel::Sections::SectionTitleDisplayMode;
            schema["enum"] = Types({SECTION_TITLE_DISPLAY_MODE_ALWAYS, SECTION_TITLE_DISPLAY_MODE_NEVER,
                                    SECTION_TITLE_DISPLAY_MODE_HIGHLIGHTED_ONLY});
            schema["enum"].append(Json::Value());
            break;
        }
        case EKind::kActionType: {
            using namespace TilesModel::Tiles::TileActionTypes;
            schema["enum"] = Types({TILE_ACTION_APP_LAUNCH, TILE_ACTION_WAS_LAUNCH});
            schema["enum"].append(Json::Value());
            break;
        }
        case EKind::kObjectList:
            schema["type"] = Types({"array", "null"});
            schema["items"]["$ref"] = "#/$defs/tile";
            break;
        case EKind::kAny:
        case EKind::kRowId:
            break;
    }
    return schema;
}

std::vector<std::string> Names(const PT_SCHEMA_MEMBER* pBegin, const PT_SCHEMA_MEMBER* pEnd, bool bModelOnly)
{
    std::vector<std::string> vecNames;
    for (const PT_SCHEMA_MEMBER* p = pBegin; p != pEnd; ++p) {
        if (!bModelOnly || !p->bDocumentOnly) vecNames.push_back(p->sName);
    }
    return vecNames;
}

void Compare(const char* sWhat, std::set<std::string> setModel, const std::vector<std::string>& vecTable,
             std::vector<std::string>& vecOut)
{
    const std::set<std::string> setTable(vecTable.begin(), vecTable.end());
    for (const std::string& sName : setModel) {
        if (setTable.count(sName) == 0)
            vecOut.push_back(std::string(sWhat) + " member " + sName + " is not in the schema");
    }
    for (const std::string& sName : setTable) {
        if (setModel.count(sName) == 0)
            vecOut.push_back(std::string(sWhat) + " member " + sName + " is not in the model");
    }
}

}  // namespace

std::vector<std::string> PreviewSchemaTileMembers()
{
    return Names(std::begin(kTileMembers), std::end(kTileMembers), false);
}

std::vector<std::string> PreviewSchemaSectionMembers()
{
    return Names(std::begin(kSectionMembers), std::end(kSectionMembers), false);
}

std::vector<std::string> PreviewSchemaDisagreements(const std::vector<std::string>& vecExtraTileMembers,
                                                    const std::vector<std::string>& vecExtraSectionMembers)
{
    std::set<std::string> setTile(vecExtraTileMembers.begin(), vecExtraTileMembers.end());
    for (const auto& entry : CPreviewTile().m_mapProperty) setTile.insert(entry.first);
    std::set<std::string> setSection(vecExtraSectionMembers.begin(), vecExtraSectionMembers.end());
    for (const auto& entry : CPreviewSection().m_mapProperty) setSection.insert(entry.first);
    std::vector<std::string> vecOut;
    Compare("tile", setTile, Names(std::begin(kTileMembers), std::end(kTileMembers), true), vecOut);
    Compare("section", setSection, Names(std::begin(kSectionMembers), std::end(kSectionMembers), true), vecOut);
    return vecOut;
}

Json::Value BuildPreviewSchema()
{
    if (!PreviewSchemaDisagreements().empty()) return Json::Value();
    const int iLimit = CPreviewDataUtil::GetTileLimit("");
    const int iPlinthLimit = CPreviewDataUtil::GetTileLimit("org.orvik.plinth-app");
    Json::Value schema(Json::objectValue);
    schema["$schema"] = "https://json-schema.org/draft/2020-12/schema";
    schema["$id"] = "urn:pelmo-api:preview-document";
    schema["title"] = "Home-screen preview document";
    schema["description"] =
        "One module's home-screen preview, as set_preview_metadata and 'pelmoctl publish' take it. At most " +
        std::to_string(iLimit) + " tile objects per document (" + std::to_string(iPlinthLimit) +
        " for the module org.orvik.plinth-app), counted over all sections; a schema cannot count them, nor see "
        "two sections or two tiles of one section that share a content key: 'pelmoctl validate' checks both. "
        "The text {} exactly withdraws the module's preview.";
    schema["type"] = "object";
    Json::Value& root = schema["properties"];
    root["$schema"]["description"] = "Ignored by the library; lets an editor find this schema.";
    root["$schema"]["type"] = "string";
    root["sections"]["description"] =
        "The sections in display order; elements that are not objects are skipped. Missing or null: no sections "
        "(the module's stored sections and tiles are removed).";
    root["sections"]["type"] = Types({"array", "null"});
    root["sections"]["items"]["$ref"] = "#/$defs/section";
    root["expires"]["description"] =
        "Kept on the parsed accelerator, not stored. Any scalar is taken as its text; null, [] and {} count as "
        "absent; a non-empty array or object refuses the document.";
    root["expires"]["anyOf"][0]["type"] = Types({"string", "number", "boolean", "null"});
    root["expires"]["anyOf"][1]["type"] = Types({"array"});
    root["expires"]["anyOf"][1]["maxItems"] = 0;
    root["expires"]["anyOf"][2]["type"] = Types({"object"});
    root["expires"]["anyOf"][2]["maxProperties"] = 0;
    schema["additionalProperties"]["description"] = "Ignored: accelerator columns are never taken from a document.";

    Json::Value& section = schema["$defs"]["section"];
    section["type"] = "object";
    section["description"] =
        "One row of the home screen. Members whose value is an object are skipped; unknown members are ignored.";
    for (const PT_SCHEMA_MEMBER& member : kSectionMembers) section["properties"][member.sName] = MemberSchema(member);
    section["additionalProperties"]["description"] = "Ignored.";

    Json::Value& tile = schema["$defs"]["tile"];
    tile["type"] = "object";
    tile["description"] =
        "One card. A tile whose title, subtitle, image URL or action changes is a new tile; any other change "
        "updates it in place.";
    for (const PT_SCHEMA_MEMBER& member : kTileMembers) tile["properties"][member.sName] = MemberSchema(member);
    tile["additionalProperties"]["description"] =
        "Not a column: kept in the tile's public extra data (stored in tile_action_pre_play and read back as "
        "public_extra), with is_resumable false and video_url \"\" added when absent.";
    return schema;
}
