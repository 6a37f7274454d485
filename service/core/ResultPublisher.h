// Where the handler hands a select result: the service puts it in shared memory for the
// client's cursor; tests and the fuzzer keep it in memory.
#pragma once

#include <pelmo/SharedResult.h>

#include <string>

#include "CallerIdentity.h"

class IResultPublisher {
public:
    virtual ~IResultPublisher() = default;
    // Makes the table available under a new, unguessable key to `reader` (and root) only;
    // llSize is the byte size the client maps. False, with a one-line reason, when it cannot.
    virtual bool Publish(const CResultTable& table, const PT_CALLER_IDENTITY& reader, std::string& sKey,
                         long long& llSize, std::string& sError) = 0;
};
