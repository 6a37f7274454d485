#include "ModuleActivity.h"

void CModuleActivity::RecordSync(const std::string& sModule, std::time_t tNow)
{
    if (m_mapSync.size() >= kMaxEntries && m_mapSync.count(sModule) == 0) m_mapSync.clear();
    CSyncRecord& record = m_mapSync[sModule];
    ++record.llCount;
    record.tLast = tNow;
}

long long CModuleActivity::SyncCount(const std::string& sModule) const
{
    auto it = m_mapSync.find(sModule);
    return it == m_mapSync.end() ? 0 : it->second.llCount;
}

std::time_t CModuleActivity::LastSyncTime(const std::string& sModule) const
{
    auto it = m_mapSync.find(sModule);
    return it == m_mapSync.end() ? 0 : it->second.tLast;
}

void CModuleActivity::RecordScheduler(const std::string& sPackage, bool bRunning, const std::string& sCaller)
{
    if (m_mapScheduler.size() >= kMaxEntries && m_mapScheduler.count(sPackage) == 0) m_mapScheduler.clear();
    m_mapScheduler[sPackage] = {bRunning, sCaller};
}

int CModuleActivity::SchedulerState(const std::string& sPackage) const
{
    auto it = m_mapScheduler.find(sPackage);
    if (it == m_mapScheduler.end()) return -1;
    return it->second.first ? 1 : 0;
}

std::string CModuleActivity::SchedulerCaller(const std::string& sPackage) const
{
    auto it = m_mapScheduler.find(sPackage);
    return it == m_mapScheduler.end() ? std::string() : it->second.second;
}

void CModuleActivity::RecordTerminate(const std::string& sAppId, const std::string& sProcessId)
{
    if (m_vecTerminate.size() >= kMaxEntries) m_vecTerminate.erase(m_vecTerminate.begin());
    m_vecTerminate.push_back({sAppId, sProcessId});
}

void CModuleActivity::RecordQuotaRefusal(const std::string& sModule, const std::string& sReason, std::time_t tNow)
{
    if (m_mapQuota.size() >= kMaxEntries && m_mapQuota.count(sModule) == 0) m_mapQuota.clear();
    CQuotaRecord& record = m_mapQuota[sModule];
    ++record.llCount;
    record.tLast = tNow;
    record.sReason = sReason;
}

long long CModuleActivity::QuotaRefusals(const std::string& sModule) const
{
    auto it = m_mapQuota.find(sModule);
    return it == m_mapQuota.end() ? 0 : it->second.llCount;
}

std::string CModuleActivity::LastQuotaRefusal(const std::string& sModule, std::time_t& tWhen) const
{
    auto it = m_mapQuota.find(sModule);
    tWhen = it == m_mapQuota.end() ? 0 : it->second.tLast;
    return it == m_mapQuota.end() ? std::string() : it->second.sReason;
}
