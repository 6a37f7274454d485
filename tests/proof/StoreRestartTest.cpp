// Hosts reach the store again after it restarts and get every request back within its own
// timeout from their very first call. The host without a main loop is a process of its own
// (publish_probe): a plain program that calls nothing but the library's exported functions,
// started fresh for each test and steered one publish at a time.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "BusEvents.h"
#include "FaultFixture.h"

extern char** environ;

namespace {

struct PT_PROBE_PUBLISH {
    bool bAnswered = false;
    int iResult = -1;
    double dSeconds = 0;
    int iRequests = 0;
    int iFailed = 0;
    double dLongestFailed = 0;
};

// The probe process, its standard input and output as pipes of this test.
class CPublishProbe {
public:
    ~CPublishProbe()
    {
        if (m_iToProbe >= 0) close(m_iToProbe);  // end of input: the probe exits
        if (m_pid > 0) {
            int iStatus = 0;
            waitpid(m_pid, &iStatus, 0);
        }
        if (m_iFromProbe >= 0) close(m_iFromProbe);
    }

    bool Start(const std::string& sModule)
    {
        int aIn[2];
        int aOut[2];
        if (pipe2(aIn, O_CLOEXEC) != 0) return false;
        if (pipe2(aOut, O_CLOEXEC) != 0) return false;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, aIn[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, aOut[1], STDOUT_FILENO);
        const std::string sProgram = PELMO_PUBLISH_PROBE_PATH;
        char* aArgv[] = {const_cast<char*>(sProgram.c_str()), const_cast<char*>(sModule.c_str()), nullptr};
        const int iError = posix_spawn(&m_pid, sProgram.c_str(), &actions, nullptr, aArgv, environ);
        posix_spawn_file_actions_destroy(&actions);
        close(aIn[0]);
        close(aOut[1]);
        m_iToProbe = aIn[1];
        m_iFromProbe = aOut[0];
        if (iError != 0) m_pid = -1;
        return iError == 0;
    }

    // Publishes the document in sPath and waits for the probe's line.
    PT_PROBE_PUBLISH Publish(const std::string& sPath)
    {
        PT_PROBE_PUBLISH result;
        const std::string sLine = Ask("publish " + sPath + "\n");
        std::istringstream in(sLine);
        std::string sWord;
        in >> sWord >> result.iResult >> sWord >> result.dSeconds >> sWord >> result.iRequests >> sWord >>
            result.iFailed >> sWord >> result.dLongestFailed;
        result.bAnswered = !in.fail();
        return result;
    }

    // Sets the library's call timeout in the probe (0: the shipped one).
    bool SetCallTimeout(int iMilliseconds)
    {
        return Ask("call-timeout-ms " + std::to_string(iMilliseconds) + "\n") == "ok\n";
    }

private:
    // Sends a command and waits for the probe's one line of answer (a generous deadline as a
    // failure guard only); empty when none came.
    std::string Ask(const std::string& sCommand)
    {
        if (write(m_iToProbe, sCommand.data(), sCommand.size()) != static_cast<ssize_t>(sCommand.size())) return "";
        std::string sLine;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(90);
        while (sLine.empty() || sLine.back() != '\n') {
            const int iLeft = static_cast<int>(
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now())
                    .count());
            pollfd poller{m_iFromProbe, POLLIN, 0};
            if (iLeft <= 0 || poll(&poller, 1, iLeft) <= 0) return "";
            char c = 0;
            if (read(m_iFromProbe, &c, 1) != 1) return "";
            sLine += c;
        }
        return sLine;
    }

    pid_t m_pid = -1;
    int m_iToProbe = -1;
    int m_iFromProbe = -1;
};

class StoreRestartTest : public FaultTest {
protected:
    void TearDown() override
    {
        for (const std::string& sPath : m_vecFiles) unlink(sPath.c_str());
        FaultTest::TearDown();
    }

    // Writes the document into the test's folder and returns its path.
    std::string WriteDocument(const std::string& sDocument)
    {
        const std::string sPath = m_sDir + "/document-" + std::to_string(m_vecFiles.size()) + ".json";
        std::ofstream(sPath) << sDocument;
        m_vecFiles.push_back(sPath);
        return sPath;
    }

    // A new instance of the service on the same bus and database: a new unique name owns the
    // service's names.
    void RestartService()
    {
        ASSERT_GE(m_store.StopService(), 0);
        std::string sError;
        ASSERT_TRUE(m_store.StartService(sError)) << sError;
    }

    std::vector<std::string> m_vecFiles;
};

// Resumes a stopped service whatever way the test ends.
class CContinueOnExit {
public:
    explicit CContinueOnExit(pid_t pid) : m_pid(pid) {}
    ~CContinueOnExit() { kill(m_pid, SIGCONT); }

private:
    pid_t m_pid;
};

}  // namespace

TEST_F(StoreRestartTest, HostWithoutAMainLoopReachesTheRestartedStoreWithItsVeryNextPublish)
{
    CPublishProbe probe;
    ASSERT_TRUE(probe.Start(kModule));
    std::string sLast;
    std::string sFigures;
    for (int i = 0; i < 20; ++i) {
        SCOPED_TRACE(i);
        if (i == 10) RestartService();
        sLast = Document(1 + i % 3, 2 + i % 4, "round " + std::to_string(i));
        const PT_PROBE_PUBLISH publish = probe.Publish(WriteDocument(sLast));
        ASSERT_TRUE(publish.bAnswered);
        EXPECT_EQ(publish.iResult, 1);
        EXPECT_EQ(publish.iFailed, 0);
        EXPECT_LT(publish.dSeconds, 5.0);
        if (i >= 9 && i <= 11) sFigures += " " + std::to_string(i) + ": " + std::to_string(publish.dSeconds) + " s";
    }
    ExpectReadBackIsTheDocument(sLast);
    std::cout << "publishes around the restart (after publish 9):" << sFigures << std::endl;
}

TEST_F(StoreRestartTest, HostRunningAMainLoopReachesTheRestartedStoreWithItsVeryNextPublish)
{
    CTimedLog timed(m_log);
    std::string sLast;
    for (int i = 0; i < 20; ++i) {
        SCOPED_TRACE(i);
        if (i == 10) {
            GDBusConnection* pConnection = CPelmoGDBusUtil::GetInstance()->GetConnection();
            const std::string sOldOwner = BusNameOwner(pConnection, CHostStore::kStoreName);
            RestartService();
            // The app's main loop hears of the new owner before its next publish, as the
            // library's proxy does through that loop.
            ASSERT_TRUE(RunMainContextUntilNewOwner(pConnection, CHostStore::kStoreName, sOldOwner, 10000))
                << "the bus never told of the store's new owner";
        }
        RunMainContextUntilIdle();  // the app's main loop between two publishes
        sLast = Document(1 + i % 3, 2 + i % 4, "looped " + std::to_string(i));
        EXPECT_EQ(set_preview_metadata(sLast.c_str(), kModule), 1) << timed.Errors();
    }
    EXPECT_EQ(timed.Count("g_dbus_proxy_call_sync() failed."), 0u) << timed.Errors();
    ExpectReadBackIsTheDocument(sLast);
}

TEST_F(StoreRestartTest, FreshHostAgainstAStoppedServiceGetsItsFirstPublishBackWithinTwelveSeconds)
{
    const std::string sBefore = Document(2, 3, "before");
    ASSERT_EQ(set_preview_metadata(sBefore.c_str(), kModule), 1);
    const std::string sStuck = WriteDocument(Document(3, 2, "while stopped"));
    const std::string sAfter = Document(2, 2, "after");
    const std::string sAfterPath = WriteDocument(sAfter);

    // The probe's call timeout is shortened; what is proved is that the first publish costs its
    // requests' timeouts and nothing more, whatever the timeout is.
    constexpr double kTimeout = kShortCallTimeoutMs / 1000.0;
    CPublishProbe probe;
    ASSERT_TRUE(probe.Start(kModule));
    ASSERT_TRUE(probe.SetCallTimeout(kShortCallTimeoutMs));
    ASSERT_EQ(kill(m_store.GetServicePid(), SIGSTOP), 0);
    PT_PROBE_PUBLISH first;
    {
        CContinueOnExit resume(m_store.GetServicePid());
        // The process's first request makes the connection and the proxy; neither waits for the
        // stopped service, so the publish is its load and its clearing, one timeout each.
        first = probe.Publish(sStuck);
    }
    ASSERT_TRUE(first.bAnswered);
    EXPECT_EQ(first.iResult, 0);
    EXPECT_LT(first.dSeconds, 12.0);
    EXPECT_LT(first.dSeconds, 2 * kTimeout + 2.0);
    EXPECT_GE(first.iFailed, 1);
    EXPECT_GE(first.dLongestFailed, kTimeout);
    EXPECT_LE(first.dLongestFailed, kTimeout + 1.0);
    // The service answers again: it first works off the two requests it took up late, then the
    // second publish of the same process is served as usual.
    ASSERT_TRUE(probe.SetCallTimeout(0));
    const PT_PROBE_PUBLISH second = probe.Publish(sAfterPath);
    ASSERT_TRUE(second.bAnswered);
    EXPECT_EQ(second.iResult, 1);
    EXPECT_LT(second.dSeconds, 6.0);
    EXPECT_EQ(second.iFailed, 0);
    ExpectReadBackIsTheDocument(sAfter);
    std::cout << "stopped service: first publish " << first.dSeconds << " s (" << first.iRequests << " requests, "
              << first.iFailed << " failed, longest " << first.dLongestFailed << " s); after SIGCONT the second "
              << second.dSeconds << " s" << std::endl;
}
