#include "HostBus.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <glib-unix.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
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
void PrepareChild(pid_t parent, CHostBus::EGroup group = CHostBus::EGroup::kOwn)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(127);  // the parent died before prctl took effect
    sigset_t set;
    sigemptyset(&set);
    sigprocmask(SIG_SETMASK, &set, nullptr);
    if (group == CHostBus::EGroup::kOwn) setpgid(0, 0);
}

// The descriptor of a child process (readable once it has ended), or -1 where the kernel has none.
int OpenPidFd(pid_t pid)
{
#ifdef SYS_pidfd_open
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
#else
    (void)pid;
    return -1;
#endif
}

// Waits until the descriptor is readable, up to iTimeoutMs; false when the time ran out.
bool WaitReadable(int iFd, int iTimeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(iTimeoutMs);
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
        pollfd pfd{iFd, POLLIN, 0};
        const int iReady = poll(&pfd, 1, left > 0 ? static_cast<int>(left) : 0);
        if (iReady > 0) return true;
        if (iReady == 0 || errno != EINTR) return false;
    }
}

struct PT_NAME_WAIT {
    bool bFound = false;
    bool bTimedOut = false;
    bool bProcessEnded = false;
};

void OnNameOwnerChanged(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant* pParameters,
                        gpointer pData)
{
    const gchar* sName = nullptr;
    const gchar* sOld = nullptr;
    const gchar* sNew = nullptr;
    g_variant_get(pParameters, "(&s&s&s)", &sName, &sOld, &sNew);
    if (sNew != nullptr && sNew[0] != '\0') static_cast<PT_NAME_WAIT*>(pData)->bFound = true;
}

gboolean OnWaitEnded(gpointer pFlag)
{
    *static_cast<bool*>(pFlag) = true;
    return G_SOURCE_REMOVE;
}

gboolean OnProcessEnded(gint, GIOCondition, gpointer pFlag)
{
    *static_cast<bool*>(pFlag) = true;
    return G_SOURCE_REMOVE;
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
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
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

pid_t CHostBus::Spawn(const std::vector<std::string>& vecArgv, const std::vector<std::string>& vecExtraEnv,
                      EGroup group)
{
    if (vecArgv.empty() || m_daemonPid <= 0) return -1;
    std::vector<char*> argv;
    for (const std::string& s : vecArgv) argv.push_back(const_cast<char*>(s.c_str()));
    argv.push_back(nullptr);

    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0) return -1;
    if (pid == 0) {
        PrepareChild(parent, group);
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
    // Opened before the signal, so that the descriptor surely names this process: it becomes
    // readable when the process ends, which is the event waited for.
    const int iPidFd = OpenPidFd(pid);
    kill(pid, SIGTERM);
    int iStatus = 0;
    if (iPidFd >= 0) {
        if (WaitReadable(iPidFd, iTimeoutMs) && waitpid(pid, &iStatus, WNOHANG) == pid) {
            close(iPidFd);
            return iStatus;
        }
        close(iPidFd);
    } else {
        // A kernel without process descriptors: look at the process now and then.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(iTimeoutMs);
        for (;;) {
            const pid_t r = waitpid(pid, &iStatus, WNOHANG);
            if (r == pid) return iStatus;
            if (r < 0 && errno != EINTR) return -1;
            if (std::chrono::steady_clock::now() >= deadline) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    kill(pid, SIGKILL);
    while (waitpid(pid, &iStatus, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return iStatus;
}

bool CHostBus::WaitForName(const std::string& sName, int iTimeoutMs, pid_t watched) const
{
    if (m_sAddress.empty()) return false;
    // The connection's signals are dispatched in a context of this call alone.
    g_autoptr(GMainContext) pContext = g_main_context_new();
    g_main_context_push_thread_default(pContext);
    g_autoptr(GError) pError = nullptr;
    g_autoptr(GDBusConnection) pConn = g_dbus_connection_new_for_address_sync(
        m_sAddress.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &pError);
    if (pConn == nullptr) {
        g_main_context_pop_thread_default(pContext);
        return false;
    }
    g_dbus_connection_set_exit_on_close(pConn, FALSE);

    PT_NAME_WAIT wait;
    // Subscribed before the question below: the bus handles a connection's messages in order,
    // so an owner that comes after the answer is announced to this match.
    const guint uSubscription = g_dbus_connection_signal_subscribe(
        pConn, "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged", "/org/freedesktop/DBus",
        sName.c_str(), G_DBUS_SIGNAL_FLAGS_NONE, OnNameOwnerChanged, &wait, nullptr);
    {
        g_autoptr(GVariant) pReply = g_dbus_connection_call_sync(
            pConn, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
            g_variant_new("(s)", sName.c_str()), G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, 1000, nullptr, nullptr);
        if (pReply != nullptr) {
            gboolean bHas = FALSE;
            g_variant_get(pReply, "(b)", &bHas);
            if (bHas) wait.bFound = true;
        }
    }
    if (!wait.bFound && iTimeoutMs > 0) {
        g_autoptr(GSource) pTimeout = g_timeout_source_new(static_cast<guint>(iTimeoutMs));
        g_source_set_callback(pTimeout, OnWaitEnded, &wait.bTimedOut, nullptr);
        g_source_attach(pTimeout, pContext);
        // A process expected to take the name that ends first ends the wait too.
        const int iPidFd = watched > 0 ? OpenPidFd(watched) : -1;
        g_autoptr(GSource) pExit = nullptr;
        if (iPidFd >= 0) {
            pExit = g_unix_fd_source_new(iPidFd, G_IO_IN);
            g_source_set_callback(pExit, G_SOURCE_FUNC(OnProcessEnded), &wait.bProcessEnded, nullptr);
            g_source_attach(pExit, pContext);
        }
        while (!wait.bFound && !wait.bTimedOut && !wait.bProcessEnded) g_main_context_iteration(pContext, TRUE);
        g_source_destroy(pTimeout);
        if (pExit != nullptr) g_source_destroy(pExit);
        if (iPidFd >= 0) close(iPidFd);
    }
    g_dbus_connection_signal_unsubscribe(pConn, uSubscription);
    g_dbus_connection_close_sync(pConn, nullptr, nullptr);
    // What the closed connection still had queued for this context is dropped with it.
    while (g_main_context_iteration(pContext, FALSE)) {
    }
    g_main_context_pop_thread_default(pContext);
    return wait.bFound;
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
