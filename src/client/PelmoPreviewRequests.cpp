// The preview entry points: publish a preview document, withdraw it, read the stored one back.
#include <pelmo/TilesModel.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "PelmoAPI.h"
#include "PelmoAPIInternal.h"
#include "PelmoAPIUnit.h"
#include "PreviewAccelerator.h"
#include "PreviewDataUtil.h"

extern "C" int set_preview_metadata(const char* json_str, const char* module_name)
{
    // The module name is turned into a string first; a null pointer for either raises the
    // standard library's logic error, which callers of this entry point rely on seeing.
    std::string sModuleName(module_name);
    std::string sJsonStr(json_str);
    return update_json_str_to_preview_db(sJsonStr, sModuleName);
}

extern "C" int update_json_str_to_preview_db(std::string& sJsonStr, std::string& sModuleName)
{
    PELMO_LOGI("sModuleName : %s, sJsonStr : %s", sModuleName.c_str(), sJsonStr.c_str());
    if (sModuleName.empty()) {
        PELMO_LOGE("ERROR: module name is empty");
        return 0;
    }
    CPreviewDataUtil util;
    if (sJsonStr == "{}") {
        // The application withdraws its preview: its sections and tiles go, its accelerator stays.
        PELMO_LOGD("json str is '{}'.");
        util.DeleteAcceleratorItem(sModuleName);
        sendCompleteEvent(sModuleName);
        return 1;
    }

    CPreviewAccelerator newAccelerator;
    auto it = newAccelerator.m_mapProperty.find(TilesInternalModel::Accelerators::ACCELERATOR_APP_PKG_NAME);
    if (it != newAccelerator.m_mapProperty.end()) {
        it->second = PropertyValue{JSON_VALUE_STRING, sModuleName};
    }
    if (!util.GetPreviewDataUsingJsonStr(sJsonStr, newAccelerator, sModuleName)) {
        PELMO_LOGE("ERROR, GetPreviewDataUsingJsonStr failed. [%s]", sModuleName.c_str());
        return 0;
    }

    CPreviewAccelerator storedAccelerator;
    if (!util.GetMetaDataFromDB(sModuleName, storedAccelerator)) {
        // A store that cannot be read back is wiped rather than patched.
        PELMO_LOGE("ERROR, CGetMetaDataFromDB failed. Clear all tiles of %s", sModuleName.c_str());
        if (!util.DeleteAcceleratorItem(sModuleName)) {
            PELMO_LOGE("ERROR, DeleteAcceleratorItem(%s) failed. return ", sModuleName.c_str());
        }
        return 0;
    }
    util.ComparedDBUpdate(sModuleName, storedAccelerator, newAccelerator);
    sendCompleteEvent(sModuleName);
    PELMO_LOGI("update_json_str_to_preview_db finished");
    return 1;
}

extern "C" char* get_preview_metadata(const char* pkg_name)
{
    PELMO_LOGI("pkgName : %s", pkg_name != nullptr ? pkg_name : "(null)");
    start_preview_scheduler(pkg_name);
    CPreviewDataUtil util;
    const std::string sJson = util.GetMetaDataByJson(std::string(pkg_name));
    char* pBlock = strdup(sJson.c_str());
    if (pBlock == nullptr) return nullptr;
    PELMO_LOGI("json : %s", pBlock);
    return pBlock;
}
