#include "ExpectedStore.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <limits>
#include <set>
#include <sstream>
#include <utility>

#include "PreviewDataUtil.h"

namespace {
using Property = std::pair<int, std::string>;  // value type code, value text
using Properties = std::map<std::string, Property>;

constexpr int kBool = 0, kInt = 1, kUInt = 2, kDouble = 3, kString = 4, kNone = 5;
constexpr const char* kHighlightedOnly = "highlighted_only";
constexpr const char* kAppLaunch = "app_launch";
constexpr const char* kPrePlay = "tile_action_pre_play";
constexpr const char* kDefaultPublicExtra = "{\"video_url\":\"\",\"is_resumable\":false}";

const std::vector<std::string> kTileColumns = {"_id",
                                               "tile_id",
                                               "tile_section_raw_id",
                                               "tile_type",
                                               "tile_title",
                                               "tile_subtitle",
                                               "tile_display_from",
                                               "tile_display_until",
                                               "tile_action_play",
                                               "tile_action_click",
                                               "tile_action_type",
                                               "tile_action_details",
                                               "tile_image_url",
                                               "tile_image_path",
                                               "tile_image_width",
                                               "tile_image_height",
                                               "tile_image_ratio",
                                               "tile_source_icon",
                                               "tile_source_icon_path",
                                               "tile_action_pre_play",
                                               "tile_action_post_play",
                                               "tile_extra_app_id",
                                               "tile_playable",
                                               "tile_position",
                                               "tile_progress",
                                               "tile_notification",
                                               "tile_favorite",
                                               "tile_extra"};
const std::vector<std::string> kSectionColumns = {"_id",
                                                  "section_id",
                                                  "section_title",
                                                  "section_position",
                                                  "section_accelerator_raw_id",
                                                  "section_title_display_mode",
                                                  "section_subtitle_display_mode",
                                                  "section_extra"};
// Columns the store keeps with INTEGER affinity: numeric text becomes a number there.
const std::set<std::string> kIntegerColumns = {"_id",
                                               "section_id",
                                               "section_position",
                                               "section_accelerator_raw_id",
                                               "tile_id",
                                               "tile_section_raw_id",
                                               "tile_display_from",
                                               "tile_display_until",
                                               "tile_image_width",
                                               "tile_image_height",
                                               "tile_playable",
                                               "tile_position",
                                               "tile_progress",
                                               "tile_notification",
                                               "tile_favorite"};
// Columns written as 0 / 1, and columns written as a validated integer.
const std::set<std::string> kFlagColumns = {"tile_playable", "tile_progress", "tile_notification", "tile_favorite"};
const std::set<std::string> kValidatedColumns = {"tile_id", "tile_display_from", "tile_display_until",
                                                 "tile_image_width", "tile_image_height"};
// What the in-place update of a kept tile rewrites, in its order; every other column stays.
const std::vector<std::string> kTileUpdateColumns = {
    "tile_id",          "tile_type",           "tile_display_from", "tile_display_until", "tile_action_type",
    "tile_image_width", "tile_image_height",   "tile_image_ratio",  "tile_source_icon",   "tile_extra_app_id",
    "tile_playable",    "tile_position",       "tile_progress",     "tile_notification",  "tile_favorite",
    "tile_extra",       "tile_action_pre_play"};
const std::vector<std::string> kSectionUpdateColumns = {
    "section_id",   "section_title", "section_position", "section_title_display_mode", "section_subtitle_display_mode",
    "section_extra"};

bool IsIn(const std::vector<std::string>& vec, const std::string& s)
{
    return std::find(vec.begin(), vec.end(), s) != vec.end();
}

std::string DoubleText(double d)
{
    std::ostringstream out;
    out << d;
    return out.str();
}

// The canonical integer text of a value as the C library reads a leading integer.
std::string Validated(const std::string& sText)
{
    errno = 0;
    const long long ll = std::strtoll(sText.c_str(), nullptr, 10);
    return std::to_string(ll);
}

// A document value typed as the parser types it; false for null (the property keeps its default).
bool ToProperty(const Json::Value& value, Property& property)
{
    if (value.isNull()) return false;
    if (value.isBool()) {
        property = {kBool, value.asBool() ? "true" : "false"};
    } else if (value.isInt()) {
        property = {kInt, std::to_string(value.asInt())};
    } else if (value.isUInt()) {
        property = {kUInt, std::to_string(value.asUInt())};
    } else if (value.isDouble() || value.isIntegral() || value.isNumeric()) {
        property = {kDouble, DoubleText(value.asDouble())};
    } else if (value.isString()) {
        property = {kString, value.asString()};
    } else {
        property = {kNone, ""};
    }
    return true;
}

// Whether the text is a decimal literal, with blanks around it allowed: an optional sign and
// digits; with bReal also a decimal point (digits on at least one side) and an exponent.
bool IsNumberLiteral(const std::string& sText, bool bReal)
{
    size_t i = 0;
    const size_t n = sText.size();
    auto blank = [&](size_t at) { return at < n && std::isspace(static_cast<unsigned char>(sText[at])) != 0; };
    auto digit = [&](size_t at) { return at < n && sText[at] >= '0' && sText[at] <= '9'; };
    while (blank(i)) ++i;
    if (i < n && (sText[i] == '+' || sText[i] == '-')) ++i;
    size_t digits = 0;
    while (digit(i)) ++i, ++digits;
    if (bReal && i < n && sText[i] == '.') {
        ++i;
        while (digit(i)) ++i, ++digits;
    }
    if (digits == 0) return false;
    if (bReal && i < n && (sText[i] == 'e' || sText[i] == 'E')) {
        ++i;
        if (i < n && (sText[i] == '+' || sText[i] == '-')) ++i;
        if (!digit(i)) return false;
        while (digit(i)) ++i;
    }
    while (blank(i)) ++i;
    return i == n;
}

// A text bound into a column: INTEGER affinity turns a well-formed integer or real literal into
// a number (a real that is an exact integer becomes an integer); anything else stays text.
PT_STORED_VALUE Store(const std::string& sColumn, const std::string& sText)
{
    PT_STORED_VALUE value;
    value.eKind = PT_STORED_VALUE::kText;
    value.sText = sText;
    if (kIntegerColumns.count(sColumn) == 0) return value;
    if (IsNumberLiteral(sText, false)) {
        errno = 0;
        const long long ll = std::strtoll(sText.c_str(), nullptr, 10);
        if (errno != ERANGE) {
            value.eKind = PT_STORED_VALUE::kInteger;
            value.llValue = ll;
            return value;
        }
    }
    if (IsNumberLiteral(sText, true)) {
        const double d = std::strtod(sText.c_str(), nullptr);
        if (d >= -9.2e18 && d <= 9.2e18 && static_cast<double>(static_cast<long long>(d)) == d) {
            value.eKind = PT_STORED_VALUE::kInteger;
            value.llValue = static_cast<long long>(d);
        } else {
            value.eKind = PT_STORED_VALUE::kReal;
            value.dValue = d;
        }
    }
    return value;
}

// A stored cell as the loader turns it into text (the text the content keys are computed over).
std::string CellText(const StoredRow& row, const std::string& sColumn)
{
    auto it = row.find(sColumn);
    if (it == row.end()) return "";
    const PT_STORED_VALUE& value = it->second;
    switch (value.eKind) {
        case PT_STORED_VALUE::kInteger:
            return std::to_string(value.llValue);
        case PT_STORED_VALUE::kReal:
            return DoubleText(value.dValue);
        case PT_STORED_VALUE::kText:
            return value.sText;
        default:
            return "";
    }
}

bool IsPeriodKeyedModule(const std::string& sModule)
{
    return sModule.find("livetv_") != std::string::npos || sModule == "com.quenor.tv.Skyvane" || sModule == "ambrel" ||
           sModule == "ambrel_foryou" || sModule == "ambrel_banner";
}

uint64_t StoredTileKey(const std::string& sModule, const StoredRow& row)
{
    std::string sAction = CellText(row, "tile_action_play");
    if (IsPeriodKeyedModule(sModule))
        sAction += CellText(row, "tile_display_from") + CellText(row, "tile_display_until");
    CPreviewDataUtil util;
    return util.CalcTileHash(CellText(row, "tile_title"), CellText(row, "tile_subtitle"),
                             CellText(row, "tile_image_url"), sAction);
}

uint64_t StoredSectionKey(const StoredRow& row)
{
    return CPreviewDataUtil::CalcSectionHash(CellText(row, "section_title"), CellText(row, "section_id"));
}

// The text a member contributes to a content key (objects are not read at all).
std::string KeyText(const Json::Value& object, const char* sName)
{
    if (!object.isMember(sName) || object[sName].isObject()) return "";
    return object[sName].asString();
}

struct PT_DOC_TILE {
    Properties properties;
    uint64_t key = 0;
};
struct PT_DOC_SECTION {
    Properties properties;
    uint64_t key = 0;
    std::vector<PT_DOC_TILE> vecTiles;
};

PT_DOC_TILE ReadTile(const std::string& sModule, const Json::Value& tile)
{
    PT_DOC_TILE doc;
    for (const std::string& sColumn : kTileColumns) doc.properties[sColumn] = {kNone, ""};
    doc.properties["tile_action_type"] = {kString, kAppLaunch};
    Json::Value extra;
    for (const std::string& sName : tile.getMemberNames()) {
        const Json::Value& value = tile[sName];
        if (value.isObject()) continue;
        if (sName == "public_extra" || sName == "action_data" || sName == "source_icon" || IsIn(kTileColumns, sName)) {
            std::string sTarget = sName;
            if (sName == "action_data") sTarget = "tile_action_play";
            if (sName == "public_extra") sTarget = kPrePlay;
            if (sName == "source_icon") sTarget = "tile_source_icon";
            Property property;
            if (ToProperty(value, property)) doc.properties[sTarget] = property;
        } else {
            extra[sName] = value;
        }
    }
    if (extra["is_resumable"].isNull()) extra["is_resumable"] = false;
    if (extra["video_url"].isNull()) extra["video_url"] = "";
    doc.properties[kPrePlay] = {kString, Json::FastWriter().write(extra)};
    doc.key = expected_store::DocumentTileKey(sModule, tile);
    return doc;
}

PT_DOC_SECTION ReadSection(const Json::Value& section)
{
    PT_DOC_SECTION doc;
    for (const std::string& sColumn : kSectionColumns) doc.properties[sColumn] = {kNone, ""};
    doc.properties["section_title_display_mode"] = {kString, kHighlightedOnly};
    doc.properties["section_subtitle_display_mode"] = {kString, kHighlightedOnly};
    for (const std::string& sName : section.getMemberNames()) {
        const Json::Value& value = section[sName];
        if (value.isObject() || sName == "tiles" || !IsIn(kSectionColumns, sName)) continue;
        Property property;
        if (ToProperty(value, property)) doc.properties[sName] = property;
    }
    doc.key = expected_store::DocumentSectionKey(section);
    return doc;
}

// The value a column of a new tile row is written with.
std::string TileInsertText(const std::string& sColumn, const std::string& sText)
{
    if (kFlagColumns.count(sColumn)) return sText == "false" ? "0" : "1";
    if (kValidatedColumns.count(sColumn)) return Validated(sText);
    return sText;
}

StoredRow InsertTile(const Properties& properties)
{
    StoredRow row;
    for (const auto& entry : properties) {
        if (entry.second.second.empty()) continue;
        row[entry.first] = Store(entry.first, TileInsertText(entry.first, entry.second.second));
    }
    return row;
}

void UpdateTile(StoredRow& row, const Properties& properties)
{
    for (const std::string& sColumn : kTileUpdateColumns) {
        const std::string& sText = properties.at(sColumn).second;
        if (sText.empty() || sText == "null") continue;
        row[sColumn] = Store(sColumn, TileInsertText(sColumn, sText));
    }
}

StoredRow InsertSection(const Properties& properties)
{
    StoredRow row;
    for (const auto& entry : properties) {
        if (entry.second.second.empty()) continue;
        row[entry.first] = Store(entry.first, entry.second.second);
    }
    return row;
}

void UpdateSection(StoredRow& row, const Properties& properties)
{
    for (const std::string& sColumn : kSectionUpdateColumns) {
        const std::string& sText = properties.at(sColumn).second;
        if (sText.empty() || sText == "null") continue;
        row[sColumn] = Store(sColumn, sColumn == "section_id" ? Validated(sText) : sText);
    }
}

// SQLite's order of mixed values: NULL, then numbers by value, then text by bytes.
bool StoredLess(const PT_STORED_VALUE& a, const PT_STORED_VALUE& b)
{
    auto rank = [](const PT_STORED_VALUE& v) {
        return v.eKind == PT_STORED_VALUE::kNull ? 0 : v.eKind == PT_STORED_VALUE::kText ? 2 : 1;
    };
    if (rank(a) != rank(b)) return rank(a) < rank(b);
    if (rank(a) == 1) {
        const long double la = a.eKind == PT_STORED_VALUE::kInteger ? a.llValue : a.dValue;
        const long double lb = b.eKind == PT_STORED_VALUE::kInteger ? b.llValue : b.dValue;
        return la < lb;
    }
    return a.sText < b.sText;
}

PT_STORED_VALUE Cell(const StoredRow& row, const std::string& sColumn)
{
    auto it = row.find(sColumn);
    return it == row.end() ? PT_STORED_VALUE() : it->second;
}

template <typename T>
std::vector<const T*> InOrder(const std::vector<T>& vec, const std::string& sPositionColumn)
{
    std::vector<const T*> vecOut;
    for (const T& item : vec) vecOut.push_back(&item);
    std::stable_sort(vecOut.begin(), vecOut.end(), [&](const T* a, const T* b) {
        return StoredLess(Cell(a->row, sPositionColumn), Cell(b->row, sPositionColumn));
    });
    return vecOut;
}

// The members the read-back writes for a stored row (row ids and parent ids excluded).
bool RowJson(const StoredRow& row, bool bTile, Json::Value& object)
{
    object = Json::Value(Json::objectValue);
    bool bWritable = true;
    for (const auto& entry : row) {
        Json::Value value;
        const std::string sName = entry.first == kPrePlay ? "public_extra" : entry.first;
        if (expected_store::ExportCell(entry.second, value, bWritable)) object[sName] = value;
    }
    if (bTile && !object.isMember("public_extra")) object["public_extra"] = kDefaultPublicExtra;
    return bWritable;
}

std::string Short(const Json::Value& value)
{
    if (value.isNull()) return "(absent)";
    std::string s = Json::FastWriter().write(value);
    if (!s.empty() && s.back() == '\n') s.pop_back();
    if (s.size() > 160) s = s.substr(0, 160) + "...";
    return s;
}

void CompareMembers(const std::string& sPath, const Json::Value& expected, const Json::Value& got,
                    const std::set<std::string>& setSkip, std::vector<std::string>& vecDiff)
{
    std::set<std::string> setNames;
    for (const std::string& s : expected.getMemberNames()) setNames.insert(s);
    if (got.isObject()) {
        for (const std::string& s : got.getMemberNames()) setNames.insert(s);
    }
    for (const std::string& sName : setNames) {
        if (setSkip.count(sName)) continue;
        const Json::Value e = expected.isMember(sName) ? expected[sName] : Json::Value();
        const Json::Value g = got.isObject() && got.isMember(sName) ? got[sName] : Json::Value();
        if (!(e == g) || e.type() != g.type()) {
            vecDiff.push_back(sPath + "." + sName + ": expected " + Short(e) + ", got " + Short(g));
        }
    }
}

// Checks a row id of the read-back: a kept row must have its old id, a new row any positive id.
void CheckId(const std::string& sPath, const Json::Value& got, long long& llId, std::set<long long>& setSeen,
             std::vector<std::string>& vecDiff)
{
    if (!got.isInt64() || got.asInt64() <= 0) {
        vecDiff.push_back(sPath + "._id: expected a row id, got " + Short(got));
        return;
    }
    const long long llGot = got.asInt64();
    if (llId != 0 && llId != llGot) {
        vecDiff.push_back(sPath + "._id: expected the kept row " + std::to_string(llId) + ", got " +
                          std::to_string(llGot));
    }
    if (!setSeen.insert(llGot).second) vecDiff.push_back(sPath + "._id: " + std::to_string(llGot) + " twice");
    if (llId == 0) llId = llGot;
}
}  // namespace

bool PT_STORED_VALUE::operator==(const PT_STORED_VALUE& other) const
{
    if (eKind != other.eKind) return false;
    switch (eKind) {
        case kInteger:
            return llValue == other.llValue;
        case kReal:
            return dValue == other.dValue;
        case kText:
            return sText == other.sText;
        default:
            return true;
    }
}

namespace expected_store {
uint64_t DocumentTileKey(const std::string& sModule, const Json::Value& tile)
{
    std::string sAction = KeyText(tile, "action_data");
    if (sModule == "com.quenor.tv.Skyvane") sAction = KeyText(tile, "tile_action_play");
    if (IsPeriodKeyedModule(sModule)) {
        sAction += KeyText(tile, "tile_display_from") + KeyText(tile, "tile_display_until");
    }
    CPreviewDataUtil util;
    return util.CalcTileHash(KeyText(tile, "tile_title"), KeyText(tile, "tile_subtitle"),
                             KeyText(tile, "tile_image_url"), sAction);
}

uint64_t DocumentSectionKey(const Json::Value& section)
{
    return CPreviewDataUtil::CalcSectionHash(KeyText(section, "section_title"), KeyText(section, "section_id"));
}

int TileLimit(const std::string& sModule)
{
    return sModule == "org.orvik.plinth-app" ? 300 : 200;
}

bool ExportCell(const PT_STORED_VALUE& value, Json::Value& out, bool& bWritable)
{
    switch (value.eKind) {
        case PT_STORED_VALUE::kInteger:
            if (value.llValue < INT_MIN || value.llValue > INT_MAX) {
                bWritable = false;
                return false;
            }
            out = Json::Value(static_cast<int>(value.llValue));
            return true;
        case PT_STORED_VALUE::kReal:
            // The loader keeps six significant digits; the read-back converts that text.
            out = Json::Value(std::strtod(DoubleText(value.dValue).c_str(), nullptr));
            return true;
        case PT_STORED_VALUE::kText:
            if (value.sText.empty()) return false;
            out = Json::Value(value.sText);
            return true;
        default:
            return false;
    }
}
}  // namespace expected_store

CExpectedStore::CExpectedStore(std::string sModule, long long llAcceleratorId, Json::Value acceleratorMembers)
    : m_sModule(std::move(sModule)),
      m_llAcceleratorId(llAcceleratorId),
      m_acceleratorMembers(std::move(acceleratorMembers))
{
}

bool CExpectedStore::Publish(const std::string& sDocument, std::string& sWhy)
{
    if (sDocument == "{}") {
        m_vecSections.clear();
        return true;
    }
    Json::Value root;
    if (!Json::Reader().parse(sDocument, root, true)) {
        sWhy = "refused: not JSON";
        return false;
    }
    if (!root.isObject()) {
        sWhy = "not covered: root is not an object";
        return false;
    }
    std::vector<PT_DOC_SECTION> vecDoc;
    int iTiles = 0;
    try {
        if (!root["sections"].isNull() && !root["sections"].isArray()) {
            sWhy = "not covered: sections is not an array";
            return false;
        }
        for (const Json::Value& section : root["sections"]) {
            if (!section.isObject()) continue;
            if (section.isMember("_id") || section.isMember("section_accelerator_raw_id")) {
                sWhy = "not covered: a section names its own row ids";
                return false;
            }
            vecDoc.push_back(ReadSection(section));
            if (!section["tiles"].isNull() && !section["tiles"].isArray()) {
                sWhy = "not covered: tiles is not an array";
                return false;
            }
            for (const Json::Value& tile : section["tiles"]) {
                if (!tile.isObject()) continue;
                if (tile.isMember("_id") || tile.isMember("tile_section_raw_id")) {
                    sWhy = "not covered: a tile names its own row ids";
                    return false;
                }
                vecDoc.back().vecTiles.push_back(ReadTile(m_sModule, tile));
                ++iTiles;
            }
        }
    } catch (const std::exception& e) {
        sWhy = std::string("refused: ") + e.what();
        return false;
    }
    if (iTiles > expected_store::TileLimit(m_sModule)) {
        sWhy = "refused: over the tile limit";
        return false;
    }

    // Content keys must be unique on both sides: with repeated keys the pairing of rows is a
    // matter of list order, which this model does not follow.
    std::map<uint64_t, const PT_DOC_SECTION*> mapDocSections;
    for (const PT_DOC_SECTION& section : vecDoc) {
        if (!mapDocSections.emplace(section.key, &section).second) {
            sWhy = "not covered: two sections of the document share a content key";
            return false;
        }
        std::set<uint64_t> setTiles;
        for (const PT_DOC_TILE& tile : section.vecTiles) {
            if (!setTiles.insert(tile.key).second) {
                sWhy = "not covered: two tiles of a section share a content key";
                return false;
            }
        }
    }
    std::set<uint64_t> setStoredSections;
    for (const PT_EXPECTED_SECTION& section : m_vecSections) {
        if (!setStoredSections.insert(StoredSectionKey(section.row)).second) {
            sWhy = "not covered: two stored sections share a content key";
            return false;
        }
        std::set<uint64_t> setTiles;
        for (const PT_EXPECTED_TILE& tile : section.vecTiles) {
            if (!setTiles.insert(StoredTileKey(m_sModule, tile.row)).second) {
                sWhy = "not covered: two stored tiles of a section share a content key";
                return false;
            }
        }
    }

    std::vector<PT_EXPECTED_SECTION> vecNext;
    std::set<uint64_t> setKept;
    for (PT_EXPECTED_SECTION& stored : m_vecSections) {
        const uint64_t key = StoredSectionKey(stored.row);
        auto found = mapDocSections.find(key);
        if (found == mapDocSections.end()) continue;  // deleted, tiles with it
        setKept.insert(key);
        const PT_DOC_SECTION& doc = *found->second;
        std::map<uint64_t, const PT_DOC_TILE*> mapDocTiles;
        for (const PT_DOC_TILE& tile : doc.vecTiles) mapDocTiles[tile.key] = &tile;
        std::vector<PT_EXPECTED_TILE> vecTiles;
        std::set<uint64_t> setKeptTiles;
        for (PT_EXPECTED_TILE& tile : stored.vecTiles) {
            const uint64_t tileKey = StoredTileKey(m_sModule, tile.row);
            auto foundTile = mapDocTiles.find(tileKey);
            if (foundTile == mapDocTiles.end()) continue;
            setKeptTiles.insert(tileKey);
            UpdateTile(tile.row, foundTile->second->properties);
            vecTiles.push_back(tile);
        }
        for (const PT_DOC_TILE& tile : doc.vecTiles) {
            if (setKeptTiles.count(tile.key)) continue;
            PT_EXPECTED_TILE created;
            created.row = InsertTile(tile.properties);
            vecTiles.push_back(created);
        }
        UpdateSection(stored.row, doc.properties);
        stored.vecTiles = std::move(vecTiles);
        vecNext.push_back(stored);
    }
    for (const PT_DOC_SECTION& doc : vecDoc) {
        if (setKept.count(doc.key)) continue;
        PT_EXPECTED_SECTION created;
        created.row = InsertSection(doc.properties);
        for (const PT_DOC_TILE& tile : doc.vecTiles) {
            PT_EXPECTED_TILE createdTile;
            createdTile.row = InsertTile(tile.properties);
            created.vecTiles.push_back(createdTile);
        }
        vecNext.push_back(created);
    }
    // Row ids and parent ids are checked against the read-back, not carried as columns.
    for (PT_EXPECTED_SECTION& section : vecNext) {
        section.row.erase("_id");
        section.row.erase("section_accelerator_raw_id");
        for (PT_EXPECTED_TILE& tile : section.vecTiles) {
            tile.row.erase("_id");
            tile.row.erase("tile_section_raw_id");
        }
    }
    m_vecSections = std::move(vecNext);
    return true;
}

Json::Value CExpectedStore::ExpectedJson() const
{
    Json::Value root = m_acceleratorMembers;
    for (const PT_EXPECTED_SECTION* pSection : InOrder(m_vecSections, "section_position")) {
        Json::Value section;
        RowJson(pSection->row, false, section);
        for (const PT_EXPECTED_TILE* pTile : InOrder(pSection->vecTiles, "tile_position")) {
            Json::Value tile;
            RowJson(pTile->row, true, tile);
            section["tiles"].append(tile);
        }
        root["sections"].append(section);
    }
    return root;
}

bool CExpectedStore::Matches(const Json::Value& readBack, std::vector<std::string>& vecDiff)
{
    const size_t uBefore = vecDiff.size();
    if (!readBack.isObject()) {
        vecDiff.push_back("read-back: expected an object, got " + Short(readBack));
        return false;
    }
    CompareMembers("", m_acceleratorMembers, readBack, {"sections"}, vecDiff);
    const Json::Value& gotSections = readBack["sections"];
    if (readBack.isMember("sections") && (!gotSections.isArray() || gotSections.empty())) {
        vecDiff.push_back(".sections: expected a non-empty array or nothing, got " + Short(gotSections));
        return false;
    }
    std::vector<const PT_EXPECTED_SECTION*> vecSections = InOrder(m_vecSections, "section_position");
    if (gotSections.size() != vecSections.size()) {
        vecDiff.push_back(".sections: expected " + std::to_string(vecSections.size()) + " sections, got " +
                          std::to_string(gotSections.size()));
        return false;
    }
    std::set<long long> setSectionIds, setTileIds;
    for (size_t s = 0; s < vecSections.size(); ++s) {
        PT_EXPECTED_SECTION& section = const_cast<PT_EXPECTED_SECTION&>(*vecSections[s]);
        const Json::Value& got = gotSections[static_cast<Json::ArrayIndex>(s)];
        const std::string sPath = ".sections[" + std::to_string(s) + "]";
        Json::Value expected;
        if (!RowJson(section.row, false, expected)) {
            vecDiff.push_back(sPath + ": holds a number the read-back cannot write");
            continue;
        }
        CompareMembers(sPath, expected, got, {"_id", "section_accelerator_raw_id", "tiles"}, vecDiff);
        CheckId(sPath, got["_id"], section.llId, setSectionIds, vecDiff);
        if (got["section_accelerator_raw_id"] != Json::Value(static_cast<int>(m_llAcceleratorId))) {
            vecDiff.push_back(sPath + ".section_accelerator_raw_id: expected " + std::to_string(m_llAcceleratorId) +
                              ", got " + Short(got["section_accelerator_raw_id"]));
        }
        std::vector<const PT_EXPECTED_TILE*> vecTiles = InOrder(section.vecTiles, "tile_position");
        const Json::Value& gotTiles = got["tiles"];
        if (got.isMember("tiles") && (!gotTiles.isArray() || gotTiles.empty())) {
            vecDiff.push_back(sPath + ".tiles: expected a non-empty array or nothing, got " + Short(gotTiles));
            continue;
        }
        if (gotTiles.size() != vecTiles.size()) {
            vecDiff.push_back(sPath + ".tiles: expected " + std::to_string(vecTiles.size()) + " tiles, got " +
                              std::to_string(gotTiles.size()));
            continue;
        }
        for (size_t t = 0; t < vecTiles.size(); ++t) {
            PT_EXPECTED_TILE& tile = const_cast<PT_EXPECTED_TILE&>(*vecTiles[t]);
            const Json::Value& gotTile = gotTiles[static_cast<Json::ArrayIndex>(t)];
            const std::string sTilePath = sPath + ".tiles[" + std::to_string(t) + "]";
            Json::Value expectedTile;
            if (!RowJson(tile.row, true, expectedTile)) {
                vecDiff.push_back(sTilePath + ": holds a number the read-back cannot write");
                continue;
            }
            CompareMembers(sTilePath, expectedTile, gotTile, {"_id", "tile_section_raw_id"}, vecDiff);
            CheckId(sTilePath, gotTile["_id"], tile.llId, setTileIds, vecDiff);
            if (!gotTile["tile_section_raw_id"].isInt64() || gotTile["tile_section_raw_id"].asInt64() != section.llId) {
                vecDiff.push_back(sTilePath + ".tile_section_raw_id: expected " + std::to_string(section.llId) +
                                  ", got " + Short(gotTile["tile_section_raw_id"]));
            }
        }
    }
    return vecDiff.size() == uBefore;
}
