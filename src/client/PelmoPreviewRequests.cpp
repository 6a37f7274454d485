// The preview entry points: publish a preview document, withdraw it, read the stored one back.
#include <pelmo/TilesModel.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include "PelmoAPI.h"
#include "PelmoAPIInternal.h"
#include "PelmoAPIUnit.h"
#include "PreviewAccelerator.h"
#include "PreviewDataUtil.h"
#include "PreviewDocumentRead.h"

namespace {
namespace PreviewEntry {
// The publish over the caller's text as it is: a copy of a document this size, and its free,
// cost more than reading a tile of it. Named like the entry point whose log lines it writes.
int update_json_str_to_preview_db(const char* pJson, size_t uLength, const std::string& sModuleName)
{
    PELMO_LOGI("sModuleName : %s, sJsonStr : %s", sModuleName.c_str(), pJson);
    if (sModuleName.empty()) {
        PELMO_LOGE("ERROR: module name is empty");
        return 0;
    }
    CPreviewDataUtil util;
    if (std::string_view(pJson, uLength) == "{}") {
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
    if (!PreviewDocumentRead::GetPreviewDataUsingJsonStr(util, pJson, uLength, newAccelerator, sModuleName)) {
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
}  // namespace PreviewEntry
}  // namespace

extern "C" int set_preview_metadata(const char* json_str, const char* module_name)
{
    // The module name is turned into a string first; a null pointer for either raises the
    // standard library's logic error, which callers of this entry point rely on seeing. The
    // document itself is read where it is: only a null one is made a string, so that the error
    // is the library's own, text included.
    std::string sModuleName(module_name);
    if (json_str == nullptr) {
        static_cast<void>(std::string(json_str));
        // Reached only with a standard library that checks with an error of another type.
        throw std::logic_error("set_preview_metadata: the document is a null pointer");
    }
    return PreviewEntry::update_json_str_to_preview_db(json_str, std::strlen(json_str), sModuleName);
}

extern "C" int update_json_str_to_preview_db(std::string& sJsonStr, std::string& sModuleName)
{
    return PreviewEntry::update_json_str_to_preview_db(sJsonStr.c_str(), sJsonStr.size(), sModuleName);
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
