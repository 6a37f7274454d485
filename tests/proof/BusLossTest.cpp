// The bus daemon goes away under the library: the host process is not ended, requests fail at
// once and cleanly, and after ReleaseInstance the library works on a new bus.
#include <signal.h>

#include <chrono>

#include "BusEvents.h"
#include "FaultFixture.h"

namespace {
volatile sig_atomic_t gTerminationSeen = 0;

void OnTermination(int)
{
    gTerminationSeen = 1;
}

// Notes a SIGTERM instead of dying of it, so that a library that ends its host when the bus
// closes fails this test instead of taking the test program down.
class CTerminationWatch {
public:
    CTerminationWatch()
    {
        gTerminationSeen = 0;
        struct sigaction action = {};
        action.sa_handler = &OnTermination;
        sigaction(SIGTERM, &action, &m_previous);
    }
    ~CTerminationWatch() { sigaction(SIGTERM, &m_previous, nullptr); }
    bool Seen() const { return gTerminationSeen != 0; }

private:
    struct sigaction m_previous;
};
}  // namespace

TEST_F(FaultTest, BusDaemonGoneLeavesTheHostRunningRequestsFailCleanlyAndANewBusWorksAfterRelease)
{
    ASSERT_EQ(set_preview_metadata(Document(2, 3, "before").c_str(), kModule), 1);

    CTerminationWatch watch;
    CTimedLog timed(m_log);
    GDBusConnection* pConnection = CPelmoGDBusUtil::GetInstance()->GetConnection();
    ASSERT_NE(pConnection, nullptr);
    ASSERT_EQ(kill(m_store.GetBus().GetDaemonPid(), SIGKILL), 0);
    // The connection tells of the close on the main context it was made in: that is where a
    // connection that ends its host on close raises SIGTERM.
    ASSERT_TRUE(WaitForConnectionClosed(pConnection, 10000)) << "the connection never noticed the bus is gone";
    EXPECT_FALSE(watch.Seen()) << "the library's connection ended its host when the bus closed";

    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(set_preview_metadata(Document(1, 1, "during").c_str(), kModule), 0);
    char* pText = get_preview_metadata(kModule);
    ASSERT_NE(pText, nullptr);
    EXPECT_STREQ(pText, "");
    finalize_json_bytes(pText);
    EXPECT_EQ(Insert("{\"table_name\":\"content://org.orvik.pelmo/sections\",\"section_title\":\"x\"}", kModule), -1);
    const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_LT(dSeconds, 1.0);
    EXPECT_GT(timed.Count("g_dbus_proxy_call_sync() failed."), 0u) << timed.Errors();
    RunMainContextUntilIdle();  // whatever the failed requests left to signal
    EXPECT_FALSE(watch.Seen()) << "the library's connection ended its host when the bus closed";

    // The host drops the library's connection and brings up a bus again; the store's database
    // file is the same, so the registered module is still there.
    CPelmoGDBusUtil::ReleaseInstance();
    m_store.Stop();
    std::string sError;
    ASSERT_TRUE(m_store.Start(m_options, sError)) << sError;
    const std::string sAfter = Document(2, 2, "after");
    ASSERT_EQ(set_preview_metadata(sAfter.c_str(), kModule), 1) << timed.Errors();
    ExpectReadBackIsTheDocument(sAfter);
}
