// The private host store a benchmark runs against: a bus and the reference service on a
// database in a fresh folder under PELMO_BENCH_DIR (default /tmp; /dev/shm keeps it off the
// disk), with the service's request log beside it.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "HostStore.h"
#include "PelmoAPI.h"

namespace BenchStore {

// Starts `store`; on failure says why on standard error under the benchmark's name.
inline bool Start(const char* sBench, CHostStore& store, CHostStoreOptions& options)
{
    const char* sRoot = getenv("PELMO_BENCH_DIR");
    std::string sTemplate = std::string(sRoot ? sRoot : "/tmp") + "/" + sBench + ".XXXXXX";
    if (mkdtemp(&sTemplate[0]) == nullptr) {
        std::fprintf(stderr, "%s: cannot make a folder under %s\n", sBench, sRoot ? sRoot : "/tmp");
        return false;
    }
    // PELMO_BENCH_SERVICE runs another service program in its place, such as a script that
    // starts the service under valgrind to see where its memory goes.
    const char* sService = getenv("PELMO_BENCH_SERVICE");
    options.sServicePath = sService != nullptr && *sService != '\0' ? sService : PELMO_SERVICE_PATH;
    options.sDatabase = sTemplate + "/store.db";
    options.sLogFile = sTemplate + "/requests.log";
    std::string sError;
    if (!store.Start(options, sError)) {
        std::fprintf(stderr, "%s: %s\n", sBench, sError.c_str());
        return false;
    }
    return true;
}

// The folder that Start made.
inline std::string Folder(const CHostStoreOptions& options)
{
    return options.sDatabase.substr(0, options.sDatabase.rfind('/'));
}

// Removes the database and the request log that Start put in the folder (the store must be
// stopped); the folder itself goes when `bFolderToo`.
inline void RemoveFiles(const CHostStoreOptions& options, bool bFolderToo)
{
    const std::string sDir = Folder(options);
    for (const char* sName : {"/store.db", "/store.db-wal", "/store.db-shm", "/requests.log"}) {
        unlink((sDir + sName).c_str());
    }
    if (bFolderToo) rmdir(sDir.c_str());
}

// Registers sModule (its accelerator row) as an app does before its first publish.
inline bool RegisterModule(const std::string& sModule, const std::string& sTitle)
{
    PT_JSON_IN_PARAM accelerator;
    accelerator.data =
        "{\"table_name\":\"content://org.orvik.pelmo/accelerators\",\"accelerator_title\":\"" + sTitle + "\"}";
    long long llRowId = -1;
    return insert_request(accelerator, &llRowId, sModule) == 0;
}

}  // namespace BenchStore
