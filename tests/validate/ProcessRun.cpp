#include "ProcessRun.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace {
std::string ReadAll(const std::string& sPath)
{
    std::ifstream in(sPath, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string TempFile(const char* sRole)
{
    const char* sDir = std::getenv("TMPDIR");
    std::string sTemplate = std::string(sDir && *sDir ? sDir : "/tmp") + "/pelmoctl-" + sRole + "-XXXXXX";
    const int fd = mkstemp(&sTemplate[0]);
    if (fd >= 0) close(fd);
    return sTemplate;
}
}  // namespace

PT_PROCESS_RESULT RunProcess(const std::vector<std::string>& vecArgs, const std::string& sStdin)
{
    PT_PROCESS_RESULT result;
    // Files rather than pipes: no chance of a deadlock on a full pipe, and both streams kept apart.
    const std::string sInPath = TempFile("in"), sOutPath = TempFile("out"), sErrPath = TempFile("err");
    {
        std::ofstream in(sInPath, std::ios::binary);
        in << sStdin;
    }
    const pid_t pid = fork();
    if (pid == 0) {
        if (!std::freopen(sInPath.c_str(), "rb", stdin) || !std::freopen(sOutPath.c_str(), "wb", stdout) ||
            !std::freopen(sErrPath.c_str(), "wb", stderr)) {
            _exit(127);
        }
        std::vector<char*> vecArgv;
        for (const std::string& sArg : vecArgs) vecArgv.push_back(const_cast<char*>(sArg.c_str()));
        vecArgv.push_back(nullptr);
        execv(vecArgv[0], vecArgv.data());
        _exit(127);
    }
    if (pid > 0) {
        int iStatus = 0;
        if (waitpid(pid, &iStatus, 0) == pid && WIFEXITED(iStatus)) result.iExitStatus = WEXITSTATUS(iStatus);
    }
    result.sOut = ReadAll(sOutPath);
    result.sErr = ReadAll(sErrPath);
    unlink(sInPath.c_str());
    unlink(sOutPath.c_str());
    unlink(sErrPath.c_str());
    return result;
}

std::vector<std::string> SplitLines(const std::string& sText)
{
    std::vector<std::string> vecLine;
    size_t iStart = 0;
    while (iStart < sText.size()) {
        size_t iEnd = sText.find('\n', iStart);
        if (iEnd == std::string::npos) iEnd = sText.size();
        vecLine.push_back(sText.substr(iStart, iEnd - iStart));
        iStart = iEnd + 1;
    }
    return vecLine;
}
