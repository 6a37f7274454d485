// Client processes of a benchmark: the benchmark itself run again with --client, its standard
// output on a pipe, so that each client has its own bus connection and no GLib state of the
// parent is carried over a fork.
#pragma once

#include <limits.h>
#include <sys/types.h>
#include <unistd.h>

#include <string>

namespace BenchClients {

// The path of the running benchmark, to start it again; empty when it cannot be read.
inline std::string SelfPath()
{
    char sSelf[PATH_MAX] = {};
    if (readlink("/proc/self/exe", sSelf, sizeof sSelf - 1) <= 0) return std::string();
    return sSelf;
}

// Starts `THIS_PROGRAM --client INDEX ARG`; false when it could not.
inline bool Start(int iClient, const std::string& sArg, pid_t& pid, int& iOut)
{
    const std::string sSelfPath = SelfPath();
    if (sSelfPath.empty()) return false;
    const char* sSelf = sSelfPath.c_str();
    int aPipe[2];
    if (pipe(aPipe) != 0) return false;
    pid = fork();
    if (pid < 0) return false;
    if (pid == 0) {
        dup2(aPipe[1], STDOUT_FILENO);
        close(aPipe[0]);
        close(aPipe[1]);
        const std::string sClient = std::to_string(iClient);
        execl(sSelf, sSelf, "--client", sClient.c_str(), sArg.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    close(aPipe[1]);
    iOut = aPipe[0];
    return true;
}

}  // namespace BenchClients
