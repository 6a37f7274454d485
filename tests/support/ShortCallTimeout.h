// The library's call timeout shortened for the life of the object, the shipped one again
// afterwards. For test programs that link the internal library, where the setter lives.
#pragma once

#include "PelmoCallTimeout.h"

// Long enough for any answer of a running service on a loaded machine, short enough that a
// test of a silent service takes a fraction of a second per request.
constexpr int kShortCallTimeoutMs = 200;

class CShortCallTimeout {
public:
    CShortCallTimeout() { PelmoSetCallTimeoutMs(kShortCallTimeoutMs); }
    ~CShortCallTimeout() { PelmoSetCallTimeoutMs(0); }
    CShortCallTimeout(const CShortCallTimeout&) = delete;
    CShortCallTimeout& operator=(const CShortCallTimeout&) = delete;
};
