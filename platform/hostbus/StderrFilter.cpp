#include "StderrFilter.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace {

void PassOnLines(int iRead, int iOut)
{
    std::string sPending;
    char aBuffer[4096];
    ssize_t n;
    while ((n = read(iRead, aBuffer, sizeof aBuffer)) > 0 || (n < 0 && errno == EINTR)) {
        if (n < 0) continue;
        sPending.append(aBuffer, static_cast<size_t>(n));
        size_t uEnd;
        while ((uEnd = sPending.find('\n')) != std::string::npos) {
            const std::string sLine = sPending.substr(0, uEnd + 1);
            sPending.erase(0, uEnd + 1);
            if (sLine.find("Failed to set fd limit") == std::string::npos) {
                if (write(iOut, sLine.data(), sLine.size()) < 0) break;
            }
        }
    }
    if (!sPending.empty() && write(iOut, sPending.data(), sPending.size()) < 0) sPending.clear();
    close(iRead);
}

}  // namespace

bool CStderrFilter::Begin()
{
    int aPipe[2];
    if (pipe2(aPipe, O_CLOEXEC) != 0) return false;
    std::fflush(stderr);
    m_iSaved = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    if (m_iSaved < 0 || dup2(aPipe[1], STDERR_FILENO) < 0) {
        close(aPipe[0]);
        close(aPipe[1]);
        if (m_iSaved >= 0) close(m_iSaved);
        m_iSaved = -1;
        return false;
    }
    close(aPipe[1]);
    m_thread = std::thread(PassOnLines, aPipe[0], m_iSaved);
    return true;
}

void CStderrFilter::Pause()
{
    if (m_iSaved >= 0) {
        std::fflush(stderr);
        dup2(m_iSaved, STDERR_FILENO);
    }
}

void CStderrFilter::End()
{
    Pause();
    if (m_thread.joinable()) m_thread.join();
    if (m_iSaved >= 0) close(m_iSaved);
    m_iSaved = -1;
}
