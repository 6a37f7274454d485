// The service's publisher of select results in POSIX shared memory: unique names, and expiry
// of results that no client opened. Built only when the store library has its result writer.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>

#include "SharedMemoryPublisher.h"

namespace {
CResultTable OneRow()
{
    CResultTable table;
    table.vecColumns = {"_id", "tile_title"};
    table.vecRows.push_back({CResultCell::Integer(7), CResultCell::Text("Hello")});
    return table;
}

bool NameExists(const std::string& sKey)
{
    const int iFd = shm_open(sKey.c_str(), O_RDONLY, 0);
    if (iFd < 0) return false;
    close(iFd);
    return true;
}
}  // namespace

TEST(StoreSharedMemoryPublisher, PublishesUnderUniqueNamesWithTheirSize)
{
    CSharedMemoryPublisher publisher;
    std::string sFirst, sSecond, sError;
    long long llFirst = 0, llSecond = 0;
    ASSERT_TRUE(publisher.Publish("org.example.app", OneRow(), sFirst, llFirst, sError)) << sError;
    ASSERT_TRUE(publisher.Publish("org.example.app", OneRow(), sSecond, llSecond, sError)) << sError;
    EXPECT_NE(sFirst, sSecond);
    EXPECT_EQ(sFirst.rfind("/pelmo-" + std::to_string(getpid()) + "-", 0), 0u) << sFirst;
    EXPECT_GT(llFirst, 0);
    EXPECT_EQ(llFirst, llSecond);
    EXPECT_TRUE(NameExists(sFirst));
    EXPECT_EQ(publisher.ExpireOlderThan(std::chrono::steady_clock::now() + std::chrono::seconds(1)), 2);
}

TEST(StoreSharedMemoryPublisher, ExpiryRemovesOnlyOlderResults)
{
    CSharedMemoryPublisher publisher;
    std::string sKey, sError;
    long long llSize = 0;
    ASSERT_TRUE(publisher.Publish("org.example.app", OneRow(), sKey, llSize, sError)) << sError;
    EXPECT_EQ(publisher.ExpireOlderThan(std::chrono::steady_clock::now() - std::chrono::seconds(60)), 0);
    EXPECT_TRUE(NameExists(sKey));
    EXPECT_EQ(publisher.ExpireOlderThan(std::chrono::steady_clock::now() + std::chrono::seconds(1)), 1);
    EXPECT_FALSE(NameExists(sKey));
    EXPECT_EQ(publisher.Pending(), 0u);
}

TEST(StoreSharedMemoryPublisher, ResultTheReaderAlreadyUnlinkedExpiresQuietly)
{
    CSharedMemoryPublisher publisher;
    std::string sKey, sError;
    long long llSize = 0;
    ASSERT_TRUE(publisher.Publish("org.example.app", OneRow(), sKey, llSize, sError)) << sError;
    ASSERT_EQ(shm_unlink(sKey.c_str()), 0);
    EXPECT_EQ(publisher.ExpireOlderThan(std::chrono::steady_clock::now() + std::chrono::seconds(1)), 0);
    EXPECT_EQ(publisher.Pending(), 0u);
}

TEST(StoreSharedMemoryPublisher, ResultsTheirReadersRemovedAreForgottenBeforeTheyExpire)
{
    CSharedMemoryPublisher publisher;
    std::string sClaimed, sWaiting, sError;
    long long llSize = 0;
    ASSERT_TRUE(publisher.Publish("org.example.app", OneRow(), sClaimed, llSize, sError)) << sError;
    ASSERT_TRUE(publisher.Publish("org.example.app", OneRow(), sWaiting, llSize, sError)) << sError;
    ASSERT_EQ(shm_unlink(sClaimed.c_str()), 0);  // what a reader does once it has the bytes
    EXPECT_EQ(publisher.ForgetClaimed(), 1);
    EXPECT_EQ(publisher.Pending(), 1u);
    EXPECT_TRUE(NameExists(sWaiting));
    EXPECT_EQ(publisher.ForgetClaimed(), 0);
    // The one still waiting expires as before.
    EXPECT_EQ(publisher.ExpireOlderThan(std::chrono::steady_clock::now() + std::chrono::seconds(1)), 1);
    EXPECT_FALSE(NameExists(sWaiting));
    EXPECT_EQ(publisher.Pending(), 0u);
}
