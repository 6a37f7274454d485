// A plain host program: no GLib main loop, nothing but the library's exported functions. It
// publishes one document per line of its standard input ("publish FILE"), so that a test can
// start it fresh against a store in any state and steer it between publishes. Each publish
// prints one line: "result R seconds S requests N failed F longest L" (L: the longest failed
// request, in seconds, from its first log line to its failure). "call-timeout-ms N" sets the
// library's call timeout through the internal setter, which the probe links for that (0: the
// shipped one again) and prints "ok".
#include <signal.h>
#include <sys/prctl.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <mutex>
#include <string>

#include "PelmoAPI.h"
#include "PelmoCallTimeout.h"
#include "dlog_host.h"

namespace {
using Clock = std::chrono::steady_clock;

struct CRequestTimes {
    std::mutex mutex;
    Clock::time_point started;
    bool bOpen = false;
    int iRequests = 0;
    int iFailed = 0;
    double dLongestFailed = 0;
};

std::string Body(const std::string& sMessage)
{
    const size_t uEnd = sMessage.find("] ");
    return uEnd == std::string::npos ? sMessage : sMessage.substr(uEnd + 2);
}

void Sink(int, const char*, const char* sMessage, void* pUser)
{
    auto* pTimes = static_cast<CRequestTimes*>(pUser);
    const std::string sBody = Body(sMessage);
    std::lock_guard<std::mutex> lock(pTimes->mutex);
    if (sBody.rfind("Function = [", 0) == 0) {
        pTimes->started = Clock::now();
        pTimes->bOpen = true;
        ++pTimes->iRequests;
    } else if (pTimes->bOpen && sBody.rfind("g_dbus_proxy_call_sync() failed.", 0) == 0) {
        const double dSeconds = std::chrono::duration<double>(Clock::now() - pTimes->started).count();
        if (dSeconds > pTimes->dLongestFailed) pTimes->dLongestFailed = dSeconds;
        ++pTimes->iFailed;
        pTimes->bOpen = false;
    }
}
}  // namespace

int main(int argc, char** argv)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // never outlives the test that started it
    if (argc != 2) {
        std::cerr << "usage: publish_probe MODULE   (then one \"publish FILE\" per line)\n";
        return 2;
    }
    const std::string sModule = argv[1];
    CRequestTimes times;
    dlog_host_set_sink(&Sink, &times);
    std::string sLine;
    while (std::getline(std::cin, sLine)) {
        if (sLine.rfind("call-timeout-ms ", 0) == 0) {
            PelmoSetCallTimeoutMs(std::atoi(sLine.c_str() + 16));
            std::cout << "ok" << std::endl;
            continue;
        }
        if (sLine.rfind("publish ", 0) != 0) {
            std::cout << "error unknown command" << std::endl;
            continue;
        }
        std::ifstream in(sLine.substr(8));
        const std::string sDocument((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        {
            std::lock_guard<std::mutex> lock(times.mutex);
            times.iRequests = times.iFailed = 0;
            times.dLongestFailed = 0;
            times.bOpen = false;
        }
        const Clock::time_point start = Clock::now();
        const int iResult = set_preview_metadata(sDocument.c_str(), sModule.c_str());
        const double dSeconds = std::chrono::duration<double>(Clock::now() - start).count();
        std::lock_guard<std::mutex> lock(times.mutex);
        std::cout << "result " << iResult << " seconds " << dSeconds << " requests " << times.iRequests << " failed "
                  << times.iFailed << " longest " << times.dLongestFailed << std::endl;
    }
    dlog_host_set_sink(nullptr, nullptr);
    return 0;
}
