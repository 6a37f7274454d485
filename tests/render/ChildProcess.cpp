#include "ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

#include "EventWait.h"

namespace {

std::string ReadFile(const std::string& sPath)
{
    std::ifstream in(sPath, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

PT_CHILD_RESULT RunChild(const std::vector<std::string>& vecArgv, const std::string& sWorkDir, int iTimeoutMs,
                         const std::vector<std::string>& vecEnv)
{
    PT_CHILD_RESULT result;
    if (vecArgv.empty()) return result;
    const std::string sOutPath = sWorkDir + "/child.stdout";
    const std::string sErrPath = sWorkDir + "/child.stderr";
    std::vector<char*> vecArgs;
    for (const std::string& sArg : vecArgv) vecArgs.push_back(const_cast<char*>(sArg.c_str()));
    vecArgs.push_back(nullptr);

    const pid_t pid = fork();
    if (pid < 0) return result;
    if (pid == 0) {
        setpgid(0, 0);
        const int fdOut = open(sOutPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int fdErr = open(sErrPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int fdNull = open("/dev/null", O_RDONLY);
        if (fdOut < 0 || fdErr < 0 || fdNull < 0) _exit(126);
        dup2(fdNull, 0);
        dup2(fdOut, 1);
        dup2(fdErr, 2);
        for (const std::string& sEntry : vecEnv) putenv(const_cast<char*>(sEntry.c_str()));
        execvp(vecArgs[0], vecArgs.data());
        _exit(127);
    }
    setpgid(pid, pid);  // also from here, so that the group exists before any kill below
    result.bStarted = true;

    int iStatus = 0;
    if (!WaitForChildExit(pid, iTimeoutMs, &iStatus)) {
        result.bTimedOut = true;
        kill(-pid, SIGKILL);
        if (waitpid(pid, &iStatus, 0) != pid) iStatus = -1;
    }
    // Helpers the program left running in its group go with it.
    kill(-pid, SIGKILL);
    if (!result.bTimedOut && iStatus != -1 && WIFEXITED(iStatus)) result.iExitStatus = WEXITSTATUS(iStatus);
    result.sStdout = ReadFile(sOutPath);
    result.sStderr = ReadFile(sErrPath);
    unlink(sOutPath.c_str());
    unlink(sErrPath.c_str());
    return result;
}

std::string FindInPath(const std::string& sProgram)
{
    const char* sPath = std::getenv("PATH");
    std::istringstream dirs(sPath ? sPath : "/usr/bin:/bin");
    std::string sDir;
    while (std::getline(dirs, sDir, ':')) {
        if (sDir.empty()) continue;
        const std::string sCandidate = sDir + "/" + sProgram;
        if (access(sCandidate.c_str(), X_OK) == 0) return sCandidate;
    }
    return std::string();
}

std::vector<std::string> SplitLines(const std::string& sText)
{
    std::vector<std::string> vecLines;
    std::istringstream lines(sText);
    std::string sLine;
    while (std::getline(lines, sLine)) vecLines.push_back(sLine);
    return vecLines;
}

std::vector<std::string> HeadlessChromiumArgs(const std::string& sChromium, const std::string& sProfile)
{
    return {sChromium,
            "--headless",
            "--no-sandbox",
            "--disable-gpu",
            "--disable-dev-shm-usage",
            "--no-first-run",
            "--no-default-browser-check",
            "--disable-extensions",
            "--disable-background-networking",
            "--disable-component-update",
            "--disable-sync",
            "--user-data-dir=" + sProfile,
            "--disk-cache-dir=" + sProfile + "/cache"};
}
