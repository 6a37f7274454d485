// The performance floor of a publish: one command, one table, on a private bus of its own.
//
//   build/bench/publish/publish_bench [RUNS]          (PELMO_BENCH_DIR=/dev/shm keeps the
//                                                      database off the disk)
//
// Publishing a 200-tile preview (10 sections of 20) against the real store: first time,
// unchanged, with 10% of the tiles changed, and reading it back; next to the same document
// written the naive way (clear everything, then add every section and tile). Each row gives the
// median time, the calls that reached the store, calls x the plain round trip of an empty "Call"
// measured in the same run, and the time as a multiple of that. The last column is the number
// of instructions the client process spends per operation (the library with jsoncpp, GLib and
// the C library it calls; the store service is another process and is not counted): the
// program runs itself once more under valgrind's callgrind, which counts only inside the
// measured steps, and reads the counts back. Without valgrind that column says "-". The last
// column is the time the service itself spent on the step's requests, as its request log
// states them (median), which tells the service's share from the client's and the bus's; the
// client's CPU time (all its threads, the bus worker thread included) follows it.
#include <fcntl.h>
#include <json/json.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
// Without valgrind's header the program still measures times; the counts column stays empty.
#define CALLGRIND_TOGGLE_COLLECT
#define CALLGRIND_DUMP_STATS_AT(name) (void)(name)
#endif

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "BenchClients.h"
#include "BenchPreview.h"
#include "BenchRun.h"
#include "BenchStore.h"
#include "BenchTiming.h"
#include "HostStore.h"
#include "PelmoAPI.h"
#include "PelmoBusNames.h"
#include "PelmoGDBusUtil.h"
#include "PreviewAccelerator.h"
#include "PreviewDataUtil.h"

namespace {
const std::string kModule = "org.example.bench";

class CRequestCounter {
public:
    explicit CRequestCounter(std::string sPath) : m_sPath(std::move(sPath)) {}
    size_t Lines() const
    {
        double dIgnored = 0;
        return Lines(dIgnored);
    }
    // Also adds up the time the service logged for its requests ("... 1.12ms" ends each line).
    size_t Lines(double& dServiceMs) const
    {
        std::ifstream in(m_sPath);
        size_t uLines = 0;
        dServiceMs = 0;
        std::string sLine;
        while (std::getline(in, sLine)) {
            if (sLine.find(" module=") == std::string::npos) continue;
            ++uLines;
            const size_t uBlank = sLine.rfind(' ');
            if (uBlank != std::string::npos) dServiceMs += std::atof(sLine.c_str() + uBlank + 1);
        }
        return uLines;
    }

private:
    std::string m_sPath;
};

struct CFigure {
    double dMedianUs;
    double dCalls;
    double dServiceUs;    // median of the time the service itself logged for the step's requests
    double dClientCpuUs;  // median CPU time of the client process, all its threads (GDBus's too)
};

double ProcessCpuUs()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return now.tv_sec * 1e6 + now.tv_nsec / 1e3;
}

CFigure Measure(int iRuns, const CRequestCounter& counter, const std::function<void()>& step,
                const std::function<void()>& before = {})
{
    std::vector<double> vecTimes;
    size_t uCalls = 0;
    std::vector<double> vecService;
    std::vector<double> vecCpu;
    for (int i = 0; i < iRuns; ++i) {
        if (before) before();
        double dServiceBefore = 0, dServiceAfter = 0;
        const size_t uBefore = counter.Lines(dServiceBefore);
        const double dCpuBefore = ProcessCpuUs();
        const auto start = std::chrono::steady_clock::now();
        CALLGRIND_TOGGLE_COLLECT;
        step();
        CALLGRIND_TOGGLE_COLLECT;
        vecTimes.push_back(BenchTiming::Since<std::micro>(start));
        vecCpu.push_back(ProcessCpuUs() - dCpuBefore);
        uCalls += counter.Lines(dServiceAfter) - uBefore;
        vecService.push_back((dServiceAfter - dServiceBefore) * 1000);
    }
    return {BenchTiming::Median(vecTimes), static_cast<double>(uCalls) / iRuns, BenchTiming::Median(vecService),
            BenchTiming::Median(vecCpu)};
}

struct CRow {
    std::string sKey;   // names the row's callgrind dump
    std::string sName;  // as printed
    CFigure figure;
};

// Runs the client under callgrind, which counts only inside the measured steps and dumps the
// count after each row; returns the instructions per operation by row key.
std::map<std::string, double> CountInstructions(const std::string& sDir, int iRuns)
{
    std::map<std::string, double> mapInstructions;
    const std::string sOut = sDir + "/callgrind.out";
    const std::string sRuns = std::to_string(iRuns);
    const std::string sSelfPath = BenchClients::SelfPath();
    if (sSelfPath.empty()) return mapInstructions;
    const char* sSelf = sSelfPath.c_str();
    const pid_t pid = fork();
    if (pid == 0) {
        const int iNull = open("/dev/null", O_WRONLY);
        if (iNull >= 0) dup2(iNull, STDOUT_FILENO), dup2(iNull, STDERR_FILENO);
        execlp("valgrind", "valgrind", "--tool=callgrind", "--collect-atstart=no",
               ("--callgrind-out-file=" + sOut).c_str(), sSelf, "--count-instructions", sRuns.c_str(),
               static_cast<char*>(nullptr));
        _exit(127);
    }
    int iStatus = 0;
    if (pid < 0 || waitpid(pid, &iStatus, 0) != pid || !WIFEXITED(iStatus) || WEXITSTATUS(iStatus) != 0) {
        return mapInstructions;
    }
    for (int iDump = 1;; ++iDump) {
        const std::string sFile = sOut + "." + std::to_string(iDump);
        std::ifstream in(sFile);
        if (!in) break;
        std::string sLine, sKey;
        double dTotal = -1;
        const std::string sTrigger = "desc: Trigger: Client Request: ";
        while (std::getline(in, sLine)) {
            if (sLine.rfind(sTrigger, 0) == 0) sKey = sLine.substr(sTrigger.size());
            if (sLine.rfind("totals: ", 0) == 0) dTotal = std::atof(sLine.c_str() + 8);
            if (sLine.rfind("summary: ", 0) == 0 && dTotal < 0) dTotal = std::atof(sLine.c_str() + 9);
        }
        in.close();
        unlink(sFile.c_str());
        if (!sKey.empty() && dTotal >= 0) mapInstructions[sKey] = dTotal;
    }
    unlink(sOut.c_str());
    return mapInstructions;
}

void PrintTable(const std::vector<CRow>& vecRows, const std::map<std::string, double>& mapInstructions)
{
    const double dTrip = vecRows.front().figure.dMedianUs;
    std::printf("%-34s %10s %6s %12s %7s %14s %11s %13s\n", "operation", "median us", "calls", "calls*trip us", "ratio",
                "client instr", "service us", "client cpu us");
    for (const CRow& row : vecRows) {
        const double dFloor = std::max(1.0, row.figure.dCalls) * dTrip;
        char sInstructions[32] = "-";
        auto it = mapInstructions.find(row.sKey);
        if (it != mapInstructions.end()) std::snprintf(sInstructions, sizeof sInstructions, "%.0f", it->second);
        std::printf("%-34s %10.0f %6.1f %12.0f %7.2f %14s %11.0f %13.0f\n", row.sName.c_str(), row.figure.dMedianUs,
                    row.figure.dCalls, dFloor, row.figure.dMedianUs / dFloor, sInstructions, row.figure.dServiceUs,
                    row.figure.dClientCpuUs);
    }
}
}  // namespace

int main(int argc, char** argv)
{
    // Under callgrind the program only counts: few runs, no table, one dump per row.
    const bool bCounting = argc > 2 && std::string(argv[1]) == "--count-instructions";
    const int iRuns = bCounting ? std::max(1, std::atoi(argv[2])) : BenchRun::CountArg(argc, argv, 1, 3, 21);
    BenchRun::QuietLibrary();
    CHostStoreOptions options;
    CHostStore store;
    if (!BenchStore::Start("pelmo-publish-bench", store, options)) return 1;
    const std::string sDir = BenchStore::Folder(options);
    CRequestCounter counter(options.sLogFile);
    if (!BenchStore::RegisterModule(kModule, "bench")) {
        std::fprintf(stderr, "pelmo-publish-bench: cannot register %s\n", kModule.c_str());
        CPelmoGDBusUtil::ReleaseInstance();
        store.Stop();
        BenchStore::RemoveFiles(options, true);
        return 1;
    }

    const std::string sDocument = BenchPreview::MakeDocument(0);
    const std::string sChanged = BenchPreview::MakeDocument(0, 2);  // 2 of 20 tiles in every section
    CPelmoGDBusUtil* pUtil = CPelmoGDBusUtil::GetInstance();
    auto publish = [&](const std::string& sText) { set_preview_metadata(sText.c_str(), kModule.c_str()); };

    std::vector<CRow> vecRows;
    auto add = [&](const char* sKey, const char* sName, const CFigure& figure) {
        vecRows.push_back({sKey, sName, figure});
        CALLGRIND_DUMP_STATS_AT(sKey);
    };
    add("round_trip", "plain round trip (empty Call)", Measure(iRuns * 10, counter, [&] {
            std::string sOutput;
            pUtil->GetDBusData(pUtil->SendMessageViaDBUS(PELMO_STORE_BUS_NAME, "", "", ""), sOutput);
        }));
    add("first", "publish, first time",
        Measure(
            iRuns, counter, [&] { publish(sDocument); }, [&] { publish("{}"); }));
    publish(sDocument);
    add("unchanged", "publish, unchanged", Measure(iRuns, counter, [&] { publish(sDocument); }));
    add("changed", "publish, 10% of tiles changed",
        Measure(
            iRuns, counter, [&] { publish(sChanged); }, [&] { publish(sDocument); }));
    add("read_back", "read back (get_preview_metadata)", Measure(iRuns, counter, [&] {
            char* pText = get_preview_metadata(kModule.c_str());
            finalize_json_bytes(pText);
        }));
    add("naive", "naive: clear all, add everything", Measure(iRuns, counter, [&] {
            CPreviewDataUtil util;
            util.DeleteAcceleratorItem(kModule);
            CPreviewAccelerator parsed;
            util.GetPreviewDataUsingJsonStr(sChanged, parsed, kModule);
            util.AddAcceleratorItem(parsed, kModule);
        }));

    CPelmoGDBusUtil::ReleaseInstance();
    store.Stop();
    BenchStore::RemoveFiles(options, false);

    if (!bCounting) {
        std::map<std::string, double> mapInstructions;
        if (getenv("PELMO_BENCH_NO_CALLGRIND") == nullptr) {
            // Few runs are enough: the count of instructions barely varies from run to run.
            mapInstructions = CountInstructions(sDir, 3);
            for (auto& entry : mapInstructions) entry.second /= entry.first == "round_trip" ? 30 : 3;
        }
        std::printf("200 tiles in 10 sections, real store on a private bus (SQLite file, WAL), median of %d runs\n",
                    iRuns);
        PrintTable(vecRows, mapInstructions);
        if (mapInstructions.empty()) std::printf("(no instruction counts: valgrind missing or failed)\n");
    }
    rmdir(sDir.c_str());
    return 0;
}
