// Who sent a request, as the bus vouches for it: the daemon asks the bus for the sender's
// credentials; tests and the fuzzer make one up. Small and copyable, so that whatever runs a
// request (the main loop or a worker) can carry it along with the request.
#pragma once

#include <sys/types.h>

#include <string>

struct PT_CALLER_IDENTITY {
    uid_t uUid = 0;
    pid_t iPid = 0;  // 0 when unknown; only for the log and the tooling
    // The sender's unique bus name (":1.42"): tells two connections of one user apart, so that
    // the store can notice two of them publishing one module at once. Empty when not known.
    std::string sConnection;
};
