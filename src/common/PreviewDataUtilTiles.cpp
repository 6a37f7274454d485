// Tiles of a section that both the store and the new preview have: stale tiles go in one delete,
// new ones in one bulk insert, and the ones both have are rewritten in place in one bulk update.
#include <pelmo/TilesModel.h>

#include <algorithm>
#include <cinttypes>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "PelmoAPI.h"
#include "PreviewDataUtil.h"
#include "PreviewDataUtilUnit.h"
#include "PreviewKeySets.h"
#include "PreviewRequestText.h"

namespace {
// The one module whose tiles launch as web apps.
constexpr const char* kWebAppModule = "K3vQ8nWz1P";

// Flag columns hold 0 or 1; only the exact text "false" is off.
const char* FlagText(const std::string& sValue)
{
    return sValue == "false" ? "0" : "1";
}

bool IsFlagColumn(std::string_view sColumn)
{
    using namespace TilesModel::Tiles;
    return sColumn == TILE_PLAYABLE || sColumn == TILE_PROGRESS || sColumn == TILE_NOTIFICATION ||
           sColumn == TILE_FAVORITE;
}

bool IsIntegerColumn(std::string_view sColumn)
{
    using namespace TilesModel::Tiles;
    return sColumn == TILE_ID || sColumn == TILE_DISPLAY_FROM || sColumn == TILE_DISPLAY_UNTIL ||
           sColumn == TILE_IMAGE_WIDTH || sColumn == TILE_IMAGE_HEIGHT;
}

namespace PreviewTileRows {
// The columns of a common tile that its bulk update rewrites, added to the row begun last. Named
// like the member that fills a JSON row with them, whose log line it writes.
void MakeUpdatedTileJson(const std::string& sModuleName, PreviewRequestText::CRowsDocument& rows, CPreviewTile& newTile)
{
    using namespace TilesModel::Tiles;
    // The columns a common tile may change. The title and the other key columns are what made
    // the tile common, so they are never rewritten here.
    enum class Rule { kAsIs, kInteger, kFlag, kActionType, kPublicExtra };
    struct PT_COLUMN {
        std::string sName;
        Rule rule;
    };
    static const PT_COLUMN kColumns[] = {
        {TILE_ID, Rule::kInteger},
        {TILE_TYPE, Rule::kAsIs},
        {TILE_DISPLAY_FROM, Rule::kInteger},
        {TILE_DISPLAY_UNTIL, Rule::kInteger},
        {TILE_ACTION_TYPE, Rule::kActionType},
        {TILE_IMAGE_WIDTH, Rule::kInteger},
        {TILE_IMAGE_HEIGHT, Rule::kInteger},
        {TILE_IMAGE_RATIO, Rule::kAsIs},
        {TILE_SOURCE_ICON, Rule::kAsIs},
        {TILE_EXTRA_APP_ID, Rule::kAsIs},
        {TILE_PLAYABLE, Rule::kFlag},
        {TILE_POSITION, Rule::kAsIs},
        {TILE_PROGRESS, Rule::kFlag},
        {TILE_NOTIFICATION, Rule::kFlag},
        {TILE_FAVORITE, Rule::kFlag},
        {TILE_EXTRA, Rule::kAsIs},
        {TILE_ACTION_PRE_PLAY, Rule::kPublicExtra},
    };
    // In the order of their names, which is the order of the tile's map and of the row's text:
    // the map is walked once instead of searched per column, and each member is appended.
    static const std::vector<PT_COLUMN> kByName = [] {
        std::vector<PT_COLUMN> vecColumns(std::begin(kColumns), std::end(kColumns));
        std::sort(vecColumns.begin(), vecColumns.end(),
                  [](const PT_COLUMN& a, const PT_COLUMN& b) { return a.sName < b.sName; });
        return vecColumns;
    }();
    PropertyMap& mapTile = newTile.m_mapProperty;
    auto it = mapTile.begin();
    for (const PT_COLUMN& column : kByName) {
        while (it != mapTile.end() && it->first < column.sName) ++it;
        // A column the tile lacks is added empty, as a map lookup by subscript does.
        if (it == mapTile.end() || it->first != column.sName) it = mapTile.try_emplace(it, column.sName);
        const std::string& sValue = it->second.second;
        if (sValue.empty() || sValue == "null") continue;
        switch (column.rule) {
            case Rule::kAsIs:
                rows.Set(column.sName, sValue);
                break;
            case Rule::kInteger:
                rows.SetOwned(column.sName, PreviewRequestText::IntegerText(sValue));
                break;
            case Rule::kFlag:
                rows.Set(column.sName, FlagText(sValue));
                break;
            case Rule::kActionType:
                rows.Set(column.sName, sModuleName == kWebAppModule
                                           ? std::string_view(TileActionTypes::TILE_ACTION_WAS_LAUNCH)
                                           : std::string_view(sValue));
                break;
            case Rule::kPublicExtra:
                PELMO_LOGD("key:[%s] : \t[%s]", "public_extra", sValue.c_str());
                rows.Set(column.sName, sValue);
                break;
        }
    }
}
}  // namespace PreviewTileRows
}  // namespace

std::shared_ptr<CPreviewTile> CPreviewDataUtil::FindTile(const std::shared_ptr<CPreviewSection>& pSection, uint64_t key,
                                                         std::vector<int>& vecTaken)
{
    if (!pSection) return nullptr;
    const size_t nTiles = std::min(pSection->m_vecTile.size(), vecTaken.size());
    for (size_t i = 0; i < nTiles; ++i) {
        const std::shared_ptr<CPreviewTile>& pTile = pSection->m_vecTile[i];
        if (pTile && pTile->m_hash == key && vecTaken[i] == 0) {
            vecTaken[i] = 1;
            return pTile;
        }
    }
    return nullptr;
}

void CPreviewDataUtil::DeleteExpiredTileItem(std::string sModuleName,
                                             const std::shared_ptr<CPreviewSection>& pOldSection,
                                             const std::shared_ptr<CPreviewSection>& pNewSection)
{
    using namespace TilesModel;
    if (!pOldSection || !pNewSection) {
        PELMO_LOGE("sections are NULL");
        return;
    }
    const std::vector<uint64_t> vecExpired =
        PreviewKeySets::OnlyIn(pOldSection->m_vecTileHash, pNewSection->m_vecTileHash);
    PELMO_LOGI("%s:%s:Section:%s: expired tile items size:%zu", sModuleName.c_str(),
               pOldSection->m_mapProperty[Sections::_ID].second.c_str(),
               pOldSection->m_mapProperty[Sections::SECTION_TITLE].second.c_str(), vecExpired.size());

    std::vector<int> vecTaken(pOldSection->m_vecTile.size(), 0);
    std::vector<std::string> vecIds;
    int iNumber = 1;
    for (uint64_t key : vecExpired) {
        std::shared_ptr<CPreviewTile> pTile = FindTile(pOldSection, key, vecTaken);
        if (!pTile) {
            PELMO_LOGE("Error! Not matched");
            continue;
        }
        const std::string& sId = pTile->m_mapProperty[Tiles::_ID].second;
        PELMO_LOGI("[%2d][%" PRIu64 "][_ID:%s][%s]", iNumber++, key, sId.c_str(),
                   pTile->m_mapProperty[Tiles::TILE_TITLE].second.c_str());
        vecIds.push_back(sId);
    }
    if (vecIds.empty()) return;

    PT_JSON_IN_PARAM param = PreviewRequestText::IdDeleteRequest(Tiles::CONTENT_URI, Tiles::_ID, vecIds);
    if (delete_request(param, sModuleName) == -1) {
        PELMO_LOGE("Error. failed to delete tile.");
        for (const std::string& sId : vecIds) PELMO_LOGE("%s ", sId.c_str());
    }
}

void CPreviewDataUtil::CreateNewTileItem(std::string sModuleName, const std::shared_ptr<CPreviewSection>& pOldSection,
                                         const std::shared_ptr<CPreviewSection>& pNewSection)
{
    using namespace TilesModel;
    if (!pOldSection || !pNewSection) {
        PELMO_LOGE("sections are NULL");
        return;
    }
    const std::vector<uint64_t> vecNew = PreviewKeySets::OnlyIn(pNewSection->m_vecTileHash, pOldSection->m_vecTileHash);
    const std::string sSectionRawId = pOldSection->m_mapProperty[Sections::_ID].second;
    PELMO_LOGI("%s:%s:Section:%s: new tile items size:%zu", sModuleName.c_str(), sSectionRawId.c_str(),
               pNewSection->m_mapProperty[Sections::SECTION_TITLE].second.c_str(), vecNew.size());

    std::vector<int> vecTaken(pNewSection->m_vecTile.size(), 0);
    std::vector<std::shared_ptr<CPreviewTile>> vecInsert;
    int iNumber = 1;
    for (uint64_t key : vecNew) {
        std::shared_ptr<CPreviewTile> pTile = FindTile(pNewSection, key, vecTaken);
        if (!pTile) continue;
        PELMO_LOGI("[%2d][%" PRIu64 "][_ID:%s][%s]", iNumber++, key, pTile->m_mapProperty[Tiles::_ID].second.c_str(),
                   pTile->m_mapProperty[Tiles::TILE_TITLE].second.c_str());
        vecInsert.push_back(pTile);
    }
    // The new tiles join the section row that the store already has.
    if (!vecInsert.empty()) CreateTiles(sSectionRawId, vecInsert, sModuleName);
}

void CPreviewDataUtil::CreateTiles(std::string sSectionRawId, const std::vector<std::shared_ptr<CPreviewTile>>& vecTile,
                                   std::string sModuleName)
{
    using namespace TilesModel::Tiles;
    PELMO_LOGD("IN");
    PreviewRequestText::CRowsDocument rows;
    for (const std::shared_ptr<CPreviewTile>& pTile : vecTile) {
        if (!pTile) continue;
        rows.BeginRow();
        if (sModuleName == kWebAppModule) rows.Set(TILE_ACTION_TYPE, TileActionTypes::TILE_ACTION_WAS_LAUNCH);
        rows.Set(TILE_SECTION_RAW_ID, sSectionRawId);
        // The tile's own columns come last, so its own action type wins over the module's.
        for (const auto& property : pTile->m_mapProperty) {
            const std::string& sColumn = property.first;
            const std::string& sValue = property.second.second;
            if (sValue.empty()) continue;
            if (IsFlagColumn(sColumn)) {
                rows.Set(sColumn, FlagText(sValue));
            } else if (IsIntegerColumn(sColumn)) {
                std::string sInteger = PreviewRequestText::IntegerText(sValue);
                PELMO_LOGD("[%s] : [%s] is converted to [%s]", sColumn.c_str(), sValue.c_str(), sInteger.c_str());
                rows.SetOwned(sColumn, std::move(sInteger));
            } else {
                rows.Set(sColumn, sValue);
            }
        }
    }

    PT_JSON_IN_PARAM param;
    param.table_name = CONTENT_URI;
    param.data = rows.Write(CONTENT_URI);
    long long llRowId = -1;
    if (insert_request_for_bulk_data(param, &llRowId, sModuleName) != 0) {
        PELMO_LOGE("Error. Faile to create tile.");
    }
}

void CPreviewDataUtil::UpdateCommonTileItem(std::string sModuleName,
                                            const std::shared_ptr<CPreviewSection>& pOldSection,
                                            const std::shared_ptr<CPreviewSection>& pNewSection)
{
    using namespace TilesModel;
    if (!pOldSection || !pNewSection) {
        PELMO_LOGE("sections are NULL");
        return;
    }
    const std::vector<uint64_t> vecCommon =
        PreviewKeySets::InBoth(pOldSection->m_vecTileHash, pNewSection->m_vecTileHash);
    PELMO_LOGI("%s:%s:Section:%s: duplicated tile items size:%zu", sModuleName.c_str(),
               pOldSection->m_mapProperty[Sections::_ID].second.c_str(),
               pNewSection->m_mapProperty[Sections::SECTION_TITLE].second.c_str(), vecCommon.size());

    PreviewRequestText::CRowsDocument rows;
    std::vector<int> vecOldTaken(pOldSection->m_vecTile.size(), 0);
    std::vector<int> vecNewTaken(pNewSection->m_vecTile.size(), 0);
    int iNumber = 1;
    for (uint64_t key : vecCommon) {
        std::shared_ptr<CPreviewTile> pOldTile = FindTile(pOldSection, key, vecOldTaken);
        std::shared_ptr<CPreviewTile> pNewTile = FindTile(pNewSection, key, vecNewTaken);
        if (!pOldTile || !pNewTile) {
            PELMO_LOGE("Common data is not matched");
            continue;
        }
        const std::string& sId = pOldTile->m_mapProperty[Tiles::_ID].second;
        PELMO_LOGI("[%2d][%" PRIu64 "][_ID:%s][%s]", iNumber++, key, sId.c_str(),
                   pOldTile->m_mapProperty[Tiles::TILE_TITLE].second.c_str());
        rows.BeginRow();
        rows.Set("bulk_update_row_id_key", sId);
        PreviewTileRows::MakeUpdatedTileJson(sModuleName, rows, *pNewTile);
    }
    if (iNumber == 1) return;

    PT_JSON_IN_PARAM param;
    param.table_name = Tiles::CONTENT_URI;
    param.data = rows.Write(Tiles::CONTENT_URI);
    long long llOut = -1;
    if (update_request_for_bulk_data(param, &llOut, sModuleName) != 0) {
        PELMO_LOGE("Common tiles bulk update fail");
    }
}

void CPreviewDataUtil::MakeUpdatedTileJson(std::string sModuleName, Json::Value& row,
                                           const std::shared_ptr<CPreviewTile>& pNewTile)
{
    if (!pNewTile) return;
    PreviewRequestText::CRowsDocument rows;
    rows.BeginRow();
    PreviewTileRows::MakeUpdatedTileJson(sModuleName, rows, *pNewTile);
    rows.CopyLastRow(row);
}
