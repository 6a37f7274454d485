// The store service is replaced by a new instance while the library keeps its proxy. The proxy is
// made once and reused for the life of the library's instance; every call names the service's
// well-known name, so the bus hands it to the instance that owns the name at that moment, whether
// or not the host runs a main loop.
#include <dlog.h>
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <memory>

#include "FakeService.h"
#include "HostBus.h"
#include "LogCapture.h"
#include "PelmoAPI.h"
#include "PelmoGDBusUtil.h"

class ProxyRenewalTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        setenv("PELMO_APP_ID", "org.example.caller", 1);
        std::string sError;
        ASSERT_TRUE(m_bus.Start(sError)) << sError;
    }
    void TearDown() override
    {
        CPelmoGDBusUtil::ReleaseInstance();
        if (m_pService) m_pService->Stop();
        m_bus.Stop();
    }

    std::unique_ptr<CFakeService> StartService()
    {
        std::unique_ptr<CFakeService> pService(new CFakeService());
        EXPECT_TRUE(pService->Start()) << "fake service did not get its names";
        pService->AnswerAlways(true, "7");
        return pService;
    }

    // What an app's main loop does between two requests.
    static void RunHostMainContext(int iMilliseconds)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(iMilliseconds);
        while (std::chrono::steady_clock::now() < end) {
            if (!g_main_context_iteration(nullptr, FALSE)) g_usleep(2000);
        }
    }

    static int Delete()
    {
        PT_JSON_IN_PARAM param;
        param.table_name = "content://org.orvik.pelmo/tiles";
        return delete_request(param, "org.example.caller");
    }

    size_t FailedCalls() const
    {
        size_t uFailed = 0;
        for (const std::string& sBody : m_log.Bodies(DLOG_ERROR)) {
            uFailed += sBody.rfind("g_dbus_proxy_call_sync() failed.", 0) == 0;
        }
        return uFailed;
    }

    CHostBus m_bus;
    std::unique_ptr<CFakeService> m_pService;
    CLogCapture m_log;
};

TEST_F(ProxyRenewalTest, HostRunningItsMainContextReachesTheNewInstanceThroughTheSameProxy)
{
    m_pService = StartService();
    ASSERT_EQ(Delete(), 0);
    m_pService->Stop();
    m_pService = StartService();  // a new connection: a new unique name owns the service's names
    RunHostMainContext(300);
    m_log.Clear();
    EXPECT_EQ(Delete(), 0) << m_log.Dump();
    EXPECT_EQ(m_pService->CallCount(), 1u);
    EXPECT_EQ(FailedCalls(), 0u) << m_log.Dump();
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "[org.orvik.Feltrix.dbus] proxy is already created.")) << m_log.Dump();
}

TEST_F(ProxyRenewalTest, HostWithoutAMainContextReachesTheNewInstanceThroughTheSameProxy)
{
    m_pService = StartService();
    ASSERT_EQ(Delete(), 0);
    const std::string sFirstOwner = m_pService->Calls().at(0).sDestination;
    m_pService->Stop();
    m_pService = StartService();
    m_log.Clear();
    // Nothing runs the host's main context here: the proxy never hears that the owner changed,
    // yet the very next request reaches the new instance, once, with no failed call before it.
    EXPECT_EQ(Delete(), 0) << m_log.Dump();
    EXPECT_EQ(m_pService->CallCount(), 1u);
    EXPECT_EQ(FailedCalls(), 0u) << m_log.Dump();
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "[org.orvik.Feltrix.dbus] proxy is already created.")) << m_log.Dump();
    EXPECT_FALSE(m_log.Has(DLOG_INFO, "Create new proxy : [org.orvik.Feltrix.dbus]"));
    EXPECT_EQ(sFirstOwner, "org.orvik.Feltrix.dbus");
}

TEST_F(ProxyRenewalTest, ReleasingTheLibraryAfterARestartStillMakesANewConnectionAndProxy)
{
    m_pService = StartService();
    ASSERT_EQ(Delete(), 0);
    m_pService->Stop();
    m_pService = StartService();
    CPelmoGDBusUtil::ReleaseInstance();
    m_log.Clear();
    EXPECT_EQ(Delete(), 0) << m_log.Dump();
    EXPECT_EQ(m_pService->CallCount(), 1u);
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "Create new proxy : [org.orvik.Feltrix.dbus]")) << m_log.Dump();
}

TEST_F(ProxyRenewalTest, EveryRequestAcrossSeveralRestartsReachesTheInstanceOfItsMoment)
{
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        if (m_pService) m_pService->Stop();
        m_pService = StartService();
        EXPECT_EQ(Delete(), 0) << m_log.Dump();
        EXPECT_EQ(m_pService->CallCount(), 1u);
    }
    EXPECT_EQ(FailedCalls(), 0u) << m_log.Dump();
    EXPECT_EQ(m_log.Count(DLOG_INFO, "Create new proxy : [org.orvik.Feltrix.dbus]"), 1u) << m_log.Dump();
}

TEST_F(ProxyRenewalTest, ServiceThatCameAfterTheProxyWasMadeIsReachedByTheNextRequest)
{
    EXPECT_EQ(Delete(), -1);
    EXPECT_EQ(Delete(), -1);
    EXPECT_EQ(FailedCalls(), 2u) << m_log.Dump();
    // A proxy made while the name had no owner calls the name itself.
    m_pService = StartService();
    EXPECT_EQ(Delete(), 0) << m_log.Dump();
    EXPECT_EQ(m_pService->CallCount(), 1u);
}
