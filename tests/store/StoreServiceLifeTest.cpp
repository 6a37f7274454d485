// The store's life: clean stops, crashes that lose nothing committed, results nobody claims,
// and the split between the store manager and the provider name.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <atomic>
#include <chrono>
#include <thread>

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
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (ShmExists(sKey) && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_FALSE(ShmExists(sKey));
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

    std::atomic<bool> bStop{false};
    std::atomic<long long> llAcknowledged{0};
    std::thread writer([&] {
        while (!bStop) {
            PT_JSON_IN_PARAM param;
            param.data = sBatch;
            long long llRowId = 0;
            if (insert_request_for_bulk_data(param, &llRowId, "m") == 0) llAcknowledged += 50;
        }
    });
    // Let a few batches commit, then kill the service in the middle of the stream.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (llAcknowledged < 500 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ASSERT_GE(llAcknowledged.load(), 500);
    kill(m_store.GetServicePid(), SIGKILL);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    bStop = true;
    writer.join();
    m_store.StopService();  // reaps the killed process

    // Every acknowledged row is in the file, and only whole batches are.
    const long long llRows = CountRows("tiles");
    EXPECT_GE(llRows, llAcknowledged.load());
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
