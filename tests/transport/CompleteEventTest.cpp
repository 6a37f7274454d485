#include "PelmoAPIInternal.h"
#include "TransportFixture.h"

TEST_F(TransportTest, CompleteEventSendsABlankUnderTheModule)
{
    sendCompleteEvent("org.example.module");
    ASSERT_EQ(m_service.CallCount(), 1u);
    auto call = m_service.Calls()[0];
    EXPECT_EQ(call.sBusName, "org.orvik.Feltrix.dbus");
    EXPECT_EQ(call.sMethod, "send_sync");
    EXPECT_EQ(call.sPackage, "org.example.module");
    EXPECT_EQ(call.sInput, " ");
    EXPECT_TRUE(m_log.Has(DLOG_INFO, "ModuleName: org.example.module,  AppID: org.example.module"));
}

TEST_F(TransportTest, CompleteEventWithEmptyModuleSendsUnderTheCallersAppId)
{
    sendCompleteEvent("");
    ASSERT_EQ(m_service.CallCount(), 1u);
    EXPECT_EQ(m_service.Calls()[0].sPackage, "org.example.caller");
}

TEST_F(TransportTest, CompleteEventSurvivesAMissingService)
{
    m_service.Stop();
    sendCompleteEvent("m");  // fire and forget: the missing reply is handed on and absorbed
    EXPECT_TRUE(m_log.Has(DLOG_ERROR, "ResultJson is NULL")) << m_log.Dump();
}
