// The store service dies or stops answering in the middle of a publish: the call comes back
// within the timeouts of the requests it still makes, the host goes on, and a later publish
// leaves the store equal to the document.
#include <signal.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "EventWait.h"
#include "FaultFixture.h"

namespace {
using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}
}  // namespace

TEST_F(FaultTest, ServiceKilledMidPublishCallReturnsAtOnceAndNextPublishAfterRestartMatchesTheDocument)
{
    // 40 new sections: a section insert and a tile bulk insert each, 80 writes in a row.
    const std::string sDocument = Document(40, 5, "big");
    CTimedLog timed(m_log);
    std::atomic<bool> bDone{false};
    std::atomic<int> iResult{-1};
    Clock::time_point returned;
    std::thread publisher([&] {
        iResult = set_preview_metadata(sDocument.c_str(), kModule);
        returned = Clock::now();
        bDone = true;
    });
    // Kill the service once the publish is writing: a few sections are in, most are not. The
    // store's request log tells of each write as it is done.
    ASSERT_TRUE(WaitForFolderCondition(
        m_sDir, [&] { return RequestLines("insert_bulk") >= 3 || bDone; }, 30000))
        << "the store logged no writes";
    ASSERT_FALSE(bDone.load()) << "the publish ended before the service could be killed";
    const Clock::time_point killed = Clock::now();
    ASSERT_EQ(kill(m_store.GetServicePid(), SIGKILL), 0);
    publisher.join();
    const double dAfterKill = std::chrono::duration<double>(returned - killed).count();
    m_store.StopService();  // reaps it

    // The writes after the kill fail at once (the name has no owner any more); even if each had
    // waited for its full timeout the call would be bounded by 5 s per request still made.
    const size_t uFailed = timed.Count("g_dbus_proxy_call_sync() failed.");
    EXPECT_GT(uFailed, 0u);
    EXPECT_LE(dAfterKill, 5.0 * static_cast<double>(uFailed) + 1.0);
    EXPECT_LT(dAfterKill, 2.0) << uFailed << " failed requests";
    for (double dSeconds : timed.FailedRequestSeconds()) EXPECT_LT(dSeconds, 1.0);
    // Failed single writes are only logged: the publish itself reports done.
    EXPECT_EQ(iResult.load(), 1);
    std::cout << "returned " << dAfterKill << " s after the kill, " << uFailed << " requests failed" << std::endl;
    const long long llSectionsBefore = CountRows("sections");
    EXPECT_GT(llSectionsBefore, 0);
    EXPECT_LT(llSectionsBefore, 40);

    // Same bus, same database, the library's connection and proxy untouched, and no main loop
    // run by this host: the next publish reaches the new instance of the service at once.
    std::string sError;
    ASSERT_TRUE(m_store.StartService(sError)) << sError;
    const size_t uErrorsBefore = timed.Errors().size();
    ASSERT_EQ(set_preview_metadata(sDocument.c_str(), kModule), 1) << timed.Errors().substr(uErrorsBefore);
    EXPECT_EQ(CountRows("sections"), 40);
    EXPECT_EQ(CountRows("tiles"), 200);
    ExpectReadBackIsTheDocument(sDocument);
}

TEST_F(FaultTest, ServiceThatStopsAnsweringCostsEachRequestItsTimeoutAndNoMore)
{
    const std::string sFirst = Document(2, 3, "first");
    ASSERT_EQ(set_preview_metadata(sFirst.c_str(), kModule), 1);

    // The call timeout is shortened here (the shipped one is proved by the transport's tests):
    // what is proved is that each request costs its timeout and the call nothing more.
    constexpr double kTimeout = kShortCallTimeoutMs / 1000.0;
    CTimedLog timed(m_log);
    ASSERT_EQ(kill(m_store.GetServicePid(), SIGSTOP), 0);
    int iResult = -1;
    double dTotal = 0;
    {
        CShortCallTimeout shortTimeout;
        const Clock::time_point start = Clock::now();
        // The load of the stored preview times out; the library then tries to clear the module,
        // which times out too, and gives up.
        iResult = set_preview_metadata(Document(3, 2, "second").c_str(), kModule);
        dTotal = SecondsSince(start);
    }
    ASSERT_EQ(kill(m_store.GetServicePid(), SIGCONT), 0);

    EXPECT_EQ(iResult, 0);
    const std::vector<double> vecSeconds = timed.FailedRequestSeconds();
    ASSERT_FALSE(vecSeconds.empty());
    std::string sFigures;
    for (double dSeconds : vecSeconds) {
        EXPECT_GE(dSeconds, kTimeout);
        EXPECT_LE(dSeconds, kTimeout + 1.0);
        sFigures += std::to_string(dSeconds) + " ";
    }
    // Nothing else waits: the whole call is the sum of its requests' timeouts.
    EXPECT_LE(dTotal, (kTimeout + 1.0) * static_cast<double>(vecSeconds.size()));
    EXPECT_EQ(timed.Count("Function = ["), vecSeconds.size());
    std::cout << vecSeconds.size() << " requests gave up after " << sFigures << "s; the call took " << dTotal << " s"
              << std::endl;

    // Once it answers again, the next publish makes the store equal to the document, whatever the
    // requests that the service took up late did meanwhile.
    const std::string sThird = Document(3, 2, "third");
    ASSERT_EQ(set_preview_metadata(sThird.c_str(), kModule), 1) << m_log.Dump();
    ExpectReadBackIsTheDocument(sThird);
}
