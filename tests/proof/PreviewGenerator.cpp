#include "PreviewGenerator.h"

#include <algorithm>
#include <climits>
#include <set>
#include <vector>

#include "ExpectedStore.h"

namespace {
const std::vector<std::string> kTextColumns = {
    "tile_type",        "tile_action_click",     "tile_action_details",   "tile_image_path",
    "tile_image_ratio", "tile_source_icon_path", "tile_action_post_play", "tile_extra_app_id",
    "tile_extra",       "tile_action_type"};
const std::vector<std::string> kValidatedColumns = {"tile_id", "tile_display_from", "tile_display_until",
                                                    "tile_image_width", "tile_image_height"};
const std::vector<std::string> kFlagColumns = {"tile_playable", "tile_progress", "tile_notification", "tile_favorite"};
const std::vector<std::string> kExtraNames = {"resume_position",
                                              "is_resumable",
                                              "video_url",
                                              "rating",
                                              "genre",
                                              "\xc3\xbcnic\xc3\xb6"
                                              "de",
                                              "with space"};
const std::vector<std::string> kDisplayModes = {"always", "never", "highlighted_only"};

template <typename T>
const T& Pick(CPreviewGenerator& gen, const std::vector<T>& vec)
{
    return vec[static_cast<size_t>(gen.Below(static_cast<int>(vec.size())))];
}

std::vector<std::string> Names(const Json::Value& object)
{
    return object.isObject() ? object.getMemberNames() : std::vector<std::string>();
}

bool IsKeyMember(const std::string& sName)
{
    return sName == "tile_title" || sName == "tile_subtitle" || sName == "tile_image_url" || sName == "action_data" ||
           sName == "tile_position" || sName == "tile_display_from" || sName == "tile_display_until" ||
           sName == "section_title" || sName == "section_id" || sName == "section_position" || sName == "tiles";
}

int LargestPosition(const Json::Value& items, const char* sColumn)
{
    int iMax = 0;
    for (const Json::Value& item : items) {
        const Json::Value& position = item[sColumn];
        const int i = position.isInt() ? position.asInt() : position.isString() ? std::atoi(position.asCString()) : 0;
        iMax = std::max(iMax, i);
    }
    return iMax;
}
}  // namespace

int CPreviewGenerator::Below(int iBound)
{
    if (iBound <= 1) return 0;
    return static_cast<int>(m_random() % static_cast<uint64_t>(iBound));
}

std::string CPreviewGenerator::UniqueTag(const char* sPrefix)
{
    return std::string(sPrefix) + std::to_string(++m_ullSerial);
}

std::string CPreviewGenerator::Piece()
{
    static const std::vector<std::string> kPieces = {"alpha",
                                                     "Bridge",
                                                     "night",
                                                     "42",
                                                     " ",
                                                     "-",
                                                     "\xc3\xa9t\xc3\xa9",                     // été
                                                     "\xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e",  // Japanese
                                                     "\xf0\x9f\x98\x80",                      // an emoji
                                                     "\"",
                                                     "\\",
                                                     "/",
                                                     "\n",
                                                     "\t",
                                                     "\x01",
                                                     "<b>&amp;</b>",
                                                     "'; DROP TABLE tiles; --",
                                                     "%s%d",
                                                     "null",
                                                     "{}"};
    return Pick(*this, kPieces);
}

Json::Value CPreviewGenerator::AnyText()
{
    std::string s;
    if (Chance(3)) {
        const int iLength = 1000 + Below(2000);
        while (static_cast<int>(s.size()) < iLength) s += Piece();
        return s;
    }
    const int iPieces = 1 + Below(4);
    for (int i = 0; i < iPieces; ++i) s += Piece();
    return s;
}

Json::Value CPreviewGenerator::TextColumnValue()
{
    const int r = Below(100);
    if (r < 70) return AnyText();
    if (r < 78) return Pick(*this, std::vector<int>{INT_MAX, INT_MIN, 0, -1, 7});
    if (r < 84) return Pick(*this, std::vector<double>{1.5, -0.25, 5e9, 3.14159265, 1e-7});
    if (r < 90) return Chance(50);
    if (r < 95) return Json::Value(4000000000u);
    return Pick(*this, std::vector<std::string>{"", "null"});
}

// Integer columns of a tile that the library validates: integers at the 32-bit limits, doubles,
// texts with and without leading digits, booleans.
Json::Value CPreviewGenerator::IntegerColumnValue()
{
    const int r = Below(100);
    if (r < 45) return Pick(*this, std::vector<int>{INT_MAX, INT_MIN, 0, -1, 1920, 1080, 1700000000});
    if (r < 55) return Below(100000);
    if (r < 70) return Pick(*this, std::vector<double>{5e9, -1.5, 1e300, 2.5, 1e-300});
    if (r < 90) return Pick(*this, std::vector<std::string>{"42abc", "abc", "  -7", "007", "", "null", "+12"});
    return Chance(50);
}

Json::Value CPreviewGenerator::FlagValue()
{
    const int r = Below(10);
    if (r < 4) return Chance(50);
    if (r < 6) return Pick(*this, std::vector<int>{0, 1, 57, -1});
    if (r < 9) return Pick(*this, std::vector<std::string>{"false", "FALSE", "0", "yes", "", "null"});
    return 1.5;
}

Json::Value CPreviewGenerator::ExtraValue()
{
    const int r = Below(8);
    switch (r) {
        case 0:
            return AnyText();
        case 1:
            return Pick(*this, std::vector<int>{INT_MAX, INT_MIN, 0, 1234});
        case 2:
            return -0.5;
        case 3:
            return Chance(50);
        case 4:
            return Json::Value();  // null
        case 5: {
            Json::Value array(Json::arrayValue);
            array.append(1);
            array.append(AnyText());
            return array;
        }
        case 6: {
            Json::Value object;
            object["nested"] = 1;  // an object member never reaches the store
            return object;
        }
        default:
            return Json::Value(4000000000u);
    }
}

Json::Value CPreviewGenerator::Tile(const std::string& sModule)
{
    Json::Value tile(Json::objectValue);
    if (Chance(85)) {
        tile["tile_title"] = UniqueTag("T") + " " + AnyText().asString();
    } else {
        tile["tile_title"] = static_cast<int>(100000 + ++m_ullSerial);
    }
    if (Chance(50)) tile["tile_subtitle"] = AnyText();
    if (Chance(50)) tile["tile_image_url"] = "https://img.example.org/" + UniqueTag("i") + ".jpg";
    if (Chance(60)) tile["action_data"] = "app://" + sModule + "/play?id=" + UniqueTag("a");
    for (const std::string& sColumn : kTextColumns) {
        if (Chance(25)) tile[sColumn] = TextColumnValue();
    }
    if (Chance(15)) tile["source_icon"] = AnyText();
    for (const std::string& sColumn : kValidatedColumns) {
        if (Chance(30)) tile[sColumn] = IntegerColumnValue();
    }
    for (const std::string& sColumn : kFlagColumns) {
        if (Chance(30)) tile[sColumn] = FlagValue();
    }
    const int iExtras = Below(4);
    for (int i = 0; i < iExtras; ++i) tile[Pick(*this, kExtraNames)] = ExtraValue();
    if (Chance(5)) tile["tile_action_play"] = "app://direct/" + UniqueTag("p");
    if (Chance(5)) {
        Json::Value object;
        object["ignored"] = true;  // an object member leaves no trace
        tile[Chance(50) ? "tile_extra" : "public_extra"] = object;
    }
    if (Chance(3)) tile["tile_image_ratio"] = Json::Value();
    return tile;
}

Json::Value CPreviewGenerator::Section(const std::string& sModule, int iTiles)
{
    Json::Value section(Json::objectValue);
    if (Chance(90)) {
        section["section_title"] = UniqueTag("S") + " " + AnyText().asString();
    } else {
        section["section_title"] = static_cast<int>(200000 + ++m_ullSerial);
    }
    const int r = Below(100);
    if (r < 70) {
        section["section_id"] = static_cast<int>(++m_ullSerial);
    } else if (r < 80) {
        section["section_id"] = std::to_string(++m_ullSerial);
    } else if (r < 85) {
        section["section_id"] = "00" + std::to_string(++m_ullSerial);  // stored as a number: a new key each time
    }
    for (const char* sMode : {"section_title_display_mode", "section_subtitle_display_mode"}) {
        if (Chance(30)) section[sMode] = Pick(*this, kDisplayModes);
    }
    if (Chance(30)) section["section_extra"] = AnyText();
    if (Chance(20)) section["section_unknown"] = AnyText();
    if (Chance(5)) {
        Json::Value object;
        object["x"] = 1;
        section[Chance(50) ? "section_extra" : "section_unknown_object"] = object;
    }
    Json::Value tiles(Json::arrayValue);
    for (int i = 0; i < iTiles; ++i) tiles.append(Tile(sModule));
    if (iTiles > 0 || Chance(50)) section["tiles"] = tiles;
    return section;
}

void CPreviewGenerator::NumberPositions(Json::Value& items, const char* sColumn)
{
    std::vector<int> vecPositions;
    int iPosition = Below(50) - 10;
    for (Json::ArrayIndex i = 0; i < items.size(); ++i) {
        vecPositions.push_back(iPosition);
        iPosition += 1 + Below(3);
    }
    std::shuffle(vecPositions.begin(), vecPositions.end(), m_random);
    for (Json::ArrayIndex i = 0; i < items.size(); ++i) {
        if (Chance(85)) {
            items[i][sColumn] = vecPositions[i];
        } else {
            items[i][sColumn] = std::to_string(vecPositions[i]);
        }
    }
}

void CPreviewGenerator::MakeKeysUnique(const std::string& sModule, Json::Value& document)
{
    Json::Value sections(Json::arrayValue);
    std::set<uint64_t> setSectionKeys;
    int iTiles = 0;
    for (const Json::Value& section : document["sections"]) {
        if (!setSectionKeys.insert(expected_store::DocumentSectionKey(section)).second) continue;
        Json::Value kept = section;
        if (section.isMember("tiles")) {
            Json::Value tiles(Json::arrayValue);
            std::set<uint64_t> setTileKeys;
            for (const Json::Value& tile : section["tiles"]) {
                if (iTiles >= expected_store::TileLimit(sModule)) break;
                if (!setTileKeys.insert(expected_store::DocumentTileKey(sModule, tile)).second) continue;
                tiles.append(tile);
                ++iTiles;
            }
            kept["tiles"] = tiles;
        }
        sections.append(kept);
    }
    document["sections"] = sections;
}

Json::Value CPreviewGenerator::Document(const std::string& sModule)
{
    Json::Value document(Json::objectValue);
    const int iLimit = expected_store::TileLimit(sModule);
    const int r = Below(100);
    int iSections = r < 5 ? 0 : r < 85 ? 1 + Below(4) : 5 + Below(4);
    const bool bFull = iSections > 0 && Chance(6);  // a document right at the module's limit
    Json::Value sections(Json::arrayValue);
    int iLeft = iLimit;
    for (int s = 0; s < iSections; ++s) {
        int iTiles = Chance(10) ? 0 : Below(9);
        if (bFull) iTiles = s + 1 == iSections ? iLeft : iLimit / iSections;
        iTiles = std::min(iTiles, iLeft);
        iLeft -= iTiles;
        Json::Value section = Section(sModule, iTiles);
        if (section.isMember("tiles")) NumberPositions(section["tiles"], "tile_position");
        sections.append(section);
    }
    NumberPositions(sections, "section_position");
    document["sections"] = sections;
    if (Chance(20)) document["expires"] = Chance(50) ? Json::Value(1900000000) : Json::Value("2031-01-01");
    if (Chance(10)) document["root_unknown"] = AnyText();
    MakeKeysUnique(sModule, document);
    return document;
}

Json::Value CPreviewGenerator::Edit(const std::string& sModule, const Json::Value& original)
{
    Json::Value document = original;
    if (!document.isObject()) document = Json::Value(Json::objectValue);
    if (!document["sections"].isArray()) document["sections"] = Json::Value(Json::arrayValue);
    Json::Value& sections = document["sections"];
    const int iEdits = 1 + Below(3);
    for (int e = 0; e < iEdits; ++e) {
        const int iSections = static_cast<int>(sections.size());
        const int iKind = Below(11);
        if (iSections == 0 || iKind == 7) {
            Json::Value section = Section(sModule, Below(5));
            if (section.isMember("tiles")) NumberPositions(section["tiles"], "tile_position");
            section["section_position"] = LargestPosition(sections, "section_position") + 1 + Below(3);
            sections.append(section);
            continue;
        }
        Json::Value& section = sections[static_cast<Json::ArrayIndex>(Below(iSections))];
        Json::Value& tiles = section["tiles"];
        if (!tiles.isArray()) tiles = Json::Value(Json::arrayValue);
        const int iTiles = static_cast<int>(tiles.size());
        Json::Value* pTile = iTiles > 0 ? &tiles[static_cast<Json::ArrayIndex>(Below(iTiles))] : nullptr;
        switch (iKind) {
            case 0:  // a member of a tile changes
                if (pTile) {
                    const int r = Below(3);
                    if (r == 0) (*pTile)[Pick(*this, kTextColumns)] = TextColumnValue();
                    if (r == 1) (*pTile)[Pick(*this, kValidatedColumns)] = IntegerColumnValue();
                    if (r == 2) (*pTile)[Pick(*this, kFlagColumns)] = FlagValue();
                }
                break;
            case 1:  // a member of a tile goes away
                if (pTile) {
                    std::vector<std::string> vecNames;
                    for (const std::string& sName : Names(*pTile)) {
                        if (!IsKeyMember(sName)) vecNames.push_back(sName);
                    }
                    if (!vecNames.empty()) pTile->removeMember(Pick(*this, vecNames));
                }
                break;
            case 2:  // a tile goes away
                if (iTiles > 0) {
                    Json::Value removed;
                    tiles.removeIndex(static_cast<Json::ArrayIndex>(Below(iTiles)), &removed);
                }
                break;
            case 3: {  // a tile comes
                Json::Value tile = Tile(sModule);
                tile["tile_position"] = LargestPosition(tiles, "tile_position") + 1 + Below(3);
                tiles.append(tile);
                break;
            }
            case 4:  // a tile is renamed: a new content key
                if (pTile) (*pTile)["tile_title"] = UniqueTag("R") + " " + AnyText().asString();
                break;
            case 5:
                NumberPositions(tiles, "tile_position");
                break;
            case 6: {
                Json::Value removed;
                sections.removeIndex(static_cast<Json::ArrayIndex>(Below(iSections)), &removed);
                break;
            }
            case 8: {  // a section's own columns change, or the sections change places
                const int r = Below(3);
                if (r == 0) section["section_extra"] = AnyText();
                if (r == 1) section["section_title_display_mode"] = Pick(*this, kDisplayModes);
                if (r == 2) NumberPositions(sections, "section_position");
                break;
            }
            case 9:  // a tile moves to another section
                if (pTile && iSections > 1) {
                    Json::Value tile = *pTile;
                    Json::Value removed;
                    for (Json::ArrayIndex i = 0; i < tiles.size(); ++i) {
                        if (&tiles[i] == pTile) {
                            tiles.removeIndex(i, &removed);
                            break;
                        }
                    }
                    Json::Value& other = sections[static_cast<Json::ArrayIndex>(Below(iSections))];
                    if (!other["tiles"].isArray()) other["tiles"] = Json::Value(Json::arrayValue);
                    tile["tile_position"] = LargestPosition(other["tiles"], "tile_position") + 1 + Below(3);
                    other["tiles"].append(tile);
                }
                break;
            default:  // an unknown member of a tile changes
                if (pTile) (*pTile)[Pick(*this, kExtraNames)] = ExtraValue();
                break;
        }
    }
    MakeKeysUnique(sModule, document);
    return document;
}

std::string CPreviewGenerator::Text(const Json::Value& document)
{
    if (Chance(50)) return Json::FastWriter().write(document);
    return Json::StyledWriter().write(document);
}
