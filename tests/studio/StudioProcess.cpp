#include "StudioProcess.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <vector>

#include "EventWait.h"

bool CStudioProcess::Start(const std::string& sPelmoctl, const std::string& sLogFile, std::string& sError)
{
    int aOut[2];
    if (pipe2(aOut, O_CLOEXEC) != 0) {
        sError = std::string("pipe: ") + std::strerror(errno);
        return false;
    }
    m_pid = fork();
    if (m_pid < 0) return false;
    if (m_pid == 0) {
        dup2(aOut[1], STDOUT_FILENO);
        const int iLog = open(sLogFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (iLog >= 0) dup2(iLog, STDERR_FILENO);
        execl(sPelmoctl.c_str(), sPelmoctl.c_str(), "studio", "--port", "0", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(aOut[1]);
    // The first line names the address; the deadline only guards against a studio that hangs.
    std::string sOut;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (sOut.find('\n') == std::string::npos && std::chrono::steady_clock::now() < deadline) {
        pollfd fd = {aOut[0], POLLIN, 0};
        if (poll(&fd, 1, 1000) <= 0) continue;
        char aBuffer[512];
        const ssize_t iRead = read(aOut[0], aBuffer, sizeof aBuffer);
        if (iRead <= 0) break;
        sOut.append(aBuffer, static_cast<size_t>(iRead));
    }
    close(aOut[0]);
    const std::string sPrefix = "studio: http://127.0.0.1:";
    const size_t uAt = sOut.find(sPrefix);
    if (uAt == std::string::npos) {
        sError = "the studio printed no address: '" + sOut + "'";
        return false;
    }
    m_uPort = static_cast<unsigned>(std::stoul(sOut.substr(uAt + sPrefix.size())));
    m_sAddress = "http://127.0.0.1:" + std::to_string(m_uPort) + "/";
    return true;
}

int CStudioProcess::Stop()
{
    if (m_pid <= 0) return -1;
    kill(m_pid, SIGTERM);
    int iStatus = 0;
    if (WaitForChildExit(m_pid, 10000, &iStatus)) {
        m_pid = -1;
        return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
    }
    kill(m_pid, SIGKILL);
    waitpid(m_pid, &iStatus, 0);
    m_pid = -1;
    return -1;
}

std::string RawHttp(unsigned uPort, const std::string& sRequest)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return std::string();
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(uPort));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::string sAnswer;
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        write(fd, sRequest.data(), sRequest.size()) == static_cast<ssize_t>(sRequest.size())) {
        char aBuffer[4096];
        for (;;) {
            pollfd pfd = {fd, POLLIN, 0};
            if (poll(&pfd, 1, 10000) <= 0) break;
            const ssize_t iRead = read(fd, aBuffer, sizeof aBuffer);
            if (iRead <= 0) break;
            sAnswer.append(aBuffer, static_cast<size_t>(iRead));
        }
    }
    close(fd);
    return sAnswer;
}
