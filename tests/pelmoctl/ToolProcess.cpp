#include "ToolProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "EventWait.h"

namespace {
void CloseFd(int& iFd)
{
    if (iFd >= 0) close(iFd);
    iFd = -1;
}
}  // namespace

CToolProcess::~CToolProcess()
{
    if (m_pid > 0 && !m_bExited) {
        kill(m_pid, SIGKILL);
        int iStatus;
        waitpid(m_pid, &iStatus, 0);
    }
    CloseFd(m_iIn);
    CloseFd(m_iOut);
    CloseFd(m_iErr);
}

bool CToolProcess::Start(const std::vector<std::string>& vecArgv, const std::vector<std::string>& vecEnv)
{
    int inPipe[2], outPipe[2], errPipe[2];
    if (pipe2(inPipe, O_CLOEXEC) != 0) return false;
    if (pipe2(outPipe, O_CLOEXEC) != 0 || pipe2(errPipe, O_CLOEXEC) != 0) return false;
    std::vector<char*> argv;
    for (const std::string& sArg : vecArgv) argv.push_back(const_cast<char*>(sArg.c_str()));
    argv.push_back(nullptr);
    std::fflush(nullptr);
    m_pid = fork();
    if (m_pid < 0) return false;
    if (m_pid == 0) {
        dup2(inPipe[0], STDIN_FILENO);
        dup2(outPipe[1], STDOUT_FILENO);
        dup2(errPipe[1], STDERR_FILENO);
        sigset_t set;
        sigemptyset(&set);
        sigprocmask(SIG_SETMASK, &set, nullptr);
        for (const std::string& sVar : vecEnv) {
            const size_t iEq = sVar.find('=');
            if (iEq == std::string::npos)
                unsetenv(sVar.c_str());
            else
                setenv(sVar.substr(0, iEq).c_str(), sVar.substr(iEq + 1).c_str(), 1);
        }
        execv(argv[0], argv.data());
        std::fprintf(stderr, "cannot start %s: %s\n", argv[0], std::strerror(errno));
        _exit(127);
    }
    close(inPipe[0]);
    close(outPipe[1]);
    close(errPipe[1]);
    m_iIn = inPipe[1];
    m_iOut = outPipe[0];
    m_iErr = errPipe[0];
    fcntl(m_iIn, F_SETFL, O_NONBLOCK);
    signal(SIGPIPE, SIG_IGN);  // a tool that exits without reading its input
    return true;
}

bool CToolProcess::Pump(int iTimeoutMs, bool bCloseInput)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(iTimeoutMs);
    for (;;) {
        if (bCloseInput && m_sInput.empty()) CloseFd(m_iIn);
        if (m_iOut < 0 && m_iErr < 0) break;
        pollfd fds[3];
        int n = 0;
        for (int iFd : {m_iOut, m_iErr}) {
            if (iFd >= 0) fds[n++] = pollfd{iFd, POLLIN, 0};
        }
        const bool bWrite = m_iIn >= 0 && !m_sInput.empty();
        if (bWrite) fds[n++] = pollfd{m_iIn, POLLOUT, 0};
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
        if (left <= 0) return false;
        const int iReady = poll(fds, static_cast<nfds_t>(n), static_cast<int>(left));
        if (iReady < 0 && errno == EINTR) continue;
        if (iReady <= 0) return false;
        for (int i = 0; i < n; ++i) {
            if (fds[i].revents == 0) continue;
            if (fds[i].fd == m_iIn) {
                const ssize_t w = write(m_iIn, m_sInput.data(), m_sInput.size());
                if (w > 0)
                    m_sInput.erase(0, static_cast<size_t>(w));
                else if (w < 0 && errno != EAGAIN) {
                    m_sInput.clear();
                    CloseFd(m_iIn);
                }
                continue;
            }
            char buf[4096];
            const ssize_t r = read(fds[i].fd, buf, sizeof buf);
            std::string& sTarget = fds[i].fd == m_iOut ? m_result.sOut : m_result.sErr;
            if (r > 0)
                sTarget.append(buf, static_cast<size_t>(r));
            else if (r == 0 || errno != EINTR)
                CloseFd(fds[i].fd == m_iOut ? m_iOut : m_iErr);
        }
    }
    // Both outputs closed: the process ended (or closed them); wait for it within the time left.
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    int iStatus = 0;
    if (!WaitForChildExit(m_pid, static_cast<int>(std::max<long long>(left, 0)), &iStatus)) return false;
    m_bExited = true;
    m_result.iExit = WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 128 + WTERMSIG(iStatus);
    return true;
}

bool CToolProcess::WaitWithInputOpen(int iTimeoutMs)
{
    return Pump(iTimeoutMs, false);
}

CToolResult CToolProcess::Finish(int iTimeoutMs)
{
    if (m_pid <= 0) return m_result;
    if (!m_bExited && !Pump(iTimeoutMs, true)) {
        m_result.bTimedOut = true;
        kill(m_pid, SIGKILL);
        int iStatus;
        waitpid(m_pid, &iStatus, 0);
        m_bExited = true;
        m_result.iExit = -1;
    }
    CloseFd(m_iIn);
    return m_result;
}

CToolResult RunTool(const std::vector<std::string>& vecArgv, const std::string& sInput,
                    const std::vector<std::string>& vecEnv)
{
    CToolProcess process;
    if (!process.Start(vecArgv, vecEnv)) return CToolResult();
    process.Input(sInput);
    return process.Finish();
}
