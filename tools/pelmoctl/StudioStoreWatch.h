// What `pelmoctl studio` knows of the store: every registered module, its rows as the page
// draws them, and what the last change did, found by asking the service's "modules" method a
// few times a second and reading only the modules whose last change moved. Each look yields
// the events the page needs to follow; nothing here knows about HTTP.
#pragma once

#include <json/json.h>

#include <map>
#include <string>
#include <vector>

#include "StoreCommandSupport.h"

struct PT_STUDIO_EVENT {
    std::string sName;  // "order", "module", "gone" or "store"
    Json::Value data;
};

class CStudioStoreWatch {
public:
    explicit CStudioStoreWatch(const StoreCommand::CLibraryLog& log) : m_log(log) {}

    // One look at the store; appends the events that bring a page up to date. A store that
    // cannot be reached is one "store" event when it starts or stops being reachable.
    void Poll(std::vector<PT_STUDIO_EVENT>& vecEvents);
    // Everything a page that connects now needs: the order, then each module.
    std::vector<PT_STUDIO_EVENT> Snapshot() const;
    // The store's availability as last seen, for the "store" event.
    Json::Value StoreState() const;
    // What the details panel shows of one tile, as of the last look; null when the module has
    // no tile of that row id.
    Json::Value TileDetails(const std::string& sModule, const std::string& sRowId) const;

private:
    struct CModule {
        Json::Value listing;  // the module's entry of the "modules" answer at the last read
        Json::Value event;    // the last "module" event sent for it
        Json::Value details;  // tile row id -> what the details panel shows of it
        // As at the end of the last completed publish: marks say what changed since then, also
        // when the page was sent a state in the middle of the publish.
        Json::Value baseListing;
        std::map<std::string, Json::Value> mapBaseWrittenBy;  // tile row id -> the request that last wrote it
        std::map<std::string, Json::Value> mapBaseColumns;    // tile row id -> its stored columns
    };

    // Reads the module again; bChanged tells whether the page needs to hear of it.
    // bForeignWrite: another process wrote the database, which no journal tells of.
    bool Refresh(const Json::Value& listing, CModule& module, bool bFirstSight, bool bForeignWrite, bool& bChanged,
                 std::string& sError);
    // Sections and tiles of a module, as stored, in the nesting the page draws.
    bool ReadRows(const std::string& sModule, Json::Value& tree, std::string& sError);

    const StoreCommand::CLibraryLog& m_log;
    std::map<std::string, CModule> m_mapModule;
    // A module's listing that moved at the last look without a completed publish: read once
    // it holds still for one look, so that a page sees whole publishes, not their middle.
    std::map<std::string, Json::Value> m_mapMoving;
    std::vector<std::string> m_vecOrder;
    long long m_llOutsideCommits = -1;
    bool m_bReachable = false;
    bool m_bEverPolled = false;
    std::string m_sStoreError;
};
