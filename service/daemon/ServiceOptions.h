// Command line of the store service.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <set>
#include <string>

#include "ModuleQuota.h"

struct CServiceOptions {
    std::string sDatabase = ":memory:";
    std::string sLogFile;                 // empty: standard error
    int iResultTtlSeconds = 30;           // unclaimed select results are removed after this long
    int iWorkers = 4;                     // threads serving requests (one for an in-memory database)
    std::string sBusConfig;               // the bus's configuration file; empty: the system bus's files
    long long llResultSpace = 0;          // total bytes of unclaimed results; 0: from the size of /dev/shm
    std::set<uid_t> setPlatformService;   // users besides root that may act for every module
    PT_MODULE_QUOTA quota;                // how much one module may hold
    std::chrono::milliseconds budget{0};  // each request's time; 0: the handler's default
};

// Fills `options` from argv; false with a one-line reason (or an empty one for --help).
bool ParseServiceOptions(int argc, char** argv, CServiceOptions& options, std::string& sError);
const char* ServiceUsage();
