#include "HostStoreMode.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "HostStoreLauncher.h"

namespace {

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
    const std::string sSelf = RunningProgramPath();
    if (sSelf.empty()) return Fail("cannot find the pelmoctl program itself");

    PT_HOST_LAUNCH launch;
    launch.options.sServicePath = DefaultStoreServicePath();
    launch.options.sDatabase = sDirectory + "/store.db";
    launch.options.sLogFile = sDirectory + "/service.log";
    // The bus daemon's and the service's own messages go to the log too, not between the
    // command's output lines.
    launch.sServiceOutputFile = launch.options.sLogFile;
    launch.vecCommand = {sSelf};
    launch.vecCommand.insert(launch.vecCommand.end(), vecCommand.begin(), vecCommand.end());
    const PT_HOST_LAUNCH_RESULT result = LaunchHostStore(launch);
    if (!result.sError.empty()) {
        return Fail("cannot start the host store in " + sDirectory + ": " + result.sError + " (see " +
                    launch.options.sLogFile + ")");
    }
    return result.iExit;
}
