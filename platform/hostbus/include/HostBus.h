// A private system bus for the host: a dbus-daemon with a system-bus configuration and its
// own socket in a temporary directory. Processes started through it die with their starter,
// so a crashed test or tool never leaves a daemon behind.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

class __attribute__((visibility("default"))) CHostBus {
public:
    CHostBus() = default;
    ~CHostBus();
    CHostBus(const CHostBus&) = delete;
    CHostBus& operator=(const CHostBus&) = delete;

    // Replaces the bus's permissive default policy with the given <policy>/<include> elements,
    // to try a policy file as a real system bus would apply it. Call before Start.
    void SetPolicy(const std::string& sPolicyXml) { m_sPolicy = sPolicyXml; }
    // A folder of D-Bus activation files (`NAME.service`): a call to a name without owner
    // starts its Exec line, run by the bus daemon directly, as a system bus without a launch
    // helper does. Call before Start.
    void SetServiceDirectory(const std::string& sDirectory) { m_sServiceDirectory = sDirectory; }
    // Lets processes of every user reach the bus's socket (its folder is otherwise the
    // starter's alone), for trying several users on one bus. Call before Start.
    void SetOpenToAllUsers(bool bOpen) { m_bOpenToAllUsers = bOpen; }
    // Starts the daemon and points DBUS_SYSTEM_BUS_ADDRESS of this process at it.
    // On failure returns false and says why in `sError`.
    bool Start(std::string& sError);
    // Stops every process started here (service first, daemon last) and removes the directory.
    void Stop();
    bool IsRunning() const { return m_daemonPid > 0; }

    const std::string& GetAddress() const { return m_sAddress; }
    const std::string& GetDirectory() const { return m_sDirectory; }
    pid_t GetDaemonPid() const { return m_daemonPid; }

    // Where a started program runs: in a process group of its own (a daemon that the starter
    // stops in order, untouched by an interrupt typed at the terminal), or in the starter's
    // group (a command that reads the terminal and gets its interrupts).
    enum class EGroup { kOwn, kStarter };
    // Starts a program (looked up in PATH) with the bus address in its environment; it is
    // killed when this process dies. Returns its pid, or -1.
    pid_t Spawn(const std::vector<std::string>& vecArgv, const std::vector<std::string>& vecExtraEnv = {},
                EGroup group = EGroup::kOwn);
    // Sends SIGTERM, waits up to `iTimeoutMs`, then SIGKILL. Returns the wait status, or -1.
    static int Terminate(pid_t pid, int iTimeoutMs = 3000);
    // Waits until `sName` has an owner on this bus, up to `iTimeoutMs`, or until the process
    // `watched` (a child expected to take the name) ends. True when the name has an owner.
    bool WaitForName(const std::string& sName, int iTimeoutMs, pid_t watched = -1) const;

private:
    pid_t m_daemonPid = -1;
    std::vector<pid_t> m_vecChildren;
    std::string m_sDirectory;
    std::string m_sAddress;
    std::string m_sPolicy;
    std::string m_sServiceDirectory;
    bool m_bOpenToAllUsers = false;
};
