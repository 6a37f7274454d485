// Feeds arbitrary text to the preview document reader, under one of the module names whose
// rules differ. The first byte picks the module; the rest is the document.
#include <cstddef>
#include <cstdint>
#include <string>

#include <dlog_host.h>
#include <json/json.h>

#include "PreviewAccelerator.h"
#include "PreviewDataUtil.h"
#include <pelmo/TilesModel.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const char* kModules[] = {"org.example.app", "org.orvik.plinth-app", "com.quenor.tv.Skyvane",
                                     "ambrel", "ambrel_foryou", "ambrel_banner", "com.example.livetv_news",
                                     "K3vQ8nWz1P"};
    static const bool bQuiet = [] {
        setenv("PELMO_LOG_LEVEL", "none", 1);
        dlog_host_reload_level();
        return true;
    }();
    (void)bQuiet;
    if (size == 0) return 0;
    const std::string sModule = kModules[data[0] % (sizeof kModules / sizeof kModules[0])];
    const std::string sDocument(reinterpret_cast<const char*>(data + 1), size - 1);
    CPreviewAccelerator accelerator;
    accelerator.m_mapProperty[TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME] = {JSON_VALUE_STRING,
                                                                                            sModule};
    CPreviewDataUtil util;
    const bool bOk = util.GetPreviewDataUsingJsonStr(sDocument, accelerator, sModule);
    if (bOk) {
        // A read document always carries one key per section and per tile.
        if (accelerator.m_vecSection.size() != accelerator.m_vecSectionHash.size()) __builtin_trap();
        for (const auto& pSection : accelerator.m_vecSection) {
            if (pSection->m_vecTile.size() != pSection->m_vecTileHash.size()) __builtin_trap();
            // Every tile's public extra is one JSON object that carries both defaults' members.
            for (const auto& pTile : pSection->m_vecTile) {
                const auto it = pTile->m_mapProperty.find(TilesModel::Tiles::TILE_ACTION_PRE_PLAY);
                if (it == pTile->m_mapProperty.end()) __builtin_trap();
                Json::Value extra;
                if (!Json::Reader().parse(it->second.second, extra, false) || !extra.isObject() ||
                    !extra.isMember("is_resumable") || !extra.isMember("video_url")) {
                    __builtin_trap();
                }
            }
        }
    }
    return 0;
}
