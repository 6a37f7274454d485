// Reading a preview document into the model.
#include <pelmo/TilesModel.h>

#include <cinttypes>
#include <cstdlib>
#include <exception>
#include <sstream>

#include "PreviewDataUtil.h"
#include "PreviewDataUtilUnit.h"
#include "PreviewModuleRules.h"

bool CPreviewDataUtil::GetPreviewDataUsingJsonStr(std::string sJsonStr, CPreviewAccelerator& accelerator,
                                                  std::string sModuleName)
{
    PELMO_LOGI("sJsonStr : %s", sJsonStr.c_str());
    try {
        Json::Reader reader;
        Json::Value root;
        if (!reader.parse(sJsonStr, root, true)) {
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
            GetSectionsByJson(accelerator, section, iTileCount);
        }
        PELMO_LOGI("Total tiles count: %d", iTileCount);
        const int iLimit = GetTileLimit(sModuleName);
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

void CPreviewDataUtil::GetTilesByJson(CPreviewAccelerator& accelerator, const Json::Value& tile)
{
    using namespace TilesModel::Tiles;
    // The tile's columns, taken once from a default tile: building a reference tile per tile
    // cost more than the rest of the tile's reading.
    static const PropertyMap reference = CPreviewTile().m_mapProperty;
    // Names compared for every member of every tile, as strings so that a comparison starts
    // with the lengths.
    static const std::string kTitle = TILE_TITLE, kSubtitle = TILE_SUBTITLE, kImageUrl = TILE_IMAGE_URL,
                             kActionData = "action_data", kDisplayFrom = TILE_DISPLAY_FROM,
                             kDisplayUntil = TILE_DISPLAY_UNTIL, kActionPlay = TILE_ACTION_PLAY,
                             kPublicExtra = "public_extra", kSourceIcon = "source_icon",
                             kModuleKey = TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME;
    Json::Value publicExtra;
    std::string sTitle, sSubtitle, sImageUrl, sAction, sDisplayFrom, sDisplayUntil, sSkyvaneAction;
    const std::string& sModule = accelerator.m_mapProperty[kModuleKey].second;
    const bool bSkyvane = PreviewModuleRules::PlayColumnIsPartOfTheKey(sModule);

    // Object iteration visits members in ascending byte order of their names.
    for (auto it = tile.begin(); it != tile.end(); ++it) {
        const Json::Value& value = *it;
        if (value.isObject()) continue;
        const std::string sName = it.name();
        if (sName == kTitle) {
            sTitle = value.asString();
        } else if (sName == kSubtitle) {
            sSubtitle = value.asString();
        } else if (sName == kImageUrl) {
            sImageUrl = value.asString();
        } else if (sName == kActionData) {
            sAction = value.asString();
        } else if (sName == kDisplayFrom) {
            sDisplayFrom = value.asString();
        } else if (sName == kDisplayUntil) {
            sDisplayUntil = value.asString();
        }
        if (bSkyvane && sName == kActionPlay) sSkyvaneAction = value.asString();

        if (sName == kPublicExtra || sName == kActionData || sName == kSourceIcon ||
            reference.find(sName) != reference.end()) {
            GetPropertyByJson(accelerator, sName, value, 0);
        } else {
            PELMO_LOGD("key(%s) is expended", sName.c_str());
            publicExtra[sName] = value;
        }
    }

    try {
        if (publicExtra["is_resumable"].isNull()) publicExtra["is_resumable"] = false;
        if (publicExtra["video_url"].isNull()) publicExtra["video_url"] = "";
        Json::FastWriter writer;
        const std::string sPublicExtra = writer.write(publicExtra);
        PELMO_LOGD("Public extra data: (%s)", sPublicExtra.c_str());
        accelerator.AddProperty("public_extra", JSON_VALUE_STRING, sPublicExtra, 0);
    } catch (const std::exception&) {
        PELMO_LOGE("Exception Caught");
    }

    // For that app the tile's action is its play column, not its action data.
    if (bSkyvane) sAction = sSkyvaneAction;

    if (accelerator.m_vecSection.empty() || !accelerator.m_vecSection.back()) return;
    std::shared_ptr<CPreviewSection> pSection = accelerator.m_vecSection.back();
    if (pSection->m_vecTile.empty() || !pSection->m_vecTile.back()) return;

    if (PreviewModuleRules::DisplayPeriodIsPartOfTheKey(sModule)) sAction += sDisplayFrom + sDisplayUntil;
    const uint64_t hash = CalcTileHash(sTitle, sSubtitle, sImageUrl, sAction);
    PELMO_LOGD("Hash:[%" PRIu64 "]\ntitle:[%s]\nsubtitle:[%s]\nimageUrl:[%s]\nactionPlayUrl:[%s]", hash,
               sTitle.c_str(), sSubtitle.c_str(), sImageUrl.c_str(), sAction.c_str());
    pSection->m_vecTile.back()->m_hash = hash;
    pSection->m_vecTileHash.push_back(hash);
}

void CPreviewDataUtil::GetPropertyByJson(CPreviewAccelerator& accelerator, const std::string& sKey,
                                         const Json::Value& value, int iDepth)
{
    int iType;
    std::string sText;
    if (value.isNull()) {
        return;
    } else if (value.isBool()) {
        iType = JSON_VALUE_BOOL;
        sText = m_mapBoolToString[value.asBool()];
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
        sText = value.asString();
    } else {
        iType = JSON_VALUE_NONE;
    }
    PELMO_LOGD("key : %s, value : %s", sKey.c_str(), sText.c_str());
    accelerator.AddProperty(sKey, iType, sText, iDepth);
}

std::string CPreviewDataUtil::IntegerValidator(std::string sValue)
{
    // The 64-bit conversion on every target: where long has 32 bits, strtol would clamp a
    // display time after 2038 (or any id past 2147483647) to 2147483647.
    const long long llValue = std::strtoll(sValue.c_str(), nullptr, 10);
    std::string sResult = std::to_string(llValue);
    if (sResult.empty()) sResult = "0";
    return sResult;
}
