// The answer to one store request, as the bus glue sends it back, plus what the log line and
// the request journal need.
#pragma once

#include <map>
#include <string>

// Rows one request changed in one table.
struct CRowChanges {
    long long llInserted = 0;
    long long llUpdated = 0;
    long long llDeleted = 0;
};

struct CStoreReply {
    bool bResult = false;
    // On success the method's output; otherwise a one-line reason.
    std::string sOutput;
    // Rows inserted, updated, deleted (of the named table) or selected.
    long long llRows = 0;
    // Time spent handling the request, in milliseconds.
    double dMillis = 0.0;
    // The table the request named (its SQLite name); empty when it named none.
    std::string sTable;
    // Rows changed per table (SQLite name), the children a delete took along included. Empty
    // for a refused request, which changes nothing.
    std::map<std::string, CRowChanges> mapChanges;
    // Refused because the module belongs to another user: kept out of the module's journal, so
    // that another user can neither fill it nor learn from it.
    bool bForeignModule = false;
};
