// Creating and removing a module's stored section and tile rows. The accelerator row is never
// written here: it exists before the module publishes and outlives a withdrawn preview.
#include <pelmo/TilesModel.h>

#include "PelmoAPI.h"
#include "PreviewDataUtil.h"
#include "PreviewDataUtilUnit.h"
#include "PreviewRequestText.h"

long long CPreviewDataUtil::GetAcceleratorID(std::string sModuleName)
{
    PELMO_LOGI("");
    PT_CONSUMER_SELECT_IN_PARAM in;
    in.table_name = TilesModel::Accelerators::CONTENT_URI;
    in.where = std::string(TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME) + " = ?";
    in.where_args.push_back(sModuleName);
    in.column_list.push_back(TilesModel::Accelerators::_ID);
    PT_CONSUMER_SELECT_OUT_PARAM out;
    if (!select_request(in, out, sModuleName)) {
        PELMO_LOGE("ERROR, select_request() failed.");
        return -1;
    }
    long long llRowId = -1;
    if (!out.cursor) return llRowId;
    // Should a module have several accelerator rows, the last one delivered is taken.
    while (out.cursor->MoveNext() == 0) out.cursor->GetInt64(0, llRowId);
    return llRowId;
}

bool CPreviewDataUtil::AddAcceleratorItem(CPreviewAccelerator& accelerator, std::string sModuleName)
{
    PELMO_LOGI("");
    const long long llAcceleratorRowId = GetAcceleratorID(sModuleName);
    if (llAcceleratorRowId < 0) {
        PELMO_LOGE("GetAcceleratorId() Failed. Check your accelerator item in DB.");
        return false;
    }
    const std::vector<std::shared_ptr<CPreviewSection>> vecSection = accelerator.m_vecSection;
    if (vecSection.empty()) return true;
    for (const std::shared_ptr<CPreviewSection>& pSection : vecSection) {
        if (!pSection) continue;
        const long long llSectionRowId = CreateSection(llAcceleratorRowId, *pSection, sModuleName);
        if (llSectionRowId < 0) {
            PELMO_LOGE("ERROR. Cannot find the section.");
            continue;
        }
        CreateTiles(llSectionRowId, *pSection, sModuleName);
    }
    return true;
}

long long CPreviewDataUtil::CreateSection(long long llAcceleratorRowId, CPreviewSection& section,
                                          std::string sModuleName)
{
    PELMO_LOGI("");
    const std::string sAcceleratorRawId = std::to_string(llAcceleratorRowId);
    PELMO_LOGD("accID : %s", sAcceleratorRawId.c_str());

    // Every value goes out as text, whatever its type: the store converts per column.
    Json::Value row;
    row["table_name"] = TilesModel::Sections::CONTENT_URI;
    row[TilesModel::Sections::SECTION_ACCELERATOR_RAW_ID] = sAcceleratorRawId;
    for (const auto& property : section.m_mapProperty) {
        if (property.second.second.empty()) continue;
        row[property.first] = property.second.second;
        PELMO_LOGD("Key [%s],Value [%s] added in Insert JSON", property.first.c_str(), property.second.second.c_str());
    }

    PT_JSON_IN_PARAM param = PreviewRequestText::DocumentRequest(TilesModel::Sections::CONTENT_URI, row);
    long long llSectionRowId = -1;
    if (insert_request(param, &llSectionRowId, sModuleName) != 0) {
        PELMO_LOGE("ERROR. insert_request() failed.");
    }
    return llSectionRowId;
}

void CPreviewDataUtil::CreateTiles(long long llSectionRowId, CPreviewSection& section, std::string sModuleName)
{
    CreateTiles(std::to_string(llSectionRowId), section, sModuleName);
}

void CPreviewDataUtil::CreateTiles(std::string sSectionRawId, CPreviewSection& section, std::string sModuleName)
{
    CreateTiles(sSectionRawId, section.m_vecTile, sModuleName);
}

bool CPreviewDataUtil::DeleteAcceleratorItem(std::string sModuleName)
{
    PELMO_LOGI("");
    // No condition: every row of the module's table goes. Tiles first, so that no tile is left
    // pointing at a removed section.
    PT_JSON_IN_PARAM tiles;
    tiles.table_name = TilesModel::Tiles::CONTENT_URI;
    if (delete_request(tiles, sModuleName) == -1) {
        PELMO_LOGE("Error. failed to delete tiles.");
        return false;
    }
    PT_JSON_IN_PARAM sections;
    sections.table_name = TilesModel::Sections::CONTENT_URI;
    if (delete_request(sections, sModuleName) == -1) {
        PELMO_LOGE("Error. failed to delete section.");
        return false;
    }
    return true;
}
