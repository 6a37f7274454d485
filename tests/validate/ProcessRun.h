// Runs a program as a child process and collects what it printed and how it ended.
#pragma once

#include <string>
#include <vector>

struct PT_PROCESS_RESULT {
    int iExitStatus = -1;  // -1 when the process did not exit normally
    std::string sOut;
    std::string sErr;
};

PT_PROCESS_RESULT RunProcess(const std::vector<std::string>& vecArgs, const std::string& sStdin = std::string());

// The lines of a text, without their line feeds; a last line without one counts too.
std::vector<std::string> SplitLines(const std::string& sText);
