// The library's exported request interface.
#pragma once

#include <json/json.h>
#include <pelmo/ISQLiteCursor.h>

#include <memory>
#include <string>
#include <vector>

#include "PelmoExport.h"

// A data request: the target table (a store content URI), the body or row condition, the
// condition's arguments and an optional grouping.
typedef struct {
    std::string table_name;
    std::string data;
    std::vector<std::string> where_args;
    std::string group_by;
} PT_JSON_IN_PARAM;

// A select: the table (a store content URI), the row condition with its arguments, the order,
// the columns to return (all when empty) and an optional grouping.
typedef struct {
    std::string table_name;
    std::string where;
    std::vector<std::string> where_args;
    std::string order;
    std::vector<std::string> column_list;
    std::string group_by;
} PT_CONSUMER_SELECT_IN_PARAM;

// What a select hands back: the store's request id and a cursor over the result rows, which the
// caller shares and releases by dropping it.
typedef struct {
    std::string req_id;
    std::shared_ptr<ISQLiteCursor> cursor;
} PT_CONSUMER_SELECT_OUT_PARAM;

// The calling application's id, or an empty string when the framework cannot tell.
PELMO_API std::string GetAppID();
// Adds the request envelope members to `object` and returns its styled text, or "" on error.
PELMO_API std::string CreateInputJsonStr(Json::Value& object, PT_JSON_IN_PARAM& param);

extern "C" {
PELMO_API int insert_request(PT_JSON_IN_PARAM& param, long long* row_id, const std::string& module_name);
PELMO_API int insert_request_for_bulk_data(PT_JSON_IN_PARAM& param, long long* row_id,
                                           const std::string& module_name);
PELMO_API int update_request_for_bulk_data(PT_JSON_IN_PARAM& param, long long* out_value,
                                           const std::string& module_name);
PELMO_API int delete_request(PT_JSON_IN_PARAM& param, const std::string& module_name);
PELMO_API void finalize_json_bytes(char* buffer);
PELMO_API bool select_request(PT_CONSUMER_SELECT_IN_PARAM& in, PT_CONSUMER_SELECT_OUT_PARAM& out,
                              const std::string& module_name);

PELMO_API bool start_preview_scheduler(const char* package_name);
PELMO_API bool stop_preview_scheduler(const char* package_name);
PELMO_API bool terminate_service_app(const std::string& app_id, const std::string& pid);

// Publishes a module's preview document ("{}" withdraws it): 1 on success, 0 on failure.
PELMO_API int set_preview_metadata(const char* json_str, const char* module_name);
PELMO_API int update_json_str_to_preview_db(std::string& sJsonStr, std::string& sModuleName);
// The module's stored preview as JSON text, to be released with finalize_json_bytes; null on
// allocation failure.
PELMO_API char* get_preview_metadata(const char* pkg_name);
}
