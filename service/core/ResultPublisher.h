// Where the handler hands a select result: the service puts it in shared memory for the
// client's cursor; tests and the fuzzer keep it in memory.
#pragma once

#include <pelmo/SharedResult.h>

#include <string>

class IResultPublisher {
public:
    virtual ~IResultPublisher() = default;
    // Makes the table available under a new key; llSize is the byte size the client maps.
    // False, with a one-line reason, when it cannot.
    virtual bool Publish(const CResultTable& table, std::string& sKey, long long& llSize, std::string& sError) = 0;
};
