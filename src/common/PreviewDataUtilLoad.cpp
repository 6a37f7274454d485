// Loading what the store holds for one module back into the preview model, with the same
// content keys the parser gives a pushed document, so that the two trees can be matched.
#include <pelmo/ISQLiteCursor.h>
#include <pelmo/TilesModel.h>

#include <cinttypes>
#include <vector>

#include "PelmoAPI.h"
#include "PreviewDataUtil.h"
#include "PreviewDataUtilUnit.h"
#include "PreviewHash.h"
#include "PreviewModuleRules.h"
#include "PreviewStoredRowReader.h"

namespace {
// Every column a model level knows, in the map's key order.
std::vector<std::string> ColumnsOf(const PropertyMap& mapProperty)
{
    std::vector<std::string> vecColumns;
    vecColumns.reserve(mapProperty.size());
    for (const auto& entry : mapProperty) vecColumns.push_back(entry.first);
    return vecColumns;
}

PT_CONSUMER_SELECT_IN_PARAM MakeSelect(const char* sTable, const char* sColumn, const std::string& sArg,
                                       const std::string& sOrder, std::vector<std::string> vecColumns)
{
    PT_CONSUMER_SELECT_IN_PARAM in;
    in.table_name = sTable;
    in.where = std::string(sColumn) + " = ?";
    in.where_args.push_back(sArg);
    in.order = sOrder;
    in.column_list = std::move(vecColumns);
    return in;
}
}  // namespace

bool CPreviewDataUtil::GetAcceleratorItems(const std::string& sModuleName, CPreviewAccelerator& accelerator)
{
    PELMO_LOGI("");
    std::vector<std::string> vecColumns;
    for (const auto& entry : accelerator.m_mapProperty) {
        // Kept with the accelerator for the document, but not a column of its table.
        if (entry.first != "expires") vecColumns.push_back(entry.first);
    }
    PT_CONSUMER_SELECT_IN_PARAM in =
        MakeSelect(TilesModel::Accelerators::CONTENT_URI, TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME,
                   sModuleName, "", std::move(vecColumns));
    PT_CONSUMER_SELECT_OUT_PARAM out;
    if (!select_request(in, out, sModuleName)) {
        PELMO_LOGE("ERROR, select_request() failed.");
        return false;
    }
    if (!out.cursor) return true;
    // The map size, not the column count: the index past the last column reads as an invalid
    // column and is skipped. One row per module is expected; if there are more, the last wins.
    CStoredRowReader reader(*out.cursor);
    while (out.cursor->MoveNext() == 0) {
        reader.GetItemValues(static_cast<int>(accelerator.m_mapProperty.size()), accelerator.m_mapProperty);
    }
    return true;
}

bool CPreviewDataUtil::GetSectionItems(const std::string& sModuleName, const std::string& sAcceleratorRawID,
                                       CPreviewAccelerator& accelerator)
{
    PELMO_LOGI("");
    using namespace TilesModel::Sections;
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect(CONTENT_URI, SECTION_ACCELERATOR_RAW_ID, sAcceleratorRawID,
                                                SECTION_POSITION, ColumnsOf(CPreviewSection().m_mapProperty));
    PT_CONSUMER_SELECT_OUT_PARAM out;
    if (!select_request(in, out, sModuleName)) {
        PELMO_LOGE("ERROR, select_request() failed.");
        return false;
    }
    if (!out.cursor) return true;
    CStoredRowReader reader(*out.cursor);
    while (out.cursor->MoveNext() == 0) {
        auto section = std::make_shared<CPreviewSection>();
        reader.GetItemValues(static_cast<int>(section->m_mapProperty.size()), section->m_mapProperty);
        accelerator.m_vecSection.push_back(section);
        const uint64_t hash =
            CalcSectionHash(section->m_mapProperty[SECTION_TITLE].second, section->m_mapProperty[SECTION_ID].second);
        section->m_hash = hash;
        accelerator.m_vecSectionHash.push_back(hash);
    }
    return true;
}

bool CPreviewDataUtil::GetTileItems(const std::string& sModuleName, const std::string& sSectionRawID,
                                    std::shared_ptr<CPreviewSection> section)
{
    PELMO_LOGI("");
    using namespace TilesModel::Tiles;
    PT_CONSUMER_SELECT_IN_PARAM in = MakeSelect(CONTENT_URI, TILE_SECTION_RAW_ID, sSectionRawID, TILE_POSITION,
                                                ColumnsOf(CPreviewTile().m_mapProperty));
    PT_CONSUMER_SELECT_OUT_PARAM out;
    if (!select_request(in, out, sModuleName)) {
        PELMO_LOGE("ERROR, select_request() failed.");
        return false;
    }
    if (!out.cursor) return true;
    const bool bDisplayPeriodInKey = PreviewModuleRules::DisplayPeriodIsPartOfTheKey(sModuleName);
    // The key columns, made once: a lookup by a C text would build the key text per tile.
    static const std::string kTitle = TILE_TITLE, kSubtitle = TILE_SUBTITLE, kImageUrl = TILE_IMAGE_URL,
                             kActionPlay = TILE_ACTION_PLAY, kDisplayFrom = TILE_DISPLAY_FROM,
                             kDisplayUntil = TILE_DISPLAY_UNTIL;
    CStoredRowReader reader(*out.cursor);
    while (out.cursor->MoveNext() == 0) {
        auto tile = std::make_shared<CPreviewTile>();
        reader.GetItemValues(static_cast<int>(tile->m_mapProperty.size()), tile->m_mapProperty);
        section->m_vecTile.push_back(tile);
        try {
            const PropertyMap& mapProperty = tile->m_mapProperty;
            const std::string& sTitle = mapProperty.at(kTitle).second;
            const std::string& sSubtitle = mapProperty.at(kSubtitle).second;
            const std::string& sImageUrl = mapProperty.at(kImageUrl).second;
            std::string sActionPlay = mapProperty.at(kActionPlay).second;
            if (bDisplayPeriodInKey) {
                sActionPlay += mapProperty.at(kDisplayFrom).second;
                sActionPlay += mapProperty.at(kDisplayUntil).second;
            }
            const uint64_t hash = PreviewHash::TileKey(sTitle, sSubtitle, sImageUrl, sActionPlay);
            tile->m_hash = hash;
            PELMO_LOGD("Hash:[%" PRIu64 "]\ntitle:[%s]\nsubtitle:[%s]\nimageUrl:[%s]\nactionPlayUrl:[%s]", hash,
                       sTitle.c_str(), sSubtitle.c_str(), sImageUrl.c_str(), sActionPlay.c_str());
            section->m_vecTileHash.push_back(hash);
        } catch (...) {
            // The tile stays listed without a key; the synchronisation then finds no match for it.
            PELMO_LOGE("component access Error");
        }
    }
    return true;
}

bool CPreviewDataUtil::GetMetaDataFromDB(const std::string& sModuleName, CPreviewAccelerator& accelerator)
{
    PELMO_LOGI("");
    PropertyValue& package = accelerator.m_mapProperty[TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME];
    package.first = JSON_VALUE_STRING;
    package.second = sModuleName;

    if (!GetAcceleratorItems(sModuleName, accelerator)) {
        PELMO_LOGE("ERROR, GetAcceleratorItems() failed.");
        return false;
    }
    const std::string sAcceleratorRawID = accelerator.m_mapProperty[TilesModel::Accelerators::_ID].second;
    if (sAcceleratorRawID.empty()) {
        PELMO_LOGE("ERROR, sAcceleratorRawID is empty.");
        return false;
    }
    if (!GetSectionItems(sModuleName, sAcceleratorRawID, accelerator)) {
        PELMO_LOGE("ERROR, GetSectionItems() failed");
        return false;
    }
    size_t iTotalTiles = 0;
    for (const std::shared_ptr<CPreviewSection>& section : accelerator.m_vecSection) {
        const std::string sSectionRawID = section->m_mapProperty[TilesModel::Sections::_ID].second;
        if (sSectionRawID.empty()) continue;
        if (!GetTileItems(sModuleName, sSectionRawID, section)) {
            PELMO_LOGE("ERROR, GetTilesItems() failed.");
            return false;
        }
        PELMO_LOGD("numTiles : %zu", section->m_vecTile.size());
        iTotalTiles += section->m_vecTile.size();
    }
    PELMO_LOGI("Total tiles in DB: %zu", iTotalTiles);
    return true;
}
