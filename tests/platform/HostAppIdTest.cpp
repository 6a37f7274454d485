#include <app_common.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

TEST(HostAppId, ReturnsPelmoAppIdAsNewlyAllocatedText)
{
    setenv("PELMO_APP_ID", "org.example.app", 1);
    char* sId = nullptr;
    ASSERT_EQ(app_get_id(&sId), APP_ERROR_NONE);
    ASSERT_NE(sId, nullptr);
    EXPECT_STREQ(sId, "org.example.app");
    free(sId);
    unsetenv("PELMO_APP_ID");
}

TEST(HostAppId, UnsetOrEmptyIsAFailureAndLeavesTheOutputAlone)
{
    unsetenv("PELMO_APP_ID");
    char* sId = nullptr;
    EXPECT_NE(app_get_id(&sId), APP_ERROR_NONE);
    EXPECT_EQ(sId, nullptr);
    setenv("PELMO_APP_ID", "", 1);
    EXPECT_NE(app_get_id(&sId), APP_ERROR_NONE);
    EXPECT_EQ(sId, nullptr);
    unsetenv("PELMO_APP_ID");
    EXPECT_EQ(app_get_id(nullptr), APP_ERROR_INVALID_PARAMETER);
}
