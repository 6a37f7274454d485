// The live page while several applications publish at once.
//
//   build/bench/studio/studio_load_bench [PROCESSES] [SECONDS]     (default 8 processes, 60 s)
//
// Starts one private host store, `pelmoctl studio` on it and a headless Chromium showing the
// studio's page, then PROCESSES client processes that each register a module and publish to it
// without pause for SECONDS (documents of 3 sections of 10 tiles: the same one again, some
// tiles changed, all tiles new, in turn). Prints the studio's resident memory every 10 s and
// the events the page received; at the end it waits until the page counts, for every module,
// exactly the publishes its client made and shows the last document's tiles, and prints how
// long that took. Exits non-zero when a publish failed or the page missed one.
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "BenchClients.h"
#include "BenchPreview.h"
#include "BenchRun.h"
#include "BenchStore.h"
#include "BenchTiming.h"
#include "DevToolsPipe.h"
#include "HostStore.h"
#include "PelmoAPI.h"
#include "PelmoGDBusUtil.h"
#include "StudioProcess.h"

namespace {

constexpr int kSections = 3;
constexpr int kTilesPerSection = 10;

std::string DocumentFor(int iClient, int iPublish)
{
    const int iVariant = iClient * 100000 + iPublish / 3;
    return BenchPreview::MakeDocument(iVariant, iPublish % 3 == 1 ? 2 : 0, kSections, kTilesPerSection);
}

// One client: publishes for iSeconds, then prints "p <publishes> <failures>".
int RunClient(int iClient, int iSeconds)
{
    BenchRun::QuietLibrary();
    const std::string sModule = "org.example.studio" + std::to_string(iClient);
    if (!BenchStore::RegisterModule(sModule, "Studio load " + std::to_string(iClient))) {
        std::printf("p 0 1\n");
        return 1;
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(iSeconds);
    int iPublishes = 0, iFailures = 0;
    while (std::chrono::steady_clock::now() < end) {
        if (set_preview_metadata(DocumentFor(iClient, iPublishes + iFailures).c_str(), sModule.c_str()) == 1) {
            ++iPublishes;
        } else {
            ++iFailures;
        }
    }
    std::printf("p %d %d\n", iPublishes, iFailures);
    CPelmoGDBusUtil::ReleaseInstance();
    return iFailures == 0 ? 0 : 1;
}

long RssKb(pid_t pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    std::string sLine;
    while (std::getline(in, sLine)) {
        if (sLine.compare(0, 6, "VmRSS:") == 0) return std::atol(sLine.c_str() + 6);
    }
    return -1;
}

std::string PageCounts()
{
    return "Array.from(document.querySelectorAll('.studio-row')).map(function (r) { return "
           "r.getAttribute('data-module') "
           "+ ' ' + r.getAttribute('data-publishes') + ' ' + r.getAttribute('data-tile-count') + ' ' + "
           "r.querySelectorAll('.tile:not(.is-ghost)').length; }).sort().join(';')";
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && std::string(argv[1]) == "--client") return RunClient(std::atoi(argv[2]), std::atoi(argv[3]));
    const int iClients = BenchRun::CountArg(argc, argv, 1, 1, 8);
    const int iSeconds = BenchRun::CountArg(argc, argv, 2, 1, 60);
    BenchRun::QuietLibrary();

    CHostStoreOptions options;
    CHostStore store;
    if (!BenchStore::Start("pelmo-studio-bench", store, options)) return 1;
    const std::string sDir = BenchStore::Folder(options);
    CStudioProcess studio;
    CDevToolsPipe browser;
    std::string sError, sSession;
    if (!studio.Start(PELMOCTL_PATH, sDir + "/studio.log", sError) ||
        !browser.Start("/usr/bin/chromium", sDir + "/chromium-profile", sError) ||
        !browser.OpenPage(studio.Address(), sSession, sError)) {
        std::fprintf(stderr, "studio_load_bench: %s\n", sError.c_str());
        return 1;
    }
    Json::Value value;
    // The page is live once its event stream is open.
    browser.Evaluate(sSession,
                     "new Promise(function (resolve) { (function look() { if (document.getElementById('studio-state')"
                     " && document.getElementById('studio-state').getAttribute('data-state') === 'live') resolve(true);"
                     " else setTimeout(look, 20); })(); })",
                     value, sError, 20000);
    std::printf("studio %s, %d processes publishing for %d s (%d tiles a document)\n", studio.Address().c_str(),
                iClients, iSeconds, kSections * kTilesPerSection);
    const long lRssStart = RssKb(studio.Pid());

    std::vector<std::pair<pid_t, int>> vecClients;
    for (int i = 0; i < iClients; ++i) {
        pid_t pid = -1;
        int iOut = -1;
        if (!BenchClients::Start(i, std::to_string(iSeconds), pid, iOut)) return 1;
        vecClients.emplace_back(pid, iOut);
    }
    std::printf("%8s %14s %14s\n", "seconds", "studio RSS kB", "page events");
    std::printf("%8d %14ld %14s\n", 0, lRssStart, "-");
    const auto start = std::chrono::steady_clock::now();
    for (int iTick = 10; iTick <= iSeconds; iTick += 10) {
        std::this_thread::sleep_until(start + std::chrono::seconds(iTick));
        browser.Evaluate(sSession, "document.body.getAttribute('data-events')", value, sError);
        std::printf("%8d %14ld %14s\n", iTick, RssKb(studio.Pid()), value.asString().c_str());
        std::fflush(stdout);
    }

    std::vector<std::string> vecExpected;
    int iTotal = 0, iFailed = 0;
    for (size_t i = 0; i < vecClients.size(); ++i) {
        std::string sOut;
        char aBuffer[256];
        ssize_t n;
        while ((n = read(vecClients[i].second, aBuffer, sizeof aBuffer)) > 0)
            sOut.append(aBuffer, static_cast<size_t>(n));
        close(vecClients[i].second);
        int iStatus = 0;
        waitpid(vecClients[i].first, &iStatus, 0);
        int iPublishes = 0, iFailures = 0;
        if (std::sscanf(sOut.c_str(), "p %d %d", &iPublishes, &iFailures) != 2) iFailures = 1;
        iTotal += iPublishes;
        iFailed += iFailures;
        const int iTiles = kSections * kTilesPerSection;
        vecExpected.push_back("org.example.studio" + std::to_string(i) + " " + std::to_string(iPublishes) + " " +
                              std::to_string(iTiles) + " " + std::to_string(iTiles));
    }
    std::sort(vecExpected.begin(), vecExpected.end());
    std::string sExpected;
    for (const std::string& sModule : vecExpected) sExpected += (sExpected.empty() ? "" : ";") + sModule;
    const auto ended = std::chrono::steady_clock::now();
    // The page must come to count every publish of every module and show the last documents.
    const std::string sWait =
        "new Promise(function (resolve) { var deadline = Date.now() + 10000;"
        " (function look() { var now = " +
        PageCounts() +
        ";"
        " if (now === " +
        Json::valueToQuotedString(sExpected.c_str()) +
        " || Date.now() > deadline) resolve(now); else setTimeout(look, 20); })(); })";
    browser.Evaluate(sSession, sWait, value, sError, 20000);
    const double dCatchUp = BenchTiming::Since(ended);
    const bool bAllSeen = value.asString() == sExpected;
    browser.Evaluate(sSession, "document.body.getAttribute('data-events')", value, sError);
    std::printf("publishes: %d by %d processes (%.1f per second), %d failed\n", iTotal, iClients,
                iTotal / static_cast<double>(iSeconds), iFailed);
    std::printf("page: %s every publish of every module (%s events); caught up %.2f s after the last publish\n",
                bAllSeen ? "counted" : "MISSED", value.asString().c_str(), dCatchUp);
    std::printf("studio resident memory: %ld kB at the start, %ld kB at the end\n", lRssStart, RssKb(studio.Pid()));
    if (!bAllSeen) {
        browser.Evaluate(sSession, PageCounts(), value, sError);
        std::printf("expected %s\npage     %s\n", sExpected.c_str(), value.asString().c_str());
    }
    browser.Stop();
    studio.Stop();
    store.Stop();
    std::system(("rm -rf '" + sDir + "'").c_str());
    return bAllSeen && iFailed == 0 ? 0 : 1;
}
