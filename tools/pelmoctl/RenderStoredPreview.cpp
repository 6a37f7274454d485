#include "RenderStoredPreview.h"

#include <exception>

#include "PelmoAPI.h"

namespace {

// Rows the module has in a table, or -1 when the store could not be asked.
int CountModuleRows(const std::string& sTable, const std::string& sModule)
{
    PT_CONSUMER_SELECT_IN_PARAM in;
    in.table_name = sTable;
    in.column_list = {"_id"};
    PT_CONSUMER_SELECT_OUT_PARAM out;
    if (!select_request(in, out, sModule) || !out.cursor) return -1;
    return out.cursor->GetRowCount();
}

}  // namespace

EStoredPreview ReadStoredPreview(const std::string& sModule, Json::Value& preview)
{
    // Looked at before the read-back, which also starts the package's preview scheduler: a
    // module that is not there should not get one started on its behalf.
    const int iAccelerators = CountModuleRows("content://org.orvik.pelmo/accelerators", sModule);
    if (iAccelerators < 0) return EStoredPreview::kStoreUnreachable;
    if (iAccelerators == 0) return EStoredPreview::kNotRegistered;
    const int iSections = CountModuleRows("content://org.orvik.pelmo/sections", sModule);
    if (iSections < 0) return EStoredPreview::kStoreUnreachable;
    if (iSections == 0) return EStoredPreview::kNothingStored;

    std::string sText;
    try {
        char* pText = get_preview_metadata(sModule.c_str());
        if (pText == nullptr) return EStoredPreview::kUnreadable;
        sText = pText;
        finalize_json_bytes(pText);
    } catch (const std::exception&) {
        // A stored value that does not convert to its JSON type ends the read-back.
        return EStoredPreview::kUnreadable;
    }
    Json::Value root;
    Json::Reader reader;
    if (sText.empty() || !reader.parse(sText, root, false) || !root.isObject()) return EStoredPreview::kUnreadable;
    if (!root["sections"].isArray() || root["sections"].empty()) return EStoredPreview::kNothingStored;
    preview = root;
    return EStoredPreview::kFound;
}
