// Command line of the store service.
#pragma once

#include <sys/types.h>

#include <set>
#include <string>

struct CServiceOptions {
    std::string sDatabase = ":memory:";
    std::string sLogFile;        // empty: standard error
    int iResultTtlSeconds = 30;  // unclaimed select results are removed after this long
    std::set<uid_t> setPlatformService;  // users besides root that may act for every module
};

// Fills `options` from argv; false with a one-line reason (or an empty one for --help).
bool ParseServiceOptions(int argc, char** argv, CServiceOptions& options, std::string& sError);
const char* ServiceUsage();
