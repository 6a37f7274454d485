#include <atomic>
#include <thread>
#include <vector>

#include "TransportFixture.h"

// Every thread sends inserts whose body names the thread and the request; the service answers
// with a row id derived from the body, so an answer handed to the wrong caller is detected.
TEST_F(TransportTest, EightThreadsOfFiveHundredRequestsEachGetTheirOwnAnswers)
{
    setenv("PELMO_LOG_LEVEL", "none", 1);
    m_service.SetResponder([](const CRecordedCall& call) {
        CScriptedReply reply;
        reply.sOutput = call.sInput;  // the body is the number itself
        return reply;
    });
    constexpr int kThreads = 8;
    constexpr int kRequests = 500;
    std::atomic<int> iWrong{0};
    std::atomic<int> iFailed{0};
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < kThreads; ++t) {
        vecThreads.emplace_back([t, &iWrong, &iFailed] {
            for (int i = 0; i < kRequests; ++i) {
                const long long llExpected = static_cast<long long>(t) * 1000000 + i;
                PT_JSON_IN_PARAM param = MakeParam("t", std::to_string(llExpected));
                long long llId = -5;
                if (insert_request(param, &llId, "module" + std::to_string(t)) != 0) {
                    ++iFailed;
                } else if (llId != llExpected) {
                    ++iWrong;
                }
            }
        });
    }
    for (auto& thread : vecThreads) thread.join();
    EXPECT_EQ(iFailed.load(), 0);
    EXPECT_EQ(iWrong.load(), 0);
    auto calls = m_service.Calls();
    ASSERT_EQ(calls.size(), static_cast<size_t>(kThreads * kRequests));
    for (const CRecordedCall& call : calls) {
        const long long llValue = std::stoll(call.sInput);
        EXPECT_EQ(call.sPackage, "module" + std::to_string(llValue / 1000000));
    }
    EXPECT_EQ(m_log.Count(DLOG_INFO, "Create new proxy : [org.orvik.Feltrix.dbus]"), 1u);
}
