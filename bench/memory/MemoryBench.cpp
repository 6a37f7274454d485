// Memory of a long-lived client: one process publishing and reading back many times.
//
//   build/bench/memory/memory_bench [ITERATIONS] [SECTIONS] [TILES]   (default 10000, 3, 5)
//
// Each iteration publishes one of three documents in turn (the last one again unchanged, one
// with tiles changed, one sharing nothing with the previous), then reads the preview back and
// checks it against the document. Prints this process's resident memory after the first 100
// iterations and after the last 100, and the service's, with the differences and the service's
// own account of its heap at both points. Exits non-zero
// when a read-back differs from its document or when this process grew by more than 1 MB
// between the two points.
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "BenchPreview.h"
#include "BenchRun.h"
#include "BenchServiceMemory.h"
#include "BenchStore.h"
#include "BenchTiming.h"
#include "HostStore.h"
#include "PelmoAPI.h"
#include "PelmoGDBusUtil.h"

namespace {
const std::string kModule = "org.example.memory";
constexpr long kAllowedGrowthKb = 1024;

long ResidentKb(const std::string& sPid)
{
    std::ifstream in("/proc/" + sPid + "/status");
    std::string sLine;
    while (std::getline(in, sLine)) {
        if (sLine.compare(0, 6, "VmRSS:") == 0) return std::atol(sLine.c_str() + 6);
    }
    return -1;
}
}  // namespace

int main(int argc, char** argv)
{
    const int iIterations = BenchRun::CountArg(argc, argv, 1, 200, 10000);
    const int iSections = BenchRun::CountArg(argc, argv, 2, 1, 3);
    const int iTiles = BenchRun::CountArg(argc, argv, 3, 1, 5);
    BenchRun::QuietLibrary();
    CHostStoreOptions options;
    CHostStore store;
    if (!BenchStore::Start("pelmo-memory-bench", store, options)) return 1;
    const std::string sServicePid = std::to_string(store.GetServicePid());
    int iFailures = BenchStore::RegisterModule(kModule, "memory") ? 0 : 1;

    // Three documents in turn: unchanged, some tiles changed, nothing shared with the last.
    const std::string aDocuments[3] = {BenchPreview::MakeDocument(0, 0, iSections, iTiles),
                                       BenchPreview::MakeDocument(0, 2, iSections, iTiles),
                                       BenchPreview::MakeDocument(1, 0, iSections, iTiles)};
    Json::Value aParsed[3];
    for (int i = 0; i < 3; ++i) Json::Reader().parse(aDocuments[i], aParsed[i]);

    long lSelfFirst = -1, lServiceFirst = -1;
    BenchServiceMemory::CServiceMemory serviceFirst;
    // Both processes' resident memory every tenth of the run: a cache filling up levels off,
    // a leak keeps climbing.
    std::string sSeries;
    const int iStep = std::max(1, iIterations / 10);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < iIterations && iFailures < 10; ++i) {
        // 0, 0, 1, 2, 0, 0, 1, 2...: every fourth publish repeats the one before.
        const int iDocument = (i % 4 == 0) ? 0 : (i % 4) - 1;
        if (set_preview_metadata(aDocuments[iDocument].c_str(), kModule.c_str()) != 1) {
            std::printf("iteration %d: publish failed\n", i);
            ++iFailures;
        }
        char* pText = get_preview_metadata(kModule.c_str());
        Json::Value readBack;
        const std::string sDifference = pText != nullptr && Json::Reader().parse(pText, readBack)
                                            ? BenchPreview::FirstDifference(aParsed[iDocument], readBack)
                                            : "no readable read-back";
        finalize_json_bytes(pText);
        if (!sDifference.empty()) {
            std::printf("iteration %d: %s\n", i, sDifference.c_str());
            ++iFailures;
        }
        if ((i + 1) % iStep == 0) {
            const BenchServiceMemory::CServiceMemory service = BenchServiceMemory::Ask();
            sSeries += " " + std::to_string(i + 1) + ":" + std::to_string(ResidentKb("self")) + "/" +
                       std::to_string(ResidentKb(sServicePid)) + "/" +
                       std::to_string(BenchServiceMemory::RestKb(service));
        }
        if (i + 1 == 100) {
            lSelfFirst = ResidentKb("self");
            lServiceFirst = ResidentKb(sServicePid);
            serviceFirst = BenchServiceMemory::Ask();
        }
    }
    const double dSeconds = BenchTiming::Since(start);
    const long lSelfLast = ResidentKb("self");
    const long lServiceLast = ResidentKb(sServicePid);
    const BenchServiceMemory::CServiceMemory serviceLast = BenchServiceMemory::Ask();
    CPelmoGDBusUtil::ReleaseInstance();
    store.Stop();
    BenchStore::RemoveFiles(options, true);

    std::printf("%d publishes + read-backs of %d sections x %d tiles in %.1f s, one process\n", iIterations, iSections,
                iTiles, dSeconds);
    std::printf("client RSS after the first 100   %ld kB\n", lSelfFirst);
    std::printf("client RSS after the last 100    %ld kB (%+ld kB)\n", lSelfLast, lSelfLast - lSelfFirst);
    std::printf("service RSS after the first 100  %ld kB\n", lServiceFirst);
    std::printf("service RSS after the last 100   %ld kB (%+ld kB)\n", lServiceLast, lServiceLast - lServiceFirst);
    std::printf("series (iteration:client RSS/service RSS/service heap outside SQLite, kB)%s\n", sSeries.c_str());
    BenchServiceMemory::Print("after first 100", serviceFirst);
    BenchServiceMemory::Print("after last 100", serviceLast);
    if (iFailures > 0) {
        std::printf("FAILED: %d publishes or read-backs went wrong\n", iFailures);
        return 1;
    }
    if (lSelfLast - lSelfFirst > kAllowedGrowthKb) {
        std::printf("FAILED: the client grew by more than %ld kB\n", kAllowedGrowthKb);
        return 1;
    }
    std::printf("every read-back matched its document; no growth beyond %ld kB\n", kAllowedGrowthKb);
    return 0;
}
