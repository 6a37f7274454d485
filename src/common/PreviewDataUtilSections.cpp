// Bringing a module's stored sections in line with a newly parsed preview. Sections are matched
// by content key: those in both are updated in place (tiles first), those only stored go in one
// delete, those only new are inserted with their tiles. Rows that stay are never re-inserted.
#include <pelmo/TilesModel.h>

#include <algorithm>
#include <utility>

#include "PelmoAPI.h"
#include "PreviewDataUtil.h"
#include "PreviewDataUtilUnit.h"
#include "PreviewKeySets.h"
#include "PreviewRequestText.h"

void CPreviewDataUtil::ComparedDBUpdate(std::string sModuleName, CPreviewAccelerator& oldAccelerator,
                                        CPreviewAccelerator& newAccelerator)
{
    std::sort(oldAccelerator.m_vecSectionHash.begin(), oldAccelerator.m_vecSectionHash.end());
    std::sort(newAccelerator.m_vecSectionHash.begin(), newAccelerator.m_vecSectionHash.end());
    // Common sections first, stale ones next, new ones last; each step runs whatever the
    // previous one achieved.
    UpdateOldSectionItem(sModuleName, oldAccelerator, newAccelerator);
    DeleteExpiredSectionItem(sModuleName, oldAccelerator, newAccelerator);
    CreateNewSectionItem(sModuleName, oldAccelerator, newAccelerator);
}

std::shared_ptr<CPreviewSection> CPreviewDataUtil::FindSection(CPreviewAccelerator& accelerator, uint64_t key)
{
    for (const std::shared_ptr<CPreviewSection>& pSection : accelerator.m_vecSection) {
        if (pSection && pSection->m_hash == key) return pSection;
    }
    return nullptr;
}

void CPreviewDataUtil::UpdateOldSectionItem(std::string sModuleName, CPreviewAccelerator& oldAccelerator,
                                            CPreviewAccelerator& newAccelerator)
{
    using namespace TilesModel::Sections;
    const std::vector<uint64_t> vecCommon =
        PreviewKeySets::InBoth(oldAccelerator.m_vecSectionHash, newAccelerator.m_vecSectionHash);
    PELMO_LOGI("%s:Duplicated sections size:%zu", sModuleName.c_str(), vecCommon.size());

    // A key present twice on both sides visits the same first pair twice: FindSection always
    // returns the first match.
    for (uint64_t key : vecCommon) {
        std::shared_ptr<CPreviewSection> pOldSection = FindSection(oldAccelerator, key);
        std::shared_ptr<CPreviewSection> pNewSection = FindSection(newAccelerator, key);
        if (!pOldSection || !pNewSection) {
            PELMO_LOGE("Error! Not matched");
            continue;
        }
        std::sort(pOldSection->m_vecTileHash.begin(), pOldSection->m_vecTileHash.end());
        std::sort(pNewSection->m_vecTileHash.begin(), pNewSection->m_vecTileHash.end());
        const std::string sSectionRawId = pOldSection->m_mapProperty[_ID].second;
        PELMO_LOGI("[%s]:[%s]", sSectionRawId.c_str(), pOldSection->m_mapProperty[SECTION_TITLE].second.c_str());
        DeleteExpiredTileItem(sModuleName, pOldSection, pNewSection);
        CreateNewTileItem(sModuleName, pOldSection, pNewSection);
        UpdateCommonTileItem(sModuleName, pOldSection, pNewSection);
        UpdateSectionItem(sModuleName, sSectionRawId, pNewSection);
    }
}

void CPreviewDataUtil::DeleteExpiredSectionItem(std::string sModuleName, CPreviewAccelerator& oldAccelerator,
                                                CPreviewAccelerator& newAccelerator)
{
    using namespace TilesModel::Sections;
    const std::vector<uint64_t> vecExpired =
        PreviewKeySets::OnlyIn(oldAccelerator.m_vecSectionHash, newAccelerator.m_vecSectionHash);
    PELMO_LOGI("%s:Expired sections size:%zu", sModuleName.c_str(), vecExpired.size());
    if (vecExpired.empty()) return;

    std::vector<std::string> vecIds;
    for (uint64_t key : vecExpired) {
        for (const std::shared_ptr<CPreviewSection>& pSection : oldAccelerator.m_vecSection) {
            if (!pSection || pSection->m_hash != key) {
                PELMO_LOGE("Error! Not matched");
                continue;
            }
            const std::string& sId = pSection->m_mapProperty[_ID].second;
            // Sections sharing a key are all found on each visit of that key; each row once.
            if (std::find(vecIds.begin(), vecIds.end(), sId) != vecIds.end()) continue;
            vecIds.push_back(sId);
            PELMO_LOGI("[%s]:[%s]", sId.c_str(), pSection->m_mapProperty[SECTION_TITLE].second.c_str());
        }
    }
    if (vecIds.empty()) return;

    // Their tiles are left to the store, which removes a section's tiles with it.
    PT_JSON_IN_PARAM param = PreviewRequestText::IdDeleteRequest(CONTENT_URI, _ID, vecIds);
    if (delete_request(param, sModuleName) == -1) {
        PELMO_LOGE("Error. failed to delete section.");
        for (const std::string& sId : vecIds) PELMO_LOGE("%s ", sId.c_str());
    }
}

void CPreviewDataUtil::CreateNewSectionItem(std::string sModuleName, CPreviewAccelerator& oldAccelerator,
                                            CPreviewAccelerator& newAccelerator)
{
    const std::vector<uint64_t> vecNew =
        PreviewKeySets::OnlyIn(newAccelerator.m_vecSectionHash, oldAccelerator.m_vecSectionHash);
    PELMO_LOGI("%s:New sections size:%zu", sModuleName.c_str(), vecNew.size());

    // The publish has just loaded this module's accelerator, so its row id is not checked.
    const long long llAcceleratorRowId = GetAcceleratorID(sModuleName);
    for (uint64_t key : vecNew) {
        std::shared_ptr<CPreviewSection> pSection = FindSection(newAccelerator, key);
        if (!pSection) {
            PELMO_LOGE("Error! Not matched");
            continue;
        }
        const long long llSectionRowId = CreateSection(llAcceleratorRowId, *pSection, sModuleName);
        PELMO_LOGI("[%lld]:[%s]", llSectionRowId,
                   pSection->m_mapProperty[TilesModel::Sections::SECTION_TITLE].second.c_str());
        CreateTiles(llSectionRowId, *pSection, sModuleName);
    }
}

void CPreviewDataUtil::UpdateSectionItem(std::string sModuleName, std::string sSectionRawId,
                                         const std::shared_ptr<CPreviewSection>& pNewSection)
{
    PELMO_LOGI("");
    Json::Value root;
    root["table_name"] = TilesModel::Sections::CONTENT_URI;
    Json::Value row;
    row["bulk_update_row_id_key"] = sSectionRawId;
    const Json::ArrayIndex nMembers = row.size();
    MakeUpdatedSectionJson(sModuleName, row, pNewSection);
    if (row.size() == nMembers) {
        PELMO_LOGD("no update\n");
        return;
    }
    root["arrayitem"].append(std::move(row));

    PT_JSON_IN_PARAM param = PreviewRequestText::DocumentRequest(TilesModel::Sections::CONTENT_URI, root);
    long long llOut = -1;
    if (update_request_for_bulk_data(param, &llOut, sModuleName) != 0) {
        PELMO_LOGE("Common sections bulk update fail\n");
    } else {
        PELMO_LOGD("section updated\n");
    }
}

void CPreviewDataUtil::MakeUpdatedSectionJson(std::string /*sModuleName*/, Json::Value& row,
                                              const std::shared_ptr<CPreviewSection>& pNewSection)
{
    using namespace TilesModel::Sections;
    if (!pNewSection) return;
    // Present values are written whether they changed or not: the key already says it is the
    // same section, so its columns are simply taken from the new document.
    static const char* const kColumns[] = {
        SECTION_ID,   SECTION_TITLE, SECTION_POSITION, SECTION_TITLE_DISPLAY_MODE, SECTION_SUBTITLE_DISPLAY_MODE,
        SECTION_EXTRA};
    for (const char* sColumn : kColumns) {
        const std::string& sValue = pNewSection->m_mapProperty[sColumn].second;
        if (sValue.empty() || sValue == "null") continue;
        row[sColumn] = sColumn == std::string(SECTION_ID) ? IntegerValidator(sValue) : sValue;
    }
}
