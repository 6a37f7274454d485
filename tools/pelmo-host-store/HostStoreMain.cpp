// pelmo-host-store: a store to try the library against without a TV.
//
//   pelmo-host-store [--db PATH] [--log FILE] [--service PROGRAM] [-- COMMAND [ARG...]]
//
// Starts a private dbus-daemon with a system-bus configuration and the reference store service
// on the database PATH (default: an in-memory one). With a command, runs it with
// DBUS_SYSTEM_BUS_ADDRESS pointing at the private bus and exits with its status; without one,
// prints the address and serves until interrupted. Whatever happens, both are stopped on exit.
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "HostStore.h"

namespace {

// What the bus daemon and the service write to standard error, passed on line by line except
// the daemon's note that it could not raise its file limit: a system-bus daemon asks for more
// open files than an ordinary user (or a container) may have, and works without them.
class CStderrFilter {
public:
    // From here on, processes started inherit the filter as their standard error.
    bool Begin()
    {
        int aPipe[2];
        if (pipe2(aPipe, O_CLOEXEC) != 0) return false;
        std::fflush(stderr);
        m_iSaved = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
        if (m_iSaved < 0 || dup2(aPipe[1], STDERR_FILENO) < 0) {
            close(aPipe[0]);
            close(aPipe[1]);
            return false;
        }
        close(aPipe[1]);
        const int iRead = aPipe[0];
        const int iOut = m_iSaved;
        m_thread = std::thread([iRead, iOut] {
            std::string sPending;
            char aBuffer[4096];
            ssize_t n;
            while ((n = read(iRead, aBuffer, sizeof aBuffer)) > 0 || (n < 0 && errno == EINTR)) {
                if (n < 0) continue;
                sPending.append(aBuffer, static_cast<size_t>(n));
                size_t uEnd;
                while ((uEnd = sPending.find('\n')) != std::string::npos) {
                    const std::string sLine = sPending.substr(0, uEnd + 1);
                    sPending.erase(0, uEnd + 1);
                    if (sLine.find("Failed to set fd limit") == std::string::npos) {
                        if (write(iOut, sLine.data(), sLine.size()) < 0) break;
                    }
                }
            }
            if (!sPending.empty() && write(iOut, sPending.data(), sPending.size()) < 0) sPending.clear();
            close(iRead);
        });
        return true;
    }
    // Processes started from here on get the real standard error again.
    void Pause()
    {
        if (m_iSaved >= 0) dup2(m_iSaved, STDERR_FILENO);
    }
    // Once everything started under the filter has ended: the last lines, then done.
    void End()
    {
        Pause();
        if (m_thread.joinable()) m_thread.join();
        if (m_iSaved >= 0) close(m_iSaved);
        m_iSaved = -1;
    }

private:
    int m_iSaved = -1;
    std::thread m_thread;
};

void PrintUsage(FILE* pOut)
{
    std::fprintf(pOut,
                 "usage: pelmo-host-store [--db PATH] [--log FILE] [--service PROGRAM] [-- COMMAND [ARG...]]\n"
                 "  --db PATH          the store's SQLite database (default :memory:)\n"
                 "  --log FILE         append the service's request log to FILE (default: standard error)\n"
                 "  --service PROGRAM  the store service to run (default: pelmo-service beside this tool)\n");
}

std::string DefaultServicePath()
{
    char sSelf[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", sSelf, sizeof sSelf - 1);
    if (n > 0) {
        std::string sDir(sSelf, static_cast<size_t>(n));
        sDir.erase(sDir.rfind('/') + 1);
        const std::string sBeside = sDir + "pelmo-service";
        if (access(sBeside.c_str(), X_OK) == 0) return sBeside;
    }
    return PELMO_SERVICE_BUILD_PATH;
}

int ExitCodeOf(int iStatus)
{
    if (WIFEXITED(iStatus)) return WEXITSTATUS(iStatus);
    if (WIFSIGNALED(iStatus)) return 128 + WTERMSIG(iStatus);
    return 1;
}

// Waits for the command, passing an interrupt on to it. Signals are blocked and taken here
// synchronously, so that the store is always stopped in an orderly way afterwards.
int RunCommand(CHostStore& store, const std::vector<std::string>& vecCommand, const sigset_t& signals)
{
    const pid_t pid = store.GetBus().Spawn(vecCommand);
    if (pid <= 0) return 127;
    for (;;) {
        int iStatus = 0;
        const pid_t r = waitpid(pid, &iStatus, WNOHANG);
        if (r == pid) return ExitCodeOf(iStatus);
        siginfo_t info;
        timespec tick{0, 100 * 1000 * 1000};
        const int iSignal = sigtimedwait(&signals, &info, &tick);
        if (iSignal == SIGINT || iSignal == SIGTERM) kill(pid, SIGTERM);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    CHostStoreOptions options;
    options.sServicePath = DefaultServicePath();
    std::vector<std::string> vecCommand;
    for (int i = 1; i < argc; ++i) {
        const std::string sArg = argv[i];
        if (sArg == "--") {
            vecCommand.assign(argv + i + 1, argv + argc);
            break;
        }
        if (sArg == "-h" || sArg == "--help") {
            PrintUsage(stdout);
            return 0;
        }
        if ((sArg == "--db" || sArg == "--log" || sArg == "--service") && i + 1 < argc) {
            std::string& sTarget = sArg == "--db"    ? options.sDatabase
                                   : sArg == "--log" ? options.sLogFile
                                                     : options.sServicePath;
            sTarget = argv[++i];
            continue;
        }
        std::fprintf(stderr, "pelmo-host-store: unknown or incomplete argument '%s'\n", sArg.c_str());
        PrintUsage(stderr);
        return 2;
    }
    if (!vecCommand.empty() && vecCommand[0].empty()) vecCommand.clear();

    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGHUP);
    sigprocmask(SIG_BLOCK, &signals, nullptr);

    CHostStore store;
    std::string sError;
    CStderrFilter filter;
    const bool bFiltered = filter.Begin();
    const bool bStarted = store.Start(options, sError);
    filter.Pause();
    if (!bStarted) {
        if (bFiltered) filter.End();
        std::fprintf(stderr, "pelmo-host-store: %s\n", sError.c_str());
        return 1;
    }
    int iExit = 0;
    if (vecCommand.empty()) {
        std::printf("DBUS_SYSTEM_BUS_ADDRESS=%s\n", store.GetBus().GetAddress().c_str());
        std::fflush(stdout);
        int iSignal = 0;
        sigwait(&signals, &iSignal);
    } else {
        iExit = RunCommand(store, vecCommand, signals);
    }
    store.Stop();
    if (bFiltered) filter.End();
    return iExit;
}
