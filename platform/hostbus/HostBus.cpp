#include "HostBus.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>

namespace {

const char* kDaemonPaths[] = {"/usr/bin/dbus-daemon", "/bin/dbus-daemon", "/usr/local/bin/dbus-daemon"};

std::string FindDaemon()
{
    for (const char* sPath : kDaemonPaths) {
        if (access(sPath, X_OK) == 0) return sPath;
    }
    return "";
}

// A system-bus configuration that lets every local peer own names and call every method:
// the private bus is only reachable through its socket in a directory of its own.
std::string BusConfig(const std::string& sDir, const std::string& sPolicy, const std::string& sServiceDir)
{
    return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig>\n"
           "  <type>system</type>\n"
           "  <listen>unix:path=" +
           sDir +
           "/system_bus_socket</listen>\n"
           "  <auth>EXTERNAL</auth>\n" +
           (sServiceDir.empty() ? std::string() : "  <servicedir>" + sServiceDir + "</servicedir>\n") +
           (sPolicy.empty() ? std::string("  <policy context=\"default\">\n"
                                          "    <allow user=\"*\"/>\n"
                                          "    <allow own=\"*\"/>\n"
                                          "    <allow send_type=\"method_call\"/>\n"
                                          "    <allow send_destination=\"*\"/>\n"
                                          "    <allow receive_sender=\"*\"/>\n"
                                          "  </policy>\n")
                            : sPolicy) +
           "</busconfig>\n";
}

// In the child, before exec: die with the parent, keep no inherited signal mask.
void PrepareChild(pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);  // the parent died before prctl took effect
    sigset_t set;
    sigemptyset(&set);
    sigprocmask(SIG_SETMASK, &set, nullptr);
    setpgid(0, 0);
}

}  // namespace

CHostBus::~CHostBus()
{
    Stop();
}

bool CHostBus::Start(std::string& sError)
{
    if (m_daemonPid > 0) return true;
    const std::string sDaemon = FindDaemon();
    if (sDaemon.empty()) {
        sError = "dbus-daemon not found (install the dbus-daemon package)";
        return false;
    }
    const char* sTmp = std::getenv("TMPDIR");
    std::string sTemplate = std::string(sTmp != nullptr && *sTmp != '\0' ? sTmp : "/tmp") + "/pelmo-bus.XXXXXX";
    if (mkdtemp(&sTemplate[0]) == nullptr) {
        sError = std::string("cannot create a directory for the bus: ") + std::strerror(errno);
        return false;
    }
    m_sDirectory = sTemplate;
    // The socket is reached through this folder; the bus's policy decides the rest.
    if (m_bOpenToAllUsers && chmod(m_sDirectory.c_str(), 0755) != 0) {
        sError = std::string("cannot open the bus folder to other users: ") + std::strerror(errno);
        Stop();
        return false;
    }
    const std::string sConfig = m_sDirectory + "/system.conf";
    {
        std::ofstream out(sConfig);
        out << BusConfig(m_sDirectory, m_sPolicy, m_sServiceDirectory);
        if (!out) {
            sError = "cannot write " + sConfig;
            Stop();
            return false;
        }
    }

    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) {
        sError = std::string("pipe: ") + std::strerror(errno);
        Stop();
        return false;
    }
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0) {
        sError = std::string("fork: ") + std::strerror(errno);
        close(fds[0]);
        close(fds[1]);
        Stop();
        return false;
    }
    if (pid == 0) {
        PrepareChild(parent);
        // Only the write end survives exec; the daemon prints its address there.
        const int iWriteFd = dup(fds[1]);
        const std::string sPrint = "--print-address=" + std::to_string(iWriteFd);
        const std::string sConfigArg = "--config-file=" + sConfig;
        execl(sDaemon.c_str(), sDaemon.c_str(), sConfigArg.c_str(), "--nofork", "--nosyslog", sPrint.c_str(),
              static_cast<char*>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    m_daemonPid = pid;

    std::string sAddress;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (sAddress.find('\n') == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) break;
        pollfd pfd{fds[0], POLLIN, 0};
        const int iReady = poll(&pfd, 1, static_cast<int>(left.count()));
        if (iReady < 0 && errno == EINTR) continue;
        if (iReady <= 0) break;
        char buf[512];
        const ssize_t n = read(fds[0], buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        sAddress.append(buf, static_cast<size_t>(n));
    }
    close(fds[0]);
    const size_t nl = sAddress.find('\n');
    if (nl == std::string::npos) {
        sError = "dbus-daemon did not start (no address printed)";
        Stop();
        return false;
    }
    m_sAddress = sAddress.substr(0, nl);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", m_sAddress.c_str(), 1);
    return true;
}

pid_t CHostBus::Spawn(const std::vector<std::string>& vecArgv, const std::vector<std::string>& vecExtraEnv)
{
    if (vecArgv.empty() || m_daemonPid <= 0) return -1;
    std::vector<char*> argv;
    for (const std::string& s : vecArgv) argv.push_back(const_cast<char*>(s.c_str()));
    argv.push_back(nullptr);

    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0) return -1;
    if (pid == 0) {
        PrepareChild(parent);
        setenv("DBUS_SYSTEM_BUS_ADDRESS", m_sAddress.c_str(), 1);
        for (const std::string& sVar : vecExtraEnv) putenv(const_cast<char*>(sVar.c_str()));
        execvp(argv[0], argv.data());
        std::fprintf(stderr, "cannot start %s: %s\n", argv[0], std::strerror(errno));
        _exit(127);
    }
    m_vecChildren.push_back(pid);
    return pid;
}

int CHostBus::Terminate(pid_t pid, int iTimeoutMs)
{
    if (pid <= 0) return -1;
    kill(pid, SIGTERM);
    int iStatus = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(iTimeoutMs);
    for (;;) {
        const pid_t r = waitpid(pid, &iStatus, WNOHANG);
        if (r == pid) return iStatus;
        if (r < 0 && errno != EINTR) return -1;
        if (std::chrono::steady_clock::now() >= deadline) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    kill(pid, SIGKILL);
    while (waitpid(pid, &iStatus, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return iStatus;
}

bool CHostBus::WaitForName(const std::string& sName, int iTimeoutMs) const
{
    if (m_sAddress.empty()) return false;
    g_autoptr(GError) pError = nullptr;
    g_autoptr(GDBusConnection) pConn = g_dbus_connection_new_for_address_sync(
        m_sAddress.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &pError);
    if (pConn == nullptr) return false;
    g_dbus_connection_set_exit_on_close(pConn, FALSE);
    bool bFound = false;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(iTimeoutMs);
    while (!bFound) {
        g_autoptr(GVariant) pReply = g_dbus_connection_call_sync(
            pConn, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
            g_variant_new("(s)", sName.c_str()), G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, 1000, nullptr, nullptr);
        if (pReply != nullptr) {
            gboolean bHas = FALSE;
            g_variant_get(pReply, "(b)", &bHas);
            bFound = bHas;
        }
        if (bFound || std::chrono::steady_clock::now() >= deadline) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    g_dbus_connection_close_sync(pConn, nullptr, nullptr);
    return bFound;
}

void CHostBus::Stop()
{
    // Children first, so that a service sees its bus go away only after it was asked to stop.
    for (auto it = m_vecChildren.rbegin(); it != m_vecChildren.rend(); ++it) {
        int iStatus;
        if (waitpid(*it, &iStatus, WNOHANG) == 0) Terminate(*it);
    }
    m_vecChildren.clear();
    if (m_daemonPid > 0) {
        Terminate(m_daemonPid);
        m_daemonPid = -1;
    }
    if (!m_sDirectory.empty()) {
        unlink((m_sDirectory + "/system_bus_socket").c_str());
        unlink((m_sDirectory + "/system.conf").c_str());
        rmdir(m_sDirectory.c_str());
        m_sDirectory.clear();
    }
    m_sAddress.clear();
}
