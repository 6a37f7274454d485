// pelmo-service: the reference content store on the system bus.
#include <glib-unix.h>
#include <signal.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>

#include "RequestLog.h"
#include "ServiceOptions.h"
#include "SharedMemoryPublisher.h"
#include "StoreBusService.h"
#include "StoreDatabase.h"
#include "StoreRequestHandler.h"

namespace {

// One request per line, with the wall-clock time first so that a person can line the log up
// with what an application did.
class CRequestLogFile {
public:
    bool Open(const std::string& sPath, std::string& sError)
    {
        if (sPath.empty()) return true;
        m_pFile = std::fopen(sPath.c_str(), "a");
        if (m_pFile == nullptr) {
            sError = "cannot open the log file " + sPath;
            return false;
        }
        return true;
    }
    ~CRequestLogFile()
    {
        if (m_pFile != nullptr) std::fclose(m_pFile);
    }
    void Write(const std::string& sLine)
    {
        FILE* pOut = m_pFile != nullptr ? m_pFile : stderr;
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        localtime_r(&now, &local);
        char sStamp[32];
        std::strftime(sStamp, sizeof sStamp, "%H:%M:%S", &local);
        std::fprintf(pOut, "%s pelmo-service: %s\n", sStamp, sLine.c_str());
        std::fflush(pOut);
    }

private:
    FILE* m_pFile = nullptr;
};

gboolean OnStopSignal(gpointer pLoop)
{
    g_main_loop_quit(static_cast<GMainLoop*>(pLoop));
    return G_SOURCE_CONTINUE;
}

struct CExpiry {
    CSharedMemoryPublisher* pPublisher;
    std::chrono::seconds ttl;
};

gboolean OnExpiryTick(gpointer pData)
{
    auto* pExpiry = static_cast<CExpiry*>(pData);
    pExpiry->pPublisher->ForgetClaimed();
    pExpiry->pPublisher->ExpireOlderThan(std::chrono::steady_clock::now() - pExpiry->ttl);
    return G_SOURCE_CONTINUE;
}

}  // namespace

int main(int argc, char** argv)
{
    CServiceOptions options;
    std::string sError;
    if (!ParseServiceOptions(argc, argv, options, sError)) {
        if (sError.empty()) {
            std::fputs(ServiceUsage(), stdout);
            return 0;
        }
        std::fprintf(stderr, "pelmo-service: %s\n%s", sError.c_str(), ServiceUsage());
        return 2;
    }
    // A client that vanishes mid-reply must not end the service.
    signal(SIGPIPE, SIG_IGN);

    CRequestLogFile log;
    if (!log.Open(options.sLogFile, sError)) {
        std::fprintf(stderr, "pelmo-service: %s\n", sError.c_str());
        return 1;
    }
    CStoreDatabase database;
    if (!database.Open(options.sDatabase, sError)) {
        std::fprintf(stderr, "pelmo-service: %s\n", sError.c_str());
        return 1;
    }
    CSharedMemoryPublisher publisher;
    CStoreRequestHandler handler(database, publisher);
    handler.SetPlatformServices(options.setPlatformService);

    GMainLoop* pLoop = g_main_loop_new(nullptr, FALSE);
    CStoreBusService bus([&](const std::string& sBusName, const std::string& sMethod, const std::string& sPackage,
                             const std::string& sInput, const PT_CALLER_IDENTITY& caller) {
        CBusAnswer answer;
        CStoreReply reply;
        // The provider only ends service applications; the store manager does everything else.
        const bool bProvider = sBusName == CStoreBusService::kProviderName;
        if (bProvider != (sMethod == "terminate_service")) {
            reply = StoreReplies::Refuse(bProvider ? "the provider serves only terminate_service"
                                                   : "terminate_service is served at org.orvik.pelmo_provider.dbus");
        } else {
            reply = handler.Handle(sMethod, sPackage, sInput, caller);
        }
        log.Write(FormatRequestLog(sMethod, sPackage, reply));
        answer.bResult = reply.bResult;
        answer.sOutput = reply.sOutput;
        return answer;
    });
    if (!bus.Start([pLoop] { g_main_loop_quit(pLoop); }, sError)) {
        std::fprintf(stderr, "pelmo-service: %s\n", sError.c_str());
        g_main_loop_unref(pLoop);
        return 1;
    }
    g_unix_signal_add(SIGTERM, &OnStopSignal, pLoop);
    g_unix_signal_add(SIGINT, &OnStopSignal, pLoop);
    CExpiry expiry{&publisher, std::chrono::seconds(options.iResultTtlSeconds)};
    g_timeout_add_seconds(1, &OnExpiryTick, &expiry);

    log.Write("serving " + options.sDatabase);
    g_main_loop_run(pLoop);
    log.Write("stopping");

    bus.Stop();
    // Results that nobody will open any more.
    publisher.ExpireOlderThan(std::chrono::steady_clock::time_point::max());
    g_main_loop_unref(pLoop);
    return 0;
}
