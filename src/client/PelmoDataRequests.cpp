// Requests that change rows: insert, bulk insert, bulk update and delete.
#include <string>

#include "PelmoAPI.h"
#include "PelmoGDBusUtil.h"
#include "PelmoLog.h"

namespace {
constexpr const char* kStoreBusName = "org.orvik.Feltrix.dbus";
}  // namespace

extern "C" int insert_request(PT_JSON_IN_PARAM& param, long long* row_id, const std::string& module_name)
{
    std::string sModule = GetAppID();
    if (!module_name.empty()) sModule = module_name;
    PELMO_LOGI("TableName: %s, ModuleName: %s,  AppID: %s", param.table_name.c_str(), module_name.c_str(),
               sModule.c_str());

    GVariant* pReply = CPelmoGDBusUtil::GetInstance()->SendMessageViaDBUS(kStoreBusName, "insert", sModule, param.data);
    if (pReply == nullptr) {
        PELMO_LOGE("ppOutputData is wrong");
        return -1;
    }
    std::string sOutput;
    if (!CPelmoGDBusUtil::GetInstance()->GetDBusData(pReply, sOutput)) {
        PELMO_LOGE("dbus call fail in insert_request");
        return -1;
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
    std::string sModule = GetAppID();
    if (!module_name.empty()) sModule = module_name;
    PELMO_LOGI("TableName: %s, ModuleName: %s,  AppID: %s", param.table_name.c_str(), module_name.c_str(),
               sModule.c_str());

    GVariant* pReply =
        CPelmoGDBusUtil::GetInstance()->SendMessageViaDBUS(kStoreBusName, "insert_bulk", sModule, param.data);
    if (pReply == nullptr) {
        PELMO_LOGE("ppOutputData is wrong");
        return -1;
    }
    std::string sOutput;
    if (!CPelmoGDBusUtil::GetInstance()->GetDBusData(pReply, sOutput)) {
        PELMO_LOGE("dbus call fail in insert_request_for_bulk_data");
        return -1;
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
    std::string sModule = module_name;
    if (sModule.empty()) sModule = GetAppID();
    PELMO_LOGI("TableName: %s, ModuleName: %s,  AppID: %s", param.table_name.c_str(), module_name.c_str(),
               sModule.c_str());

    GVariant* pReply = CPelmoGDBusUtil::GetInstance()->SendMessageViaDBUS(kStoreBusName, "update", sModule, param.data);
    if (pReply == nullptr) {
        PELMO_LOGE("ppOutputData is wrong");
        return -1;
    }
    std::string sOutput;
    if (!CPelmoGDBusUtil::GetInstance()->GetDBusData(pReply, sOutput)) {
        PELMO_LOGE("dbus call fail in update_request_for_bulk_data");
        return -1;
    }
    // An update yields no row id.
    *out_value = -1;
    return 0;
}

extern "C" int delete_request(PT_JSON_IN_PARAM& param, const std::string& module_name)
{
    std::string sModule = GetAppID();
    if (!module_name.empty()) sModule = module_name;
    PELMO_LOGI("TableName: %s, ModuleName: %s,  AppID: %s", param.table_name.c_str(), module_name.c_str(),
               sModule.c_str());

    Json::Value object;
    PT_JSON_IN_PARAM copy = param;
    const std::string sEnvelope = CreateInputJsonStr(object, copy);
    if (sEnvelope.empty()) {
        PELMO_LOGE("input json is wrong");
        return -1;
    }
    GVariant* pReply = CPelmoGDBusUtil::GetInstance()->SendMessageViaDBUS(kStoreBusName, "delete", sModule, sEnvelope);
    if (pReply == nullptr) {
        PELMO_LOGE("ppOutputData is wrong");
        return -1;
    }
    std::string sOutput;
    if (!CPelmoGDBusUtil::GetInstance()->GetDBusData(pReply, sOutput)) {
        PELMO_LOGE("dbus call fail in delete_request");
        return -1;
    }
    return 0;
}
