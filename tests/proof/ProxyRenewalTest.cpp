// The store service is replaced by a new instance while the library keeps its proxy. The proxy is
// made once and reused for the life of the library's instance; every call names the service's
// well-known name, so the bus hands it to the instance that owns the name at that moment, whether
// or not the host runs a main loop.
#include <dlog.h>
#include <gio/gio.h>
#include <gtest/gtest.h>

#include <string>

#include "BusEvents.h"
#include "FakeServiceFixture.h"
#include "PelmoAPI.h"

class ProxyRenewalTest : public FakeServiceTest {
protected:
    static constexpr const char* kStoreName = "org.orvik.Feltrix.dbus";

    void Prepare() override { m_service.AnswerAlways(true, "7"); }

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
};

TEST_F(ProxyRenewalTest, HostRunningItsMainContextReachesTheNewInstanceThroughTheSameProxy)
{
    ASSERT_EQ(Delete(), 0);
    GDBusConnection* pConnection = CPelmoGDBusUtil::GetInstance()->GetConnection();
    const std::string sFirstOwner = BusNameOwner(pConnection, kStoreName);
    ASSERT_FALSE(sFirstOwner.empty());
    ASSERT_TRUE(RestartService());  // a new connection: a new unique name owns the service's names
    // The app's main loop runs until the bus has told of the new owner, which the library's proxy
    // hears through that same loop.
    ASSERT_TRUE(RunMainContextUntilNewOwner(pConnection, kStoreName, sFirstOwner, 10000))
        << "the bus never told of the new owner";
    m_log.Clear();
    EXPECT_EQ(Delete(), 0) << m_log.Dump();
    EXPECT_EQ(m_service.CallCount(), 1u);
    EXPECT_EQ(FailedCalls(), 0u) << m_log.Dump();
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "[org.orvik.Feltrix.dbus] proxy is already created.")) << m_log.Dump();
}

TEST_F(ProxyRenewalTest, HostWithoutAMainContextReachesTheNewInstanceThroughTheSameProxy)
{
    ASSERT_EQ(Delete(), 0);
    const std::string sFirstOwner = m_service.Calls().at(0).sDestination;
    ASSERT_TRUE(RestartService());
    m_log.Clear();
    // Nothing runs the host's main context here: the proxy never hears that the owner changed,
    // yet the very next request reaches the new instance, once, with no failed call before it.
    EXPECT_EQ(Delete(), 0) << m_log.Dump();
    EXPECT_EQ(m_service.CallCount(), 1u);
    EXPECT_EQ(FailedCalls(), 0u) << m_log.Dump();
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "[org.orvik.Feltrix.dbus] proxy is already created.")) << m_log.Dump();
    EXPECT_FALSE(m_log.Has(DLOG_INFO, "Create new proxy : [org.orvik.Feltrix.dbus]"));
    EXPECT_EQ(sFirstOwner, "org.orvik.Feltrix.dbus");
}

TEST_F(ProxyRenewalTest, ReleasingTheLibraryAfterARestartStillMakesANewConnectionAndProxy)
{
    ASSERT_EQ(Delete(), 0);
    ASSERT_TRUE(RestartService());
    CPelmoGDBusUtil::ReleaseInstance();
    m_log.Clear();
    EXPECT_EQ(Delete(), 0) << m_log.Dump();
    EXPECT_EQ(m_service.CallCount(), 1u);
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "Create new proxy : [org.orvik.Feltrix.dbus]")) << m_log.Dump();
}

TEST_F(ProxyRenewalTest, EveryRequestAcrossSeveralRestartsReachesTheInstanceOfItsMoment)
{
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(RestartService());
        EXPECT_EQ(Delete(), 0) << m_log.Dump();
        EXPECT_EQ(m_service.CallCount(), 1u);
    }
    EXPECT_EQ(FailedCalls(), 0u) << m_log.Dump();
    EXPECT_EQ(m_log.Count(DLOG_INFO, "Create new proxy : [org.orvik.Feltrix.dbus]"), 1u) << m_log.Dump();
}

TEST_F(ProxyRenewalTest, ServiceThatCameAfterTheProxyWasMadeIsReachedByTheNextRequest)
{
    m_service.Stop();
    EXPECT_EQ(Delete(), -1);
    EXPECT_EQ(Delete(), -1);
    EXPECT_EQ(FailedCalls(), 2u) << m_log.Dump();
    // A proxy made while the name had no owner calls the name itself.
    ASSERT_TRUE(m_service.Start()) << "fake service did not get its names";
    EXPECT_EQ(Delete(), 0) << m_log.Dump();
    EXPECT_EQ(m_service.CallCount(), 1u);
}
