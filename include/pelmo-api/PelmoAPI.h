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

// How to read the functions below. Every function logs through the platform log with the tag
// "pelmo-api", each line prefixed with its source position; the messages named here are the
// texts after that prefix, logged at error priority unless said otherwise. Functions that take a
// module name act for that module when it is not empty, and for the calling application
// (GetAppID) when it is. No function keeps a pointer or reference to its arguments after it
// returns. Calls from several threads may be in flight at once.
//
// Exceptions: the functions do not throw for a failure of the bus, the store or a document;
// those are results and log lines. Three cases do leave as exceptions, and callers must be
// prepared for them:
//   - insert_request and insert_request_for_bulk_data, when the store accepts the insert but its
//     reply is not a number: std::invalid_argument (std::out_of_range for a number beyond 64
//     bits), from the conversion of the reply;
//   - set_preview_metadata with a null pointer for either argument: std::logic_error, from
//     making a string of it (the module name is converted first, so nothing is logged or sent);
//   - get_preview_metadata with a null package name: std::logic_error, after the scheduler
//     request (which logs "Package name cannot be empty" and sends nothing).
// Out of memory (std::bad_alloc) may leave any of them.

// The calling application's id from the application framework. On failure logs "Issue in
// getting AppID" and returns an empty string. Never throws but for lack of memory.
PELMO_API std::string GetAppID();
// Sets object's "table_name", "where" (param.data) and "group_by" members and appends
// param.where_args to "where_args" (left out when there are none); members already in object
// stay. Returns the object's styled JSON text. Returns "" and logs "Error in json: <reason>"
// when a text in the envelope is not UTF-8 without NUL characters, or the JSON library fails.
PELMO_API std::string CreateInputJsonStr(Json::Value& object, PT_JSON_IN_PARAM& param);

extern "C" {
// Inserts one row: sends param.data as it stands (the caller's JSON body names the table and
// the columns; param.table_name serves the log only). Returns 0 and stores the new row's id
// through row_id. Returns -1 and leaves row_id alone when the store cannot be reached ("ppOutputData
// is wrong"), refuses the insert ("dbus call fail in insert_request") or answers -1
// ("insert_request failed"). Throws when an accepted insert's reply is not a number (see above).
PELMO_API int insert_request(PT_JSON_IN_PARAM& param, long long* row_id, const std::string& module_name);
// Inserts many rows in one request, as insert_request; row_id receives the id of the last row
// inserted. Failure messages name insert_request_for_bulk_data. Throws as insert_request.
PELMO_API int insert_request_for_bulk_data(PT_JSON_IN_PARAM& param, long long* row_id,
                                           const std::string& module_name);
// Updates rows: sends param.data as it stands. Returns 0 and stores -1 through out_value (an
// update yields no row id). Returns -1 and leaves out_value alone when the store cannot be
// reached ("ppOutputData is wrong") or refuses the update ("dbus call fail in
// update_request_for_bulk_data").
PELMO_API int update_request_for_bulk_data(PT_JSON_IN_PARAM& param, long long* out_value,
                                           const std::string& module_name);
// Deletes the rows of param.table_name that match the condition param.data with its
// param.where_args, sent as a request envelope (CreateInputJsonStr). Returns 0 on success;
// -1 when the envelope cannot be made ("input json is wrong", nothing is sent), the store cannot
// be reached ("ppOutputData is wrong") or refuses the delete ("dbus call fail in delete_request").
PELMO_API int delete_request(PT_JSON_IN_PARAM& param, const std::string& module_name);
// Releases a text the library handed out (get_preview_metadata). Logs the pointer at info
// priority; null is allowed and only logged.
PELMO_API void finalize_json_bytes(char* buffer);
// Runs a select; on success out.cursor reads the result rows and out.req_id names the result.
// Returns true with no cursor, sending nothing, when the condition is not empty but has no
// arguments ("Invalid where_args."): test out.cursor before use. Returns false when the envelope
// cannot be made ("input json is wrong"), the store cannot be reached ("ppOutputData is
// wrong"), refuses the select ("dbus call fail in select_request"), its reply cannot be read
// ("Error in json parsing: <reason>") or the result cannot be opened
// ("CSharedQueryObject::GetCursor() failed.").
PELMO_API bool select_request(PT_CONSUMER_SELECT_IN_PARAM& in, PT_CONSUMER_SELECT_OUT_PARAM& out,
                              const std::string& module_name);

// Ask the store to start or stop its preview scheduler for a package, on behalf of the calling
// application. True when the store accepted. False on a null package name ("Package name cannot
// be empty", nothing is sent), when the store cannot be reached ("ppOutputData is wrong"), or
// when it refuses.
PELMO_API bool start_preview_scheduler(const char* package_name);
PELMO_API bool stop_preview_scheduler(const char* package_name);
// Asks the provider to end a service application. Only the platform's home application may:
// for any other caller logs "No permission.(appid : <caller>)", sends nothing and returns false.
// True when the provider accepted; false when it cannot be reached ("ppOutputData is wrong") or
// refuses.
PELMO_API bool terminate_service_app(const std::string& app_id, const std::string& pid);

// Publishes a module's preview document. Returns what update_json_str_to_preview_db returns for
// the two texts. Throws std::logic_error for a null pointer (see above).
PELMO_API int set_preview_metadata(const char* json_str, const char* module_name);
// Publishes a module's preview document: makes the store hold exactly the document's sections
// and tiles, sending only the requests that differ, then tells the store the module's preview
// changed. The text "{}" exactly withdraws the preview (its sections and tiles are deleted, its
// accelerator row stays). Returns 1 on success, also when single requests of the
// synchronisation failed (they are logged). Returns 0, with the store untouched, for an empty
// module name ("ERROR: module name is empty") or a document that is refused ("ERROR,
// GetPreviewDataUsingJsonStr failed. [<module>]", after the parser's own reason). Returns 0
// when the module's stored preview cannot be loaded (no accelerator row registered for it, or
// the store cannot be reached): "ERROR, CGetMetaDataFromDB failed. Clear all tiles of
// <module>", the module's stored sections and tiles are then deleted, the document is not
// written and no change is announced.
PELMO_API int update_json_str_to_preview_db(std::string& sJsonStr, std::string& sModuleName);
// The module's stored preview as one JSON text, after asking the store to start its preview
// scheduler for the package (whatever that answers). The text is the caller's, to be released
// with finalize_json_bytes. It is "" when the stored preview cannot be loaded (the reason is
// logged); null only when no memory is left for the copy. Throws std::logic_error for a null
// package name (see above).
PELMO_API char* get_preview_metadata(const char* pkg_name);
}
