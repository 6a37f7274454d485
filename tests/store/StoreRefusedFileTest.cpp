// The real service on a private bus, given a file that is not a store it can serve (another
// program's database, a damaged store): it says why in one line on its standard error and exits
// with 1 before it takes either of its names, and the file stays byte for byte as it was.
#include <fcntl.h>
#include <gio/gio.h>
#include <unistd.h>

#include <set>

#include "StoreFileSupport.h"
#include "StoreFixture.h"

namespace {
const std::string kTiles = "content://org.orvik.pelmo/tiles";

// Sends this process's standard error to a file while it lives, and with it that of every
// process started meanwhile.
class CStandardErrorToFile {
public:
    explicit CStandardErrorToFile(const std::string& sPath)
    {
        std::fflush(stderr);
        const int iFile = open(sPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (iFile < 0) return;
        m_iSaved = dup(STDERR_FILENO);
        dup2(iFile, STDERR_FILENO);
        close(iFile);
    }
    ~CStandardErrorToFile()
    {
        std::fflush(stderr);
        if (m_iSaved < 0) return;
        dup2(m_iSaved, STDERR_FILENO);
        close(m_iSaved);
    }
    CStandardErrorToFile(const CStandardErrorToFile&) = delete;
    CStandardErrorToFile& operator=(const CStandardErrorToFile&) = delete;

private:
    int m_iSaved = -1;
};

// Notes every name that gets an owner on the bus, from the moment it is made.
class CNameWatch {
public:
    explicit CNameWatch(const std::string& sAddress)
    {
        g_autoptr(GError) pError = nullptr;
        m_pConn = g_dbus_connection_new_for_address_sync(
            sAddress.c_str(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &pError);
        if (m_pConn == nullptr) {
            ADD_FAILURE() << "cannot watch the bus: " << (pError ? pError->message : "no connection");
            return;
        }
        g_dbus_connection_set_exit_on_close(m_pConn, FALSE);
        // The signals come to a context of the watch's own, which runs only when asked.
        g_main_context_push_thread_default(m_pContext);
        m_uSubscription = g_dbus_connection_signal_subscribe(
            m_pConn, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged", "/org/freedesktop/DBus",
            nullptr, G_DBUS_SIGNAL_FLAGS_NONE, &CNameWatch::OnNameOwnerChanged, this, nullptr);
        g_main_context_pop_thread_default(m_pContext);
        // The bus serves a connection's messages in order: once this is answered, the watch is on.
        RoundTrip();
    }
    ~CNameWatch()
    {
        if (m_pConn != nullptr) {
            g_dbus_connection_signal_unsubscribe(m_pConn, m_uSubscription);
            g_dbus_connection_close_sync(m_pConn, nullptr, nullptr);
            g_object_unref(m_pConn);
        }
        while (g_main_context_iteration(m_pContext, FALSE)) {
        }
        g_main_context_unref(m_pContext);
    }
    CNameWatch(const CNameWatch&) = delete;
    CNameWatch& operator=(const CNameWatch&) = delete;

    // Every name that got an owner so far: the bus sent each such signal before it answers a
    // call made now, and the answer comes after them.
    std::set<std::string> NamesTaken()
    {
        if (m_pConn != nullptr) RoundTrip();
        while (g_main_context_iteration(m_pContext, FALSE)) {
        }
        return m_setTaken;
    }

    // The current owner of sName on the bus; empty when it has none.
    std::string OwnerOf(const std::string& sName) const
    {
        g_autoptr(GError) pError = nullptr;
        g_autoptr(GVariant) pReply = g_dbus_connection_call_sync(
            m_pConn, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner",
            g_variant_new("(s)", sName.c_str()), G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &pError);
        if (pReply == nullptr) return std::string();
        const gchar* sOwner = nullptr;
        g_variant_get(pReply, "(&s)", &sOwner);
        return sOwner != nullptr ? sOwner : "";
    }

private:
    void RoundTrip() const
    {
        g_autoptr(GError) pError = nullptr;
        g_autoptr(GVariant) pReply = g_dbus_connection_call_sync(
            m_pConn, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId", nullptr,
            G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, &pError);
        if (pReply == nullptr) ADD_FAILURE() << "the bus did not answer: " << (pError ? pError->message : "");
    }

    static void OnNameOwnerChanged(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                                   GVariant* pParameters, gpointer pSelf)
    {
        const gchar* sName = nullptr;
        const gchar* sOld = nullptr;
        const gchar* sNew = nullptr;
        g_variant_get(pParameters, "(&s&s&s)", &sName, &sOld, &sNew);
        if (sNew != nullptr && *sNew != '\0') static_cast<CNameWatch*>(pSelf)->m_setTaken.insert(sName);
    }

    GMainContext* m_pContext = g_main_context_new();
    GDBusConnection* m_pConn = nullptr;
    guint m_uSubscription = 0;
    std::set<std::string> m_setTaken;
};
}  // namespace

class StoreRefusedFileTest : public StoreTest {
protected:
    // Stops the service and clears its database away, WAL and all, for a file of the test's own.
    void StopAndRemoveTheStore()
    {
        CPelmoGDBusUtil::ReleaseInstance();
        m_store.StopService();
        for (const char* sName : {"", "-wal", "-shm"}) unlink((m_options.sDatabase + sName).c_str());
    }

    // Starts the service again on its bus and database and expects it to refuse the file:
    // exit status 1, neither name ever taken, the file unchanged with nothing left beside it.
    // Returns the service's line on its standard error.
    std::string ExpectRefusedStart()
    {
        const std::string sBefore = FileBytes(m_options.sDatabase);
        EXPECT_FALSE(sBefore.empty());
        CNameWatch watch(m_store.GetBus().GetAddress());
        const std::string sErrorFile = m_sDir + "/service-stderr";
        std::string sError;
        bool bStarted = false;
        {
            CStandardErrorToFile redirect(sErrorFile);
            bStarted = m_store.StartService(sError);
        }
        const std::string sStandardError = FileBytes(sErrorFile);
        unlink(sErrorFile.c_str());
        EXPECT_FALSE(bStarted);
        EXPECT_EQ(sError.rfind("the store service exited during start-up (exit status 1;", 0), 0u) << sError;

        const std::set<std::string> setTaken = watch.NamesTaken();
        EXPECT_EQ(setTaken.count(CHostStore::kStoreName), 0u);
        EXPECT_EQ(setTaken.count(CHostStore::kProviderName), 0u);
        EXPECT_EQ(watch.OwnerOf(CHostStore::kStoreName), "");

        EXPECT_TRUE(FileBytes(m_options.sDatabase) == sBefore) << "the refused file changed";
        for (const char* sBeside : {"-wal", "-shm", "-journal"}) {
            EXPECT_FALSE(FileExists(m_options.sDatabase + sBeside)) << sBeside << " left beside the refused file";
        }
        // Its line, whatever else this process wrote meanwhile.
        const std::string sPrefix = "pelmo-service: " + m_options.sDatabase + ": ";
        const std::size_t iStart = sStandardError.find(sPrefix);
        EXPECT_NE(iStart, std::string::npos) << sStandardError;
        if (iStart == std::string::npos) return std::string();
        const std::size_t iEnd = sStandardError.find('\n', iStart);
        return sStandardError.substr(iStart, iEnd == std::string::npos ? std::string::npos : iEnd - iStart);
    }
};

TEST_F(StoreRefusedFileTest, ServiceRefusesAnotherProgramsDatabaseAndLeavesItAsItWas)
{
    StopAndRemoveTheStore();
    std::string sError;
    ASSERT_TRUE(ExecuteOnFile(m_options.sDatabase,
                              "CREATE TABLE tiles (id INTEGER PRIMARY KEY, url TEXT NOT NULL, fetched_at INTEGER);"
                              "INSERT INTO tiles (url, fetched_at) VALUES ('https://images.example.org/201.jpg', 1);",
                              sError))
        << sError;

    const std::string sLine = ExpectRefusedStart();
    EXPECT_EQ(sLine, "pelmo-service: " + m_options.sDatabase +
                         ": not a pelmo store (table \"tiles\" has other columns than the store's); left as it is: "
                         "give the service a file of its own (a new or empty file becomes a store)");
}

TEST_F(StoreRefusedFileTest, ServiceRefusesADamagedStoreNamingTheFileAndWhatToDo)
{
    const long long llSection = AddModuleWithSection("org.example.player");
    ASSERT_GT(llSection, 0);
    for (int i = 0; i < 10; ++i) {
        ASSERT_GT(Insert("{\"table_name\":\"" + kTiles + "\",\"tile_title\":\"Tile " + std::to_string(i) +
                             "\",\"tile_section_raw_id\":\"" + std::to_string(llSection) + "\"}",
                         "org.example.player"),
                  0);
    }
    CPelmoGDBusUtil::ReleaseInstance();
    m_store.StopService();
    std::string sError;
    ASSERT_TRUE(DamageTablePage(m_options.sDatabase, "tiles", sError)) << sError;
    ASSERT_NE(QuickCheckOf(m_options.sDatabase), "ok");

    const std::string sLine = ExpectRefusedStart();
    EXPECT_EQ(sLine.rfind("pelmo-service: " + m_options.sDatabase + ": the store is damaged (SQLite: ", 0), 0u)
        << sLine;
    EXPECT_NE(sLine.find("move it aside to start an empty store, or restore it from a backup"), std::string::npos)
        << sLine;

    // Moved aside, the service starts on an empty store at the same path.
    ASSERT_EQ(rename(m_options.sDatabase.c_str(), (m_sDir + "/damaged.db").c_str()), 0);
    ASSERT_TRUE(m_store.StartService(sError)) << sError;
    EXPECT_EQ(CountRows("tiles"), 0);
    unlink((m_sDir + "/damaged.db").c_str());
}
