#include "TransportFixture.h"

TEST_F(TransportTest, SchedulerRequestsSendThePackageAndTheCallersId)
{
    EXPECT_TRUE(start_preview_scheduler("org.example.pkg"));
    EXPECT_TRUE(stop_preview_scheduler("org.example.pkg"));
    auto calls = m_service.Calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].sBusName, "org.orvik.Feltrix.dbus");
    EXPECT_EQ(calls[0].sMethod, "start_preview_scheduler");
    EXPECT_EQ(calls[0].sPackage, "org.example.pkg");
    EXPECT_EQ(calls[0].sInput, "org.example.caller");
    EXPECT_EQ(calls[1].sMethod, "stop_preview_scheduler");
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "PkgName: [org.example.pkg] CallerId : [org.example.caller]"));
}

TEST_F(TransportTest, SchedulerResultIsTheServiceFlag)
{
    m_service.AnswerAlways(false, "");
    EXPECT_FALSE(start_preview_scheduler("p"));
    EXPECT_FALSE(stop_preview_scheduler("p"));
}

TEST_F(TransportTest, NullPackageNameIsRefusedWithoutTraffic)
{
    EXPECT_FALSE(start_preview_scheduler(nullptr));
    EXPECT_FALSE(stop_preview_scheduler(nullptr));
    EXPECT_EQ(m_service.CallCount(), 0u);
    EXPECT_EQ(m_log.Count(DLOG_ERROR, "Package name cannot be empty"), 2u);
}

TEST_F(TransportTest, SchedulerWithoutAppIdStillSendsWithEmptyInput)
{
    unsetenv("PELMO_APP_ID");
    EXPECT_TRUE(start_preview_scheduler(""));
    ASSERT_EQ(m_service.CallCount(), 1u);
    EXPECT_EQ(m_service.Calls()[0].sPackage, "");
    EXPECT_EQ(m_service.Calls()[0].sInput, "");
}

TEST_F(TransportTest, TerminateFromAnAllowedCallerGoesToTheProvider)
{
    for (const char* sCaller : {"Feltrix", "com.quenor.tv.feltrix"}) {
        setenv("PELMO_APP_ID", sCaller, 1);
        m_service.ClearCalls();
        EXPECT_TRUE(terminate_service_app("org.example.svc", "1234"));
        ASSERT_EQ(m_service.CallCount(), 1u);
        auto call = m_service.Calls()[0];
        EXPECT_EQ(call.sBusName, "org.orvik.pelmo_provider.dbus");
        EXPECT_EQ(call.sMethod, "terminate_service");
        EXPECT_EQ(call.sPackage, "org.example.svc");
        EXPECT_EQ(call.sInput, "1234");
    }
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "AppID: [org.example.svc] PID : [1234]"));
    EXPECT_EQ(m_log.Count(DLOG_INFO, "Send Terminate request to plp"), 2u);
}

TEST_F(TransportTest, TerminateIsRefusedForOtherCallersWithoutTraffic)
{
    for (const char* sCaller : {"Feltrix2", "feltrix", "com.quenor.tv.feltrix.extra", "com.quenor.tv.Feltrix"}) {
        setenv("PELMO_APP_ID", sCaller, 1);
        EXPECT_FALSE(terminate_service_app("x", "1"));
        EXPECT_TRUE(m_log.Has(DLOG_ERROR, std::string("No permission.(appid : ") + sCaller + ")"));
    }
    unsetenv("PELMO_APP_ID");
    EXPECT_FALSE(terminate_service_app("x", "1"));
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "No permission.(appid : )"));
    EXPECT_EQ(m_service.CallCount(), 0u);
}
