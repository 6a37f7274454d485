// The store service is replaced by a new instance while the library keeps its proxy: the next
// request reaches the new instance, without the host releasing anything.
#include <dlog.h>
#include <gtest/gtest.h>
#include <stdlib.h>

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

    static int Delete()
    {
        PT_JSON_IN_PARAM param;
        param.table_name = "content://org.orvik.pelmo/tiles";
        return delete_request(param, "org.example.caller");
    }

    CHostBus m_bus;
    std::unique_ptr<CFakeService> m_pService;
    CLogCapture m_log;
};

TEST_F(ProxyRenewalTest, NewServiceInstanceAnswersTheNextRequestThroughTheCachedProxy)
{
    m_pService = StartService();
    ASSERT_EQ(Delete(), 0);
    m_pService->Stop();
    m_pService = StartService();  // a new connection: a new unique name owns the service's names
    m_log.Clear();
    EXPECT_EQ(Delete(), 0) << m_log.Dump();
    EXPECT_EQ(m_pService->CallCount(), 1u);
    // The stale instance was noticed once, and the call went out again.
    size_t uFailed = 0;
    for (const std::string& sBody : m_log.Bodies(DLOG_ERROR)) {
        uFailed += sBody.rfind("g_dbus_proxy_call_sync() failed.", 0) == 0;
    }
    EXPECT_EQ(uFailed, 1u) << m_log.Dump();
    size_t uRenewals = 0;
    for (const std::string& sBody : m_log.Bodies(DLOG_INFO)) {
        uRenewals += sBody.find("is gone, renewing the proxy") != std::string::npos;
    }
    EXPECT_EQ(uRenewals, 1u) << m_log.Dump();
    // From then on the proxy is reused as before.
    m_log.Clear();
    EXPECT_EQ(Delete(), 0);
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "[org.orvik.Feltrix.dbus] proxy is already created.")) << m_log.Dump();
}

TEST_F(ProxyRenewalTest, ServiceThatNeverCameFailsEachRequestOnceWithoutRenewing)
{
    EXPECT_EQ(Delete(), -1);
    EXPECT_EQ(Delete(), -1);
    size_t uFailed = 0;
    for (const std::string& sBody : m_log.Bodies(DLOG_ERROR)) {
        uFailed += sBody.rfind("g_dbus_proxy_call_sync() failed.", 0) == 0;
    }
    EXPECT_EQ(uFailed, 2u) << m_log.Dump();
    for (const std::string& sBody : m_log.Bodies()) EXPECT_EQ(sBody.find("renewing the proxy"), std::string::npos);
    // A proxy made while the name had no owner calls the name itself: a service that comes
    // later is reached.
    m_pService = StartService();
    EXPECT_EQ(Delete(), 0) << m_log.Dump();
}
