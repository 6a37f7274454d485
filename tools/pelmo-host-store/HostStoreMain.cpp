// pelmo-host-store: a store to try the library against without a TV.
//
//   pelmo-host-store [--db PATH] [--log FILE] [--service PROGRAM] [-- COMMAND [ARG...]]
//
// Starts a private dbus-daemon with a system-bus configuration and the reference store service
// on the database PATH (default: an in-memory one). With a command, runs it with
// DBUS_SYSTEM_BUS_ADDRESS pointing at the private bus and exits with its status; without one,
// prints the address and serves until interrupted. Whatever happens, both are stopped on exit.
#include <limits.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "HostStore.h"

namespace {

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
            std::string& sTarget =
                sArg == "--db" ? options.sDatabase : sArg == "--log" ? options.sLogFile : options.sServicePath;
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
    if (!store.Start(options, sError)) {
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
    return iExit;
}
