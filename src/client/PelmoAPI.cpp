// Shared pieces of the request interface: the caller's app id, the request envelope, and the
// release function for texts the library hands out.
#include "PelmoAPI.h"

#include <app_common.h>

#include <cstdlib>
#include <exception>
#include <stdexcept>

#include "PelmoAPIUnit.h"
#include "PreviewStyledText.h"
#include "SendableText.h"

namespace {
// The JSON writer would write a text that is not UTF-8 with replacement characters, so that the
// store would see another condition or argument than the caller gave; such an envelope is not
// made at all. sPath names the member for the error line.
void CheckEnvelopeTexts(const Json::Value& value, const std::string& sPath)
{
    size_t uOffset = 0;
    if (value.isString()) {
        if (!IsSendableText(value.asString(), uOffset)) {
            throw std::invalid_argument(sPath + " is not valid UTF-8 text without NUL (byte " +
                                        std::to_string(uOffset) + ")");
        }
    } else if (value.isArray()) {
        for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
            CheckEnvelopeTexts(value[i], sPath + "[" + std::to_string(i) + "]");
        }
    } else if (value.isObject()) {
        for (const std::string& sName : value.getMemberNames()) {
            if (!IsSendableText(sName, uOffset)) throw std::invalid_argument("a member name is not valid UTF-8 text");
            CheckEnvelopeTexts(value[sName], sPath.empty() ? sName : sPath + "." + sName);
        }
    }
}
}  // namespace

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
        CheckEnvelopeTexts(object, "");
        // Every request carries one envelope; written without the library's styled writer,
        // which cost more than the rest of a select's own work, in exactly its layout.
        return PreviewStyledText::Write(object);
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
