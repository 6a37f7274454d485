// The service's command line: quotas and the request budget, and clear refusals of bad values.
#include <gtest/gtest.h>

#include <vector>

#include "ServiceOptions.h"

namespace {
bool Parse(std::vector<std::string> vecArgs, CServiceOptions& options, std::string& sError)
{
    vecArgs.insert(vecArgs.begin(), "pelmo-service");
    std::vector<char*> vecArgv;
    for (std::string& sArg : vecArgs) vecArgv.push_back(sArg.data());
    return ParseServiceOptions(static_cast<int>(vecArgv.size()), vecArgv.data(), options, sError);
}
}  // namespace

TEST(ServiceOptions, ModuleQuotaAndBudgetAreReadAndDefaultsStayOtherwise)
{
    CServiceOptions options;
    std::string sError;
    ASSERT_TRUE(Parse({}, options, sError)) << sError;
    EXPECT_EQ(options.quota.llTiles, PT_MODULE_QUOTA().llTiles);
    EXPECT_EQ(options.budget.count(), 0);
    ASSERT_TRUE(Parse({"--module-quota", "7,80,90000", "--budget-ms", "250"}, options, sError)) << sError;
    EXPECT_EQ(options.quota.llSections, 7);
    EXPECT_EQ(options.quota.llTiles, 80);
    EXPECT_EQ(options.quota.llBytes, 90000);
    EXPECT_EQ(options.budget.count(), 250);
}

TEST(ServiceOptions, MalformedQuotaOrBudgetIsRefusedWithTheValue)
{
    for (const char* sBad : {"7,80", "7,80,", ",80,90", "7,-1,90", "a,b,c", "7,80,90,100", "0,80,90"}) {
        CServiceOptions options;
        std::string sError;
        EXPECT_FALSE(Parse({"--module-quota", sBad}, options, sError)) << sBad;
        EXPECT_EQ(sError,
                  "--module-quota wants three positive numbers SECTIONS,TILES,BYTES, not '" + std::string(sBad) + "'");
    }
    CServiceOptions options;
    std::string sError;
    EXPECT_FALSE(Parse({"--budget-ms", "0"}, options, sError));
    EXPECT_EQ(sError, "--budget-ms wants a number of milliseconds from 1 to 600000, not '0'");
}
