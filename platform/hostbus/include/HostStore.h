// The host store: a private bus with the reference store service on it, started together and
// stopped together. The launcher tool, the tests and the demo all use it.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "HostBus.h"
#include "PelmoBusNames.h"

struct CHostStoreOptions {
    std::string sServicePath;            // the pelmo-service program
    std::string sDatabase = ":memory:";  // --db
    std::string sLogFile;                // --log; empty: the service logs to its standard error
    std::vector<std::string> vecExtraArgs;
    std::string sBusPolicy;  // empty: the private bus lets every peer do anything
    std::vector<std::string>
        vecLauncher;               // put before the service's command line (e.g. setpriv to run it as its own user)
    bool bOpenToAllUsers = false;  // let processes of every user reach the bus
};

class __attribute__((visibility("default"))) CHostStore {
public:
    CHostStore() = default;
    ~CHostStore();
    CHostStore(const CHostStore&) = delete;
    CHostStore& operator=(const CHostStore&) = delete;

    // Starts the bus (DBUS_SYSTEM_BUS_ADDRESS of this process then points at it) and the
    // service, and waits until the service owns both of its names.
    bool Start(const CHostStoreOptions& options, std::string& sError);
    // Starts the service again on the same bus and database, e.g. after it was killed.
    bool StartService(std::string& sError);
    // Asks the service to stop (SIGTERM) and returns its wait status, or -1.
    int StopService();
    // Stops the service, then the bus.
    void Stop();

    pid_t GetServicePid() const { return m_servicePid; }
    CHostBus& GetBus() { return m_bus; }

    static constexpr const char* kStoreName = PELMO_STORE_BUS_NAME;
    static constexpr const char* kProviderName = PELMO_PROVIDER_BUS_NAME;

private:
    CHostBus m_bus;
    CHostStoreOptions m_options;
    pid_t m_servicePid = -1;
};
