// pelmo-service: the reference content store on the system bus.
#include <glib-unix.h>
#include <signal.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "BusMessageLimit.h"
#include "PelmoBusNames.h"
#include "RequestLog.h"
#include "RequestWorkers.h"
#include "ServiceOptions.h"
#include "SharedMemoryPublisher.h"
#include "StoreBusService.h"
#include "StoreDatabase.h"
#include "StoreRequestHandler.h"

namespace {

// One request per line, with the wall-clock time first so that a person can line the log up
// with what an application did. Workers write side by side; a line is written whole.
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
        std::lock_guard<std::mutex> lock(m_mutex);
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
    std::mutex m_mutex;
    FILE* m_pFile = nullptr;
};

// What one worker serves with: its own connection to the store and a handler on it.
struct CWorkerStore {
    CStoreDatabase database;
    std::unique_ptr<CStoreRequestHandler> pHandler;
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
    // Each worker has its own connection: SQLite in WAL mode lets readers run beside the one
    // writer. An in-memory database is one connection's own, so it gets one worker.
    const bool bInMemory = options.sDatabase == ":memory:";
    const std::size_t iWorkers = bInMemory ? 1 : static_cast<std::size_t>(options.iWorkers);
    CSharedMemoryPublisher publisher;
    if (options.llResultSpace > 0) publisher.LimitTotalBytes(options.llResultSpace);
    std::string sLimitSource;
    const long long llMaxMessage = BusMessageLimit::Read(options.sBusConfig, sLimitSource);
    // Every request the bus can deliver is within the store's limit.
    const std::size_t iMaxInput = static_cast<std::size_t>(llMaxMessage);
    auto pShared = std::make_shared<CStoreSharedState>();
    std::vector<std::unique_ptr<CWorkerStore>> vecStores;
    for (std::size_t i = 0; i < iWorkers; ++i) {
        auto pStore = std::make_unique<CWorkerStore>();
        // The first connection reads the whole file through before the service takes it.
        const auto integrity = i == 0 ? StoreIdentity::EIntegrity::kCheck : StoreIdentity::EIntegrity::kSkip;
        if (!pStore->database.Open(options.sDatabase, sError, integrity)) {
            std::fprintf(stderr, "pelmo-service: %s\n", sError.c_str());
            return 1;
        }
        if (iWorkers > 1) pStore->database.SetWriteLock(&pShared->writeLock);
        pStore->pHandler = std::make_unique<CStoreRequestHandler>(pStore->database, publisher, pShared);
        pStore->pHandler->SetMaxInputSize(iMaxInput);
        pStore->pHandler->SetPlatformServices(options.setPlatformService);
        pStore->pHandler->SetModuleQuota(options.quota);
        if (options.budget.count() > 0) pStore->pHandler->SetBudget(options.budget);
        vecStores.push_back(std::move(pStore));
    }
    // After the first connection created the file, which the watching one only reads.
    if (!pShared->outsideWrites.Open(options.sDatabase, sError)) {
        std::fprintf(stderr, "pelmo-service: %s\n", sError.c_str());
        return 1;
    }

    CRequestWorkers workers;
    workers.Start(iWorkers, [&](std::size_t iWorker, CPendingCall& call) {
        CStoreReply reply;
        // The provider only ends service applications; the store manager does everything else.
        const bool bProvider = call.BusName() == CStoreBusService::kProviderName;
        if (bProvider != (call.Method() == "terminate_service")) {
            reply = StoreReplies::Refuse(bProvider ? "the provider serves only terminate_service"
                                                   : "terminate_service is served at " PELMO_PROVIDER_BUS_NAME);
        } else {
            reply = vecStores[iWorker]->pHandler->Handle(call.Method(), call.Package(), call.Input(), call.Caller());
        }
        // Logged before the answer goes out, so that whoever has the answer finds the line.
        log.Write(FormatRequestLog(call.Method(), call.Package(), reply));
        call.Answer(reply.bResult, reply.sOutput);
    });

    g_autoptr(GMainLoop) pLoop = g_main_loop_new(nullptr, FALSE);
    CStoreBusService bus([&](std::unique_ptr<CPendingCall> pCall) { workers.Submit(std::move(pCall)); });
    if (!bus.Start([pLoop] { g_main_loop_quit(pLoop); }, sError)) {
        std::fprintf(stderr, "pelmo-service: %s\n", sError.c_str());
        workers.Stop();
        return 1;
    }
    g_unix_signal_add(SIGTERM, &OnStopSignal, pLoop);
    g_unix_signal_add(SIGINT, &OnStopSignal, pLoop);
    CExpiry expiry{&publisher, std::chrono::seconds(options.iResultTtlSeconds)};
    g_timeout_add_seconds(1, &OnExpiryTick, &expiry);

    const CResultSpace space = publisher.Space("");
    log.Write("serving " + options.sDatabase + " with " + std::to_string(iWorkers) + " workers; requests up to " +
              std::to_string(iMaxInput) + " bytes (" + sLimitSource + "); results waiting up to " +
              std::to_string(space.llTotalBytesLimit) + " bytes of /dev/shm's " + std::to_string(space.llShmBytes));
    g_main_loop_run(pLoop);
    log.Write("stopping");

    // Calls still waiting are refused; the ones being served are answered before the bus goes.
    workers.Stop();
    bus.Stop();
    // Results that nobody will open any more.
    publisher.ExpireOlderThan(std::chrono::steady_clock::time_point::max());
    return 0;
}
