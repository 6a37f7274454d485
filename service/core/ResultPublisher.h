// Where the handler hands a select result: the service puts it in shared memory for the
// client's cursor; tests and the fuzzer keep it in memory.
#pragma once

#include <pelmo/SharedResult.h>

#include <string>

#include "CallerIdentity.h"

// Results published and not yet opened by their readers, with the caps on them. All zero for a
// publisher that keeps nothing waiting.
struct CResultSpace {
    long long llModuleCount = 0;
    long long llModuleBytes = 0;
    long long llTotalCount = 0;
    long long llTotalBytes = 0;
    long long llModuleCountLimit = 0;
    long long llModuleBytesLimit = 0;
    long long llTotalCountLimit = 0;
    long long llTotalBytesLimit = 0;
    long long llShmBytes = 0;  // size of the file system the results live in (0: unknown)
    long long llRefused = 0;   // selects refused for want of result space since the start
    long long llEvicted = 0;   // unclaimed results removed early to make room for others
};

class IResultPublisher {
public:
    virtual ~IResultPublisher() = default;
    // Makes the table available under a new, unguessable key, on behalf of sModule, to `reader`
    // (and root) only; llSize is the byte size the client maps. False, with a one-line reason,
    // when it cannot (e.g. the module's share of the result space is used up). May be called
    // from several handlers at once.
    virtual bool Publish(const std::string& sModule, const CResultTable& table, const PT_CALLER_IDENTITY& reader,
                         std::string& sKey, long long& llSize, std::string& sError) = 0;
    // What is waiting, for sModule and in all, and the caps.
    virtual CResultSpace Space(const std::string& /*sModule*/) const { return CResultSpace(); }
};
