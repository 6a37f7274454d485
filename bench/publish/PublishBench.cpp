// The performance of a publish against two floors, in one run on a private bus of its own:
//
//   build/bench/publish/publish_bench [RUNS [SIZES]]  (PELMO_BENCH_DIR=/dev/shm keeps the
//                                                      database off the disk; SIZES is a comma
//                                                      list of tile counts, 30,100,200,300 by
//                                                      default, each in 10 sections)
//
// Each operation (first publish, unchanged, 10% of the tiles changed, read-back, and the same
// document written the naive way: clear everything, then add every section and tile) is
// recorded once from the bus (a monitor connection sees every call the library sends, with all
// its arguments), and replayed by a minimal client on plain GIO that sends exactly those calls
// and opens and reads every select result as the store library does. Every timed run of the
// library is followed by a run of the replay from the same store state, so both see the same
// machine. The first table gives, as before, the library's median time, the calls that reached
// the store, calls x the plain round trip of an empty "Call", the ratio of the two, the client's
// instructions, the time the service logged for the step's requests and the client's CPU time.
// The second gives the replay's median time, library / replay in wall time and in CPU of the
// whole chain (this process with all its threads, the service and the bus daemon), each as the
// median of the per-run ratios with its quartiles, and the instructions of both. Instructions
// are counted by running the program once more under valgrind's callgrind, zeroing the counts
// before and dumping them after each measured step: both act on every thread, so GDBus's worker
// thread is counted too. Without valgrind those columns say "-". The last table gives the
// per-tile slope (least squares over the sizes) of instructions and wall time.
#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>
#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
// Without valgrind's header the program still measures times; the counts columns stay empty.
#define CALLGRIND_ZERO_STATS
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

#include "BenchBusRecorder.h"
#include "BenchChainCpu.h"
#include "BenchClients.h"
#include "BenchPreview.h"
#include "BenchReplay.h"
#include "BenchRun.h"
#include "BenchSpread.h"
#include "BenchStore.h"
#include "BenchTiming.h"
#include "HostStore.h"
#include "PelmoAPI.h"
#include "PelmoBusNames.h"
#include "PelmoGDBusUtil.h"
#include "PreviewAccelerator.h"
#include "PreviewDataUtil.h"
#include "PreviewModuleRules.h"

namespace {
// The module allowed the most tiles, so that the largest size is a document the library accepts.
const std::string kModule = PreviewModuleRules::kLargeLimitModule;

class CRequestCounter {
public:
    explicit CRequestCounter(std::string sPath) : m_sPath(std::move(sPath)) {}
    // The lines the service logged so far; also adds up the time it logged for its requests
    // ("... 1.12ms" ends each line).
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

// What one operation measured, the library's runs and the replay's, interleaved.
struct CFigure {
    double dMedianUs = 0;
    double dCalls = 0;
    double dServiceUs = 0;    // median of the time the service itself logged for the step's requests
    double dClientCpuUs = 0;  // median CPU time of the client process, all its threads (GDBus's too)
    double dReplayUs = 0;     // median wall time of the replay
    double dChainCpuUs = 0;   // median CPU time of client, service and bus daemon for the library's step
    double dReplayChainCpuUs = 0;
    BenchSpread::CSpread wallRatio;  // library / replay, per run
    BenchSpread::CSpread cpuRatio;   // the same in whole-chain CPU
};

struct CRow {
    int iTiles;         // 0: no document (the round trip)
    std::string sKey;   // names the row's callgrind dumps
    std::string sName;  // as printed
    CFigure figure;
    BenchReplay::CReplayOutcome check;  // the replay's answers against the recorded ones
    size_t uRecorded = 0;
};

// One measured step: the library's operation and its replay.
struct COperation {
    const char* sKey;
    const char* sName;
    std::function<void()> step;
    std::function<void()> before;  // restores the store's state before each run, outside the time
    int iRunFactor = 1;
};

class CBench {
public:
    CBench(CHostStore& store, const CRequestCounter& counter, BenchReplay::CReplayClient& replay)
        : m_store(store),
          m_counter(counter),
          m_replay(replay),
          m_chain({store.GetServicePid(), store.GetBus().GetDaemonPid()})
    {
    }

    // Records the operation's calls, checks the replay's answers against them and measures both,
    // interleaved. False when the calls could not be recorded.
    bool Run(int iTiles, const COperation& operation, int iRuns, CRow& row)
    {
        row.iTiles = iTiles;
        row.sKey = std::to_string(iTiles) + ":" + operation.sKey;
        row.sName = operation.sName;
        std::vector<BenchBusRecorder::CRecordedCall> vecCalls;
        if (!Record(operation, vecCalls)) return false;
        row.uRecorded = vecCalls.size();
        if (operation.before) operation.before();
        m_replay.Run(vecCalls, &row.check);

        std::vector<double> vecTimes, vecService, vecCpu, vecReplay, vecChain, vecReplayChain, vecWall, vecCpuRatio;
        size_t uCalls = 0;
        const int iCount = iRuns * operation.iRunFactor;
        const std::string sLibraryDump = row.sKey + ":library";
        const std::string sReplayDump = row.sKey + ":replay";
        for (int i = 0; i < iCount; ++i) {
            if (operation.before) operation.before();
            double dServiceBefore = 0, dServiceAfter = 0;
            const size_t uBefore = m_counter.Lines(dServiceBefore);
            double dChain = m_chain.TotalUs();
            double dCpu = BenchChainCpu::ProcessUs(0);
            auto start = std::chrono::steady_clock::now();
            CALLGRIND_ZERO_STATS;
            operation.step();
            CALLGRIND_DUMP_STATS_AT(sLibraryDump.c_str());
            vecTimes.push_back(BenchTiming::Since<std::micro>(start));
            vecCpu.push_back(BenchChainCpu::ProcessUs(0) - dCpu);
            vecChain.push_back(m_chain.TotalUs() - dChain);
            uCalls += m_counter.Lines(dServiceAfter) - uBefore;
            vecService.push_back((dServiceAfter - dServiceBefore) * 1000);

            if (operation.before) operation.before();
            dChain = m_chain.TotalUs();
            start = std::chrono::steady_clock::now();
            CALLGRIND_ZERO_STATS;
            m_replay.Run(vecCalls);
            CALLGRIND_DUMP_STATS_AT(sReplayDump.c_str());
            vecReplay.push_back(BenchTiming::Since<std::micro>(start));
            vecReplayChain.push_back(m_chain.TotalUs() - dChain);
            vecWall.push_back(vecTimes.back() / std::max(1.0, vecReplay.back()));
            vecCpuRatio.push_back(vecChain.back() / std::max(1.0, vecReplayChain.back()));
        }
        CFigure& figure = row.figure;
        figure.dMedianUs = BenchSpread::Of(vecTimes).dMedian;
        figure.dCalls = static_cast<double>(uCalls) / iCount;
        figure.dServiceUs = BenchSpread::Of(vecService).dMedian;
        figure.dClientCpuUs = BenchSpread::Of(vecCpu).dMedian;
        figure.dReplayUs = BenchSpread::Of(vecReplay).dMedian;
        figure.dChainCpuUs = BenchSpread::Of(vecChain).dMedian;
        figure.dReplayChainCpuUs = BenchSpread::Of(vecReplayChain).dMedian;
        figure.wallRatio = BenchSpread::Of(vecWall);
        figure.cpuRatio = BenchSpread::Of(vecCpuRatio);
        return true;
    }

private:
    bool Record(const COperation& operation, std::vector<BenchBusRecorder::CRecordedCall>& vecCalls)
    {
        if (operation.before) operation.before();
        BenchBusRecorder::CBusRecorder recorder;
        std::string sError;
        const bool bDone = recorder.Start(m_store.GetBus().GetAddress(), m_replay.UniqueName(), sError) &&
                           (operation.step(), recorder.Finish(m_replay.Connection(), vecCalls, sError));
        if (!bDone) std::fprintf(stderr, "pelmo-publish-bench: cannot record %s: %s\n", operation.sKey, sError.c_str());
        // Every operation reaches the store; one that sent nothing was refused by the library.
        if (bDone && vecCalls.empty()) {
            std::fprintf(stderr, "pelmo-publish-bench: %s sent no call (the library refused it)\n", operation.sKey);
            return false;
        }
        return bDone;
    }

    CHostStore& m_store;
    const CRequestCounter& m_counter;
    BenchReplay::CReplayClient& m_replay;
    BenchChainCpu::CChainCpu m_chain;
};

// Runs the program again under callgrind; returns the median instructions per step by dump name.
std::map<std::string, double> CountInstructions(const std::string& sDir, int iRuns, const std::string& sSizes)
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
        // Counting from the start on every thread; each step zeroes the counts first, so only
        // the steps are in the dumps.
        execlp("valgrind", "valgrind", "--tool=callgrind", "--collect-atstart=yes", "--separate-threads=no",
               ("--callgrind-out-file=" + sOut).c_str(), sSelf, "--count-instructions", sRuns.c_str(), sSizes.c_str(),
               static_cast<char*>(nullptr));
        _exit(127);
    }
    int iStatus = 0;
    if (pid < 0 || waitpid(pid, &iStatus, 0) != pid || !WIFEXITED(iStatus) || WEXITSTATUS(iStatus) != 0) {
        return mapInstructions;
    }
    std::map<std::string, std::vector<double>> mapCounts;
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
        if (!sKey.empty() && dTotal >= 0) mapCounts[sKey].push_back(dTotal);
    }
    unlink(sOut.c_str());
    for (const auto& entry : mapCounts) mapInstructions[entry.first] = BenchSpread::Of(entry.second).dMedian;
    return mapInstructions;
}

double Find(const std::map<std::string, double>& mapValues, const std::string& sKey)
{
    auto it = mapValues.find(sKey);
    return it != mapValues.end() ? it->second : -1;
}

std::string Count(double dValue, const char* sFormat = "%.0f")
{
    if (dValue < 0) return "-";
    char sText[32];
    std::snprintf(sText, sizeof sText, sFormat, dValue);
    return sText;
}

std::string Spread(const BenchSpread::CSpread& spread)
{
    char sText[48];
    std::snprintf(sText, sizeof sText, "%.2f [%.2f-%.2f]", spread.dMedian, spread.dQ1, spread.dQ3);
    return sText;
}

void PrintTables(const std::vector<CRow>& vecRows, double dTrip, const std::map<std::string, double>& mapInstr)
{
    std::printf("%-34s %10s %6s %12s %7s %14s %11s %13s\n", "operation", "median us", "calls", "calls*trip us", "ratio",
                "client instr", "service us", "client cpu us");
    for (const CRow& row : vecRows) {
        const double dFloor = std::max(1.0, row.figure.dCalls) * dTrip;
        std::printf("%-34s %10.0f %6.1f %12.0f %7.2f %14s %11.0f %13.0f\n", row.sName.c_str(), row.figure.dMedianUs,
                    row.figure.dCalls, dFloor, row.figure.dMedianUs / dFloor,
                    Count(Find(mapInstr, row.sKey + ":library")).c_str(), row.figure.dServiceUs,
                    row.figure.dClientCpuUs);
    }
    std::printf("\n%-34s %10s %21s %12s %12s %21s %13s %7s\n", "against the replay", "replay us", "wall lib/replay",
                "chain cpu us", "replay cpu", "cpu lib/replay", "replay instr", "instr x");
    for (const CRow& row : vecRows) {
        const double dLibrary = Find(mapInstr, row.sKey + ":library");
        const double dReplay = Find(mapInstr, row.sKey + ":replay");
        std::printf("%-34s %10.0f %21s %12.0f %12.0f %21s %13s %7s\n", row.sName.c_str(), row.figure.dReplayUs,
                    Spread(row.figure.wallRatio).c_str(), row.figure.dChainCpuUs, row.figure.dReplayChainCpuUs,
                    Spread(row.figure.cpuRatio).c_str(), Count(dReplay).c_str(),
                    Count(dLibrary > 0 && dReplay > 0 ? dLibrary / dReplay : -1, "%.2f").c_str());
    }
    for (const CRow& row : vecRows) {
        const BenchReplay::CReplayOutcome& check = row.check;
        std::printf("  replay of %-32s %4zu calls, %zu selects read (%zu cells)", row.sName.c_str(), row.uRecorded,
                    check.uSelects, check.uCells);
        if (check.uFailed + check.uDifferent == 0) {
            std::printf(", every answer as the library's\n");
        } else {
            std::printf(", %zu failed, %zu answered otherwise; first: %s\n", check.uFailed, check.uDifferent,
                        check.sFirstDifference.c_str());
        }
    }
}

// The per-tile slopes over the sizes, for every operation measured at more than one size.
void PrintSlopes(const std::vector<CRow>& vecRows, const std::map<std::string, double>& mapInstr)
{
    std::map<std::string, std::vector<const CRow*>> mapByOperation;
    std::vector<std::string> vecOrder;
    for (const CRow& row : vecRows) {
        if (row.iTiles == 0) continue;
        if (mapByOperation[row.sName].empty()) vecOrder.push_back(row.sName);
        mapByOperation[row.sName].push_back(&row);
    }
    if (mapByOperation.empty() || mapByOperation.begin()->second.size() < 2) return;
    std::printf("\nper tile (least-squares slope over the sizes)\n%-34s %14s %14s %12s %12s\n", "operation",
                "client instr", "replay instr", "wall us", "replay us");
    for (const std::string& sName : vecOrder) {
        std::vector<double> vecTiles, vecWall, vecReplayWall, vecInstr, vecReplayInstr;
        bool bCounted = true;
        for (const CRow* pRow : mapByOperation[sName]) {
            vecTiles.push_back(pRow->iTiles);
            vecWall.push_back(pRow->figure.dMedianUs);
            vecReplayWall.push_back(pRow->figure.dReplayUs);
            const double dLibrary = Find(mapInstr, pRow->sKey + ":library");
            const double dReplay = Find(mapInstr, pRow->sKey + ":replay");
            bCounted = bCounted && dLibrary >= 0 && dReplay >= 0;
            vecInstr.push_back(dLibrary);
            vecReplayInstr.push_back(dReplay);
        }
        std::printf("%-34s %14s %14s %12.1f %12.1f\n", sName.c_str(),
                    Count(bCounted ? BenchSpread::Slope(vecTiles, vecInstr) : -1).c_str(),
                    Count(bCounted ? BenchSpread::Slope(vecTiles, vecReplayInstr) : -1).c_str(),
                    BenchSpread::Slope(vecTiles, vecWall), BenchSpread::Slope(vecTiles, vecReplayWall));
    }
}

std::vector<int> ParseSizes(const std::string& sSizes)
{
    std::vector<int> vecSizes;
    std::stringstream in(sSizes);
    std::string sPart;
    while (std::getline(in, sPart, ',')) {
        const int iTiles = std::atoi(sPart.c_str());
        // Whole sections of ten tiles: the document has 10 sections.
        if (iTiles >= 10) vecSizes.push_back(iTiles - iTiles % 10);
    }
    return vecSizes;
}
}  // namespace

int main(int argc, char** argv)
{
    // Under callgrind the program only counts: few runs, no table, one dump per step.
    const bool bCounting = argc > 2 && std::string(argv[1]) == "--count-instructions";
    const int iFirstArg = bCounting ? 2 : 1;
    const int iRuns = BenchRun::CountArg(argc, argv, iFirstArg, bCounting ? 1 : 3, 21);
    const std::string sSizes = argc > iFirstArg + 1 ? argv[iFirstArg + 1] : "30,100,200,300";
    const std::vector<int> vecSizes = ParseSizes(sSizes);
    if (vecSizes.empty()) {
        std::fprintf(stderr, "pelmo-publish-bench: no size in \"%s\" (tile counts of 10 or more)\n", sSizes.c_str());
        return 2;
    }
    BenchRun::QuietLibrary();
    CHostStoreOptions options;
    CHostStore store;
    if (!BenchStore::Start("pelmo-publish-bench", store, options)) return 1;
    const std::string sDir = BenchStore::Folder(options);
    CRequestCounter counter(options.sLogFile);
    auto fail = [&](const char* sWhy) {
        std::fprintf(stderr, "pelmo-publish-bench: %s\n", sWhy);
        CPelmoGDBusUtil::ReleaseInstance();
        store.Stop();
        BenchStore::RemoveFiles(options, true);
        return 1;
    };
    if (!BenchStore::RegisterModule(kModule, "bench")) return fail("cannot register the module");
    BenchReplay::CReplayClient replay;
    std::string sError;
    if (!replay.Open(store.GetBus().GetAddress(), sError)) return fail(sError.c_str());

    CPelmoGDBusUtil* pUtil = CPelmoGDBusUtil::GetInstance();
    auto publish = [&](const std::string& sText) { set_preview_metadata(sText.c_str(), kModule.c_str()); };
    CBench bench(store, counter, replay);
    std::vector<CRow> vecRows;
    bool bRecorded = true;
    auto measure = [&](int iTiles, const COperation& operation) {
        vecRows.emplace_back();
        bRecorded = bench.Run(iTiles, operation, iRuns, vecRows.back()) && bRecorded;
    };
    measure(0, {"round_trip",
                "plain round trip (empty Call)",
                [&] {
                    std::string sOutput;
                    pUtil->GetDBusData(pUtil->SendMessageViaDBUS(PELMO_STORE_BUS_NAME, "", "", ""), sOutput);
                },
                {},
                10});
    for (int iTiles : vecSizes) {
        const std::string sDocument = BenchPreview::MakeDocument(0, 0, 10, iTiles / 10);
        // Every tenth tile of the document changed: 10% of its tiles.
        const std::string sChanged = BenchPreview::MakeDocument(0, 0, 10, iTiles / 10, 10);
        // Emptied first, the store gives the document's rows the same ids every time, so that
        // the replay's requests, which name rows by id, meet the rows the library's did.
        auto fresh = [&] {
            publish("{}");
            publish(sDocument);
        };
        measure(iTiles, {"first", "publish, first time", [&] { publish(sDocument); }, [&] { publish("{}"); }});
        fresh();
        measure(iTiles, {"unchanged", "publish, unchanged", [&] { publish(sDocument); }, {}});
        measure(iTiles, {"changed", "publish, 10% of tiles changed", [&] { publish(sChanged); }, fresh});
        fresh();
        measure(iTiles, {"read_back",
                         "read back (get_preview_metadata)",
                         [&] {
                             char* pText = get_preview_metadata(kModule.c_str());
                             finalize_json_bytes(pText);
                         },
                         {}});
        measure(iTiles, {"naive", "naive: clear all, add everything",
                         [&] {
                             CPreviewDataUtil util;
                             util.DeleteAcceleratorItem(kModule);
                             CPreviewAccelerator parsed;
                             util.GetPreviewDataUsingJsonStr(sChanged, parsed, kModule);
                             util.AddAcceleratorItem(parsed, kModule);
                         },
                         fresh});
    }

    CPelmoGDBusUtil::ReleaseInstance();
    store.Stop();
    BenchStore::RemoveFiles(options, false);

    if (!bCounting) {
        std::map<std::string, double> mapInstructions;
        if (getenv("PELMO_BENCH_NO_CALLGRIND") == nullptr) {
            // Few runs are enough: the count of instructions barely varies from run to run.
            mapInstructions = CountInstructions(sDir, 3, sSizes);
        }
        const double dTrip = vecRows.front().figure.dMedianUs;
        std::printf(
            "real store on a private bus (SQLite file, WAL), median of %d runs (round trip: %d), each run of the "
            "library followed by its replay\n",
            iRuns, iRuns * 10);
        int iShown = -1;
        std::vector<CRow> vecSize;
        auto flush = [&] {
            if (vecSize.empty()) return;
            if (iShown == 0) {
                std::printf("\n== no document\n");
            } else {
                std::printf("\n== %d tiles in 10 sections\n", iShown);
            }
            PrintTables(vecSize, dTrip, mapInstructions);
            vecSize.clear();
        };
        for (const CRow& row : vecRows) {
            if (row.iTiles != iShown) flush(), iShown = row.iTiles;
            vecSize.push_back(row);
        }
        flush();
        PrintSlopes(vecRows, mapInstructions);
        if (mapInstructions.empty()) std::printf("(no instruction counts: valgrind missing or failed)\n");
    }
    rmdir(sDir.c_str());
    // A replay that was answered otherwise did other work than the library: no floor then.
    bool bReplayed = true;
    for (const CRow& row : vecRows) bReplayed = bReplayed && row.check.uFailed + row.check.uDifferent == 0;
    if (!bReplayed) std::fprintf(stderr, "pelmo-publish-bench: a replay was answered otherwise than the library\n");
    return bRecorded && bReplayed ? 0 : 1;
}
