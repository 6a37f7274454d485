// Reading a preview document into the model.
#include <pelmo/TilesModel.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "PreviewDataUtil.h"
#include "PreviewDataUtilUnit.h"
#include "PreviewHash.h"
#include "PreviewDocumentRead.h"
#include "PreviewModuleRules.h"
#include "PreviewPublicExtra.h"
#include "PreviewRequestText.h"

bool CPreviewDataUtil::GetPreviewDataUsingJsonStr(std::string sJsonStr, CPreviewAccelerator& accelerator,
                                                  std::string sModuleName)
{
    return PreviewDocumentRead::GetPreviewDataUsingJsonStr(*this, sJsonStr.data(), sJsonStr.size(), accelerator,
                                                           sModuleName);
}

bool PreviewDocumentRead::GetPreviewDataUsingJsonStr(CPreviewDataUtil& util, const char* pText, size_t uLength,
                                                     CPreviewAccelerator& accelerator, const std::string& sModuleName)
{
    // The text is logged up to its first NUL byte, as a C string.
    PELMO_LOGI("sJsonStr : %s", pText);
    try {
        Json::Reader reader;
        Json::Value root;
        // Parsed in place: the reader's text overload would copy the whole text first.
        if (!reader.parse(pText, pText + uLength, root, true)) {
            PELMO_LOGE("Failed to parse Json : %s", reader.getFormattedErrorMessages().c_str());
            return false;
        }
        const Json::Value& expires = root["expires"];
        if (!expires.empty()) {
            PropertyValue& value = accelerator.m_mapProperty["expires"];
            value.first = JSON_VALUE_STRING;
            value.second = expires.asString();
        }
        int iTileCount = 0;
        for (const Json::Value& section : root["sections"]) {
            if (!section.isObject()) continue;
            accelerator.AddProperty("", JSON_VALUE_NONE, "", 3);
            util.GetSectionsByJson(accelerator, section, iTileCount);
        }
        PELMO_LOGI("Total tiles count: %d", iTileCount);
        const int iLimit = CPreviewDataUtil::GetTileLimit(sModuleName);
        if (iTileCount > iLimit) {
            PELMO_LOGE("ERROR, Preview tiles count over limit (Limit: %d)", iLimit);
            return false;
        }
        return true;
    } catch (const std::exception&) {
        PELMO_LOGE("Exception Caught");
    }
    return false;
}

int CPreviewDataUtil::GetTileLimit(const std::string& sModuleName)
{
    return PreviewModuleRules::TileLimit(sModuleName);
}

void CPreviewDataUtil::GetSectionsByJson(CPreviewAccelerator& accelerator, const Json::Value& section, int& iTileCount)
{
    std::string sTitle;
    std::string sId;
    for (auto it = section.begin(); it != section.end(); ++it) {
        const Json::Value& value = *it;
        const std::string sName = it.name();
        if (value.isObject() || sName == "tiles") continue;
        GetPropertyByJson(accelerator, sName, value, 2);
        if (sName == TilesModel::Sections::SECTION_TITLE) {
            sTitle = value.asString();
        } else if (sName == TilesModel::Sections::SECTION_ID) {
            sId = value.asString();
        }
    }
    if (!accelerator.m_vecSection.empty() && accelerator.m_vecSection.back()) {
        const uint64_t hash = CalcSectionHash(sTitle, sId);
        accelerator.m_vecSection.back()->m_hash = hash;
        accelerator.m_vecSectionHash.push_back(hash);
    }
    for (const Json::Value& tile : section["tiles"]) {
        if (!tile.isObject()) continue;
        accelerator.AddProperty("", JSON_VALUE_NONE, "", 1);
        GetTilesByJson(accelerator, tile);
        ++iTileCount;
    }
}

namespace {
// The tile's columns in the order of its property map, taken once from a default tile: building
// a reference tile per tile cost more than the rest of the tile's reading.
const PropertyMap& ReferenceTile()
{
    static const PropertyMap kReference = CPreviewTile().m_mapProperty;
    return kReference;
}

const std::vector<std::string_view>& TileColumns()
{
    static const std::vector<std::string_view> kColumns = [] {
        std::vector<std::string_view> vecColumns;
        for (const auto& property : ReferenceTile()) vecColumns.emplace_back(property.first);
        return vecColumns;
    }();
    return kColumns;
}

// The columns of one tile's members, found in one walk: the members come in ascending byte order
// of their names, as the columns do, so each search goes on from where the one before stopped.
// A name that comes before the last one asked starts the walk again; a fresh walk finds any one
// column (the position of a column among TileColumns(), or -1).
class CColumnWalk {
public:
    int Index(std::string_view sName)
    {
        const std::vector<std::string_view>& vecColumns = m_vecColumns;
        if (sName < m_sLast) m_uNext = 0;
        m_sLast = sName;
        while (m_uNext < vecColumns.size() && vecColumns[m_uNext] < sName) ++m_uNext;
        return m_uNext < vecColumns.size() && vecColumns[m_uNext] == sName ? static_cast<int>(m_uNext) : -1;
    }

private:
    const std::vector<std::string_view>& m_vecColumns = TileColumns();
    size_t m_uNext = 0;
    std::string_view m_sLast;
};

// Whether the module's tile keys take the display period: asked once per module and thread, not
// per tile, since a document's tiles all belong to one module.
bool DisplayPeriodIsPartOfTheKey(const std::string& sModule)
{
    thread_local std::string sLastModule;
    thread_local bool bLastAnswer = false;
    thread_local bool bAsked = false;
    if (!bAsked || sModule != sLastModule) {
        bLastAnswer = PreviewModuleRules::DisplayPeriodIsPartOfTheKey(sModule);
        sLastModule = sModule;
        bAsked = true;
    }
    return bLastAnswer;
}

// The property of the tile being read, per column; all null where the tile's map is not the
// default set of columns (then every property goes through AddProperty as it always did).
class CTileSlots {
public:
    explicit CTileSlots(CPreviewAccelerator& accelerator) : m_accelerator(accelerator)
    {
        m_aSlot.fill(nullptr);
        const std::vector<std::string_view>& vecColumns = TileColumns();
        if (vecColumns.size() > m_aSlot.size()) return;
        if (accelerator.m_vecSection.empty() || !accelerator.m_vecSection.back()) return;
        CPreviewSection& section = *accelerator.m_vecSection.back();
        if (section.m_vecTile.empty() || !section.m_vecTile.back()) return;
        PropertyMap& mapTile = section.m_vecTile.back()->m_mapProperty;
        if (mapTile.size() != vecColumns.size()) return;
        size_t i = 0;
        for (auto& property : mapTile) {
            if (property.first != vecColumns[i]) {
                m_aSlot.fill(nullptr);
                return;
            }
            m_aSlot[i++] = &property.second;
        }
    }

    // Where a property read under this document name goes: the column of that name, or of the
    // three document names stored under columns of other names.
    PropertyValue* Slot(int iColumn) const { return iColumn < 0 ? nullptr : m_aSlot[static_cast<size_t>(iColumn)]; }

    void Store(std::string_view sName, PropertyValue* pSlot, int iType, std::string sText)
    {
        if (pSlot != nullptr) {
            pSlot->first = iType;
            pSlot->second = std::move(sText);
        } else {
            m_accelerator.AddProperty(std::string(sName), iType, sText, 0);
        }
    }

private:
    CPreviewAccelerator& m_accelerator;
    // Room for every column of a tile, without an allocation per tile.
    std::array<PropertyValue*, 32> m_aSlot;
};

// A member's value as a property holds it: its value type and text. False, with the text left
// as it was, for null, which sets nothing.
bool PropertyText(const Json::Value& value, int& iType, std::string& sText)
{
    if (value.isNull()) {
        return false;
    } else if (value.isBool()) {
        iType = JSON_VALUE_BOOL;
        sText = CPreviewDataUtil::m_mapBoolToString[value.asBool()];
    } else if (value.isInt()) {
        iType = JSON_VALUE_INT;
        sText = std::to_string(value.asInt());
    } else if (value.isUInt()) {
        iType = JSON_VALUE_UINT;
        sText = std::to_string(value.asUInt());
    } else if (value.isDouble() || value.isIntegral() || value.isNumeric()) {
        iType = JSON_VALUE_DOUBLE;
        std::ostringstream stream;
        stream << value.asDouble();
        sText = stream.str();
    } else if (value.isString()) {
        iType = JSON_VALUE_STRING;
        const char* pBegin = nullptr;
        const char* pEnd = nullptr;
        if (value.getString(&pBegin, &pEnd)) {
            sText.assign(pBegin, pEnd);
        } else {
            sText.clear();
        }
    } else {
        iType = JSON_VALUE_NONE;
        sText.clear();
    }
    return true;
}

namespace PreviewTileFields {
// One member of a tile into its column: the type and text that the member function of this name
// gives, and its log line.
void GetPropertyByJson(CTileSlots& slots, std::string_view sKey, PropertyValue* pSlot, const Json::Value& value)
{
    // The text is made in the column itself when the tile has it, without a copy in between.
    std::string sOwnText;
    std::string& sText = pSlot != nullptr ? pSlot->second : sOwnText;
    int iType;
    if (!PropertyText(value, iType, sText)) return;
    // Member names are stored NUL-terminated, so the name's data is a C string.
    PELMO_LOGD("key : %s, value : %s", sKey.data(), sText.c_str());
    if (pSlot != nullptr) {
        pSlot->first = iType;
    } else {
        slots.Store(sKey, nullptr, iType, std::move(sText));
    }
}
}  // namespace PreviewTileFields
}  // namespace

void CPreviewDataUtil::GetTilesByJson(CPreviewAccelerator& accelerator, const Json::Value& tile)
{
    using namespace TilesModel::Tiles;
    constexpr std::string_view kActionData = "action_data", kPublicExtra = "public_extra", kSourceIcon = "source_icon";
    const auto ColumnOf = [](std::string_view sColumn) { return CColumnWalk().Index(sColumn); };
    static const int iActionPlay = ColumnOf(TILE_ACTION_PLAY), iPrePlay = ColumnOf(TILE_ACTION_PRE_PLAY),
                     iSourceIcon = ColumnOf(TILE_SOURCE_ICON), iTitle = ColumnOf(TILE_TITLE),
                     iSubtitle = ColumnOf(TILE_SUBTITLE), iImageUrl = ColumnOf(TILE_IMAGE_URL),
                     iDisplayFrom = ColumnOf(TILE_DISPLAY_FROM), iDisplayUntil = ColumnOf(TILE_DISPLAY_UNTIL);
    static const std::string kModuleKey = TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME;
    PreviewPublicExtra::CExtraMembers extra;
    std::string sTitle, sSubtitle, sImageUrl, sAction, sDisplayFrom, sDisplayUntil, sSkyvaneAction;
    const std::string& sModule = accelerator.m_mapProperty[kModuleKey].second;
    const bool bSkyvane = PreviewModuleRules::PlayColumnIsPartOfTheKey(sModule);
    CTileSlots slots(accelerator);
    CColumnWalk columns;

    // Object iteration visits members in ascending byte order of their names.
    for (auto it = tile.begin(); it != tile.end(); ++it) {
        const Json::Value& value = *it;
        if (value.isObject()) continue;
        const char* pNameEnd = nullptr;
        const char* pName = it.memberName(&pNameEnd);
        const std::string_view sName(pName, static_cast<size_t>(pNameEnd - pName));
        // The column the member fills, and the texts of the tile's key, taken (and refused, for a
        // value with no text) before the member is stored. Every index compared is a column of the
        // tile, so a name that is no column (-1) matches none of them.
        int iColumn;
        if (sName == kPublicExtra) {
            iColumn = iPrePlay;
        } else if (sName == kActionData) {
            iColumn = iActionPlay;
            sAction = value.asString();
        } else if (sName == kSourceIcon) {
            iColumn = iSourceIcon;
        } else {
            iColumn = columns.Index(sName);
            if (iColumn == iTitle) {
                sTitle = value.asString();
            } else if (iColumn == iSubtitle) {
                sSubtitle = value.asString();
            } else if (iColumn == iImageUrl) {
                sImageUrl = value.asString();
            } else if (iColumn == iDisplayFrom) {
                sDisplayFrom = value.asString();
            } else if (iColumn == iDisplayUntil) {
                sDisplayUntil = value.asString();
            } else if (iColumn == iActionPlay && bSkyvane) {
                sSkyvaneAction = value.asString();
            }
        }
        if (iColumn >= 0) {
            PreviewTileFields::GetPropertyByJson(slots, sName, slots.Slot(iColumn), value);
        } else {
            PELMO_LOGD("key(%s) is expended", pName);
            extra.Add(sName, value);
        }
    }

    try {
        std::string sPublicExtra = extra.Write();
        PELMO_LOGD("Public extra data: (%s)", sPublicExtra.c_str());
        slots.Store(kPublicExtra, slots.Slot(iPrePlay), JSON_VALUE_STRING, std::move(sPublicExtra));
    } catch (const std::exception&) {
        PELMO_LOGE("Exception Caught");
    }

    // For that app the tile's action is its play column, not its action data.
    if (bSkyvane) sAction = sSkyvaneAction;

    if (accelerator.m_vecSection.empty() || !accelerator.m_vecSection.back()) return;
    std::shared_ptr<CPreviewSection> pSection = accelerator.m_vecSection.back();
    if (pSection->m_vecTile.empty() || !pSection->m_vecTile.back()) return;

    if (DisplayPeriodIsPartOfTheKey(sModule)) sAction += sDisplayFrom + sDisplayUntil;
    const uint64_t hash = PreviewHash::TileKey(sTitle, sSubtitle, sImageUrl, sAction);
    PELMO_LOGD("Hash:[%" PRIu64 "]\ntitle:[%s]\nsubtitle:[%s]\nimageUrl:[%s]\nactionPlayUrl:[%s]", hash, sTitle.c_str(),
               sSubtitle.c_str(), sImageUrl.c_str(), sAction.c_str());
    pSection->m_vecTile.back()->m_hash = hash;
    pSection->m_vecTileHash.push_back(hash);
}

void CPreviewDataUtil::GetPropertyByJson(CPreviewAccelerator& accelerator, const std::string& sKey,
                                         const Json::Value& value, int iDepth)
{
    int iType;
    std::string sText;
    if (!PropertyText(value, iType, sText)) return;
    PELMO_LOGD("key : %s, value : %s", sKey.c_str(), sText.c_str());
    accelerator.AddProperty(sKey, iType, sText, iDepth);
}

std::string CPreviewDataUtil::IntegerValidator(std::string sValue)
{
    return PreviewRequestText::IntegerText(sValue);
}
