// Shared pieces of the request interface: the caller's app id, the request envelope, and the
// release function for texts the library hands out.
#include "PelmoAPI.h"

#include <app_common.h>

#include <cstdlib>
#include <exception>

#include "PelmoAPIUnit.h"

std::string GetAppID()
{
    char* sAppId = nullptr;
    if (app_get_id(&sAppId) == APP_ERROR_NONE && sAppId != nullptr) {
        PELMO_LOGD("AppID : %s", sAppId);
        std::string sResult = sAppId;
        free(sAppId);
        return sResult;
    }
    PELMO_LOGE("Issue in getting AppID");
    return std::string();
}

std::string CreateInputJsonStr(Json::Value& object, PT_JSON_IN_PARAM& param)
{
    try {
        object["table_name"] = param.table_name;
        object["where"] = param.data;
        object["group_by"] = param.group_by;
        for (const std::string& sArg : param.where_args) {
            object["where_args"].append(sArg);
        }
        Json::StyledWriter writer;
        return writer.write(object);
    } catch (const std::exception& e) {
        PELMO_LOGE("Error in json: %s", e.what());
    }
    return std::string();
}

extern "C" void finalize_json_bytes(char* buffer)
{
    PELMO_LOGI("finalized adress : %p", static_cast<void*>(buffer));
    if (buffer != nullptr) free(buffer);
}
