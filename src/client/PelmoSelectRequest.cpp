// The read request: the store runs the query and leaves the rows in shared memory; the reply
// only names that memory, which the store library opens as a cursor.
#include <pelmo/ISharedQueryObject.h>

#include <exception>
#include <string>

#include "PelmoAPI.h"
#include "PelmoAPIUnit.h"
#include "PelmoBusNames.h"
#include "PelmoGDBusUtil.h"

extern "C" bool select_request(PT_CONSUMER_SELECT_IN_PARAM& in, PT_CONSUMER_SELECT_OUT_PARAM& out,
                               const std::string& module_name)
{
    // The caller's app id is asked for only when no module is given.
    std::string sModule = module_name;
    if (sModule.empty()) sModule = GetAppID();
    PELMO_LOGI("TableName: %s, ModuleName: %s,  AppID: %s", in.table_name.c_str(), module_name.c_str(),
               sModule.c_str());

    // Callers rely on a condition without arguments being a successful no-op; they test the
    // cursor before use.
    if (in.where_args.empty() && !in.where.empty()) {
        PELMO_LOGE("Invalid where_args.");
        return true;
    }

    Json::Value object;
    object["module_name"] = sModule;
    object["order"] = in.order;
    for (const std::string& sColumn : in.column_list) {
        object["column_list"].append(sColumn);
    }
    PT_JSON_IN_PARAM param;
    param.table_name = in.table_name;
    param.data = in.where;
    param.where_args = in.where_args;
    param.group_by = in.group_by;
    const std::string sInput = CreateInputJsonStr(object, param);
    if (sInput.empty()) {
        PELMO_LOGE("input json is wrong");
        return false;
    }

    GVariant* pReply =
        CPelmoGDBusUtil::GetInstance()->SendMessageViaDBUS(PELMO_STORE_BUS_NAME, "select", sModule, sInput);
    if (pReply == nullptr) {
        PELMO_LOGE("ppOutputData is wrong");
        return false;
    }
    std::string sOutput;
    if (!CPelmoGDBusUtil::GetInstance()->GetDBusData(pReply, sOutput)) {
        PELMO_LOGE("dbus call fail in select_request");
        return false;
    }

    try {
        // A reply that is not JSON leaves the members missing; the size conversion below then
        // fails and reports it.
        Json::Value root;
        Json::Reader reader;
        reader.parse(sOutput, root, true);

        const std::string sKey = root["key"].asString();
        PELMO_LOGD("SQL Key %s", sKey.c_str());
        const int iMemorySize = std::stoi(root["memory_size"].asString());
        PELMO_LOGD("Memory size %d", iMemorySize);
        const std::string sReqId = root["req_id"].asString();
        PELMO_LOGD("Response ID %s", sReqId.c_str());

        out.cursor = ISharedQueryObject::GetCursor(sKey, iMemorySize);
        if (!out.cursor) {
            PELMO_LOGE("CSharedQueryObject::GetCursor() failed.");
            return false;
        }
        out.req_id = sReqId;
        return true;
    } catch (const std::exception& e) {
        PELMO_LOGE("Error in json parsing: %s", e.what());
    }
    return false;
}
