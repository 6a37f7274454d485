// D-Bus activation: with the service not running, the first request of a publish makes the
// bus start it from the shipped activation files, and the publish succeeds. The bus runs the
// files' Exec line itself, as a system bus without a launch helper does; as root the line
// starts the service as the test account pelmo (TestAccounts.h), as the files' User= asks.
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include "MemoryResultPublisher.h"
#include "StoreDatabase.h"
#include "StoreFixture.h"
#include "StoreRequestHandler.h"
#include "TestAccounts.h"

namespace {
const std::string kModule = "org.example.activated";

std::string ReadText(const std::string& sPath)
{
    std::ifstream in(sPath);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The shipped activation file with its Exec line pointing at this build and test folder.
bool WriteActivationFile(const std::string& sName, const std::string& sDirectory, const std::string& sExec)
{
    std::string sText = ReadText(std::string(PELMO_SYSTEM_FILES_DIR) + "/" + sName + ".service.in");
    const std::size_t iExec = sText.find("\nExec=");
    if (iExec == std::string::npos || sText.find("Name=" + sName + "\n") == std::string::npos) return false;
    sText.replace(iExec + 1, sText.find('\n', iExec + 1) - iExec - 1, "Exec=" + sExec);
    std::ofstream out(sDirectory + "/" + sName + ".service");
    out << sText;
    return static_cast<bool>(out);
}
}  // namespace

class StoreActivationTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        setenv("PELMO_APP_ID", "org.example.activated", 1);
        char sTemplate[] = "/tmp/pelmo-activation.XXXXXX";
        ASSERT_NE(mkdtemp(sTemplate), nullptr);
        m_sDir = sTemplate;
        ASSERT_EQ(chmod(m_sDir.c_str(), 0755), 0);
        m_sState = m_sDir + "/state";
        ASSERT_EQ(mkdir(m_sState.c_str(), 0700), 0);
        m_sServices = m_sDir + "/system-services";
        ASSERT_EQ(mkdir(m_sServices.c_str(), 0755), 0);
    }
    void TearDown() override
    {
        CPelmoGDBusUtil::ReleaseInstance();
        m_bus.Stop();
        // The activated service is the bus's child; with the bus gone it stops on its own.
        if (!m_sDir.empty()) std::system(("rm -rf '" + m_sDir + "'").c_str());
    }

    std::string m_sDir;
    std::string m_sState;
    std::string m_sServices;
    CHostBus m_bus;
};

TEST_F(StoreActivationTest, FirstRequestOfAPublishStartsTheServiceAndThePublishSucceeds)
{
    const std::string sDatabase = m_sState + "/store.db";
    // The module was registered in an earlier run of the service, by this test's user.
    {
        CStoreDatabase database;
        std::string sError;
        ASSERT_TRUE(database.Open(sDatabase, sError)) << sError;
        CMemoryResultPublisher publisher;
        CStoreRequestHandler handler(database, publisher);
        PT_CALLER_IDENTITY me;
        me.uUid = geteuid();
        const CStoreReply reply =
            handler.Handle("insert", kModule, "{\"table_name\":\"content://org.orvik.pelmo/accelerators\"}", me);
        ASSERT_TRUE(reply.bResult) << reply.sOutput;
    }
    std::string sExec;
    std::string sError;
    if (geteuid() == 0 && TestAccounts::Use(sError)) {
        const uid_t kServiceUid = TestAccounts::kServiceUid;
        // As the files' User= would: the service runs as its own user, on its own state folder.
        for (const char* sSuffix : {"", "-wal", "-shm"}) {
            chown((sDatabase + sSuffix).c_str(), kServiceUid, kServiceUid);
        }
        ASSERT_EQ(chown(m_sState.c_str(), kServiceUid, kServiceUid), 0);
        sExec = "/usr/bin/setpriv --reuid=" + std::to_string(kServiceUid) + " --regid=" + std::to_string(kServiceUid) +
                " --clear-groups ";
    }
    sExec += std::string(PELMO_SERVICE_PATH) + " --db " + sDatabase + " --log " + m_sState + "/requests.log";
    ASSERT_TRUE(WriteActivationFile(CHostStore::kStoreName, m_sServices, sExec));
    ASSERT_TRUE(WriteActivationFile(CHostStore::kProviderName, m_sServices, sExec));
    m_bus.SetServiceDirectory(m_sServices);
    m_bus.SetOpenToAllUsers(true);
    ASSERT_TRUE(m_bus.Start(sError)) << sError;
    ASSERT_FALSE(m_bus.WaitForName(CHostStore::kStoreName, 0)) << "nothing runs the store yet";

    const std::string sDocument = ReadText(std::string(PELMO_EXAMPLES_DIR) + "/first.json");
    ASSERT_FALSE(sDocument.empty());
    EXPECT_EQ(set_preview_metadata(sDocument.c_str(), kModule.c_str()), 1) << ReadText(m_sState + "/requests.log");
    EXPECT_TRUE(m_bus.WaitForName(CHostStore::kStoreName, 0));
    const std::string sLog = ReadText(m_sState + "/requests.log");
    EXPECT_NE(sLog.find("pelmo-service: serving " + sDatabase), std::string::npos) << sLog;
    // The first request the started service answered was the publish's first select.
    const std::size_t iFirst = sLog.find("\n", sLog.find("serving"));
    ASSERT_NE(iFirst, std::string::npos) << sLog;
    const std::string sFirstRequest = sLog.substr(iFirst + 1, sLog.find('\n', iFirst + 1) - iFirst - 1);
    EXPECT_NE(sFirstRequest.find("pelmo-service: select module=" + kModule + " ok"), std::string::npos) << sLog;

    char* pStored = get_preview_metadata(kModule.c_str());
    ASSERT_NE(pStored, nullptr);
    EXPECT_NE(std::string(pStored).find("\"sections\""), std::string::npos) << pStored;
    finalize_json_bytes(pStored);
}
