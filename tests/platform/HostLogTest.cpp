#include <dlog.h>
#include <dlog_host.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "LogCapture.h"

TEST(HostLog, SinkReceivesFormattedMessageWithPriorityAndTag)
{
    CLogCapture capture;
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, "pelmo-api", "value %d and %s", 42, "text");
    auto lines = capture.Lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].iPriority, DLOG_INFO);
    EXPECT_EQ(lines[0].sTag, "pelmo-api");
    EXPECT_EQ(lines[0].sMessage, "value 42 and text");
}

TEST(HostLog, SinkSeesDebugLinesEvenWhenStderrFiltersThem)
{
    setenv("PELMO_LOG_LEVEL", "none", 1);
    dlog_host_reload_level();
    CLogCapture capture;
    testing::internal::CaptureStderr();
    __dlog_print(LOG_ID_MAIN, DLOG_DEBUG, "t", "hidden");
    const std::string sErr = testing::internal::GetCapturedStderr();
    unsetenv("PELMO_LOG_LEVEL");
    dlog_host_reload_level();
    EXPECT_EQ(sErr, "");
    EXPECT_EQ(capture.Bodies(DLOG_DEBUG), std::vector<std::string>{"hidden"});
}

TEST(HostLog, StderrGetsOneLinePerMessageAtOrAboveTheLevel)
{
    setenv("PELMO_LOG_LEVEL", "info", 1);
    dlog_host_reload_level();
    testing::internal::CaptureStderr();
    __dlog_print(LOG_ID_MAIN, DLOG_DEBUG, "t", "not shown");
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, "t", "shown\nwith a newline");
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "t", "error");
    const std::string sErr = testing::internal::GetCapturedStderr();
    unsetenv("PELMO_LOG_LEVEL");
    dlog_host_reload_level();
    EXPECT_EQ(sErr, "I/t: shown with a newline\nE/t: error\n");
}

TEST(HostLog, DefaultLevelIsError)
{
    unsetenv("PELMO_LOG_LEVEL");
    dlog_host_reload_level();
    testing::internal::CaptureStderr();
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, "t", "info");
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "t", "error");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "E/t: error\n");
}

TEST(HostLog, BodyStripsTheCommonPrefix)
{
    EXPECT_EQ(CLogCapture::Body("src/a/B.cpp: Func(12) > [B.cpp][Func:12] Hello [x] y"), "Hello [x] y");
    EXPECT_EQ(CLogCapture::Body("src/a/B.cpp: Func(12) > [B.cpp][Func:12] "), "");
}
