// Requests that change rows: insert, bulk insert, bulk update and delete.
#include <string>

#include "PelmoAPI.h"
#include "PelmoAPIUnit.h"
#include "PelmoBusNames.h"
#include "PelmoGDBusUtil.h"

namespace {
constexpr const char* kStoreBusName = PELMO_STORE_BUS_NAME;

enum class ReplyState { kNone, kRefused, kAccepted };

// One "Call" to the store; the reply's text goes to sOutput. Each request logs its own
// outcome, so that the log line names the request function.
ReplyState SendToStore(const char* sMethod, const std::string& sModule, const std::string& sInput,
                       std::string& sOutput)
{
    GVariant* pReply = CPelmoGDBusUtil::GetInstance()->SendMessageViaDBUS(kStoreBusName, sMethod, sModule, sInput);
    if (pReply == nullptr) return ReplyState::kNone;
    return CPelmoGDBusUtil::GetInstance()->GetDBusData(pReply, sOutput) ? ReplyState::kAccepted
                                                                         : ReplyState::kRefused;
}

// Inserts always ask the framework for the caller's id first; a given module name wins.
std::string ModuleOrAppId(const std::string& sModuleName)
{
    std::string sModule = GetAppID();
    if (!sModuleName.empty()) sModule = sModuleName;
    return sModule;
}
}  // namespace

extern "C" int insert_request(PT_JSON_IN_PARAM& param, long long* row_id, const std::string& module_name)
{
    const std::string sModule = ModuleOrAppId(module_name);
    PELMO_LOGI("TableName: %s, ModuleName: %s,  AppID: %s", param.table_name.c_str(), module_name.c_str(),
               sModule.c_str());
    std::string sOutput;
    switch (SendToStore("insert", sModule, param.data, sOutput)) {
    case ReplyState::kNone:
        PELMO_LOGE("ppOutputData is wrong");
        return -1;
    case ReplyState::kRefused:
        PELMO_LOGE("dbus call fail in insert_request");
        return -1;
    case ReplyState::kAccepted:
        break;
    }
    // A reply that is not a number leaves here as std::invalid_argument: callers rely on it.
    const long long llRowId = std::stoll(sOutput);
    if (llRowId == -1) {
        PELMO_LOGE("insert_request failed");
        return -1;
    }
    *row_id = llRowId;
    PELMO_LOGI("Insertion successful, Last inserted row id [%lld]", llRowId);
    return 0;
}

extern "C" int insert_request_for_bulk_data(PT_JSON_IN_PARAM& param, long long* row_id,
                                            const std::string& module_name)
{
    const std::string sModule = ModuleOrAppId(module_name);
    PELMO_LOGI("TableName: %s, ModuleName: %s,  AppID: %s", param.table_name.c_str(), module_name.c_str(),
               sModule.c_str());
    std::string sOutput;
    switch (SendToStore("insert_bulk", sModule, param.data, sOutput)) {
    case ReplyState::kNone:
        PELMO_LOGE("ppOutputData is wrong");
        return -1;
    case ReplyState::kRefused:
        PELMO_LOGE("dbus call fail in insert_request_for_bulk_data");
        return -1;
    case ReplyState::kAccepted:
        break;
    }
    const long long llRowId = std::stoll(sOutput);
    if (llRowId == -1) {
        PELMO_LOGE("insert_request_for_bulk_data failed");
        return -1;
    }
    *row_id = llRowId;
    PELMO_LOGI("Insertion successful, Last inserted row id [%lld]", llRowId);
    return 0;
}

extern "C" int update_request_for_bulk_data(PT_JSON_IN_PARAM& param, long long* out_value,
                                            const std::string& module_name)
{
    // Updates ask for the caller's id only when no module is given.
    std::string sModule = module_name;
    if (sModule.empty()) sModule = GetAppID();
    PELMO_LOGI("TableName: %s, ModuleName: %s,  AppID: %s", param.table_name.c_str(), module_name.c_str(),
               sModule.c_str());
    std::string sOutput;
    switch (SendToStore("update", sModule, param.data, sOutput)) {
    case ReplyState::kNone:
        PELMO_LOGE("ppOutputData is wrong");
        return -1;
    case ReplyState::kRefused:
        PELMO_LOGE("dbus call fail in update_request_for_bulk_data");
        return -1;
    case ReplyState::kAccepted:
        break;
    }
    // An update yields no row id.
    *out_value = -1;
    return 0;
}

extern "C" int delete_request(PT_JSON_IN_PARAM& param, const std::string& module_name)
{
    const std::string sModule = ModuleOrAppId(module_name);
    PELMO_LOGI("TableName: %s, ModuleName: %s,  AppID: %s", param.table_name.c_str(), module_name.c_str(),
               sModule.c_str());
    Json::Value object;
    PT_JSON_IN_PARAM copy = param;
    const std::string sEnvelope = CreateInputJsonStr(object, copy);
    if (sEnvelope.empty()) {
        PELMO_LOGE("input json is wrong");
        return -1;
    }
    std::string sOutput;
    switch (SendToStore("delete", sModule, sEnvelope, sOutput)) {
    case ReplyState::kNone:
        PELMO_LOGE("ppOutputData is wrong");
        return -1;
    case ReplyState::kRefused:
        PELMO_LOGE("dbus call fail in delete_request");
        return -1;
    case ReplyState::kAccepted:
        break;
    }
    return 0;
}
