#include <pelmo_service_gdbus_generated.h>
#include <signal.h>

#include <chrono>

#include "BusEvents.h"
#include "TransportFixture.h"

namespace {
const char* kStore = "org.orvik.Feltrix.dbus";
PT_JSON_IN_PARAM AnyParam()
{
    return MakeParam("content://org.orvik.pelmo/tiles", "{}");
}
}  // namespace

TEST_F(TransportTest, SecondRequestReusesTheProxy)
{
    PT_JSON_IN_PARAM param = AnyParam();
    long long llId = 0;
    ASSERT_EQ(insert_request(param, &llId, "m"), 0);
    ASSERT_EQ(insert_request(param, &llId, "m"), 0);
    EXPECT_EQ(m_log.Count(DLOG_INFO, std::string("Create new proxy : [") + kStore + "]"), 1u) << m_log.Dump();
    EXPECT_EQ(m_log.Count(DLOG_DEBUG, std::string("[") + kStore + "] proxy is already created."), 1u);
}

TEST_F(TransportTest, SendLogsFunctionModuleAndInput)
{
    PT_JSON_IN_PARAM param = MakeParam("t", "{\"k\":1}");
    long long llId = 0;
    ASSERT_EQ(insert_request(param, &llId, "mod"), 0);
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "Function = [insert] ModuleName = [mod]"));
    EXPECT_TRUE(m_log.Has(DLOG_DEBUG, "Input: {\"k\":1}"));
}

TEST_F(TransportTest, ServiceThatAppearsAfterAFailedRequestIsReachedByTheNextOne)
{
    m_service.Stop();
    PT_JSON_IN_PARAM param = AnyParam();
    long long llId = 0;
    EXPECT_EQ(insert_request(param, &llId, "m"), -1);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ppOutputData is wrong"));
    ASSERT_TRUE(m_service.Start());
    m_service.AnswerAlways(true, "5");
    EXPECT_EQ(insert_request(param, &llId, "m"), 0);
    EXPECT_EQ(llId, 5);
}

TEST_F(TransportTest, ReleaseInstanceMakesTheNextRequestOpenANewConnectionAndProxy)
{
    PT_JSON_IN_PARAM param = AnyParam();
    long long llId = 0;
    ASSERT_EQ(insert_request(param, &llId, "m"), 0);
    CPelmoGDBusUtil* pFirst = CPelmoGDBusUtil::GetInstance();
    GDBusConnection* pConn = pFirst->GetConnection();
    ASSERT_NE(pConn, nullptr);
    CPelmoGDBusUtil::ReleaseInstance();
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "Destroy Proxies.."));
    EXPECT_TRUE(m_log.Has(DLOG_INFO, kStore));
    ASSERT_EQ(insert_request(param, &llId, "m"), 0);
    EXPECT_EQ(m_log.Count(DLOG_INFO, std::string("Create new proxy : [") + kStore + "]"), 2u);
}

TEST_F(TransportTest, BusThatGoesAwayDoesNotEndTheProcessAndANewBusWorksAfterRelease)
{
    PT_JSON_IN_PARAM param = AnyParam();
    long long llId = 0;
    ASSERT_EQ(insert_request(param, &llId, "m"), 0);
    GDBusConnection* pConnection = CPelmoGDBusUtil::GetInstance()->GetConnection();
    ASSERT_NE(pConnection, nullptr);
    m_service.Stop();
    m_bus.Stop();  // the daemon is gone; our connection is closed under us
    // The connection tells of the close on the main context it was made in; that is also where a
    // connection that ends its host on close would raise SIGTERM.
    ASSERT_TRUE(WaitForConnectionClosed(pConnection, 10000)) << "the connection never noticed the bus is gone";
    EXPECT_EQ(insert_request(param, &llId, "m"), -1);  // we are still alive
    CPelmoGDBusUtil::ReleaseInstance();
    std::string sError;
    ASSERT_TRUE(m_bus.Start(sError)) << sError;
    ASSERT_TRUE(m_service.Start());
    m_service.AnswerAlways(true, "11");
    EXPECT_EQ(insert_request(param, &llId, "m"), 0);
    EXPECT_EQ(llId, 11);
}

TEST_F(TransportTest, NoBusAtAllFailsConnectionAndProxyCreation)
{
    m_service.Stop();
    m_bus.Stop();
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/pelmo-socket", 1);
    PT_JSON_IN_PARAM param = AnyParam();
    long long llId = 0;
    EXPECT_EQ(insert_request(param, &llId, "m"), -1);
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "Error, GetConnection failed.")) << m_log.Dump();
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "Create Proxy Failed"));
    bool bSawOpenFailure = false;
    for (const std::string& sBody : m_log.Bodies(DLOG_ERROR)) {
        if (sBody.rfind("Failed to open connection to bus.(msg : ", 0) == 0) bSawOpenFailure = true;
    }
    EXPECT_TRUE(bSawOpenFailure);
}

TEST_F(TransportTest, ServiceThatNeverAnswersGivesUpAfterTheTimeout)
{
    NeverAnswer();
    PT_JSON_IN_PARAM param = AnyParam();
    long long llId = 0;
    // The library's own timeout, as it ships: the one test that waits for it in full.
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(insert_request(param, &llId, "m"), -1);
    const double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_GE(dSeconds, 5.0);
    EXPECT_LT(dSeconds, 6.0);
    bool bTimedOut = false;
    for (const std::string& sBody : m_log.Bodies(DLOG_ERROR)) {
        if (sBody.rfind("g_dbus_proxy_call_sync() failed. ", 0) == 0) bTimedOut = true;
    }
    EXPECT_TRUE(bTimedOut) << m_log.Dump();
}

TEST_F(TransportTest, GetDBusDataAcceptsAMissingReply)
{
    std::string sOut = "kept";
    EXPECT_FALSE(CPelmoGDBusUtil::GetInstance()->GetDBusData(nullptr, sOut));
    EXPECT_EQ(sOut, "kept");
}

TEST_F(TransportTest, GetDBusDataFillsTheTextEvenWhenTheFlagIsFalse)
{
    std::string sOut;
    GVariant* pReply = g_variant_ref_sink(g_variant_new("(bs)", FALSE, "why"));
    EXPECT_FALSE(CPelmoGDBusUtil::GetInstance()->GetDBusData(pReply, sOut));
    EXPECT_EQ(sOut, "why");
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "DBUS Result: [0] | Response : [why]"));
}

TEST_F(TransportTest, ProxyThatCouldNotBeCreatedIsKeptAsNullAndRetried)
{
    // A text that is not a bus name gets no proxy and no error object; GLib prints no critical
    // about it (criticals abort the process meanwhile).
    CPelmoGDBusUtil* pUtil = CPelmoGDBusUtil::GetInstance();
    const GLogLevelFlags previousFatal =
        g_log_set_always_fatal(static_cast<GLogLevelFlags>(G_LOG_FATAL_MASK | G_LOG_LEVEL_CRITICAL));
    EXPECT_EQ(pUtil->SendMessageViaDBUS("not a bus name", "insert", "m", "{}"), nullptr);
    EXPECT_EQ(pUtil->SendMessageViaDBUS("not a bus name", "insert", "m", "{}"), nullptr);
    g_log_set_always_fatal(previousFatal);
    EXPECT_EQ(m_log.Count(DLOG_ERROR, "Failed to create proxy."), 2u) << m_log.Dump();
    EXPECT_EQ(m_log.Count(DLOG_ERROR, "Create Proxy Failed"), 2u);
    EXPECT_EQ(m_log.Count(DLOG_DEBUG, "[not a bus name] proxy is already created."), 0u);
    EXPECT_EQ(m_service.CallCount(), 0u);
}

TEST_F(TransportTest, GeneratedSyncCallWithoutAReplyReturnsFalseAndLeavesOutputsAlone)
{
    GError* pError = nullptr;
    OrgOrvikPelmo_service* pProxy = org_orvik_pelmo_service_proxy_new_for_bus_sync(
        G_BUS_TYPE_SYSTEM, G_DBUS_PROXY_FLAGS_NONE, "org.orvik.Feltrix.dbus", "/org/orvik/pelmo_service", nullptr,
        &pError);
    ASSERT_NE(pProxy, nullptr) << (pError != nullptr ? pError->message : "");
    m_service.AnswerAlways(false, "answered");
    gboolean bResult = TRUE;
    gchar* sOutput = nullptr;
    ASSERT_TRUE(
        org_orvik_pelmo_service_call_call_sync(pProxy, "insert", "m", "{}", &bResult, &sOutput, nullptr, &pError));
    EXPECT_EQ(bResult, FALSE);
    ASSERT_NE(sOutput, nullptr);
    EXPECT_STREQ(sOutput, "answered");
    g_free(sOutput);

    m_service.Stop();  // nobody answers now
    bResult = TRUE;
    gchar* sUntouched = nullptr;
    EXPECT_FALSE(
        org_orvik_pelmo_service_call_call_sync(pProxy, "insert", "m", "{}", &bResult, &sUntouched, nullptr, &pError));
    EXPECT_NE(pError, nullptr);
    EXPECT_EQ(bResult, TRUE);
    EXPECT_EQ(sUntouched, nullptr);
    g_clear_error(&pError);
    g_object_unref(pProxy);
}

TEST_F(TransportTest, RequestsAddressTheWellKnownNameAndLetTheBusStartTheService)
{
    PT_JSON_IN_PARAM param = AnyParam();
    long long llId = 0;
    ASSERT_EQ(insert_request(param, &llId, "m"), 0);
    ASSERT_EQ(insert_request(param, &llId, "m"), 0);
    const auto calls = m_service.Calls();
    ASSERT_EQ(calls.size(), 2u);
    for (const CRecordedCall& call : calls) {
        // Whoever owns the name when the call is sent gets it, not the owner the proxy first met.
        EXPECT_EQ(call.sDestination, kStore);
        EXPECT_TRUE(call.bAutoStart);
    }
}
