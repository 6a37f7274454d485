// pelmo-host-store: a store to try the library against without a TV.
//
//   pelmo-host-store [--db PATH] [--log FILE] [--service PROGRAM] [-- COMMAND [ARG...]]
//
// Starts a private dbus-daemon with a system-bus configuration and the reference store service
// on the database PATH (default: an in-memory one). With a command, runs it with
// DBUS_SYSTEM_BUS_ADDRESS pointing at the private bus and exits with its status; without one,
// prints the address and serves until interrupted. Whatever happens, both are stopped on exit.
#include <cstdio>
#include <string>
#include <vector>

#include "HostStoreLauncher.h"

namespace {

void PrintUsage(FILE* pOut)
{
    std::fprintf(pOut,
                 "usage: pelmo-host-store [--db PATH] [--log FILE] [--service PROGRAM] [-- COMMAND [ARG...]]\n"
                 "  --db PATH          the store's SQLite database (default :memory:)\n"
                 "  --log FILE         append the service's request log to FILE (default: standard error)\n"
                 "  --service PROGRAM  the store service to run (default: pelmo-service beside this tool)\n");
}

}  // namespace

int main(int argc, char** argv)
{
    PT_HOST_LAUNCH launch;
    CHostStoreOptions& options = launch.options;
    options.sServicePath = DefaultStoreServicePath();
    for (int i = 1; i < argc; ++i) {
        const std::string sArg = argv[i];
        if (sArg == "--") {
            launch.vecCommand.assign(argv + i + 1, argv + argc);
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
    if (!launch.vecCommand.empty() && launch.vecCommand[0].empty()) launch.vecCommand.clear();

    const PT_HOST_LAUNCH_RESULT result = LaunchHostStore(launch);
    if (!result.sError.empty()) std::fprintf(stderr, "pelmo-host-store: %s\n", result.sError.c_str());
    return result.iExit;
}
