#include "HostStoreLauncher.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "StderrFilter.h"

namespace {

constexpr int kInterrupts[] = {SIGINT, SIGTERM, SIGHUP};

int ExitStatusOf(int iStatus)
{
    if (WIFEXITED(iStatus)) return WEXITSTATUS(iStatus);
    if (WIFSIGNALED(iStatus)) return 128 + WTERMSIG(iStatus);
    return 1;
}

// The launcher's signals, blocked for its whole run and taken synchronously, so that the store
// is always stopped in order; the threads the bus library starts inherit the mask. Signals
// still pending at the end are taken here too, so that restoring the mask does not kill the
// launcher after it has stopped the store.
class CBlockedSignals {
public:
    CBlockedSignals()
    {
        sigemptyset(&m_set);
        for (int iSignal : kInterrupts) sigaddset(&m_set, iSignal);
        sigaddset(&m_set, SIGCHLD);  // wakes the wait for the command
        sigprocmask(SIG_BLOCK, &m_set, &m_previous);
    }
    ~CBlockedSignals()
    {
        const timespec now{0, 0};
        while (sigtimedwait(&m_set, nullptr, &now) > 0) {
        }
        sigprocmask(SIG_SETMASK, &m_previous, nullptr);
    }
    CBlockedSignals(const CBlockedSignals&) = delete;
    CBlockedSignals& operator=(const CBlockedSignals&) = delete;

    // The first interrupt that arrived and was not taken yet, or 0.
    int PendingInterrupt() const
    {
        sigset_t pending;
        sigpending(&pending);
        for (int iSignal : kInterrupts) {
            if (sigismember(&pending, iSignal) == 1) return iSignal;
        }
        return 0;
    }
    int Wait() const
    {
        for (;;) {
            const int iSignal = sigwaitinfo(&m_set, nullptr);
            if (iSignal > 0) return iSignal;
            if (errno != EINTR) return 0;
        }
    }
    static bool IsInterrupt(int iSignal) { return iSignal == SIGINT || iSignal == SIGTERM || iSignal == SIGHUP; }

private:
    sigset_t m_set;
    sigset_t m_previous;
};

// Starts the store with the daemon's and the service's own messages going where the launch
// says: the launcher's standard error (filtered) or a file.
bool StartStore(CHostStore& store, CStderrFilter& filter, const PT_HOST_LAUNCH& launch, std::string& sError)
{
    if (launch.sServiceOutputFile.empty()) {
        const bool bFiltered = filter.Begin();
        const bool bStarted = store.Start(launch.options, sError);
        if (bFiltered) filter.Pause();
        return bStarted;
    }
    const int iOut = open(launch.sServiceOutputFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (iOut < 0) {
        sError = "cannot open " + launch.sServiceOutputFile + ": " + std::strerror(errno);
        return false;
    }
    std::fflush(stderr);
    const int iSaved = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    dup2(iOut, STDERR_FILENO);
    close(iOut);
    const bool bStarted = store.Start(launch.options, sError);
    if (iSaved >= 0) {
        dup2(iSaved, STDERR_FILENO);
        close(iSaved);
    }
    return bStarted;
}

// Waits for the command; an interrupt of the launcher is passed on to it. Returns the exit
// status the launch reports.
int WaitForCommand(pid_t pid, const CBlockedSignals& signals)
{
    int iStopSignal = 0;
    for (;;) {
        int iStatus = 0;
        const pid_t r = waitpid(pid, &iStatus, WNOHANG);
        if (r == pid) return iStopSignal != 0 ? 128 + iStopSignal : ExitStatusOf(iStatus);
        if (r < 0 && errno != EINTR) return iStopSignal != 0 ? 128 + iStopSignal : 1;
        const int iSignal = signals.Wait();
        if (CBlockedSignals::IsInterrupt(iSignal)) {
            if (iStopSignal == 0) iStopSignal = iSignal;
            kill(pid, SIGTERM);
        }
    }
}

}  // namespace

PT_HOST_LAUNCH_RESULT LaunchHostStore(const PT_HOST_LAUNCH& launch)
{
    PT_HOST_LAUNCH_RESULT result;
    const CBlockedSignals signals;
    // Declared before the store: its last lines are passed on only once the store has stopped.
    CStderrFilter filter;
    CHostStore store;
    if (!StartStore(store, filter, launch, result.sError)) {
        result.iExit = 1;
        return result;
    }
    // Interrupted while the store was starting: stop it again without running the command.
    if (const int iSignal = signals.PendingInterrupt()) {
        store.Stop();
        result.iExit = 128 + iSignal;
        return result;
    }
    if (launch.vecCommand.empty()) {
        std::printf("DBUS_SYSTEM_BUS_ADDRESS=%s\n", store.GetBus().GetAddress().c_str());
        std::fflush(stdout);
        while (!CBlockedSignals::IsInterrupt(signals.Wait())) {
        }
        store.Stop();
        result.iExit = 0;
        return result;
    }
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t pid = store.GetBus().Spawn(launch.vecCommand, {}, CHostBus::EGroup::kStarter);
    if (pid <= 0) {
        store.Stop();
        result.sError = "cannot start " + launch.vecCommand[0] + ": " + std::strerror(errno);
        result.iExit = 1;
        return result;
    }
    result.iExit = WaitForCommand(pid, signals);
    store.Stop();
    return result;
}

std::string RunningProgramPath()
{
    char sSelf[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", sSelf, sizeof sSelf - 1);
    return n > 0 ? std::string(sSelf, static_cast<size_t>(n)) : std::string();
}

std::string DefaultStoreServicePath()
{
    std::string sDir = RunningProgramPath();
    if (!sDir.empty()) {
        sDir.erase(sDir.rfind('/') + 1);
        const std::string sBeside = sDir + "pelmo-service";
        if (access(sBeside.c_str(), X_OK) == 0) return sBeside;
    }
    return PELMO_SERVICE_BUILD_PATH;
}
