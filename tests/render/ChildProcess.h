// Runs a program as a user would from a shell: its own process group, standard output and
// error caught in files, a time limit after which the whole group is killed.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

struct PT_CHILD_RESULT {
    bool bStarted = false;
    bool bTimedOut = false;
    int iExitStatus = -1;  // the exit code, or -1 when the program did not exit by itself
    std::string sStdout;
    std::string sStderr;
};

// Runs `vecArgv` (the program is looked up in PATH) with `sWorkDir` holding the output files,
// and with the "NAME=value" entries of `vecEnv` added to its environment. Whatever is still
// running in the program's process group when it ends, or when the time limit is reached, is
// killed.
PT_CHILD_RESULT RunChild(const std::vector<std::string>& vecArgv, const std::string& sWorkDir, int iTimeoutMs,
                         const std::vector<std::string>& vecEnv = {});

// The full path of a program found in PATH, or "".
std::string FindInPath(const std::string& sProgram);

// Lines of a text, without their line feeds; a last line without one counts too.
std::vector<std::string> SplitLines(const std::string& sText);

// The arguments every headless Chromium of the tests starts with: no sandbox, GPU, first-run
// pages, extensions or background traffic, its profile and cache in sProfile.
std::vector<std::string> HeadlessChromiumArgs(const std::string& sChromium, const std::string& sProfile);
