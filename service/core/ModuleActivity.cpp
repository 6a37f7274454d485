#include "ModuleActivity.h"

void CModuleActivity::RecordSync(const std::string& sModule)
{
    if (m_mapSyncCount.size() >= kMaxEntries && m_mapSyncCount.count(sModule) == 0) m_mapSyncCount.clear();
    ++m_mapSyncCount[sModule];
}

long long CModuleActivity::SyncCount(const std::string& sModule) const
{
    auto it = m_mapSyncCount.find(sModule);
    return it == m_mapSyncCount.end() ? 0 : it->second;
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
