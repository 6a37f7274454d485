// The store as it runs on a real system: the service as its own non-root user "pelmo" under the
// shipped bus policy, an application as a second user, a stranger as a third, and root, all on
// one private system bus. The three users are test accounts that only this test process and its
// children see (TestAccounts.h); switching to them needs root, so without root every test here
// reports itself skipped.
#include <glib.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "StoreFixture.h"
#include "TestAccounts.h"

namespace {
using TestAccounts::kAppUid;
using TestAccounts::kServiceUid;
using TestAccounts::kStrangerUid;
const std::string kModule = "org.example.news";
const std::string kRefusal = "module org.example.news belongs to another user";

struct CRun {
    int iExit = -1;
    std::string sOut;
    std::string sErr;
};

// Runs argv as `uid` (through setpriv, dying with this process) with this process's bus.
CRun RunAs(uid_t uid, const std::vector<std::string>& vecArgv)
{
    std::vector<std::string> vecFull = {"/usr/bin/setpriv",
                                        "--reuid=" + std::to_string(uid),
                                        "--regid=" + std::to_string(uid),
                                        "--clear-groups",
                                        "--pdeathsig=SIGKILL",
                                        "--"};
    vecFull.insert(vecFull.end(), vecArgv.begin(), vecArgv.end());
    std::vector<char*> argv;
    for (std::string& sArg : vecFull) argv.push_back(&sArg[0]);
    argv.push_back(nullptr);
    CRun run;
    gchar* sOut = nullptr;
    gchar* sErr = nullptr;
    gint iStatus = -1;
    GError* pError = nullptr;
    if (!g_spawn_sync(nullptr, argv.data(), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &sOut, &sErr, &iStatus,
                      &pError)) {
        run.sErr = pError->message;
        g_clear_error(&pError);
        return run;
    }
    run.iExit = WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
    run.sOut = sOut ? sOut : "";
    run.sErr = sErr ? sErr : "";
    g_free(sOut);
    g_free(sErr);
    return run;
}

// One "Call" as `uid`, with gdbus as any program on the machine would send it; the reply as
// gdbus prints it, e.g. "(false, 'module ... belongs to another user')".
CRun CallAs(uid_t uid, const std::string& sName, const std::string& sMethod, const std::string& sInput)
{
    // A GVariant text literal, so that gdbus never reads the JSON as a variant of its own.
    std::string sQuoted = "\"";
    for (char c : sInput) {
        if (c == '"' || c == '\\') sQuoted += '\\';
        sQuoted += c;
    }
    sQuoted += "\"";
    return RunAs(uid,
                 {"/usr/bin/gdbus", "call", "--system", "--dest", sName, "--object-path", "/org/orvik/pelmo_service",
                  "--method", "org.orvik.pelmo_service.Call", sMethod, kModule, sQuoted});
}

std::string ReadFile(const std::string& sPath)
{
    std::ifstream in(sPath);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Every row of the store, all modules, straight from the database file.
std::string DumpStore(const std::string& sDatabase)
{
    sqlite3* pDb = nullptr;
    std::string sDump;
    if (sqlite3_open_v2(sDatabase.c_str(), &pDb, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
        sqlite3_close(pDb);
        return "cannot open " + sDatabase;
    }
    for (const char* sTable : {"accelerators", "sections", "tiles", "module_owners"}) {
        sqlite3_stmt* pStatement = nullptr;
        sqlite3_prepare_v2(pDb, (std::string("SELECT * FROM ") + sTable + " ORDER BY 1").c_str(), -1, &pStatement,
                           nullptr);
        sDump += sTable;
        sDump += "\n";
        AppendRowsText(pStatement, sDump);
        sqlite3_finalize(pStatement);
    }
    sqlite3_close(pDb);
    return sDump;
}

long long CountRows(const std::string& sDatabase, const std::string& sTable)
{
    return CountRowsIn(sDatabase, sTable, "module_name = '" + kModule + "'");
}
}  // namespace

class StoreWithTestAccounts : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (geteuid() != 0) {
            GTEST_SKIP() << "needs root: runs the store, an application and a stranger as three Unix users "
                            "(test accounts seen by this test alone)";
        }
        std::string sAccounts;
        if (!TestAccounts::Use(sAccounts)) GTEST_SKIP() << sAccounts;
        setenv("PELMO_LOG_LEVEL", "none", 1);
        char sTemplate[] = "/tmp/pelmo-users.XXXXXX";
        ASSERT_NE(mkdtemp(sTemplate), nullptr);
        m_sDir = sTemplate;
        // The programs of the build tree must be reachable by the other users.
        const CRun probe = RunAs(kStrangerUid, {PELMOCTL_PATH, "--help"});
        if (probe.iExit != 0) {
            GTEST_SKIP() << "the build tree is not reachable for other users: " << probe.sErr;
        }
        ASSERT_EQ(chmod(m_sDir.c_str(), 0755), 0);
        // The service's state directory, as systemd's StateDirectory= makes it.
        m_sState = m_sDir + "/state";
        ASSERT_EQ(mkdir(m_sState.c_str(), 0700), 0);
        ASSERT_EQ(chown(m_sState.c_str(), kServiceUid, kServiceUid), 0);

        m_options.sServicePath = PELMO_SERVICE_PATH;
        m_options.sDatabase = m_sState + "/store.db";
        m_options.sLogFile = m_sState + "/requests.log";
        // The shipped policy as it is: it lets the user pelmo own the store's names.
        m_options.sBusPolicy = StockSystemBusPolicyWith(PELMO_POLICY_FILE);
        m_options.bOpenToAllUsers = true;
        m_options.vecLauncher = {"/usr/bin/setpriv",
                                 "--reuid=" + std::to_string(kServiceUid),
                                 "--regid=" + std::to_string(kServiceUid),
                                 "--clear-groups",
                                 "--pdeathsig=SIGKILL",
                                 "--"};
        std::string sError;
        ASSERT_TRUE(m_store.Start(m_options, sError)) << sError << "\n" << ReadFile(m_options.sLogFile);
    }
    void TearDown() override
    {
        m_store.Stop();
        if (!m_sDir.empty()) std::system(("rm -rf '" + m_sDir + "'").c_str());
    }

    CRun Pelmoctl(uid_t uid, const std::vector<std::string>& vecArgs)
    {
        std::vector<std::string> vecArgv = {PELMOCTL_PATH};
        vecArgv.insert(vecArgv.end(), vecArgs.begin(), vecArgs.end());
        return RunAs(uid, vecArgv);
    }
    void RegisterAndPublishAsApp(const std::string& sDocument)
    {
        const CRun reg = Pelmoctl(kAppUid, {"register", kModule, "--title", "News"});
        ASSERT_EQ(reg.iExit, 0) << reg.sErr << ReadFile(m_options.sLogFile);
        const CRun pub = Pelmoctl(kAppUid, {"publish", kModule, std::string(PELMO_EXAMPLES_DIR) + "/" + sDocument});
        ASSERT_EQ(pub.iExit, 0) << pub.sErr << ReadFile(m_options.sLogFile);
    }
    // The read-back as `uid` sees it, checked against the rows in the database.
    void ExpectReadBackIsTheStore(uid_t uid)
    {
        const CRun get = Pelmoctl(uid, {"get", kModule});
        ASSERT_EQ(get.iExit, 0) << get.sErr << ReadFile(m_options.sLogFile);
        Json::Value tree;
        Json::CharReaderBuilder builder;
        std::string sErrors;
        std::unique_ptr<Json::CharReader> pReader(builder.newCharReader());
        ASSERT_TRUE(pReader->parse(get.sOut.data(), get.sOut.data() + get.sOut.size(), &tree, &sErrors)) << get.sOut;
        long long llTiles = 0;
        for (const Json::Value& section : tree["sections"]) llTiles += section["tiles"].size();
        EXPECT_GT(tree["sections"].size(), 0u) << get.sOut;
        EXPECT_EQ(static_cast<long long>(tree["sections"].size()), CountRows(m_options.sDatabase, "sections"));
        EXPECT_EQ(llTiles, CountRows(m_options.sDatabase, "tiles"));
        // What root reads is what the application reads.
        const CRun rootGet = Pelmoctl(0, {"get", kModule});
        EXPECT_EQ(rootGet.iExit, 0) << rootGet.sErr;
        EXPECT_EQ(rootGet.sOut, get.sOut);
    }

    std::string m_sDir;
    std::string m_sState;
    CHostStoreOptions m_options;
    CHostStore m_store;
};

TEST_F(StoreWithTestAccounts, ServiceRunsAsItsOwnUserUnderTheShippedPolicy)
{
    struct stat st {};
    ASSERT_EQ(stat(("/proc/" + std::to_string(m_store.GetServicePid())).c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, kServiceUid);
    ASSERT_EQ(stat(m_options.sDatabase.c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, kServiceUid);
}

TEST_F(StoreWithTestAccounts, AppUserPublishesBothExamplesAndReadsBackExactlyWhatTheStoreHolds)
{
    RegisterAndPublishAsApp("first.json");
    ExpectReadBackIsTheStore(kAppUid);
    const CRun changed = Pelmoctl(kAppUid, {"publish", kModule, std::string(PELMO_EXAMPLES_DIR) + "/changed.json"});
    ASSERT_EQ(changed.iExit, 0) << changed.sErr << ReadFile(m_options.sLogFile);
    ExpectReadBackIsTheStore(kAppUid);
    const CRun status = Pelmoctl(kAppUid, {"status", kModule});
    EXPECT_EQ(status.iExit, 0) << status.sErr;
    EXPECT_NE(status.sOut.find("owner: pelmo-test-app (uid " + std::to_string(kAppUid) + ")\n"), std::string::npos)
        << status.sOut;
}

TEST_F(StoreWithTestAccounts, StrangerIsRefusedOnEveryMethodCannotOpenTheAppsResultsAndChangesNothing)
{
    RegisterAndPublishAsApp("first.json");
    const std::string sBefore = DumpStore(m_options.sDatabase);
    const std::string sStore = CHostStore::kStoreName;
    const std::vector<std::pair<std::string, std::string>> vecCalls = {
        {"insert", "{\"table_name\":\"content://org.orvik.pelmo/sections\",\"section_title\":\"Planted\"}"},
        {"insert", "{\"table_name\":\"content://org.orvik.pelmo/accelerators\"}"},
        {"insert_bulk",
         "{\"table_name\":\"content://org.orvik.pelmo/tiles\",\"arrayitem\":[{\"tile_title\":\"Planted\"}]}"},
        {"update",
         "{\"table_name\":\"content://org.orvik.pelmo/tiles\",\"arrayitem\":[{\"bulk_update_row_id_key\":\"1\","
         "\"tile_title\":\"Changed\"}]}"},
        {"delete", "{\"table_name\":\"content://org.orvik.pelmo/sections\",\"where\":\"\",\"group_by\":\"\"}"},
        {"select", "{\"table_name\":\"content://org.orvik.pelmo/tiles\",\"where\":\"\",\"group_by\":\"\"}"},
        {"send_sync", " "},
        {"start_preview_scheduler", kModule},
        {"stop_preview_scheduler", kModule},
        {"journal", ""},
        {"stats", " "}};
    for (const auto& call : vecCalls) {
        const CRun run = CallAs(kStrangerUid, sStore, call.first, call.second);
        EXPECT_EQ(run.iExit, 0) << call.first << ": " << run.sErr;
        EXPECT_EQ(run.sOut, "(false, '" + kRefusal + "')\n") << call.first;
    }
    const CRun terminate = CallAs(kStrangerUid, CHostStore::kProviderName, "terminate_service", "1");
    EXPECT_EQ(terminate.sOut, "(false, '" + kRefusal + "')\n") << terminate.sErr;
    // Through the library as well: pelmoctl as the stranger fails without touching anything.
    for (const std::vector<std::string>& vecArgs :
         {std::vector<std::string>{"get", kModule}, std::vector<std::string>{"withdraw", kModule},
          std::vector<std::string>{"publish", kModule, std::string(PELMO_EXAMPLES_DIR) + "/changed.json"}}) {
        const CRun run = Pelmoctl(kStrangerUid, vecArgs);
        EXPECT_EQ(run.iExit, 1) << vecArgs[0] << ": " << run.sOut << run.sErr;
    }

    // A select result of the application: its user (and root) may open it, the stranger not.
    const CRun select = CallAs(kAppUid, sStore, "select", vecCalls[5].second);
    const std::size_t iKey = select.sOut.find("\"key\":\"");
    ASSERT_EQ(select.sOut.rfind("(true, '", 0), 0u) << select.sOut << select.sErr;
    ASSERT_NE(iKey, std::string::npos) << select.sOut;
    const std::string sKey = select.sOut.substr(iKey + 7, select.sOut.find('"', iKey + 7) - iKey - 7);
    ASSERT_EQ(sKey.rfind("/pelmo-", 0), 0u) << sKey;
    const std::string sPath = "/dev/shm" + sKey;
    const CRun stranger = RunAs(kStrangerUid, {"/bin/cat", sPath});
    EXPECT_NE(stranger.iExit, 0);
    EXPECT_NE(stranger.sErr.find("Permission denied"), std::string::npos) << stranger.sErr;
    struct stat st {};
    ASSERT_EQ(stat(sPath.c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, kServiceUid);
    EXPECT_EQ(st.st_mode & 07, 0u) << "others may not read a result";
    // wc opens and reads the whole object, as a reader does.
    const CRun app = RunAs(kAppUid, {"/usr/bin/wc", "-c", sPath});
    EXPECT_EQ(app.iExit, 0) << app.sErr;
    EXPECT_EQ(app.sOut, std::to_string(st.st_size) + " " + sPath + "\n");

    EXPECT_EQ(DumpStore(m_options.sDatabase), sBefore);
    ExpectReadBackIsTheStore(kAppUid);
}

TEST_F(StoreWithTestAccounts, RootActsForTheAppsModuleWhichStaysTheApps)
{
    RegisterAndPublishAsApp("first.json");
    const CRun pub = Pelmoctl(0, {"publish", kModule, std::string(PELMO_EXAMPLES_DIR) + "/changed.json"});
    ASSERT_EQ(pub.iExit, 0) << pub.sErr;
    ExpectReadBackIsTheStore(0);
    const CRun status = Pelmoctl(0, {"status", kModule});
    EXPECT_NE(status.sOut.find("owner: pelmo-test-app (uid " + std::to_string(kAppUid) + ")\n"), std::string::npos)
        << status.sOut;
    EXPECT_EQ(CallAs(kStrangerUid, CHostStore::kStoreName, "stats", " ").sOut, "(false, '" + kRefusal + "')\n");
}

TEST_F(StoreWithTestAccounts, OwnershipSurvivesAServiceRestart)
{
    RegisterAndPublishAsApp("first.json");
    const std::string sBefore = DumpStore(m_options.sDatabase);
    ASSERT_EQ(m_store.StopService(), 0);
    std::string sError;
    ASSERT_TRUE(m_store.StartService(sError)) << sError;
    EXPECT_EQ(CallAs(kStrangerUid, CHostStore::kStoreName, "stats", " ").sOut, "(false, '" + kRefusal + "')\n");
    EXPECT_EQ(DumpStore(m_options.sDatabase), sBefore);
    ExpectReadBackIsTheStore(kAppUid);
}

TEST_F(StoreWithTestAccounts, DatabaseWrittenBeforeOwnersKeepsEveryRowAndIsClaimedByItsFirstUser)
{
    // The store of before, in the service's state directory.
    m_store.StopService();
    for (const char* sSuffix : {"", "-wal", "-shm"}) unlink((m_options.sDatabase + sSuffix).c_str());
    const std::string sSql = ReadFile(std::string(PELMO_SERVICE_TEST_DATA) + "/store-before-owners.sql");
    ASSERT_FALSE(sSql.empty());
    sqlite3* pDb = nullptr;
    ASSERT_EQ(sqlite3_open(m_options.sDatabase.c_str(), &pDb), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(pDb, sSql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(pDb);
    sqlite3_close(pDb);
    ASSERT_EQ(chown(m_options.sDatabase.c_str(), kServiceUid, kServiceUid), 0);
    const std::string sRowsBefore = DumpStore(m_options.sDatabase);
    std::string sError;
    ASSERT_TRUE(m_store.StartService(sError)) << sError << ReadFile(m_options.sLogFile);

    // The application of org.example.player reads its stored preview; it owns the module now.
    const CRun get = Pelmoctl(kAppUid, {"get", "org.example.player"});
    ASSERT_EQ(get.iExit, 0) << get.sErr << ReadFile(m_options.sLogFile);
    EXPECT_NE(get.sOut.find("Continue watching"), std::string::npos) << get.sOut;
    const std::string sRowsAfter = DumpStore(m_options.sDatabase);
    EXPECT_EQ(sRowsAfter.substr(0, sRowsAfter.find("module_owners")),
              sRowsBefore.substr(0, sRowsBefore.find("module_owners")));
    EXPECT_NE(sRowsAfter.find("org.example.player|" + std::to_string(kAppUid) + "|"), std::string::npos) << sRowsAfter;
}
