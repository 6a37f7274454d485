#include "ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "EventWait.h"

extern char** environ;

namespace {
using Clock = std::chrono::steady_clock;

// Where the kernel gives no descriptor for a process's end, its end is looked for this often.
constexpr int kExitCheckMs = 5;

void CloseFd(int& iFd)
{
    if (iFd >= 0) close(iFd);
    iFd = -1;
}

int MillisecondsLeft(Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

// This process's environment with the entries of vecChanges applied: "NAME=VALUE" sets, "NAME"
// alone removes.
std::vector<std::string> ChildEnvironment(const std::vector<std::string>& vecChanges)
{
    std::vector<std::string> vecEnv;
    for (char** pEntry = environ; pEntry != nullptr && *pEntry != nullptr; ++pEntry) vecEnv.emplace_back(*pEntry);
    for (const std::string& sChange : vecChanges) {
        const std::string sName = sChange.substr(0, sChange.find('='));
        vecEnv.erase(std::remove_if(vecEnv.begin(), vecEnv.end(),
                                    [&](const std::string& sEntry) {
                                        return sEntry.compare(0, sName.size(), sName) == 0 &&
                                               sEntry.size() > sName.size() && sEntry[sName.size()] == '=';
                                    }),
                     vecEnv.end());
        if (sChange.size() > sName.size()) vecEnv.push_back(sChange);
    }
    return vecEnv;
}

std::vector<char*> Pointers(const std::vector<std::string>& vecText)
{
    std::vector<char*> vecPointers;
    for (const std::string& sText : vecText) vecPointers.push_back(const_cast<char*>(sText.c_str()));
    vecPointers.push_back(nullptr);
    return vecPointers;
}

void WriteAll(int iFd, const char* pText, size_t uSize)
{
    while (uSize > 0) {
        const ssize_t iWritten = write(iFd, pText, uSize);
        if (iWritten < 0 && errno == EINTR) continue;
        if (iWritten <= 0) return;
        pText += iWritten;
        uSize -= static_cast<size_t>(iWritten);
    }
}
}  // namespace

CChildProcess::~CChildProcess()
{
    if (m_pid > 0 && !m_bExited) Kill();
    CloseFd(m_iIn);
    CloseFd(m_iOut);
    CloseFd(m_iErr);
    CloseFd(m_iPidFd);
}

bool CChildProcess::Start(const std::vector<std::string>& vecArgv, const PT_CHILD_OPTIONS& options)
{
    if (vecArgv.empty() || m_pid > 0) return false;
    // Everything the child needs is made here: between fork and exec it only calls what is safe
    // in a copy of a process that may run other threads.
    const std::vector<std::string> vecEnv = ChildEnvironment(options.vecEnv);
    std::vector<char*> vecArgp = Pointers(vecArgv);
    std::vector<char*> vecEnvp = Pointers(vecEnv);
    const std::string sCannotStart = "cannot start " + vecArgv[0] + ": ";

    int aIn[2] = {-1, -1}, aOut[2] = {-1, -1}, aErr[2] = {-1, -1};
    if (pipe2(aIn, O_CLOEXEC) != 0 || pipe2(aOut, O_CLOEXEC) != 0 || pipe2(aErr, O_CLOEXEC) != 0) {
        for (int* pPipe : {aIn, aOut, aErr}) {
            CloseFd(pPipe[0]);
            CloseFd(pPipe[1]);
        }
        return false;
    }
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0) {
        for (int* pPipe : {aIn, aOut, aErr}) {
            CloseFd(pPipe[0]);
            CloseFd(pPipe[1]);
        }
        return false;
    }
    if (pid == 0) {
        if (options.bOwnGroup) setpgid(0, 0);
        if (dup2(aIn[0], STDIN_FILENO) < 0 || dup2(aOut[1], STDOUT_FILENO) < 0 || dup2(aErr[1], STDERR_FILENO) < 0) {
            _exit(127);
        }
        // Nothing else of this process reaches the program: no descriptor, no blocked signal,
        // and a broken pipe ends it as it would in a shell.
#ifdef SYS_close_range
        syscall(SYS_close_range, 3U, ~0U, 0U);
#endif
        sigset_t set;
        sigemptyset(&set);
        sigprocmask(SIG_SETMASK, &set, nullptr);
        signal(SIGPIPE, SIG_DFL);
        if (options.bSearchPath)
            execvpe(vecArgp[0], vecArgp.data(), vecEnvp.data());
        else
            execve(vecArgp[0], vecArgp.data(), vecEnvp.data());
        const char* sReason = std::strerror(errno);
        WriteAll(STDERR_FILENO, sCannotStart.data(), sCannotStart.size());
        WriteAll(STDERR_FILENO, sReason, std::strlen(sReason));
        WriteAll(STDERR_FILENO, "\n", 1);
        _exit(127);
    }
    // Also from here, so that the group exists before anything below may kill it.
    if (options.bOwnGroup) setpgid(pid, pid);
    close(aIn[0]);
    close(aOut[1]);
    close(aErr[1]);
    m_pid = pid;
    m_iIn = aIn[1];
    m_iOut = aOut[0];
    m_iErr = aErr[0];
    fcntl(m_iIn, F_SETFL, fcntl(m_iIn, F_GETFL) | O_NONBLOCK);
    signal(SIGPIPE, SIG_IGN);  // a program that ends without reading all of its input
    m_iPidFd = OpenProcessFd(pid);
    m_bOwnGroup = options.bOwnGroup;
    m_iTimeoutMs = options.iTimeoutMs;
    m_sInput = options.sInput;
    m_result.bStarted = true;
    return true;
}

void CChildProcess::Reap()
{
    // The program has ended but is not reaped yet, so its pid still names its group: whatever it
    // left running there goes now.
    if (m_bOwnGroup) kill(-m_pid, SIGKILL);
    int iStatus = 0;
    pid_t done;
    while ((done = waitpid(m_pid, &iStatus, 0)) < 0 && errno == EINTR) {
    }
    m_bExited = true;
    CloseFd(m_iPidFd);
    if (done != m_pid)
        m_result.iExit = -1;
    else if (WIFEXITED(iStatus))
        m_result.iExit = WEXITSTATUS(iStatus);
    else if (WIFSIGNALED(iStatus))
        m_result.iExit = 128 + WTERMSIG(iStatus);
}

void CChildProcess::Kill()
{
    kill(m_bOwnGroup ? -m_pid : m_pid, SIGKILL);
    Reap();
}

bool CChildProcess::Pump(int iTimeoutMs, bool bCloseInput)
{
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(iTimeoutMs);
    for (;;) {
        if (bCloseInput && m_sInput.empty()) CloseFd(m_iIn);
        if (!m_bExited && m_iPidFd < 0) {
            // No descriptor tells of the end: look whether it came, without reaping yet.
            siginfo_t info{};
            if (waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
                info.si_pid == m_pid)
                Reap();
        }
        if (m_bExited && m_bOwnGroup) {
            // The program and its group are gone: what they wrote is all in the pipes. Something
            // outside the group that inherited them (a helper that left the group) is not waited
            // for.
            for (int* pFd : {&m_iOut, &m_iErr}) {
                if (*pFd < 0) continue;
                fcntl(*pFd, F_SETFL, fcntl(*pFd, F_GETFL) | O_NONBLOCK);
                char aBuffer[4096];
                ssize_t iRead;
                while ((iRead = read(*pFd, aBuffer, sizeof aBuffer)) > 0 || (iRead < 0 && errno == EINTR)) {
                    if (iRead > 0) (pFd == &m_iOut ? m_result.sOut : m_result.sErr).append(aBuffer, iRead);
                }
                CloseFd(*pFd);
            }
        }
        // The end counts once the program has ended and its output is complete.
        if (m_bExited && m_iOut < 0 && m_iErr < 0) return true;

        pollfd aFds[4];
        nfds_t uCount = 0;
        for (int iFd : {m_iOut, m_iErr}) {
            if (iFd >= 0) aFds[uCount++] = pollfd{iFd, POLLIN, 0};
        }
        if (m_iIn >= 0 && !m_sInput.empty()) aFds[uCount++] = pollfd{m_iIn, POLLOUT, 0};
        if (!m_bExited && m_iPidFd >= 0) aFds[uCount++] = pollfd{m_iPidFd, POLLIN, 0};
        const int iLeft = MillisecondsLeft(deadline);
        if (iLeft <= 0) return false;
        const int iWait = !m_bExited && m_iPidFd < 0 ? std::min(iLeft, kExitCheckMs) : iLeft;
        const int iReady = poll(aFds, uCount, iWait);
        if (iReady < 0 && errno != EINTR) return false;
        if (iReady <= 0) continue;
        for (nfds_t i = 0; i < uCount; ++i) {
            if (aFds[i].revents == 0) continue;
            const int iFd = aFds[i].fd;
            if (iFd == m_iPidFd) {
                Reap();
            } else if (iFd == m_iIn) {
                const ssize_t iWritten = write(m_iIn, m_sInput.data(), m_sInput.size());
                if (iWritten > 0) {
                    m_sInput.erase(0, static_cast<size_t>(iWritten));
                } else if (iWritten < 0 && errno != EAGAIN && errno != EINTR) {
                    // The program closed its input: the rest cannot reach it.
                    m_sInput.clear();
                    CloseFd(m_iIn);
                }
            } else {
                char aBuffer[4096];
                const ssize_t iRead = read(iFd, aBuffer, sizeof aBuffer);
                std::string& sTarget = iFd == m_iOut ? m_result.sOut : m_result.sErr;
                if (iRead > 0)
                    sTarget.append(aBuffer, static_cast<size_t>(iRead));
                else if (iRead == 0 || errno != EINTR)
                    CloseFd(iFd == m_iOut ? m_iOut : m_iErr);
            }
        }
    }
}

bool CChildProcess::WaitWithInputOpen(int iTimeoutMs)
{
    if (m_pid <= 0) return false;
    return Pump(iTimeoutMs, false);
}

PT_CHILD_RESULT CChildProcess::Finish()
{
    if (m_pid <= 0) return m_result;
    if (!Pump(m_iTimeoutMs, true)) {
        m_result.bTimedOut = true;
        if (!m_bExited) Kill();
        m_result.iExit = -1;
    }
    CloseFd(m_iIn);
    CloseFd(m_iOut);
    CloseFd(m_iErr);
    return m_result;
}

PT_CHILD_RESULT RunChild(const std::vector<std::string>& vecArgv, const PT_CHILD_OPTIONS& options)
{
    CChildProcess process;
    if (!process.Start(vecArgv, options)) return PT_CHILD_RESULT();
    return process.Finish();
}

std::vector<std::string> SplitLines(const std::string& sText)
{
    std::vector<std::string> vecLines;
    size_t uStart = 0;
    while (uStart < sText.size()) {
        size_t uEnd = sText.find('\n', uStart);
        if (uEnd == std::string::npos) uEnd = sText.size();
        vecLines.push_back(sText.substr(uStart, uEnd - uStart));
        uStart = uEnd + 1;
    }
    return vecLines;
}
