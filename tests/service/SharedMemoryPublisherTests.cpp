// The service's publisher of select results in POSIX shared memory: unique names, and expiry
// of results that no client opened. Built only when the store library has its result writer.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <vector>

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

namespace {
// A one-cell result of about iBytes bytes.
CResultTable Sized(std::size_t iBytes)
{
    CResultTable table;
    table.vecColumns = {"tile_title"};
    table.vecRows.push_back({CResultCell::Text(std::string(iBytes, 'r'))});
    return table;
}
}  // namespace

TEST(StoreSharedMemoryPublisher, ModuleOverItsCountIsRefusedUntilItsResultsAreOpened)
{
    CSharedMemoryPublisher publisher;
    std::vector<std::string> vecKeys;
    std::string sKey, sError;
    long long llSize = 0;
    for (long long i = 0; i < CSharedMemoryPublisher::kModuleCountLimit; ++i) {
        ASSERT_TRUE(publisher.Publish("org.example.hoarder", OneRow(), sKey, llSize, sError)) << sError;
        vecKeys.push_back(sKey);
    }
    EXPECT_FALSE(publisher.Publish("org.example.hoarder", OneRow(), sKey, llSize, sError));
    EXPECT_NE(sError.find("8 select results"), std::string::npos) << sError;
    EXPECT_NE(sError.find("nobody opened"), std::string::npos) << sError;
    // Another module is not held back by it.
    ASSERT_TRUE(publisher.Publish("org.example.other", OneRow(), sKey, llSize, sError)) << sError;
    vecKeys.push_back(sKey);
    // Once a reader opened (and so removed) one, there is room again.
    ASSERT_EQ(shm_unlink(vecKeys[0].c_str()), 0);
    ASSERT_TRUE(publisher.Publish("org.example.hoarder", OneRow(), sKey, llSize, sError)) << sError;
    vecKeys.push_back(sKey);
    const CResultSpace space = publisher.Space("org.example.hoarder");
    EXPECT_EQ(space.llModuleCount, CSharedMemoryPublisher::kModuleCountLimit);
    EXPECT_EQ(space.llTotalCount, CSharedMemoryPublisher::kModuleCountLimit + 1);
    EXPECT_EQ(space.llRefused, 1);
    EXPECT_GT(space.llShmBytes, 0);
    EXPECT_LE(space.llTotalBytesLimit, space.llShmBytes / 4);
    publisher.ExpireOlderThan(std::chrono::steady_clock::time_point::max());
}

TEST(StoreSharedMemoryPublisher, FullTotalIsMadeRoomInFromTheLargestHolder)
{
    CSharedMemoryPublisher publisher;
    publisher.LimitTotalBytes(2 * 1024 * 1024);  // a module may then hold 1 MiB
    std::string sKey, sError, sFirstOfA;
    long long llSize = 0;
    for (const char* sModule : {"org.example.a", "org.example.b"}) {
        for (int i = 0; i < 3; ++i) {
            ASSERT_TRUE(publisher.Publish(sModule, Sized(300000), sKey, llSize, sError)) << sError;
            if (sFirstOfA.empty()) sFirstOfA = sKey;
        }
    }
    ASSERT_TRUE(publisher.Publish("org.example.c", Sized(290000), sKey, llSize, sError)) << sError;
    // a holds no more than b: the total is full and a cannot make room from anyone.
    EXPECT_FALSE(publisher.Publish("org.example.a", Sized(100000), sKey, llSize, sError));
    EXPECT_NE(sError.find("space for select results is full"), std::string::npos) << sError;
    EXPECT_TRUE(NameExists(sFirstOfA));
    // c holds less than a: a's oldest result goes to make room.
    ASSERT_TRUE(publisher.Publish("org.example.c", Sized(100000), sKey, llSize, sError)) << sError;
    EXPECT_FALSE(NameExists(sFirstOfA));
    const CResultSpace space = publisher.Space("org.example.c");
    EXPECT_EQ(space.llEvicted, 1);
    EXPECT_LE(space.llTotalBytes, space.llTotalBytesLimit);
    EXPECT_EQ(space.llModuleCount, 2);
    publisher.ExpireOlderThan(std::chrono::steady_clock::time_point::max());
}
