// Writing the stored preview out as JSON, nested like the document an application pushes.
#include <utility>
#include <pelmo/TilesModel.h>

#include <exception>
#include <string>

#include "PreviewDataUtilUnit.h"
#include "PreviewDataUtil.h"

namespace {
constexpr const char* kPublicExtra = "public_extra";
// What a tile without stored extras shows: the members the parser always puts there.
constexpr const char* kDefaultPublicExtra = "{\"video_url\":\"\",\"is_resumable\":false}";
}  // namespace

void CPreviewDataUtil::SetPropertyInJson(Json::Value& object, const std::string& sName, const PropertyValue& value)
{
    PELMO_LOGD("iValueType : %d, sValue : %s", value.first, value.second.c_str());
    switch (value.first) {
    case JSON_VALUE_BOOL:
        object[sName] = m_mapStringToBool[value.second];
        break;
    case JSON_VALUE_INT:
    case JSON_VALUE_UINT:
        // Readers of the document take every integer as a signed 32-bit value; a wider stored
        // value throws here rather than being written in a form they cannot read.
        object[sName] = std::stoi(value.second);
        break;
    case JSON_VALUE_DOUBLE:
        object[sName] = std::stod(value.second);
        break;
    case JSON_VALUE_STRING:
        object[sName] = value.second;
        break;
    default:
        PELMO_LOGE("ERROR, Invalid Value Type.");
        return;
    }
}

void CPreviewDataUtil::SetComponentsInJson(Json::Value& object, const PropertyMap& mapProperty)
{
    for (const auto& entry : mapProperty) {
        // The tile's extras travel in the pre-play column; they go back under their document name.
        const std::string sName =
            entry.first == TilesModel::Tiles::TILE_ACTION_PRE_PLAY ? std::string(kPublicExtra) : entry.first;
        if (entry.second.first != JSON_VALUE_NONE && !entry.second.second.empty()) {
            SetPropertyInJson(object, sName, entry.second);
        } else if (sName == kPublicExtra) {
            SetPropertyInJson(object, sName, PropertyValue{JSON_VALUE_STRING, kDefaultPublicExtra});
        }
    }
}

std::string CPreviewDataUtil::GetMetaDataByJson(const std::string& sModuleName)
{
    PELMO_LOGI("");
    CPreviewAccelerator accelerator;
    PropertyValue& package = accelerator.m_mapProperty[TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME];
    package.first = JSON_VALUE_STRING;
    package.second = sModuleName;

    if (!GetAcceleratorItems(sModuleName, accelerator)) {
        PELMO_LOGE("ERROR, GetAcceleratorItems() failed.");
        return "";
    }
    const std::string sAcceleratorRawID = accelerator.m_mapProperty[TilesModel::Accelerators::_ID].second;
    if (sAcceleratorRawID.empty()) {
        PELMO_LOGE("ERROR, sAcceleratorRawID is empty.");
        return "";
    }
    if (!GetSectionItems(sModuleName, sAcceleratorRawID, accelerator)) {
        PELMO_LOGE("ERROR, GetSectionItems() failed.");
        return "";
    }
    for (const std::shared_ptr<CPreviewSection>& section : accelerator.m_vecSection) {
        const std::string sSectionRawID = section->m_mapProperty[TilesModel::Sections::_ID].second;
        if (sSectionRawID.empty()) continue;
        if (!GetTileItems(sModuleName, sSectionRawID, section)) {
            PELMO_LOGE("ERROR, GetTilesItems() failed.");
            return "";
        }
    }

    // A stored number that the document's types cannot carry (wider than 32 bits, say) fails
    // the whole export: callers get no text rather than a partial tree, and no exception ever
    // leaves the library.
    try {
        return WriteMetaData(accelerator);
    } catch (const std::exception& e) {
        PELMO_LOGE("ERROR, metadata cannot be written as JSON: %s", e.what());
    }
    return "";
}

std::string CPreviewDataUtil::WriteMetaData(CPreviewAccelerator& accelerator)
{
    Json::Value root(Json::objectValue);
    SetComponentsInJson(root, accelerator.m_mapProperty);
    Json::Value sections(Json::arrayValue);
    for (const std::shared_ptr<CPreviewSection>& section : accelerator.m_vecSection) {
        Json::Value sectionObject(Json::objectValue);
        SetComponentsInJson(sectionObject, section->m_mapProperty);
        Json::Value tiles(Json::arrayValue);
        for (const std::shared_ptr<CPreviewTile>& tile : section->m_vecTile) {
            Json::Value tileObject(Json::objectValue);
            SetComponentsInJson(tileObject, tile->m_mapProperty);
            tiles.append(std::move(tileObject));
        }
        if (!tiles.empty()) sectionObject["tiles"] = std::move(tiles);
        sections.append(std::move(sectionObject));
    }
    if (!sections.empty()) root["sections"] = std::move(sections);
    return Json::StyledWriter().write(root);
}
