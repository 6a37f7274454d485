// Runs one command against a host store of its own: the private bus and the reference store
// service are started before it and stopped after it, also when the launching tool is
// interrupted. `pelmo-host-store` and `pelmoctl --host` are both this one launcher, so that an
// interrupt, a hangup or a store that cannot start behaves the same in either.
#pragma once

#include <string>
#include <vector>

#include "HostStore.h"

struct PT_HOST_LAUNCH {
    CHostStoreOptions options;
    // The command and its arguments (the program is looked up in PATH). Empty: print the bus
    // address on standard output and serve until interrupted.
    std::vector<std::string> vecCommand;
    // Where the bus daemon and the service write their own messages: empty for the launcher's
    // standard error, else appended to this file (to keep them out of the command's output).
    std::string sServiceOutputFile;
};

struct PT_HOST_LAUNCH_RESULT {
    // The command's exit status (128 + signal when it was killed); 128 + the signal when the
    // launcher was interrupted (SIGINT, SIGTERM, SIGHUP), whatever the command made of it;
    // 0 when serving ended on an interrupt; 1 when the store could not be started.
    int iExit = 1;
    // Why the store could not be started or the command not begun; empty otherwise.
    std::string sError;
};

// The launcher's signals are taken synchronously for its whole run: SIGINT, SIGTERM and SIGHUP
// are passed on to the command as SIGTERM. The command stays in the launcher's process group,
// so that it can read the terminal and an interrupt typed there reaches it directly; the bus
// daemon and the service have groups of their own and are stopped in order afterwards.
PT_HOST_LAUNCH_RESULT LaunchHostStore(const PT_HOST_LAUNCH& launch);

// The full path of the running program, or "" when the system does not say.
std::string RunningProgramPath();

// The store service program: beside the running program once installed, else where the build
// put it.
std::string DefaultStoreServicePath();
