#include "DocumentChecks.h"

#include <pelmo/TilesModel.h>

#include <algorithm>
#include <cctype>
#include <ctime>

#include "NameSuggestion.h"
#include "PreviewDataUtil.h"

namespace {
// Document names the reader stores under columns of other names.
const char* const kMappedTileNames[] = {"action_data", "public_extra", "source_icon"};
constexpr const char* kTiles = "tiles";
constexpr const char* kSections = "sections";
constexpr const char* kExpires = "expires";

std::string Quoted(const std::string& sText)
{
    return JsonQuoted(sText);
}

std::string UtcTime(long long llSeconds)
{
    const time_t t = static_cast<time_t>(llSeconds);
    struct tm parts;
    if (gmtime_r(&t, &parts) == nullptr) return std::to_string(llSeconds);
    char sText[32];
    if (std::strftime(sText, sizeof sText, "%Y-%m-%d %H:%M:%S UTC", &parts) == 0) return std::to_string(llSeconds);
    return sText;
}
}  // namespace

std::string JsonKindName(const Json::Value& value)
{
    switch (value.type()) {
        case Json::nullValue:
            return "null";
        case Json::intValue:
        case Json::uintValue:
        case Json::realValue:
            return "number";
        case Json::stringValue:
            return "string";
        case Json::booleanValue:
            return "boolean";
        case Json::arrayValue:
            return value.empty() ? "empty array" : "array";
        case Json::objectValue:
            return value.empty() ? "empty object" : "object";
    }
    return "value";
}

std::string JsonKindWithArticle(const Json::Value& value)
{
    const std::string sKind = JsonKindName(value);
    const bool bVowel = sKind[0] == 'a' || sKind[0] == 'e' || sKind[0] == 'o';
    return (bVowel ? "an " : "a ") + sKind;
}

Json::Value CopyWithoutMembers(const Json::Value& value, const std::set<const Json::Value*>& setDrop)
{
    if (value.isObject()) {
        Json::Value copy(Json::objectValue);
        for (auto it = value.begin(); it != value.end(); ++it) {
            if (setDrop.count(&*it) == 0) copy[it.name()] = CopyWithoutMembers(*it, setDrop);
        }
        return copy;
    }
    if (value.isArray()) {
        Json::Value copy(Json::arrayValue);
        for (const Json::Value& element : value) copy.append(CopyWithoutMembers(element, setDrop));
        return copy;
    }
    return value;
}

CDocumentChecker::CDocumentChecker(const CDocumentPositions& positions, CLibraryReader& reader,
                                   const PT_VALIDATE_OPTIONS& options, std::vector<PT_VALIDATE_FINDING>& vecFinding)
    : m_positions(positions), m_reader(reader), m_options(options), m_vecFinding(vecFinding)
{
    // The columns the model knows are the names a document may use; take them from the model.
    for (const auto& entry : CPreviewTile().m_mapProperty) m_vecTileMember.push_back(entry.first);
    for (const char* sName : kMappedTileNames) m_vecTileMember.push_back(sName);
    for (const auto& entry : CPreviewSection().m_mapProperty) m_vecSectionMember.push_back(entry.first);
    m_vecSectionMember.push_back(kTiles);
}

void CDocumentChecker::Add(bool bError, const std::string& sPath, const Json::Value& value, const char* sKind,
                           const std::string& sMessage)
{
    PT_VALIDATE_FINDING finding;
    finding.bError = bError;
    finding.sPath = sPath;
    finding.iLine = m_positions.LineOf(value);
    finding.sKind = sKind;
    finding.sMessage = sMessage;
    m_vecFinding.push_back(finding);
}

bool CDocumentChecker::CheckKind(const std::string& sPath, EPlace place, const std::string& sName,
                                 const Json::Value& value)
{
    if (value.isNull()) return false;
    // What the reader does with a value depends on where it is and on its kind, not on its
    // content, so one small document per place and kind answers for all such values.
    const std::string sCacheKey = std::to_string(static_cast<int>(place)) + "/" + sName + "/" +
                                  std::to_string(static_cast<int>(value.type())) + (value.empty() ? "/empty" : "");
    auto it = m_mapKindRefused.find(sCacheKey);
    if (it == m_mapKindRefused.end()) {
        Json::Value probe;
        switch (place) {
            case EPlace::kRoot:
                probe = value;
                break;
            case EPlace::kExpires:
                probe[kExpires] = value;
                break;
            case EPlace::kSectionMember:
                probe[kSections][0][sName] = value;
                break;
            case EPlace::kTileMember:
                probe[kSections][0][kTiles][0][sName] = value;
                break;
        }
        Json::FastWriter writer;
        it = m_mapKindRefused.emplace(sCacheKey, m_reader.Refuses(writer.write(probe))).first;
    }
    if (!it->second) return false;
    m_setRefused.insert(&value);
    if (place == EPlace::kRoot) {
        Add(true, sPath, value, ValidateKind::ROOT,
            "the document is " + JsonKindWithArticle(value) + ", not an object; the whole publish fails");
    } else {
        Add(true, sPath, value, ValidateKind::VALUE_KIND,
            JsonKindWithArticle(value) + " cannot be read as text here; the whole publish fails");
    }
    return true;
}

std::vector<CDocumentChecker::PT_LIST_ELEMENT> CDocumentChecker::ListElements(const std::string& sPath,
                                                                              const Json::Value& list,
                                                                              const char* sWhat)
{
    std::vector<PT_LIST_ELEMENT> vecElement;
    if (list.isNull()) return vecElement;
    if (list.isArray()) {
        for (Json::ArrayIndex i = 0; i < list.size(); ++i) vecElement.push_back({JsonPathIndex(sPath, i), &list[i]});
    } else if (list.isObject()) {
        Add(false, sPath, list, ValidateKind::NOT_A_LIST,
            std::string("an object instead of an array: its member values are read as ") + sWhat +
                " in the order of their names, not in the order written");
        for (auto it = list.begin(); it != list.end(); ++it) {
            vecElement.push_back({JsonPathMember(sPath, it.name()), &*it});
        }
    } else {
        Add(false, sPath, list, ValidateKind::NOT_A_LIST,
            JsonKindWithArticle(list) + " instead of an array: no " + sWhat + " are read from it");
        return vecElement;
    }
    std::vector<PT_LIST_ELEMENT> vecObject;
    for (const PT_LIST_ELEMENT& element : vecElement) {
        if (element.pValue->isObject()) {
            vecObject.push_back(element);
        } else {
            Add(false, element.sPath, *element.pValue, ValidateKind::SKIPPED,
                JsonKindWithArticle(*element.pValue) + " among the " + sWhat + ": skipped, only objects count");
        }
    }
    return vecObject;
}

void CDocumentChecker::Check(const Json::Value& root)
{
    const std::string sRoot = JsonPathRoot();
    if (root.isNull()) {
        Add(false, sRoot, root, ValidateKind::ROOT, "the document is null: it publishes a preview without sections");
        return;
    }
    if (!root.isObject()) {
        if (!CheckKind(sRoot, EPlace::kRoot, "", root)) {
            Add(false, sRoot, root, ValidateKind::ROOT, "the document is not an object: nothing is read from it");
        }
        return;
    }
    for (auto it = root.begin(); it != root.end(); ++it) {
        const std::string sName = it.name();
        const std::string sPath = JsonPathMember(sRoot, sName);
        if (sName == kExpires) {
            CheckKind(sPath, EPlace::kExpires, sName, *it);
        } else if (sName != kSections) {
            const std::string sSuggestion = SuggestName(sName, {kExpires, kSections});
            Add(false, sPath, *it, ValidateKind::UNKNOWN_MEMBER,
                Quoted(sName) + " is not read: the document only has \"expires\" and \"sections\"" +
                    (sSuggestion.empty() ? std::string() : "; did you mean " + Quoted(sSuggestion) + "?"));
        }
    }

    const std::string sSectionsPath = JsonPathMember(sRoot, kSections);
    for (const PT_LIST_ELEMENT& element : ListElements(sSectionsPath, root[kSections], "sections")) {
        CheckSection(element.sPath, *element.pValue);
    }

    const int iLimit = CPreviewDataUtil::GetTileLimit(m_options.sModuleName);
    if (m_iTileCount > iLimit) {
        PT_VALIDATE_FINDING finding;
        finding.bError = true;
        finding.sPath = m_sFirstTileOverLimit;
        finding.iLine = m_iFirstTileOverLimitLine;
        finding.sKind = ValidateKind::TILE_LIMIT;
        const std::string sModule = m_options.sModuleName.empty() ? std::string("an ordinary module")
                                                                  : "module " + Quoted(m_options.sModuleName);
        finding.sMessage = "tile " + std::to_string(iLimit + 1) + " of " + std::to_string(m_iTileCount) + ": " +
                           sModule + " may publish at most " + std::to_string(iLimit) +
                           " tiles; the whole publish fails";
        m_vecFinding.push_back(finding);
    }
}

void CDocumentChecker::CheckSection(const std::string& sPath, const Json::Value& section)
{
    PT_SECTION_PLACE sectionPlace;
    sectionPlace.place = PT_ITEM_PLACE{sPath, m_positions.LineOf(section)};
    m_vecSection.push_back(sectionPlace);

    for (auto it = section.begin(); it != section.end(); ++it) {
        const std::string sName = it.name();
        if (sName == kTiles) continue;
        const std::string sMemberPath = JsonPathMember(sPath, sName);
        const bool bKnown =
            std::find(m_vecSectionMember.begin(), m_vecSectionMember.end(), sName) != m_vecSectionMember.end();
        if (it->isObject()) {
            Add(false, sMemberPath, *it, ValidateKind::SKIPPED,
                "an object as a section member is dropped" +
                    std::string(bKnown ? "; this column keeps its default" : ""));
            continue;
        }
        if (CheckKind(sMemberPath, EPlace::kSectionMember, sName, *it)) continue;
        if (!bKnown) {
            const std::string sSuggestion = SuggestName(sName, m_vecSectionMember, "section_");
            Add(false, sMemberPath, *it, ValidateKind::UNKNOWN_MEMBER,
                "not a section column: dropped" +
                    (sSuggestion.empty() ? std::string() : "; did you mean " + Quoted(sSuggestion) + "?"));
        }
    }

    for (const PT_LIST_ELEMENT& element : ListElements(JsonPathMember(sPath, kTiles), section[kTiles], "tiles")) {
        ++m_iTileCount;
        if (m_iTileCount == CPreviewDataUtil::GetTileLimit(m_options.sModuleName) + 1) {
            m_sFirstTileOverLimit = element.sPath;
            m_iFirstTileOverLimitLine = m_positions.LineOf(*element.pValue);
        }
        m_vecSection.back().vecTile.push_back(PT_ITEM_PLACE{element.sPath, m_positions.LineOf(*element.pValue)});
        CheckTile(element.sPath, *element.pValue);
    }
}

void CDocumentChecker::CheckTile(const std::string& sPath, const Json::Value& tile)
{
    for (auto it = tile.begin(); it != tile.end(); ++it) {
        const std::string sName = it.name();
        const std::string sMemberPath = JsonPathMember(sPath, sName);
        const bool bKnown = std::find(m_vecTileMember.begin(), m_vecTileMember.end(), sName) != m_vecTileMember.end();
        if (it->isObject()) {
            Add(false, sMemberPath, *it, ValidateKind::SKIPPED,
                "an object as a tile member is dropped, also from public_extra");
            continue;
        }
        if (CheckKind(sMemberPath, EPlace::kTileMember, sName, *it)) continue;
        if (!bKnown) {
            const std::string sSuggestion = SuggestName(sName, m_vecTileMember, "tile_");
            Add(false, sMemberPath, *it, ValidateKind::UNKNOWN_MEMBER,
                "not a tile column: kept only in public_extra" +
                    (sSuggestion.empty() ? std::string() : "; did you mean " + Quoted(sSuggestion) + "?"));
        }
    }
    CheckDisplayWindow(sPath, tile);
}

void CDocumentChecker::CheckDisplayWindow(const std::string& sPath, const Json::Value& tile)
{
    // The store keeps display times as whole seconds, converted the way every integer column is.
    struct PT_TIME {
        const char* sName;
        bool bSet = false;
        long long llSeconds = 0;
    };
    PT_TIME from{TilesModel::Tiles::TILE_DISPLAY_FROM};
    PT_TIME until{TilesModel::Tiles::TILE_DISPLAY_UNTIL};
    CPreviewDataUtil util;
    for (PT_TIME* pTime : {&from, &until}) {
        const Json::Value& value = tile[pTime->sName];
        if (value.isNull() || value.isObject() || value.isArray()) continue;
        std::string sText = value.asString();
        size_t iBegin = 0, iEnd = sText.size();
        while (iBegin < iEnd && std::isspace(static_cast<unsigned char>(sText[iBegin]))) ++iBegin;
        while (iEnd > iBegin && std::isspace(static_cast<unsigned char>(sText[iEnd - 1]))) --iEnd;
        sText = sText.substr(iBegin, iEnd - iBegin);
        if (sText.empty()) continue;
        const std::string sStored = util.IntegerValidator(sText);
        pTime->bSet = true;
        pTime->llSeconds = std::stoll(sStored);
        if (sStored != sText && sStored != (sText[0] == '+' ? sText.substr(1) : sText)) {
            Add(false, JsonPathMember(sPath, pTime->sName), value, ValidateKind::NOT_A_TIME,
                "not a whole number of seconds: stored as " + sStored);
        }
    }
    if (from.bSet && until.bSet && from.llSeconds > until.llSeconds) {
        Add(false, JsonPathMember(sPath, from.sName), tile[from.sName], ValidateKind::WINDOW_REVERSED,
            "display window is reversed: from " + UtcTime(from.llSeconds) + " is after until " +
                UtcTime(until.llSeconds));
    }
    if (until.bSet && until.llSeconds < m_options.llNow) {
        Add(false, JsonPathMember(sPath, until.sName), tile[until.sName], ValidateKind::WINDOW_OVER,
            "display window is already over: it ended " + UtcTime(until.llSeconds) + ", now is " +
                UtcTime(m_options.llNow));
    }
}
