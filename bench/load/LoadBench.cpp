// Several applications publishing at once against one store.
//
//   build/bench/load/load_bench [PROCESSES] [PUBLISHES]      (default 8 processes, 50 publishes)
//
// Starts one private host store, then PROCESSES client processes, each registering its own
// module and publishing PUBLISHES documents of 200 tiles (10 sections of 20) in turn: the same
// document again, documents with some tiles changed, and documents that share nothing with the
// last one. After every publish the client reads the preview back and checks that the store
// holds exactly what the document says. Prints the median and 99th percentile publish time,
// the service's CPU time and peak resident memory, and the service's resident memory after the
// first 1000 requests and after the last one, with the service's own account of its heap at
// both points (SQLite and its page cache apart from the rest), which tells a cache filling up
// to its limit from a leak. Then the same publishers run again on a fresh store next to an
// attacker process that keeps the store busy with what a module may do to it (selects with a
// costly LIKE over a 2 MB text that run into the request budget, LIKE patterns over the limit,
// and selects whose results it never opens), and the median and 99th percentile are printed
// for both runs. Exits non-zero when a publish did not converge.
//
// The clients are separate programs (this one, run again with --client), so that each has its
// own connection and nothing of the parent's GLib state is carried over a fork.
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "BenchClients.h"
#include "BenchPreview.h"
#include "BenchRun.h"
#include "BenchServiceMemory.h"
#include "BenchStore.h"
#include "BenchTiming.h"
#include "HostStore.h"
#include "PelmoAPI.h"
#include "PelmoBusNames.h"
#include "PelmoGDBusUtil.h"

namespace {

// The document of publish k of a client: a cycle of unchanged, 10% changed, 25% changed and
// wholly new documents, so that every kind of synchronisation happens under load.
std::string DocumentFor(int iClient, int iPublish)
{
    const int iRound = iPublish / 4;
    switch (iPublish % 4) {
        case 0:
            return BenchPreview::MakeDocument(iClient * 1000 + iRound, 0);
        case 1:
            return BenchPreview::MakeDocument(iClient * 1000 + iRound, 0);
        case 2:
            return BenchPreview::MakeDocument(iClient * 1000 + iRound, 2);
        default:
            return BenchPreview::MakeDocument(iClient * 1000 + iRound, 5);
    }
}

// One client: registers its module, publishes, reads back and compares after every publish.
// Writes "t <microseconds>" per publish and "x <what>" per publish that did not converge.
int RunClient(int iClient, int iPublishes)
{
    BenchRun::QuietLibrary();
    const std::string sModule = "org.example.load" + std::to_string(iClient);
    if (!BenchStore::RegisterModule(sModule, "load")) {
        std::printf("x client %d: cannot register its module\n", iClient);
        return 1;
    }
    int iFailures = 0;
    for (int k = 0; k < iPublishes; ++k) {
        const std::string sDocument = DocumentFor(iClient, k);
        const auto start = std::chrono::steady_clock::now();
        const int iResult = set_preview_metadata(sDocument.c_str(), sModule.c_str());
        const double dMicros = BenchTiming::Since<std::micro>(start);
        std::printf("t %.0f\n", dMicros);
        std::string sDifference;
        if (iResult != 1) {
            sDifference = "publish returned " + std::to_string(iResult);
        } else {
            char* pText = get_preview_metadata(sModule.c_str());
            Json::Value document, readBack;
            if (pText == nullptr || !Json::Reader().parse(pText, readBack)) {
                sDifference = "no readable read-back";
            } else {
                Json::Reader().parse(sDocument, document);
                sDifference = BenchPreview::FirstDifference(document, readBack);
            }
            finalize_json_bytes(pText);
        }
        if (!sDifference.empty()) {
            ++iFailures;
            std::printf("x client %d publish %d: %s\n", iClient, k, sDifference.c_str());
        }
        std::fflush(stdout);
    }
    CPelmoGDBusUtil::ReleaseInstance();
    return iFailures == 0 ? 0 : 1;
}

volatile sig_atomic_t g_bStopAttack = 0;

void OnStopAttack(int)
{
    g_bStopAttack = 1;
}

// The attacker: one module doing, in turn, the costly things a module may ask of the store,
// until SIGTERM. Prints "a <kind> <count>" per kind of answer at the end.
int RunAttacker()
{
    BenchRun::QuietLibrary();
    signal(SIGTERM, &OnStopAttack);
    const std::string sModule = "org.example.attacker";
    const std::string sTiles = "content://org.orvik.pelmo/tiles";
    CPelmoGDBusUtil* pTransport = CPelmoGDBusUtil::GetInstance();
    auto call = [&](const std::string& sMethod, const Json::Value& input, std::string& sOutput) {
        return pTransport->GetDBusData(
            pTransport->SendMessageViaDBUS(PELMO_STORE_BUS_NAME, sMethod, sModule, Json::FastWriter().write(input)),
            sOutput);
    };
    std::string sOutput;
    Json::Value row;
    row["table_name"] = sTiles;
    row["tile_title"] = std::string(2u << 20, 'a');
    if (!call("insert", row, sOutput)) {
        std::printf("x attacker: cannot store its text: %s\n", sOutput.c_str());
        return 1;
    }
    long long llBudget = 0, llPattern = 0, llHoarded = 0, llCapped = 0, llOther = 0;
    for (int i = 0; !g_bStopAttack; ++i) {
        Json::Value select;
        select["table_name"] = sTiles;
        select["where"] = "";
        select["where_args"] = Json::Value(Json::arrayValue);
        switch (i % 3) {
            case 0:
                select["where"] = "tile_title LIKE ?";
                select["where_args"].append("%" + std::string(250, 'a') + "b");
                break;
            case 1:
                select["where"] = "tile_title LIKE ?";
                select["where_args"].append("%" + std::string(20000, 'a') + "b");
                break;
            default:
                break;  // a 2 MB result that is never opened
        }
        const bool bOk = call("select", select, sOutput);
        if (bOk && i % 3 == 2)
            ++llHoarded;
        else if (sOutput.find("time budget") != std::string::npos)
            ++llBudget;
        else if (sOutput.find("LIKE pattern") != std::string::npos)
            ++llPattern;
        else if (sOutput.find("nobody opened") != std::string::npos || sOutput.find("is full") != std::string::npos)
            ++llCapped;
        else
            ++llOther;
    }
    std::printf("a budget %lld\na pattern %lld\na hoarded %lld\na capped %lld\na other %lld\n", llBudget, llPattern,
                llHoarded, llCapped, llOther);
    std::fflush(stdout);
    CPelmoGDBusUtil::ReleaseInstance();
    return 0;
}

long ProcField(pid_t pid, const char* sName)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    std::string sLine;
    const size_t uLen = std::strlen(sName);
    while (std::getline(in, sLine)) {
        if (sLine.compare(0, uLen, sName) == 0) return std::atol(sLine.c_str() + uLen);
    }
    return -1;
}

// User plus system CPU time of a process, in seconds.
double CpuSeconds(pid_t pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string sStat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const size_t uEnd = sStat.rfind(')');
    if (uEnd == std::string::npos) return -1;
    std::istringstream fields(sStat.substr(uEnd + 2));
    std::string sField;
    unsigned long long ullUser = 0, ullSystem = 0;
    // After the name: state is field 3; utime and stime are fields 14 and 15.
    for (int iField = 3; iField <= 15 && fields >> sField; ++iField) {
        if (iField == 14) ullUser = std::stoull(sField);
        if (iField == 15) ullSystem = std::stoull(sField);
    }
    return static_cast<double>(ullUser + ullSystem) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// Counts the request lines the service has logged so far, reading only what was appended.
class CRequestLogTail {
public:
    explicit CRequestLogTail(const std::string& sPath) : m_sPath(sPath) {}
    size_t Count()
    {
        std::ifstream in(m_sPath);
        in.seekg(static_cast<std::streamoff>(m_uOffset));
        std::string sLine;
        while (std::getline(in, sLine)) {
            if (in.eof()) break;  // a line still being written is counted next time
            m_uOffset += sLine.size() + 1;
            m_uRequests += sLine.find(" module=") != std::string::npos;
        }
        return m_uRequests;
    }

private:
    std::string m_sPath;
    size_t m_uOffset = 0;
    size_t m_uRequests = 0;
};

double Percentile(std::vector<double> vecValues, double dFraction)
{
    if (vecValues.empty()) return 0;
    std::sort(vecValues.begin(), vecValues.end());
    const size_t uIndex = std::min(vecValues.size() - 1, static_cast<size_t>(dFraction * (vecValues.size() - 1) + 0.5));
    return vecValues[uIndex];
}

// The publish times of one run of publishers next to an attacker, on a fresh store.
struct CAttackedRun {
    std::vector<double> vecTimes;
    std::vector<std::string> vecProblems;
    std::string sAttacker;
    bool bOk = false;
};

pid_t SpawnSelf(const char* sSelf, const std::vector<std::string>& vecArgs, int& iOut)
{
    int aPipe[2];
    if (pipe(aPipe) != 0) return -1;
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(aPipe[1], STDOUT_FILENO);
        close(aPipe[0]);
        close(aPipe[1]);
        std::vector<char*> vecArgv{const_cast<char*>(sSelf)};
        for (const std::string& sArg : vecArgs) vecArgv.push_back(const_cast<char*>(sArg.c_str()));
        vecArgv.push_back(nullptr);
        execv(sSelf, vecArgv.data());
        _exit(127);
    }
    close(aPipe[1]);
    iOut = aPipe[0];
    return pid;
}

std::string ReadAll(int iFd)
{
    std::string sText;
    char aBuffer[4096];
    ssize_t n;
    while ((n = read(iFd, aBuffer, sizeof aBuffer)) > 0) sText.append(aBuffer, static_cast<size_t>(n));
    close(iFd);
    return sText;
}

CAttackedRun RunWithAttacker(const char* sSelf, int iClients, int iPublishes)
{
    CAttackedRun run;
    CHostStoreOptions options;
    CHostStore store;
    if (!BenchStore::Start("pelmo-load-bench-attacked", store, options)) return run;
    int iAttackerOut = -1;
    const pid_t attacker = SpawnSelf(sSelf, {"--attacker"}, iAttackerOut);
    std::vector<std::pair<pid_t, int>> vecClients;
    for (int i = 0; i < iClients; ++i) {
        int iOut = -1;
        const pid_t pid = SpawnSelf(sSelf, {"--client", std::to_string(i), std::to_string(iPublishes)}, iOut);
        if (pid > 0) vecClients.emplace_back(pid, iOut);
    }
    // Reading each pipe to its end in turn is enough: the clients' output is small.
    bool bClientsOk = vecClients.size() == static_cast<size_t>(iClients);
    for (const auto& client : vecClients) {
        std::istringstream lines(ReadAll(client.second));
        int iStatus = 0;
        waitpid(client.first, &iStatus, 0);
        bClientsOk = bClientsOk && WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 0;
        std::string sLine;
        while (std::getline(lines, sLine)) {
            if (sLine.rfind("t ", 0) == 0) run.vecTimes.push_back(std::atof(sLine.c_str() + 2));
            if (sLine.rfind("x ", 0) == 0) run.vecProblems.push_back(sLine.substr(2));
        }
    }
    if (attacker > 0) {
        kill(attacker, SIGTERM);
        run.sAttacker = ReadAll(iAttackerOut);
        waitpid(attacker, nullptr, 0);
    }
    store.Stop();
    BenchStore::RemoveFiles(options, true);
    run.bOk = bClientsOk && run.vecProblems.empty() &&
              run.vecTimes.size() == static_cast<size_t>(iClients) * static_cast<size_t>(iPublishes);
    return run;
}
}  // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && std::string(argv[1]) == "--client") return RunClient(std::atoi(argv[2]), std::atoi(argv[3]));
    if (argc == 2 && std::string(argv[1]) == "--attacker") return RunAttacker();
    const int iClients = BenchRun::CountArg(argc, argv, 1, 1, 8);
    const int iPublishes = BenchRun::CountArg(argc, argv, 2, 1, 50);
    BenchRun::QuietLibrary();

    CHostStoreOptions options;
    CHostStore store;
    if (!BenchStore::Start("pelmo-load-bench", store, options)) return 1;
    const pid_t servicePid = store.GetServicePid();
    const double dCpuBefore = CpuSeconds(servicePid);
    const long lRssAtStart = ProcField(servicePid, "VmRSS:");

    struct CClient {
        pid_t pid;
        int iOut;
        std::string sText;
    };
    std::vector<CClient> vecClients;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < iClients; ++i) {
        pid_t pid = -1;
        int iOut = -1;
        if (!BenchClients::Start(i, std::to_string(iPublishes), pid, iOut)) return 1;
        fcntl(iOut, F_SETFL, O_NONBLOCK);
        vecClients.push_back({pid, iOut, ""});
    }

    // While the clients run: read their output and watch the service's memory per request.
    CRequestLogTail tail(options.sLogFile);
    long lRssAt1000 = -1;
    BenchServiceMemory::CServiceMemory memoryAt1000;
    // Resident memory every 2500 requests, to tell a cache filling up (it levels off) from a
    // leak (it keeps climbing).
    std::vector<std::pair<size_t, long>> vecRssSeries;
    size_t uOpen = vecClients.size();
    while (uOpen > 0) {
        std::vector<pollfd> vecPoll;
        for (const CClient& client : vecClients) {
            if (client.iOut >= 0) vecPoll.push_back({client.iOut, POLLIN, 0});
        }
        poll(vecPoll.data(), vecPoll.size(), 20);
        for (CClient& client : vecClients) {
            if (client.iOut < 0) continue;
            char aBuffer[4096];
            ssize_t n;
            while ((n = read(client.iOut, aBuffer, sizeof aBuffer)) > 0)
                client.sText.append(aBuffer, static_cast<size_t>(n));
            if (n == 0) {
                close(client.iOut);
                client.iOut = -1;
                --uOpen;
            }
        }
        const size_t uSoFar = tail.Count();
        if (lRssAt1000 < 0 && uSoFar >= 1000) {
            lRssAt1000 = ProcField(servicePid, "VmRSS:");
            memoryAt1000 = BenchServiceMemory::Ask();
        }
        if (uSoFar >= (vecRssSeries.size() + 1) * 2500)
            vecRssSeries.emplace_back(uSoFar, ProcField(servicePid, "VmRSS:"));
    }
    int iFailedClients = 0;
    for (const CClient& client : vecClients) {
        int iStatus = 0;
        waitpid(client.pid, &iStatus, 0);
        if (!WIFEXITED(iStatus) || WEXITSTATUS(iStatus) != 0) ++iFailedClients;
    }
    const double dWallSeconds = BenchTiming::Since(start);
    const size_t uRequests = tail.Count();
    const long lRssAtEnd = ProcField(servicePid, "VmRSS:");
    const long lPeak = ProcField(servicePid, "VmHWM:");
    const double dCpu = CpuSeconds(servicePid) - dCpuBefore;
    const BenchServiceMemory::CServiceMemory memoryAtEnd = BenchServiceMemory::Ask();
    CPelmoGDBusUtil::ReleaseInstance();

    std::vector<double> vecTimes;
    std::vector<std::string> vecProblems;
    for (const CClient& client : vecClients) {
        std::istringstream lines(client.sText);
        std::string sLine;
        while (std::getline(lines, sLine)) {
            if (sLine.rfind("t ", 0) == 0) vecTimes.push_back(std::atof(sLine.c_str() + 2));
            if (sLine.rfind("x ", 0) == 0) vecProblems.push_back(sLine.substr(2));
        }
    }
    store.Stop();
    BenchStore::RemoveFiles(options, true);

    std::printf("%d processes x %d publishes of 200 tiles, one store on a private bus (SQLite file, WAL)\n", iClients,
                iPublishes);
    std::printf("publishes timed           %zu (each checked by reading back)\n", vecTimes.size());
    std::printf("publish time median       %.1f ms\n", Percentile(vecTimes, 0.5) / 1000);
    std::printf("publish time p99          %.1f ms\n", Percentile(vecTimes, 0.99) / 1000);
    std::printf("wall time                 %.1f s\n", dWallSeconds);
    std::printf("requests served           %zu\n", uRequests);
    std::printf("service CPU time          %.2f s (%.0f us per request)\n", dCpu,
                uRequests ? dCpu * 1e6 / static_cast<double>(uRequests) : 0.0);
    std::printf("service peak RSS (VmHWM)  %ld kB\n", lPeak);
    std::printf("service RSS at start      %ld kB\n", lRssAtStart);
    std::printf("service RSS at 1000 req.  %ld kB\n", lRssAt1000);
    std::printf("service RSS at the end    %ld kB (%+ld kB since request 1000)\n", lRssAtEnd,
                lRssAt1000 >= 0 ? lRssAtEnd - lRssAt1000 : 0);
    std::printf("service RSS every 2500    ");
    for (const auto& point : vecRssSeries) std::printf(" %zu:%ld", point.first, point.second);
    std::printf(" (requests:kB)\n");
    BenchServiceMemory::Print("at 1000 req.", memoryAt1000);
    BenchServiceMemory::Print("at the end", memoryAtEnd);
    for (const std::string& sProblem : vecProblems) std::printf("NOT CONVERGED: %s\n", sProblem.c_str());
    const bool bAllTimed = vecTimes.size() == static_cast<size_t>(iClients) * static_cast<size_t>(iPublishes);
    if (!vecProblems.empty() || iFailedClients > 0 || !bAllTimed) {
        std::printf("FAILED: %zu publishes did not converge, %d clients failed\n", vecProblems.size(), iFailedClients);
        return 1;
    }
    std::printf("every publish converged\n");

    // The same publishers again, on a fresh store, next to the attacker.
    const std::string sSelf = BenchClients::SelfPath();
    if (sSelf.empty()) return 1;
    const CAttackedRun attacked = RunWithAttacker(sSelf.c_str(), iClients, iPublishes);
    std::printf("\nthe same %d publishers next to an attacker process (fresh store)\n", iClients);
    std::printf("publish time median       %.1f ms without, %.1f ms with the attacker\n",
                Percentile(vecTimes, 0.5) / 1000, Percentile(attacked.vecTimes, 0.5) / 1000);
    std::printf("publish time p99          %.1f ms without, %.1f ms with the attacker\n",
                Percentile(vecTimes, 0.99) / 1000, Percentile(attacked.vecTimes, 0.99) / 1000);
    std::printf("publish time max          %.1f ms without, %.1f ms with the attacker\n",
                Percentile(vecTimes, 1.0) / 1000, Percentile(attacked.vecTimes, 1.0) / 1000);
    std::istringstream attackLines(attacked.sAttacker);
    std::string sLine;
    std::printf("attacker's answers        ");
    while (std::getline(attackLines, sLine)) {
        if (sLine.rfind("a ", 0) == 0) std::printf(" %s", sLine.c_str() + 2);
    }
    std::printf(" (over budget, pattern over the limit, results never opened, refused for result space, other)\n");
    for (const std::string& sProblem : attacked.vecProblems) std::printf("NOT CONVERGED: %s\n", sProblem.c_str());
    if (!attacked.bOk) {
        std::printf("FAILED next to the attacker: %zu publishes did not converge, %zu of %d timed\n",
                    attacked.vecProblems.size(), attacked.vecTimes.size(), iClients * iPublishes);
        return 1;
    }
    std::printf("every publish converged next to the attacker\n");
    return 0;
}
