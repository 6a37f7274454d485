// Command line of the store service.
#pragma once

#include <string>

struct CServiceOptions {
    std::string sDatabase = ":memory:";
    std::string sLogFile;        // empty: standard error
    int iResultTtlSeconds = 30;  // unclaimed select results are removed after this long
};

// Fills `options` from argv; false with a one-line reason (or an empty one for --help).
bool ParseServiceOptions(int argc, char** argv, CServiceOptions& options, std::string& sError);
const char* ServiceUsage();
