// What the request handlers of one service share when several of them, each on its own
// database connection, serve requests side by side: the in-memory records of requests, the
// request counter, the condition of the store's disk and the lock that puts writes in a row.
// The records are guarded by `mutex`; a handler holds it only while it reads or writes them.
#pragma once

#include <ctime>
#include <mutex>
#include <string>

#include "ModuleActivity.h"
#include "OutsideWrites.h"
#include "PublishOverlap.h"
#include "RequestJournal.h"
#include "WriteTurns.h"

// Whether the database could grow the last time a request needed it to.
struct CStorageCondition {
    bool bFull = false;            // the last write failed for want of space or for an I/O error
    std::string sReason;           // that failure's reason, while bFull
    std::time_t tSince = 0;        // when the store became full (0: it is not)
    std::time_t tLastFailure = 0;  // the last such failure since the service started (0: none)
    long long llFailures = 0;      // requests refused so since the service started
};

struct CStoreSharedState {
    std::mutex mutex;
    CModuleActivity activity;
    CRequestJournal journal;
    CPublishOverlap overlap;
    CStorageCondition storage;
    long long llRequestId = 0;
    // Taken by every write transaction of every handler (see CStoreDatabase::SetWriteLock).
    CWriteTurns writeLock;
    // Commits to the database file that no handler of this service made.
    COutsideWrites outsideWrites;
};
