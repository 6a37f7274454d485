// The service's publisher of select results in POSIX shared memory: random names, the reader
// alone may open a result, results a reader closed are removed, and results that no client
// opened expire. Built only when the store library has its result writer.
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <vector>

#include "SharedMemoryPublisher.h"
#include "UserIdMapping.h"

namespace {
CResultTable OneRow()
{
    CResultTable table;
    table.vecColumns = {"_id", "tile_title"};
    table.vecRows.push_back({CResultCell::Integer(7), CResultCell::Text("Hello")});
    return table;
}

// Looks at the name without opening it: an open and close is what a reader does.
bool NameExists(const std::string& sKey)
{
    struct stat st {};
    return stat(("/dev/shm" + sKey).c_str(), &st) == 0;
}

PT_CALLER_IDENTITY Me()
{
    PT_CALLER_IDENTITY me;
    me.uUid = geteuid();
    me.iPid = getpid();
    return me;
}

// Opens the result as `uid` in a child process: 0 when it could, else the errno.
int OpenAs(uid_t uid, const std::string& sKey)
{
    const pid_t pid = fork();
    if (pid == 0) {
        if (setgroups(0, nullptr) != 0 || setgid(uid) != 0 || setuid(uid) != 0) _exit(100);
        const int iFd = shm_open(sKey.c_str(), O_RDONLY, 0);
        _exit(iFd >= 0 ? 0 : errno);
    }
    int iStatus = 0;
    waitpid(pid, &iStatus, 0);
    return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
}

// Publishes a one-row result of org.example.app for this process's user; its name in sKey.
void PublishOneRow(CSharedMemoryPublisher& publisher, std::string& sKey)
{
    std::string sError;
    long long llSize = 0;
    ASSERT_TRUE(publisher.Publish("org.example.app", OneRow(), Me(), sKey, llSize, sError)) << sError;
}

// Expires every result published until now; how many it removed.
int ExpireAll(CSharedMemoryPublisher& publisher)
{
    return publisher.ExpireOlderThan(std::chrono::steady_clock::now() + std::chrono::seconds(1));
}
}  // namespace

TEST(StoreSharedMemoryPublisher, PublishesUnderRandomNamesWithTheirSize)
{
    CSharedMemoryPublisher publisher;
    std::string sFirst, sSecond, sError;
    long long llFirst = 0, llSecond = 0;
    ASSERT_TRUE(publisher.Publish("org.example.app", OneRow(), Me(), sFirst, llFirst, sError)) << sError;
    ASSERT_TRUE(publisher.Publish("org.example.app", OneRow(), Me(), sSecond, llSecond, sError)) << sError;
    EXPECT_NE(sFirst, sSecond);
    // "/pelmo-" and 32 hex digits: 128 random bits, nothing another user could work out.
    EXPECT_EQ(sFirst.rfind("/pelmo-", 0), 0u) << sFirst;
    EXPECT_EQ(sFirst.size(), 7u + 32u) << sFirst;
    EXPECT_EQ(sFirst.find_first_not_of("0123456789abcdef", 7), std::string::npos) << sFirst;
    EXPECT_GT(llFirst, 0);
    EXPECT_EQ(llFirst, llSecond);
    EXPECT_TRUE(NameExists(sFirst));
    EXPECT_EQ(ExpireAll(publisher), 2);
}

TEST(StoreSharedMemoryPublisher, ExpiryRemovesOnlyOlderResults)
{
    CSharedMemoryPublisher publisher;
    std::string sKey;
    ASSERT_NO_FATAL_FAILURE(PublishOneRow(publisher, sKey));
    EXPECT_EQ(publisher.ExpireOlderThan(std::chrono::steady_clock::now() - std::chrono::seconds(60)), 0);
    EXPECT_TRUE(NameExists(sKey));
    EXPECT_EQ(ExpireAll(publisher), 1);
    EXPECT_FALSE(NameExists(sKey));
    EXPECT_EQ(publisher.Pending(), 0u);
}

TEST(StoreSharedMemoryPublisher, ResultTheReaderAlreadyUnlinkedExpiresQuietly)
{
    CSharedMemoryPublisher publisher;
    std::string sKey;
    ASSERT_NO_FATAL_FAILURE(PublishOneRow(publisher, sKey));
    ASSERT_EQ(shm_unlink(sKey.c_str()), 0);
    EXPECT_EQ(ExpireAll(publisher), 0);
    EXPECT_EQ(publisher.Pending(), 0u);
}

TEST(StoreSharedMemoryPublisher, ResultsTheirReadersRemovedAreForgottenBeforeTheyExpire)
{
    CSharedMemoryPublisher publisher;
    std::string sClaimed, sWaiting;
    ASSERT_NO_FATAL_FAILURE(PublishOneRow(publisher, sClaimed));
    ASSERT_NO_FATAL_FAILURE(PublishOneRow(publisher, sWaiting));
    ASSERT_EQ(shm_unlink(sClaimed.c_str()), 0);  // what a reader does once it has the bytes
    EXPECT_EQ(publisher.ForgetClaimed(), 1);
    EXPECT_EQ(publisher.Pending(), 1u);
    EXPECT_TRUE(NameExists(sWaiting));
    EXPECT_EQ(publisher.ForgetClaimed(), 0);
    // The one still waiting expires as before.
    EXPECT_EQ(ExpireAll(publisher), 1);
    EXPECT_FALSE(NameExists(sWaiting));
    EXPECT_EQ(publisher.Pending(), 0u);
}

TEST(StoreSharedMemoryPublisher, ResultAReaderOpenedAndClosedIsRemovedByTheService)
{
    // A reader of another user cannot remove the service's object; the service does it once
    // the reader has closed it.
    CSharedMemoryPublisher publisher;
    std::string sKey;
    ASSERT_NO_FATAL_FAILURE(PublishOneRow(publisher, sKey));
    const int iFd = shm_open(sKey.c_str(), O_RDONLY, 0);
    ASSERT_GE(iFd, 0);
    EXPECT_EQ(publisher.ForgetClaimed(), 0);  // still open: the reader may be reading
    close(iFd);
    EXPECT_EQ(publisher.ForgetClaimed(), 1);
    EXPECT_FALSE(NameExists(sKey));
    EXPECT_EQ(publisher.Pending(), 0u);
}

TEST(StoreSharedMemoryPublisher, OnlyTheReaderAndTheOwnerMayOpenAResultWhenRunAsRoot)
{
    std::string sWhy;
    if (!UserIdMapping::CanBecome({0, 61611, 61612, 61613}, sWhy)) {
        GTEST_SKIP() << sWhy << ": opens the result as other users (numeric uids, no accounts)";
    }
    // The service's side as uid 61611 (it owns the object), the reader 61612, a stranger 61613.
    // The child hands the result's name over a pipe.
    int aName[2];
    ASSERT_EQ(pipe(aName), 0);
    const pid_t pid = fork();
    if (pid == 0) {
        close(aName[0]);
        if (setgroups(0, nullptr) != 0 || setgid(61611) != 0 || setuid(61611) != 0) _exit(100);
        CSharedMemoryPublisher publisher;
        PT_CALLER_IDENTITY reader;
        reader.uUid = 61612;
        std::string sKey, sError;
        long long llSize = 0;
        if (!publisher.Publish("org.example.app", OneRow(), reader, sKey, llSize, sError)) _exit(101);
        struct stat st {};
        if (stat(("/dev/shm" + sKey).c_str(), &st) != 0 || st.st_uid != 61611) _exit(102);
        if (write(aName[1], sKey.data(), sKey.size()) != static_cast<ssize_t>(sKey.size())) _exit(103);
        close(aName[1]);
        // Wait for the parent's checks; the parent ends this process and removes the result.
        pause();
        _exit(0);
    }
    close(aName[1]);
    // The name, or nothing when the child failed (its end of the pipe closes with it); the
    // deadline only guards against a child that hangs.
    std::string sKey;
    for (;;) {
        pollfd pfd{aName[0], POLLIN, 0};
        if (poll(&pfd, 1, 10000) <= 0) break;
        char buffer[128];
        const ssize_t iRead = read(aName[0], buffer, sizeof buffer);
        if (iRead <= 0) break;
        sKey.append(buffer, static_cast<size_t>(iRead));
    }
    close(aName[0]);
    if (sKey.size() != 39u) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        FAIL() << "the publishing child did not publish: '" << sKey << "'";
    }
    EXPECT_EQ(OpenAs(61612, sKey), 0);
    EXPECT_EQ(OpenAs(61613, sKey), EACCES);
    EXPECT_EQ(OpenAs(0, sKey), 0);
    kill(pid, SIGTERM);
    int iStatus = 0;
    waitpid(pid, &iStatus, 0);
    shm_unlink(sKey.c_str());
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
        ASSERT_TRUE(publisher.Publish("org.example.hoarder", OneRow(), Me(), sKey, llSize, sError)) << sError;
        vecKeys.push_back(sKey);
    }
    EXPECT_FALSE(publisher.Publish("org.example.hoarder", OneRow(), Me(), sKey, llSize, sError));
    EXPECT_NE(sError.find("8 select results"), std::string::npos) << sError;
    EXPECT_NE(sError.find("nobody opened"), std::string::npos) << sError;
    // Another module is not held back by it.
    ASSERT_TRUE(publisher.Publish("org.example.other", OneRow(), Me(), sKey, llSize, sError)) << sError;
    vecKeys.push_back(sKey);
    // Once a reader opened (and so removed) one, there is room again.
    ASSERT_EQ(shm_unlink(vecKeys[0].c_str()), 0);
    ASSERT_TRUE(publisher.Publish("org.example.hoarder", OneRow(), Me(), sKey, llSize, sError)) << sError;
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
            ASSERT_TRUE(publisher.Publish(sModule, Sized(300000), Me(), sKey, llSize, sError)) << sError;
            if (sFirstOfA.empty()) sFirstOfA = sKey;
        }
    }
    ASSERT_TRUE(publisher.Publish("org.example.c", Sized(290000), Me(), sKey, llSize, sError)) << sError;
    // a holds no more than b: the total is full and a cannot make room from anyone.
    EXPECT_FALSE(publisher.Publish("org.example.a", Sized(100000), Me(), sKey, llSize, sError));
    EXPECT_NE(sError.find("space for select results is full"), std::string::npos) << sError;
    EXPECT_TRUE(NameExists(sFirstOfA));
    // c holds less than a: a's oldest result goes to make room.
    ASSERT_TRUE(publisher.Publish("org.example.c", Sized(100000), Me(), sKey, llSize, sError)) << sError;
    EXPECT_FALSE(NameExists(sFirstOfA));
    const CResultSpace space = publisher.Space("org.example.c");
    EXPECT_EQ(space.llEvicted, 1);
    EXPECT_LE(space.llTotalBytes, space.llTotalBytesLimit);
    EXPECT_EQ(space.llModuleCount, 2);
    publisher.ExpireOlderThan(std::chrono::steady_clock::time_point::max());
}
