// A store request handler over a fresh database, with helpers that send requests as the
// library does and read back what the store holds.
#pragma once

#include <gtest/gtest.h>
#include <json/json.h>
#include <stdlib.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "MemoryResultPublisher.h"
#include "StoreDatabase.h"
#include "StoreRequestHandler.h"

namespace StoreUris {
inline const std::string kAccelerators = "content://org.orvik.pelmo/accelerators";
inline const std::string kSections = "content://org.orvik.pelmo/sections";
inline const std::string kTiles = "content://org.orvik.pelmo/tiles";
}  // namespace StoreUris

// A fresh folder under /tmp for a database file, removed with everything in it.
class CTempDir {
public:
    CTempDir()
    {
        char sTemplate[] = "/tmp/pelmo-store-test-XXXXXX";
        const char* pDir = mkdtemp(sTemplate);
        if (pDir != nullptr) m_sPath = pDir;
    }
    ~CTempDir()
    {
        if (!m_sPath.empty()) std::system(("rm -rf '" + m_sPath + "'").c_str());
    }
    const std::string& Path() const { return m_sPath; }

private:
    std::string m_sPath;
};

std::string ToText(const Json::Value& value);
// A tile row of the section, as insert takes it.
Json::Value TileRow(long long llSection, const std::string& sTitle);
// An update of one row of the table as the library's update sends it: the row named by its id,
// the given columns set.
Json::Value UpdateOfOneRow(const std::string& sUri, long long llRowId,
                           std::initializer_list<std::pair<const char*, Json::Value>> columns);
// A store answer's JSON text; fails the test when it is not JSON.
Json::Value ParseJsonText(const std::string& sText);

// Callers as the bus would name them: an ordinary application's user (every module the tests
// register is theirs unless a test says otherwise), another user, and root.
inline PT_CALLER_IDENTITY MakeCaller(uid_t uUid, pid_t iPid)
{
    PT_CALLER_IDENTITY caller;
    caller.uUid = uUid;
    caller.iPid = iPid;
    return caller;
}
inline PT_CALLER_IDENTITY AppCaller()
{
    return MakeCaller(1000, 4242);
}
inline PT_CALLER_IDENTITY OtherUserCaller()
{
    return MakeCaller(1001, 4343);
}
inline PT_CALLER_IDENTITY RootCaller()
{
    return MakeCaller(0, 1);
}

// Row counts of the three tables, all modules together.
struct CRowCounts {
    long long llAccelerators = -1;
    long long llSections = -1;
    long long llTiles = -1;
    bool operator==(const CRowCounts& other) const
    {
        return llAccelerators == other.llAccelerators && llSections == other.llSections && llTiles == other.llTiles;
    }
};
std::ostream& operator<<(std::ostream& stream, const CRowCounts& counts);

// A handler on a connection of its own to a database file, serving beside others that share one
// state, as the daemon's workers do.
struct CWorkerHandler {
    bool Open(const std::string& sPath, const std::shared_ptr<CStoreSharedState>& pShared, std::string& sError)
    {
        if (!database.Open(sPath, sError)) return false;
        database.SetWriteLock(&pShared->writeLock);
        pHandler = std::make_unique<CStoreRequestHandler>(database, results, pShared);
        return true;
    }
    CStoreDatabase database;
    CMemoryResultPublisher results;
    std::unique_ptr<CStoreRequestHandler> pHandler;
};

class CStoreFixture : public ::testing::Test {
protected:
    void SetUp() override { Open(":memory:"); }
    void Open(const std::string& sPath);

    CStoreReply Call(const std::string& sMethod, const std::string& sModule, const Json::Value& input);
    CStoreReply CallText(const std::string& sMethod, const std::string& sModule, const std::string& sInput);

    // Inserts and returns the new row id; fails the test when the store refuses.
    long long AddAccelerator(const std::string& sModule, const std::string& sTitle = "Accel");
    long long AddSection(const std::string& sModule, long long llAccelerator, const std::string& sTitle = "Section");
    long long AddTile(const std::string& sModule, long long llSection, const std::string& sTitle = "Tile");

public:
    // The envelope of a select or delete.
    static Json::Value Envelope(const std::string& sUri, const std::string& sWhere = "",
                                std::initializer_list<std::string> listArgs = {});

protected:
    // Runs a select; the published table, or null when the store refused (reason in sReason).
    const CResultTable* Select(const std::string& sModule, const Json::Value& envelope, std::string* pReason = nullptr);

    CRowCounts Counts();

    // Who sends the requests: an ordinary application's user unless a test says otherwise.
    PT_CALLER_IDENTITY m_caller = AppCaller();

    std::unique_ptr<CStoreDatabase> m_pDatabase;
    CMemoryResultPublisher m_publisher;
    std::unique_ptr<CStoreRequestHandler> m_pHandler;
};
