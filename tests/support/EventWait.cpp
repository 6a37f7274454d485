#include "EventWait.h"

#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace {
using Clock = std::chrono::steady_clock;

int MillisecondsLeft(Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

// True when the descriptor became readable before the deadline.
bool WaitReadable(int iFd, Clock::time_point deadline)
{
    for (;;) {
        pollfd pfd{iFd, POLLIN, 0};
        const int iReady = poll(&pfd, 1, MillisecondsLeft(deadline));
        if (iReady > 0) return true;
        if (iReady == 0) return false;
        if (errno != EINTR) return false;
    }
}
}  // namespace

int OpenProcessFd(pid_t pid)
{
#ifdef SYS_pidfd_open
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
#else
    errno = ENOSYS;
    return -1;
#endif
}

bool WaitForChildExit(pid_t pid, int iTimeoutMs, int* pStatus)
{
    if (pid <= 0) return false;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(iTimeoutMs);
    int iStatus = 0;
    const int iFd = OpenProcessFd(pid);
    if (iFd >= 0) {
        const bool bEnded = WaitReadable(iFd, deadline);
        close(iFd);
        if (!bEnded) return false;
        pid_t done;
        while ((done = waitpid(pid, &iStatus, 0)) < 0 && errno == EINTR) {
        }
        if (done != pid) return false;
        if (pStatus != nullptr) *pStatus = iStatus;
        return true;
    }
    if (errno != ENOSYS) return false;
    // No process descriptors here: nothing tells of the end, so look at short intervals.
    for (;;) {
        const pid_t done = waitpid(pid, &iStatus, WNOHANG);
        if (done == pid) {
            if (pStatus != nullptr) *pStatus = iStatus;
            return true;
        }
        if (done < 0 && errno != EINTR) return false;
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

bool WaitForProcessEnd(pid_t pid, int iTimeoutMs)
{
    if (pid <= 0) return false;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(iTimeoutMs);
    const int iFd = OpenProcessFd(pid);
    if (iFd >= 0) {
        const bool bEnded = WaitReadable(iFd, deadline);
        close(iFd);
        return bEnded;
    }
    if (errno == ESRCH) return true;  // ended and reaped already
    // No process descriptors here: nothing tells of the end, so look at short intervals.
    while (kill(pid, 0) == 0) {
        if (Clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

bool WaitForFolderCondition(const std::string& sDirectory, const std::function<bool()>& condition, int iTimeoutMs)
{
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(iTimeoutMs);
    const int iFd = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    const int iWatch =
        iFd < 0 ? -1
                : inotify_add_watch(iFd, sDirectory.c_str(),
                                    IN_CREATE | IN_DELETE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO);
    bool bHolds = false;
    for (;;) {
        // Tested after the watch is in place, so that no change between the two is missed.
        bHolds = condition();
        if (bHolds || Clock::now() >= deadline) break;
        if (iWatch < 0) {
            // A folder that cannot be watched tells of no change: look at short intervals.
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            continue;
        }
        if (!WaitReadable(iFd, deadline)) continue;
        char aEvents[4096];
        while (read(iFd, aEvents, sizeof aEvents) > 0) {
        }
    }
    if (iFd >= 0) close(iFd);
    return bHolds;
}

bool WaitForPath(const std::string& sPath, bool bPresent, int iTimeoutMs)
{
    const size_t uSlash = sPath.rfind('/');
    const std::string sDirectory = uSlash == std::string::npos ? "." : uSlash == 0 ? "/" : sPath.substr(0, uSlash);
    return WaitForFolderCondition(
        sDirectory,
        [&] {
            struct stat st {};
            return (stat(sPath.c_str(), &st) == 0) == bPresent;
        },
        iTimeoutMs);
}
