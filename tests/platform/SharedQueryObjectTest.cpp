// Opening a result through real POSIX shared memory, and every refusal of GetCursor.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstring>
#include <future>

#include "LogCapture.h"
#include "SharedResultTestData.h"
#include "pelmo/ISharedQueryObject.h"
#include "pelmo/SharedResult.h"

using namespace shm_test;

namespace {

bool NameExists(const std::string& sKey)
{
    const int iFd = shm_open(sKey.c_str(), O_RDONLY, 0);
    if (iFd < 0) return false;
    close(iFd);
    return true;
}

// The error lines of the store library; each refusal must leave exactly one naming the key.
std::vector<CLogLine> StoreErrors(const CLogCapture& capture)
{
    std::vector<CLogLine> vecOut;
    for (const CLogLine& line : capture.Lines()) {
        if (line.iPriority == 6 && line.sTag == "pelmo-store") vecOut.push_back(line);
    }
    return vecOut;
}

void ExpectOneErrorNaming(const CLogCapture& capture, const std::string& sKey, const std::string& sWord)
{
    const std::vector<CLogLine> vecErrors = StoreErrors(capture);
    ASSERT_EQ(vecErrors.size(), 1u) << capture.Dump();
    const std::string sBody = CLogCapture::Body(vecErrors[0].sMessage);
    EXPECT_NE(sBody.find(sKey), std::string::npos) << sBody;
    EXPECT_NE(sBody.find(sWord), std::string::npos) << sBody;
}

class SharedResultGetCursor : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_sKey = UniqueKey("cursor");
        m_sBytes = CSharedResultWriter::Serialize(EveryKindTable());
        ASSERT_FALSE(m_sBytes.empty());
        m_iSize = static_cast<int>(m_sBytes.size());
    }
    void TearDown() override { CSharedResultWriter::Remove(m_sKey); }

    void Publish(const std::string& sBytes)
    {
        std::string sError;
        ASSERT_TRUE(CSharedResultWriter::Publish(m_sKey, sBytes, sError)) << sError;
    }

    // Each size is refused before the published result is opened: no cursor, one error naming
    // the key and sWord, and the result's name still there for a right size.
    void ExpectSizesRefused(std::initializer_list<int> sizes, const std::string& sWord)
    {
        for (int iSize : sizes) {
            SCOPED_TRACE(iSize);
            CLogCapture capture;
            EXPECT_EQ(ISharedQueryObject::GetCursor(m_sKey, iSize), nullptr);
            ExpectOneErrorNaming(capture, m_sKey, sWord);
            EXPECT_TRUE(NameExists(m_sKey));
        }
    }

    std::string m_sKey;
    std::string m_sBytes;
    int m_iSize = 0;
};

}  // namespace

TEST_F(SharedResultGetCursor, OpensAPublishedResultOnceAndRemovesItsName)
{
    Publish(m_sBytes);
    CLogCapture capture;
    auto pCursor = ISharedQueryObject::GetCursor(m_sKey, m_iSize);
    ASSERT_NE(pCursor, nullptr) << capture.Dump();
    EXPECT_TRUE(StoreErrors(capture).empty()) << capture.Dump();
    EXPECT_FALSE(NameExists(m_sKey));

    EXPECT_EQ(pCursor->GetRowCount(), 2);
    ASSERT_EQ(pCursor->MoveNext(), 0);
    long long llValue = 0;
    EXPECT_EQ(pCursor->GetInt64(5, llValue), 0);
    EXPECT_EQ(llValue, kNegative64);
    std::string sValue;
    EXPECT_EQ(pCursor->GetString(8, sValue), 0);
    EXPECT_EQ(sValue, kUtf8Text);

    EXPECT_EQ(ISharedQueryObject::GetCursor(m_sKey, m_iSize), nullptr);
    ExpectOneErrorNaming(capture, m_sKey, "No such file");
}

TEST_F(SharedResultGetCursor, RefusesAMissingKey)
{
    CLogCapture capture;
    EXPECT_EQ(ISharedQueryObject::GetCursor(m_sKey, m_iSize), nullptr);
    ExpectOneErrorNaming(capture, m_sKey, "shm_open");
}

TEST_F(SharedResultGetCursor, RefusesAWrongSizeAndKeepsTheResult)
{
    Publish(m_sBytes);
    ExpectSizesRefused({m_iSize - 8, m_iSize + 8, 1}, "announced");
    EXPECT_NE(ISharedQueryObject::GetCursor(m_sKey, m_iSize), nullptr);
}

TEST_F(SharedResultGetCursor, RefusesAZeroOrNegativeSize)
{
    Publish(m_sBytes);
    ExpectSizesRefused({0, -1, -m_iSize, INT_MIN}, "announced size");
    EXPECT_TRUE(NameExists(m_sKey));
}

TEST_F(SharedResultGetCursor, RefusesASizeOverTheLimit)
{
    Publish(m_sBytes);
    ExpectSizesRefused({static_cast<int>(kMaxSharedResultSize) + 1, INT_MAX}, "announced size");
}

TEST_F(SharedResultGetCursor, RefusesAMalformedObjectWithTheReason)
{
    std::string sBytes = m_sBytes;
    sBytes[0] = 'X';
    Publish(sBytes);
    CLogCapture capture;
    EXPECT_EQ(ISharedQueryObject::GetCursor(m_sKey, m_iSize), nullptr);
    ExpectOneErrorNaming(capture, m_sKey, "magic");
    // It was opened: the name is gone like that of any opened result.
    EXPECT_FALSE(NameExists(m_sKey));
}

TEST_F(SharedResultGetCursor, RefusesAnInvalidKey)
{
    CLogCapture capture;
    EXPECT_EQ(ISharedQueryObject::GetCursor("", m_iSize), nullptr);
    EXPECT_EQ(StoreErrors(capture).size(), 1u) << capture.Dump();
    capture.Clear();
    EXPECT_EQ(ISharedQueryObject::GetCursor("/a/b", m_iSize), nullptr);
    ExpectOneErrorNaming(capture, "/a/b", "shm_open");
}

namespace {
// Where the system keeps POSIX shared-memory objects: another process can put anything there
// under a result's name.
std::string ShmPath(const std::string& sKey)
{
    return "/dev/shm" + sKey;
}
}  // namespace

TEST_F(SharedResultGetCursor, RefusesAFifoAtOnceInsteadOfWaitingForAWriter)
{
    ASSERT_EQ(mkfifo(ShmPath(m_sKey).c_str(), 0600), 0) << std::strerror(errno);
    CLogCapture capture;
    std::future<bool> opened =
        std::async(std::launch::async, [this] { return ISharedQueryObject::GetCursor(m_sKey, m_iSize) != nullptr; });
    // A failure guard only: the open must come back on its own.
    if (opened.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
        const int iWriter = open(ShmPath(m_sKey).c_str(), O_WRONLY | O_NONBLOCK);  // lets the blocked open go
        if (iWriter >= 0) close(iWriter);
        opened.wait();
        unlink(ShmPath(m_sKey).c_str());
        FAIL() << "GetCursor blocked on a FIFO";
    }
    EXPECT_FALSE(opened.get());
    ExpectOneErrorNaming(capture, m_sKey, "FIFO");
    unlink(ShmPath(m_sKey).c_str());
}

TEST_F(SharedResultGetCursor, RefusesADirectory)
{
    ASSERT_EQ(mkdir(ShmPath(m_sKey).c_str(), 0700), 0) << std::strerror(errno);
    CLogCapture capture;
    EXPECT_EQ(ISharedQueryObject::GetCursor(m_sKey, m_iSize), nullptr);
    ExpectOneErrorNaming(capture, m_sKey, "directory");
    struct stat st {};
    EXPECT_EQ(stat(ShmPath(m_sKey).c_str(), &st), 0);  // left as it was
    rmdir(ShmPath(m_sKey).c_str());
}

TEST_F(SharedResultGetCursor, RefusesASymbolicLinkEvenToAValidResult)
{
    // The link's target is a well-formed result of its own, so only the link itself is refused.
    const std::string sTarget = UniqueKey("link-target");
    std::string sError;
    ASSERT_TRUE(CSharedResultWriter::Publish(sTarget, m_sBytes, sError)) << sError;
    ASSERT_EQ(symlink(ShmPath(sTarget).c_str(), ShmPath(m_sKey).c_str()), 0) << std::strerror(errno);
    CLogCapture capture;
    EXPECT_EQ(ISharedQueryObject::GetCursor(m_sKey, m_iSize), nullptr);
    ExpectOneErrorNaming(capture, m_sKey, "symbolic links");
    // Neither the link nor its target was taken as a result.
    EXPECT_TRUE(NameExists(sTarget));
    unlink(ShmPath(m_sKey).c_str());
    EXPECT_NE(ISharedQueryObject::GetCursor(sTarget, m_iSize), nullptr);
}

TEST_F(SharedResultGetCursor, RefusesASocket)
{
    const int iSocket = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(iSocket, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string sPath = ShmPath(m_sKey);
    ASSERT_LT(sPath.size(), sizeof address.sun_path);
    std::memcpy(address.sun_path, sPath.c_str(), sPath.size() + 1);
    ASSERT_EQ(bind(iSocket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0) << std::strerror(errno);
    CLogCapture capture;
    EXPECT_EQ(ISharedQueryObject::GetCursor(m_sKey, m_iSize), nullptr);
    ExpectOneErrorNaming(capture, m_sKey, "shm_open");
    close(iSocket);
    unlink(sPath.c_str());
}
