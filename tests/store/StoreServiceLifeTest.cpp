// The store's life: clean stops, crashes that lose nothing committed, results nobody claims,
// and the split between the store manager and the provider name.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "EventWait.h"
#include "StoreFixture.h"

namespace {
const std::string kTiles = "content://org.orvik.pelmo/tiles";

struct CRawReply {
    bool bReplied = false;
    bool bResult = false;
    std::string sOutput;
};

CRawReply RawCall(const std::string& sBusName, const std::string& sMethod, const std::string& sPackage,
                  const std::string& sInput)
{
    CRawReply reply;
    GVariant* pReply = CPelmoGDBusUtil::GetInstance()->SendMessageViaDBUS(sBusName, sMethod, sPackage, sInput);
    reply.bReplied = pReply != nullptr;
    reply.bResult = CPelmoGDBusUtil::GetInstance()->GetDBusData(pReply, reply.sOutput);
    return reply;
}

bool ShmExists(const std::string& sKey)
{
    struct stat st;
    return stat(("/dev/shm" + sKey).c_str(), &st) == 0;
}
}  // namespace

TEST_F(StoreTest, ServiceStopsCleanlyOnSigterm)
{
    ASSERT_GT(AddModuleWithSection("m"), 0);
    const int iStatus = m_store.StopService();
    ASSERT_TRUE(WIFEXITED(iStatus)) << iStatus;
    EXPECT_EQ(WEXITSTATUS(iStatus), 0);
    EXPECT_NE(ReadRequestLog().find("stopping"), std::string::npos);
}

TEST_F(StoreTest, ResultsNobodyOpensAreRemovedAfterTheirTime)
{
    m_store.StopService();
    CPelmoGDBusUtil::ReleaseInstance();
    m_options.vecExtraArgs = {"--result-ttl", "1"};
    std::string sError;
    // Same bus, same database, now with a short life for results.
    CHostStore store;
    ASSERT_TRUE(store.Start(m_options, sError)) << sError;
    const CRawReply reply =
        RawCall("org.orvik.Feltrix.dbus", "select", "m",
                "{\"table_name\":\"" + kTiles + "\",\"where\":\"\",\"group_by\":\"\",\"order\":\"\"}");
    ASSERT_TRUE(reply.bResult) << reply.sOutput;
    Json::Value root;
    ASSERT_TRUE(Json::Reader().parse(reply.sOutput, root));
    const std::string sKey = root["key"].asString();
    ASSERT_TRUE(ShmExists(sKey)) << sKey;
    // The store removes it once its second is up; the deadline only guards against a store
    // that never does.
    EXPECT_TRUE(WaitForPath("/dev/shm" + sKey, false, 10000)) << sKey << " is still there";
    CPelmoGDBusUtil::ReleaseInstance();
}

TEST_F(StoreTest, ProviderNameServesOnlyTerminateAndStoreNameNeverTerminates)
{
    const CRawReply provider = RawCall("org.orvik.pelmo_provider.dbus", "terminate_service", "app", "1");
    EXPECT_TRUE(provider.bResult) << provider.sOutput;
    const CRawReply wrongPlace = RawCall("org.orvik.Feltrix.dbus", "terminate_service", "app", "1");
    EXPECT_TRUE(wrongPlace.bReplied);
    EXPECT_FALSE(wrongPlace.bResult);
    EXPECT_FALSE(wrongPlace.sOutput.empty());
    const CRawReply dataAtProvider = RawCall("org.orvik.pelmo_provider.dbus", "send_sync", "app", " ");
    EXPECT_FALSE(dataAtProvider.bResult);
    const CRawReply unknown = RawCall("org.orvik.Feltrix.dbus", "no_such_method", "app", "");
    EXPECT_TRUE(unknown.bReplied);
    EXPECT_FALSE(unknown.bResult);
    EXPECT_NE(unknown.sOutput.find("no_such_method"), std::string::npos) << unknown.sOutput;
}

TEST_F(StoreTest, KillDuringBulkInsertsLosesNoCommittedRow)
{
    const long long llSection = AddModuleWithSection("m");
    ASSERT_GT(llSection, 0);
    std::string sBatch = "{\"table_name\":\"" + kTiles + "\",\"arrayitem\":[";
    for (int i = 0; i < 50; ++i) {
        sBatch += std::string(i ? "," : "") + "{\"tile_title\":\"t\",\"tile_section_raw_id\":\"" +
                  std::to_string(llSection) + "\"}";
    }
    sBatch += "]}";

    // The writer counts what the store acknowledged and what failed, and tells after each batch.
    std::mutex mutex;
    std::condition_variable changed;
    bool bStop = false;
    long long llAcknowledged = 0;
    int iFailed = 0;
    std::thread writer([&] {
        for (;;) {
            {
                std::lock_guard<std::mutex> lock(mutex);
                if (bStop) break;
            }
            PT_JSON_IN_PARAM param;
            param.data = sBatch;
            long long llRowId = 0;
            const bool bAcknowledged = insert_request_for_bulk_data(param, &llRowId, "m") == 0;
            {
                std::lock_guard<std::mutex> lock(mutex);
                if (bAcknowledged)
                    llAcknowledged += 50;
                else
                    ++iFailed;
            }
            changed.notify_all();
        }
    });
    // Let a few batches commit, then kill the service in the middle of the stream; the writer
    // goes on until one of its batches failed, so the stream really was cut.
    std::unique_lock<std::mutex> lock(mutex);
    const bool bCommitted = changed.wait_for(lock, std::chrono::seconds(20), [&] { return llAcknowledged >= 500; });
    lock.unlock();
    const pid_t service = m_store.GetServicePid();
    if (bCommitted) kill(service, SIGKILL);
    lock.lock();
    const bool bCut = bCommitted && changed.wait_for(lock, std::chrono::seconds(20), [&] { return iFailed > 0; });
    bStop = true;
    const long long llAcknowledgedRows = llAcknowledged;
    lock.unlock();
    writer.join();
    ASSERT_TRUE(bCommitted) << "only " << llAcknowledgedRows << " rows acknowledged";
    ASSERT_TRUE(bCut) << "no batch failed after the kill";
    EXPECT_TRUE(WaitForProcessEnd(service, 10000));
    const int iStatus = m_store.StopService();  // reaps the killed process
    EXPECT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == SIGKILL) << iStatus;

    // Every acknowledged row is in the file, and only whole batches are.
    const long long llRows = CountRows("tiles");
    EXPECT_GE(llRows, llAcknowledgedRows);
    EXPECT_EQ(llRows % 50, 0);

    std::string sError;
    ASSERT_TRUE(m_store.StartService(sError)) << sError;
    CPelmoGDBusUtil::ReleaseInstance();
    PT_CONSUMER_SELECT_IN_PARAM in = SelectTiles();
    in.column_list = {"_id"};
    PT_CONSUMER_SELECT_OUT_PARAM out;
    ASSERT_TRUE(select_request(in, out, "m")) << m_log.Dump();
    ASSERT_NE(out.cursor, nullptr);
    EXPECT_EQ(out.cursor->GetRowCount(), llRows);

    sqlite3* pDb = nullptr;
    ASSERT_EQ(sqlite3_open_v2(m_options.sDatabase.c_str(), &pDb, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    sqlite3_stmt* pStmt = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(pDb, "PRAGMA integrity_check", -1, &pStmt, nullptr), SQLITE_OK);
    ASSERT_EQ(sqlite3_step(pStmt), SQLITE_ROW);
    EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(pStmt, 0)), "ok");
    sqlite3_finalize(pStmt);
    sqlite3_close(pDb);
}
