// Shared pieces of the request interface: the caller's app id, the request envelope, and the
// release function for texts the library hands out.
#include "PelmoAPI.h"

#include <app_common.h>
#include <glib.h>

#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <vector>

#include "PelmoAPIUnit.h"
#include "PreviewStyledText.h"

namespace {
// The JSON writer would write a text that is not UTF-8 with replacement characters, so that the
// store would see another condition or argument than the caller gave; such an envelope is not
// made at all. The error names the member ("where_args[1]", "a.b"); the path is only spelled
// out for that message, since every request's envelope goes through here.
class CEnvelopeCheck {
public:
    void Check(const Json::Value& value)
    {
        if (value.isString()) {
            const char* pBegin = nullptr;
            const char* pEnd = nullptr;
            value.getString(&pBegin, &pEnd);
            const gchar* pBad = nullptr;
            if (pBegin != nullptr && !g_utf8_validate_len(pBegin, static_cast<gssize>(pEnd - pBegin), &pBad)) {
                throw std::invalid_argument(Path() + " is not valid UTF-8 text without NUL (byte " +
                                            std::to_string(pBad - pBegin) + ")");
            }
        } else if (value.isArray()) {
            for (Json::ArrayIndex i = 0; i < value.size(); ++i) {
                m_vecPath.push_back({nullptr, 0, i});
                Check(value[i]);
                m_vecPath.pop_back();
            }
        } else if (value.isObject()) {
            for (auto it = value.begin(); it != value.end(); ++it) {
                const char* pEnd = nullptr;
                const char* pName = it.memberName(&pEnd);
                const size_t uLength = pName != nullptr ? static_cast<size_t>(pEnd - pName) : 0;
                if (pName != nullptr && !g_utf8_validate_len(pName, static_cast<gssize>(uLength), nullptr)) {
                    throw std::invalid_argument("a member name is not valid UTF-8 text");
                }
                m_vecPath.push_back({pName, uLength, 0});
                Check(*it);
                m_vecPath.pop_back();
            }
        }
    }

private:
    struct PT_STEP {
        const char* pName;  // a member's name, or null for an array element
        size_t uLength;
        Json::ArrayIndex uIndex;
    };
    std::string Path() const
    {
        std::string sPath;
        for (const PT_STEP& step : m_vecPath) {
            if (step.pName == nullptr) {
                sPath += "[" + std::to_string(step.uIndex) + "]";
            } else {
                if (!sPath.empty()) sPath += '.';
                sPath.append(step.pName, step.uLength);
            }
        }
        return sPath;
    }
    std::vector<PT_STEP> m_vecPath;
};
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
        CEnvelopeCheck().Check(object);
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
