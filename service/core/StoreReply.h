// The answer to one store request, as the bus glue sends it back, plus what the log line needs.
#pragma once

#include <string>

struct CStoreReply {
    bool bResult = false;
    // On success the method's output; otherwise a one-line reason.
    std::string sOutput;
    // Rows inserted, updated, deleted (of the named table) or selected.
    long long llRows = 0;
    // Time spent handling the request, in milliseconds.
    double dMillis = 0.0;
};
