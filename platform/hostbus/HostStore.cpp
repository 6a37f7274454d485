#include "HostStore.h"

#include <sys/wait.h>
#include <unistd.h>

CHostStore::~CHostStore()
{
    Stop();
}

bool CHostStore::Start(const CHostStoreOptions& options, std::string& sError)
{
    m_options = options;
    if (m_options.sServicePath.empty() || access(m_options.sServicePath.c_str(), X_OK) != 0) {
        sError = "store service program not found: '" + m_options.sServicePath + "'";
        return false;
    }
    m_bus.SetPolicy(m_options.sBusPolicy);
    m_bus.SetOpenToAllUsers(m_options.bOpenToAllUsers);
    if (!m_bus.Start(sError)) return false;
    if (!StartService(sError)) {
        Stop();
        return false;
    }
    return true;
}

bool CHostStore::StartService(std::string& sError)
{
    std::vector<std::string> vecArgv = m_options.vecLauncher;
    // The service sizes its request limit from what this bus carries in one message.
    vecArgv.insert(vecArgv.end(), {m_options.sServicePath, "--db", m_options.sDatabase, "--bus-config",
                                   m_bus.GetDirectory() + "/system.conf"});
    if (!m_options.sLogFile.empty()) {
        vecArgv.push_back("--log");
        vecArgv.push_back(m_options.sLogFile);
    }
    vecArgv.insert(vecArgv.end(), m_options.vecExtraArgs.begin(), m_options.vecExtraArgs.end());
    m_servicePid = m_bus.Spawn(vecArgv);
    if (m_servicePid <= 0) {
        sError = "cannot start " + m_options.sServicePath;
        return false;
    }
    // Both names are taken before the service serves; a service that exits early (bad
    // database path, for instance) ends the wait at once.
    for (const char* sName : {kStoreName, kProviderName}) {
        if (m_bus.WaitForName(sName, 10000, m_servicePid)) continue;
        int iStatus = 0;
        if (waitpid(m_servicePid, &iStatus, WNOHANG) == m_servicePid) {
            m_servicePid = -1;
            // The service says why on its standard error (a refused database, for instance).
            sError = "the store service exited during start-up (" +
                     (WIFEXITED(iStatus) ? "exit status " + std::to_string(WEXITSTATUS(iStatus))
                                         : "signal " + std::to_string(WTERMSIG(iStatus))) +
                     "; see its standard error and log)";
            return false;
        }
        sError = std::string("the store service did not take ") + sName;
        StopService();
        return false;
    }
    return true;
}

int CHostStore::StopService()
{
    if (m_servicePid <= 0) return -1;
    const int iStatus = CHostBus::Terminate(m_servicePid);
    m_servicePid = -1;
    return iStatus;
}

void CHostStore::Stop()
{
    StopService();
    m_bus.Stop();
}
