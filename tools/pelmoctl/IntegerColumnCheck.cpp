#include "IntegerColumnCheck.h"

#include <pelmo/TilesModel.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <map>

#include "PreviewDataUtil.h"

namespace {
constexpr const char* kSections = "sections";
constexpr const char* kTiles = "tiles";

// How a column's text becomes its stored value: the library writes the integer its text
// starts with, or it writes the text and the store's integer column converts a number text.
enum class EWrite { kLeadingInteger, kNumberText };

struct PT_INTEGER_COLUMN {
    const char* sName;
    EWrite write;
    bool bDisplayPeriod;
};

const PT_INTEGER_COLUMN kSectionColumns[] = {
    {TilesModel::Sections::SECTION_ID, EWrite::kNumberText, false},
    {TilesModel::Sections::SECTION_POSITION, EWrite::kNumberText, false},
};

const PT_INTEGER_COLUMN kTileColumns[] = {
    {TilesModel::Tiles::TILE_ID, EWrite::kLeadingInteger, false},
    {TilesModel::Tiles::TILE_DISPLAY_FROM, EWrite::kLeadingInteger, true},
    {TilesModel::Tiles::TILE_DISPLAY_UNTIL, EWrite::kLeadingInteger, true},
    {TilesModel::Tiles::TILE_IMAGE_WIDTH, EWrite::kLeadingInteger, false},
    {TilesModel::Tiles::TILE_IMAGE_HEIGHT, EWrite::kLeadingInteger, false},
    {TilesModel::Tiles::TILE_POSITION, EWrite::kNumberText, false},
};

// What the store holds for a value: an integer, a real, or text that is no number.
struct PT_STORED {
    enum { kText, kInteger, kReal } eKind = kText;
    long long llValue = 0;
    double dValue = 0.0;
};

bool WholeInteger(const std::string& sText, long long& llValue)
{
    if (sText.empty()) return false;
    errno = 0;
    char* pEnd = nullptr;
    llValue = std::strtoll(sText.c_str(), &pEnd, 10);
    return errno == 0 && pEnd != nullptr && *pEnd == '\0' && pEnd != sText.c_str();
}

// A number text as an integer column keeps it: integers as integers, reals without a
// fraction (as "5e+09") as integers, other reals as reals.
PT_STORED StoredNumberText(const std::string& sText)
{
    PT_STORED stored;
    if (WholeInteger(sText, stored.llValue)) {
        stored.eKind = PT_STORED::kInteger;
        return stored;
    }
    if (sText.empty() || sText.find_first_not_of("0123456789+-.eE") != std::string::npos) return stored;
    errno = 0;
    char* pEnd = nullptr;
    const double dValue = std::strtod(sText.c_str(), &pEnd);
    if (errno != 0 || pEnd == nullptr || *pEnd != '\0' || !std::isfinite(dValue)) return stored;
    if (dValue == std::floor(dValue) && std::fabs(dValue) < 9.2e18) {
        stored.eKind = PT_STORED::kInteger;
        stored.llValue = static_cast<long long>(dValue);
    } else {
        stored.eKind = PT_STORED::kReal;
        stored.dValue = dValue;
    }
    return stored;
}

std::string StoredText(const PT_STORED& stored)
{
    if (stored.eKind == PT_STORED::kInteger) return std::to_string(stored.llValue);
    Json::Value real(stored.dValue);
    return real.asString();
}

class CIntegerColumnChecker {
public:
    CIntegerColumnChecker(const std::string& sText, const CDocumentPositions& positions, CLibraryReader& reader,
                          std::vector<PT_VALIDATE_FINDING>& vecFinding)
        : m_sText(sText), m_positions(positions), m_reader(reader), m_vecFinding(vecFinding)
    {
    }

    void CheckMembers(const std::string& sPath, const Json::Value& item, bool bTile)
    {
        const PT_INTEGER_COLUMN* pBegin = bTile ? std::begin(kTileColumns) : std::begin(kSectionColumns);
        const PT_INTEGER_COLUMN* pEnd = bTile ? std::end(kTileColumns) : std::end(kSectionColumns);
        for (const PT_INTEGER_COLUMN* pColumn = pBegin; pColumn != pEnd; ++pColumn) {
            if (!item.isMember(pColumn->sName)) continue;
            const Json::Value& value = item[pColumn->sName];
            if (!value.isNumeric() && !value.isString()) continue;
            CheckValue(JsonPathMember(sPath, pColumn->sName), value, *pColumn, bTile);
        }
    }

private:
    // The text the library's reader makes of the value at this place; false when it refuses it.
    bool ReaderText(const Json::Value& value, const char* sName, bool bTile, std::string& sText)
    {
        const std::string sCacheKey =
            std::string(bTile ? "tile/" : "section/") + sName + "/" + Json::FastWriter().write(value);
        const auto itCached = m_mapReaderText.find(sCacheKey);
        if (itCached != m_mapReaderText.end()) {
            sText = itCached->second;
            return !sText.empty();
        }
        sText.clear();
        ReadProbe(value, sName, bTile, sText);
        m_mapReaderText.emplace(sCacheKey, sText);
        return !sText.empty();
    }

    void ReadProbe(const Json::Value& value, const char* sName, bool bTile, std::string& sText)
    {
        Json::Value probe;
        if (bTile) {
            probe[kSections][0][kTiles][0][sName] = value;
        } else {
            probe[kSections][0][sName] = value;
        }
        CPreviewAccelerator accelerator;
        std::string sReason;
        if (!m_reader.Read(Json::FastWriter().write(probe), accelerator, sReason)) return;
        if (accelerator.m_vecSection.empty() || !accelerator.m_vecSection[0]) return;
        const CPreviewSection& section = *accelerator.m_vecSection[0];
        const PropertyMap* pMap = &section.m_mapProperty;
        if (bTile) {
            if (section.m_vecTile.empty() || !section.m_vecTile[0]) return;
            pMap = &section.m_vecTile[0]->m_mapProperty;
        }
        const auto it = pMap->find(sName);
        if (it != pMap->end()) sText = it->second.second;
    }

    // The content key the reader gives a tile holding only this member, or 0 when refused.
    uint64_t TileKey(const char* sName, const Json::Value& value)
    {
        Json::Value probe;
        probe[kSections][0][kTiles][0][sName] = value;
        CPreviewAccelerator accelerator;
        std::string sReason;
        if (!m_reader.Read(Json::FastWriter().write(probe), accelerator, sReason)) return 0;
        if (accelerator.m_vecSection.empty() || accelerator.m_vecSection[0]->m_vecTileHash.empty()) return 0;
        return accelerator.m_vecSection[0]->m_vecTileHash[0];
    }

    // Whether the module's tile key includes the display period, asked of the reader once.
    bool DisplayPeriodKeysTiles()
    {
        if (m_iDisplayPeriodKeys < 0) {
            const char* sFrom = TilesModel::Tiles::TILE_DISPLAY_FROM;
            m_iDisplayPeriodKeys = TileKey(sFrom, Json::Value("1")) != TileKey(sFrom, Json::Value("2")) ? 1 : 0;
        }
        return m_iDisplayPeriodKeys == 1;
    }

    // A number as the document writes it; a text quoted, so that a finding stays on one line.
    std::string Written(const Json::Value& value) const
    {
        if (value.isString()) return JsonQuoted(value.asString());
        const ptrdiff_t iStart = value.getOffsetStart(), iLimit = value.getOffsetLimit();
        if (iStart >= 0 && iLimit > iStart && static_cast<size_t>(iLimit) <= m_sText.size()) {
            return m_sText.substr(static_cast<size_t>(iStart), static_cast<size_t>(iLimit - iStart));
        }
        return value.asString();
    }

    bool StoredAsWritten(const Json::Value& value, const PT_STORED& stored) const
    {
        if (value.isInt64()) return stored.eKind == PT_STORED::kInteger && stored.llValue == value.asInt64();
        if (value.isUInt64()) return false;  // beyond what an integer column holds
        return stored.eKind == PT_STORED::kReal && stored.dValue == value.asDouble();
    }

    void Add(const std::string& sPath, const Json::Value& value, const char* sKind, const std::string& sMessage)
    {
        PT_VALIDATE_FINDING finding;
        finding.sPath = sPath;
        finding.iLine = m_positions.LineOf(value);
        finding.sKind = sKind;
        finding.sMessage = sMessage;
        m_vecFinding.push_back(finding);
    }

    void CheckValue(const std::string& sPath, const Json::Value& value, const PT_INTEGER_COLUMN& column, bool bTile)
    {
        std::string sReaderText;
        if (!ReaderText(value, column.sName, bTile, sReaderText) || sReaderText.empty()) return;
        PT_STORED stored;
        if (column.write == EWrite::kLeadingInteger) {
            CPreviewDataUtil util;
            stored.eKind = PT_STORED::kInteger;
            WholeInteger(util.IntegerValidator(sReaderText), stored.llValue);
        } else {
            stored = StoredNumberText(sReaderText);
        }
        if (stored.eKind == PT_STORED::kText) return;
        const std::string sStored = StoredText(stored);

        // The loader keys a stored tile by the stored value; the reader keys the document's
        // tile by the value as given.
        const bool bRecreated = column.bDisplayPeriod && DisplayPeriodKeysTiles() &&
                                TileKey(column.sName, value) != TileKey(column.sName, Json::Value(sStored));
        const std::string sRecreated =
            "the display period is part of this module's tile key, and the store gives it back as " + sStored +
            ": the tile is deleted and inserted again on every publish";
        if (value.isNumeric() && !StoredAsWritten(value, stored)) {
            std::string sMessage = "the number " + Written(value) + " is stored as " + sStored +
                                   ": the reader keeps it as " + JsonQuoted(sReaderText);
            if (column.write == EWrite::kLeadingInteger)
                sMessage += ", and the column takes the integer it starts with";
            if (bRecreated) sMessage += "; " + sRecreated;
            Add(sPath, value, ValidateKind::INTEGER_CHANGED, sMessage);
        } else if (bRecreated) {
            Add(sPath, value, ValidateKind::TILE_RECREATED,
                Written(value) + " is stored as " + sStored + "; " + sRecreated);
        }
        if (stored.eKind == PT_STORED::kInteger && (stored.llValue > INT_MAX || stored.llValue < INT_MIN)) {
            Add(sPath, value, ValidateKind::READ_BACK_EMPTY,
                "stored as the integer " + sStored +
                    ", wider than 32 bits: the publish succeeds, but the module's read-back is an empty text");
        }
    }

    const std::string& m_sText;
    const CDocumentPositions& m_positions;
    CLibraryReader& m_reader;
    std::vector<PT_VALIDATE_FINDING>& m_vecFinding;
    int m_iDisplayPeriodKeys = -1;
    std::map<std::string, std::string> m_mapReaderText;  // by place, name and value
};

// The object elements the reader walks in a list: array elements, or an object's member values.
template <typename Visit>
void ForEachObject(const std::string& sPath, const Json::Value& list, Visit visit)
{
    if (list.isArray()) {
        for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
            if (list[i].isObject()) visit(JsonPathIndex(sPath, i), list[i]);
        }
    } else if (list.isObject()) {
        for (auto it = list.begin(); it != list.end(); ++it) {
            if (it->isObject()) visit(JsonPathMember(sPath, it.name()), *it);
        }
    }
}
}  // namespace

void CheckIntegerColumns(const Json::Value& root, const std::string& sText, const CDocumentPositions& positions,
                         CLibraryReader& reader, std::vector<PT_VALIDATE_FINDING>& vecFinding)
{
    if (!root.isObject()) return;
    CIntegerColumnChecker checker(sText, positions, reader, vecFinding);
    ForEachObject(JsonPathMember(JsonPathRoot(), kSections), root[kSections],
                  [&](const std::string& sSectionPath, const Json::Value& section) {
                      checker.CheckMembers(sSectionPath, section, false);
                      ForEachObject(JsonPathMember(sSectionPath, kTiles), section[kTiles],
                                    [&](const std::string& sTilePath, const Json::Value& tile) {
                                        checker.CheckMembers(sTilePath, tile, true);
                                    });
                  });
}
