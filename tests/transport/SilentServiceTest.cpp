// A service that takes requests and never answers them, with the call timeout shortened inside
// the library (the test programs link the internal library for that): each request gives up
// after that timeout and costs nothing more. The shipped timeout itself is proved once, in the
// program that links the shared library.
#include <chrono>
#include <string>
#include <vector>

#include "ShortCallTimeout.h"
#include "TransportFixture.h"

namespace {
const char* kStore = "org.orvik.Feltrix.dbus";

}  // namespace

TEST(CallTimeout, IsFiveSecondsUnlessATestShortensItAndComesBackWhenReset)
{
    EXPECT_EQ(PelmoCallTimeoutMs(), 5000);
    PelmoSetCallTimeoutMs(kShortCallTimeoutMs);
    EXPECT_EQ(PelmoCallTimeoutMs(), kShortCallTimeoutMs);
    PelmoSetCallTimeoutMs(0);
    EXPECT_EQ(PelmoCallTimeoutMs(), 5000);
}

TEST_F(TransportTest, SilentServiceMakesARequestGiveUpAfterTheCallTimeout)
{
    CShortCallTimeout timeout;
    NeverAnswer();
    PT_JSON_IN_PARAM param = MakeParam("content://org.orvik.pelmo/tiles", "{}");
    long long llId = 0;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(insert_request(param, &llId, "m"), -1);
    const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    // GDBus gives up no earlier than the timeout; the bound above only guards against a request
    // that waited for something else as well.
    EXPECT_GE(dSeconds, kShortCallTimeoutMs / 1000.0);
    EXPECT_LT(dSeconds, kShortCallTimeoutMs / 1000.0 + 2.0);
    bool bTimedOut = false;
    for (const std::string& sBody : m_log.Bodies(DLOG_ERROR)) {
        if (sBody.rfind("g_dbus_proxy_call_sync() failed. ", 0) == 0) bTimedOut = true;
    }
    EXPECT_TRUE(bTimedOut) << m_log.Dump();
}

TEST_F(TransportTest, MakingTheProxyCallsNothingOnTheService)
{
    // A service that never answers: the first request costs its own timeout and nothing more,
    // because making the proxy loads no properties from the service.
    CShortCallTimeout timeout;
    NeverAnswer();
    PT_JSON_IN_PARAM param = MakeParam("content://org.orvik.pelmo/tiles", "{}");
    long long llId = 0;
    EXPECT_EQ(insert_request(param, &llId, "m"), -1);
    EXPECT_TRUE(m_log.Has(DLOG_INFO, std::string("Create new proxy : [") + kStore + "]")) << m_log.Dump();
    // The request itself is all that the service was asked (no properties, no introspection).
    const std::vector<std::string> vecIncoming = m_service.IncomingMethodCalls();
    std::string sIncoming;
    for (const std::string& sCall : vecIncoming) sIncoming += sCall + "\n";
    ASSERT_EQ(vecIncoming.size(), 1u) << sIncoming;
    EXPECT_EQ(vecIncoming[0], "org.orvik.pelmo_service.Call");
}
