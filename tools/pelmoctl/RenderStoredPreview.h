// What the store holds for one module, read for drawing: first only looked at (is the module
// registered, has it anything stored), then read back as get_preview_metadata gives it.
#pragma once

#include <json/json.h>

#include <string>

enum class EStoredPreview {
    kFound,           // `preview` holds the stored tree
    kStoreUnreachable,
    kNotRegistered,   // no accelerator row for the module
    kNothingStored,   // registered, but no section stored
    kUnreadable,      // the read-back failed or was not a preview
};

// Reads only: the two looks are selects, and the read-back is the library's own.
EStoredPreview ReadStoredPreview(const std::string& sModule, Json::Value& preview);
