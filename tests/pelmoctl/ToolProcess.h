// A command-line tool run as a child process: its standard input fed, its standard output and
// error collected, its exit status waited for (killed after a time limit, so that a hanging
// tool fails the test instead of blocking it).
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

struct CToolResult {
    int iExit = -1;  // exit status, or 128 + signal
    std::string sOut;
    std::string sErr;
    bool bTimedOut = false;
};

class CToolProcess {
public:
    CToolProcess() = default;
    ~CToolProcess();
    CToolProcess(const CToolProcess&) = delete;
    CToolProcess& operator=(const CToolProcess&) = delete;

    // Starts vecArgv[0] with the given arguments. vecEnv entries "NAME=VALUE" are added to the
    // environment, "NAME" alone removes the variable. False when it cannot be started.
    bool Start(const std::vector<std::string>& vecArgv, const std::vector<std::string>& vecEnv = {});
    pid_t Pid() const { return m_pid; }
    // Sends the text to standard input (kept open until CloseInput or Finish).
    void Input(const std::string& sText) { m_sInput += sText; }
    // Waits for the exit with standard input left open, collecting output, up to iTimeoutMs;
    // false when the process still runs then.
    bool WaitWithInputOpen(int iTimeoutMs);
    // Closes standard input after the pending input, waits for the exit (up to iTimeoutMs, then
    // kills it) and returns what the process did.
    CToolResult Finish(int iTimeoutMs = 60000);

private:
    bool Pump(int iTimeoutMs, bool bCloseInput);
    pid_t m_pid = -1;
    int m_iIn = -1, m_iOut = -1, m_iErr = -1;
    std::string m_sInput;
    CToolResult m_result;
    bool m_bExited = false;
};

// Runs a tool to its end.
CToolResult RunTool(const std::vector<std::string>& vecArgv, const std::string& sInput = "",
                    const std::vector<std::string>& vecEnv = {});
