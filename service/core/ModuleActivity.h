// What the store remembers, in memory only, about requests that change no rows: a module's
// "data changed" notices, each package's preview scheduler state, and termination requests.
#pragma once

#include <map>
#include <string>
#include <vector>

struct CTerminateRequest {
    std::string sAppId;
    std::string sProcessId;
};

class CModuleActivity {
public:
    void RecordSync(const std::string& sModule);
    // Notices received from a module since the service started.
    long long SyncCount(const std::string& sModule) const;

    void RecordScheduler(const std::string& sPackage, bool bRunning, const std::string& sCaller);
    // 1 running, 0 stopped, -1 never asked about.
    int SchedulerState(const std::string& sPackage) const;
    // The app that last started or stopped the package's scheduler.
    std::string SchedulerCaller(const std::string& sPackage) const;

    void RecordTerminate(const std::string& sAppId, const std::string& sProcessId);
    const std::vector<CTerminateRequest>& TerminateRequests() const { return m_vecTerminate; }

private:
    // Bounds the memory a client can make the service keep by sending many names.
    static constexpr std::size_t kMaxEntries = 4096;
    std::map<std::string, long long> m_mapSyncCount;
    std::map<std::string, std::pair<bool, std::string>> m_mapScheduler;
    std::vector<CTerminateRequest> m_vecTerminate;
};
