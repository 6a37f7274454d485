// What the store remembers, in memory only, about requests that change no rows: a module's
// "data changed" notices, each package's preview scheduler state, and termination requests.
#pragma once

#include <ctime>
#include <map>
#include <string>
#include <vector>

struct CTerminateRequest {
    std::string sAppId;
    std::string sProcessId;
};

class CModuleActivity {
public:
    void RecordSync(const std::string& sModule, std::time_t tNow = std::time(nullptr));
    // Notices received from a module since the service started.
    long long SyncCount(const std::string& sModule) const;
    // Wall-clock time of the module's last notice; 0 when none came since the service started.
    std::time_t LastSyncTime(const std::string& sModule) const;

    void RecordScheduler(const std::string& sPackage, bool bRunning, const std::string& sCaller);
    // 1 running, 0 stopped, -1 never asked about.
    int SchedulerState(const std::string& sPackage) const;
    // The app that last started or stopped the package's scheduler.
    std::string SchedulerCaller(const std::string& sPackage) const;

    // A write refused because it would have put the module over its quota.
    void RecordQuotaRefusal(const std::string& sModule, const std::string& sReason, std::time_t tNow);
    long long QuotaRefusals(const std::string& sModule) const;
    // The last such refusal's reason and time; empty and 0 when none.
    std::string LastQuotaRefusal(const std::string& sModule, std::time_t& tWhen) const;

    void RecordTerminate(const std::string& sAppId, const std::string& sProcessId);
    const std::vector<CTerminateRequest>& TerminateRequests() const { return m_vecTerminate; }

private:
    // Bounds the memory a client can make the service keep by sending many names.
    static constexpr std::size_t kMaxEntries = 4096;
    struct CSyncRecord {
        long long llCount = 0;
        std::time_t tLast = 0;
    };
    std::map<std::string, CSyncRecord> m_mapSync;
    struct CQuotaRecord {
        long long llCount = 0;
        std::time_t tLast = 0;
        std::string sReason;
    };
    std::map<std::string, CQuotaRecord> m_mapQuota;
    std::map<std::string, std::pair<bool, std::string>> m_mapScheduler;
    std::vector<CTerminateRequest> m_vecTerminate;
};
