// One thing `pelmoctl validate` has to say about a document, and the options it judges by.
#pragma once

#include <string>
#include <vector>

// Kinds of finding; each is printed after its message so that scripts can select them.
namespace ValidateKind {
inline constexpr const char* ROOT = "root";              // the document is not an object
inline constexpr const char* VALUE_KIND = "value-kind";  // a value of this JSON kind fails the publish
inline constexpr const char* TILE_LIMIT = "tile-limit";  // more tiles than the module may publish
inline constexpr const char* NOT_A_LIST = "not-a-list";  // sections or tiles given as something else
inline constexpr const char* SKIPPED = "skipped";        // a value the reader passes over
inline constexpr const char* UNKNOWN_MEMBER = "unknown-member";
inline constexpr const char* SHARED_KEY = "shared-key";  // same content key as an earlier item
inline constexpr const char* WINDOW_REVERSED = "window-reversed";
inline constexpr const char* WINDOW_OVER = "window-over";
inline constexpr const char* NOT_A_TIME = "not-a-time";            // a display time that is not whole seconds
inline constexpr const char* INTEGER_CHANGED = "integer-changed";  // a number an integer column changes
inline constexpr const char* TILE_RECREATED = "tile-recreated";    // a display period the tile key cannot find again
inline constexpr const char* READ_BACK_EMPTY = "read-back-empty";  // an integer the read-back cannot write
inline constexpr const char* REFUSED = "refused";                  // the reader refuses it for a reason not named above
inline constexpr const char* REQUEST_SIZE = "request-size";        // a request near or over the bus's message size
inline constexpr const char* NOT_UTF8 = "not-utf8";                // a text the store cannot hold as written
inline constexpr const char* QUOTA = "quota";                      // near or over what the store holds of a module
}  // namespace ValidateKind

struct PT_VALIDATE_FINDING {
    bool bError = false;
    std::string sPath;  // JSON path of the value, "$" for the document itself
    int iLine = 0;      // line where the value starts, 0 when the text gives none
    int iColumn = 0;    // column the finding points at; 0: where the value the path names starts
    std::string sKind;  // one of ValidateKind
    std::string sMessage;
};

struct PT_VALIDATE_OPTIONS {
    // The module whose rules apply (tile limit, content keys); "" for an ordinary module.
    std::string sModuleName;
    // Display windows are judged against this time, in seconds since 1970.
    long long llNow = 0;
    // The largest message the bus carries (requests near it are warned about); 0: not checked.
    long long llMaxMessage = 0;
};

struct PT_VALIDATE_RESULT {
    // False when the text cannot be checked at all (not JSON); sUnusable says why in one line.
    bool bUsable = true;
    std::string sUnusable;
    std::vector<PT_VALIDATE_FINDING> vecFinding;
    // The verdict of the library's own reader on the whole document.
    bool bReaderAccepts = false;

    int ErrorCount() const;
    int WarningCount() const;
};
