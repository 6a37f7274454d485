#include "HostStoreMode.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "HostStore.h"

namespace {

std::string SelfPath()
{
    char sSelf[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", sSelf, sizeof sSelf - 1);
    return n > 0 ? std::string(sSelf, static_cast<size_t>(n)) : std::string();
}

// The store service: beside this tool once installed, else where the build put it.
std::string ServicePath()
{
    std::string sDir = SelfPath();
    if (!sDir.empty()) {
        sDir.erase(sDir.rfind('/') + 1);
        const std::string sBeside = sDir + "pelmo-service";
        if (access(sBeside.c_str(), X_OK) == 0) return sBeside;
    }
    return PELMO_SERVICE_BUILD_PATH;
}

// Creates the directory and its missing parents.
bool MakeDirectories(const std::string& sPath, std::string& sError)
{
    for (size_t i = 1; i <= sPath.size(); ++i) {
        if (i < sPath.size() && sPath[i] != '/') continue;
        const std::string sPart = sPath.substr(0, i);
        if (mkdir(sPart.c_str(), 0755) != 0 && errno != EEXIST) {
            sError = "cannot create " + sPart + ": " + std::strerror(errno);
            return false;
        }
    }
    struct stat info;
    if (stat(sPath.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        sError = sPath + " is not a directory";
        return false;
    }
    return true;
}

int ExitStatusOf(int iStatus)
{
    if (WIFEXITED(iStatus)) return WEXITSTATUS(iStatus);
    if (WIFSIGNALED(iStatus)) return 128 + WTERMSIG(iStatus);
    return 1;
}

int Fail(const std::string& sMessage)
{
    std::fprintf(stderr, "pelmoctl: --host: %s\n", sMessage.c_str());
    return 1;
}

}  // namespace

int RunWithHostStore(const std::string& sDirectory, const std::vector<std::string>& vecCommand)
{
    if (sDirectory.empty()) return Fail("the directory name is empty");
    std::string sError;
    if (!MakeDirectories(sDirectory, sError)) return Fail(sError);
    const std::string sSelf = SelfPath();
    if (sSelf.empty()) return Fail("cannot find the pelmoctl program itself");

    // Interrupts are taken here, synchronously, so that the store is always stopped in order;
    // the threads the bus library starts inherit the mask. SIGCHLD wakes the wait below.
    sigset_t signals;
    sigemptyset(&signals);
    for (int iSignal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) sigaddset(&signals, iSignal);
    sigset_t previous;
    sigprocmask(SIG_BLOCK, &signals, &previous);

    CHostStoreOptions options;
    options.sServicePath = ServicePath();
    options.sDatabase = sDirectory + "/store.db";
    options.sLogFile = sDirectory + "/service.log";
    CHostStore store;
    {
        // The bus daemon's and the service's own messages go to the log too, not between the
        // command's output lines.
        const int iLog = open(options.sLogFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        if (iLog < 0) {
            sigprocmask(SIG_SETMASK, &previous, nullptr);
            return Fail("cannot open " + options.sLogFile + ": " + std::strerror(errno));
        }
        std::fflush(stderr);
        const int iSavedStderr = dup(STDERR_FILENO);
        dup2(iLog, STDERR_FILENO);
        close(iLog);
        const bool bStarted = store.Start(options, sError);
        dup2(iSavedStderr, STDERR_FILENO);
        close(iSavedStderr);
        if (!bStarted) {
            sigprocmask(SIG_SETMASK, &previous, nullptr);
            return Fail("cannot start the host store in " + sDirectory + ": " + sError + " (see " + options.sLogFile +
                        ")");
        }
    }

    // Interrupted while the store was starting: stop it again without running the command.
    sigset_t pending;
    sigpending(&pending);
    for (int iSignal : {SIGINT, SIGTERM, SIGHUP}) {
        if (sigismember(&pending, iSignal) == 1) {
            store.Stop();
            sigprocmask(SIG_SETMASK, &previous, nullptr);
            return 128 + iSignal;
        }
    }

    std::vector<std::string> vecArgv = {"pelmoctl"};
    vecArgv.insert(vecArgv.end(), vecCommand.begin(), vecCommand.end());
    std::vector<char*> argv;
    for (std::string& sArg : vecArgv) argv.push_back(&sArg[0]);
    argv.push_back(nullptr);

    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0) {
        const int iErrno = errno;
        store.Stop();
        sigprocmask(SIG_SETMASK, &previous, nullptr);
        return Fail(std::string("fork: ") + std::strerror(iErrno));
    }
    if (child == 0) {
        // The command dies with the tool; it stays in the tool's process group, so that it can
        // read a terminal and an interrupt typed there reaches it too.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) _exit(127);
        sigprocmask(SIG_SETMASK, &previous, nullptr);
        execv(sSelf.c_str(), argv.data());
        std::fprintf(stderr, "pelmoctl: --host: cannot run %s: %s\n", sSelf.c_str(), std::strerror(errno));
        _exit(127);
    }

    int iExit = 1;
    int iStopSignal = 0;
    for (;;) {
        int iStatus = 0;
        const pid_t r = waitpid(child, &iStatus, WNOHANG);
        if (r == child) {
            iExit = ExitStatusOf(iStatus);
            break;
        }
        if (r < 0 && errno != EINTR) break;
        siginfo_t info;
        const int iSignal = sigwaitinfo(&signals, &info);
        if (iSignal == SIGINT || iSignal == SIGTERM || iSignal == SIGHUP) {
            if (iStopSignal == 0) iStopSignal = iSignal;
            kill(child, SIGTERM);
        }
    }
    store.Stop();
    sigprocmask(SIG_SETMASK, &previous, nullptr);
    // An interrupted command reports the interrupt, whatever the command itself made of it.
    if (iStopSignal != 0) return 128 + iStopSignal;
    return iExit;
}
