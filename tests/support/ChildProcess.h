// Runs a program as a child process the way a user runs it from a shell: its standard input fed
// from a text, its standard output and error collected apart, its end waited for. A time limit
// guards every wait: a program that hangs is killed and reported, so that the test fails with
// its own message instead of blocking. Without GoogleTest, so that benchmarks may use it too.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

struct PT_CHILD_OPTIONS {
    // "NAME=VALUE" entries are set in the child's environment, "NAME" alone removes the variable.
    std::vector<std::string> vecEnv;
    // Written to standard input, which is closed after it (at once when empty).
    std::string sInput;
    // The time limit of RunChild and Finish; the program is killed when it is reached.
    int iTimeoutMs = 60000;
    // The program gets a process group of its own, and whatever still runs in that group when the
    // program ends or the time limit is reached is killed with it.
    bool bOwnGroup = false;
    // A program name without a slash is looked up in PATH.
    bool bSearchPath = false;
};

struct PT_CHILD_RESULT {
    bool bStarted = false;   // false when no process could be made
    bool bTimedOut = false;  // the time limit was reached and the program killed
    int iExit = -1;          // the exit status, or 128 + the signal that ended it; -1 on a time out
    std::string sOut;
    std::string sErr;
};

class CChildProcess {
public:
    CChildProcess() = default;
    // A process still running is killed (with its group when it has one) and reaped.
    ~CChildProcess();
    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;

    // Starts vecArgv[0] with the given arguments. False when it could not be started (a program
    // that does not exist still starts: it exits with 127 and says why on standard error).
    bool Start(const std::vector<std::string>& vecArgv, const PT_CHILD_OPTIONS& options = PT_CHILD_OPTIONS());
    pid_t Pid() const { return m_pid; }
    // Adds text for standard input, which stays open until Finish.
    void Input(const std::string& sText) { m_sInput += sText; }
    // Feeds pending input and collects output with standard input left open until the program
    // has ended and its output is complete, for at most iTimeoutMs; false when it still runs.
    bool WaitWithInputOpen(int iTimeoutMs);
    // Closes standard input after the pending input, waits for the end within the time limit
    // (then kills the program) and returns what the program did.
    PT_CHILD_RESULT Finish();

private:
    bool Pump(int iTimeoutMs, bool bCloseInput);
    void Reap();
    void Kill();

    pid_t m_pid = -1;
    int m_iIn = -1, m_iOut = -1, m_iErr = -1, m_iPidFd = -1;
    bool m_bOwnGroup = false;
    bool m_bExited = false;
    int m_iTimeoutMs = 60000;
    std::string m_sInput;
    PT_CHILD_RESULT m_result;
};

// Runs a program to its end.
PT_CHILD_RESULT RunChild(const std::vector<std::string>& vecArgv, const PT_CHILD_OPTIONS& options = PT_CHILD_OPTIONS());

// The lines of a text, without their line feeds; a last line without one counts too.
std::vector<std::string> SplitLines(const std::string& sText);
