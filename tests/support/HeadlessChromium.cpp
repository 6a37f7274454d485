#include "HeadlessChromium.h"

#include <unistd.h>

#include <cstdlib>
#include <sstream>

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
