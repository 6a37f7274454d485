// The CPU time of the whole chain a request runs through: this process (all its threads, the
// bus worker thread included), the store service and the bus daemon, read through the
// processes' CPU clocks (nanoseconds, unlike the ticks of /proc/PID/stat).
#pragma once

#include <sys/types.h>
#include <time.h>

#include <vector>

namespace BenchChainCpu {

// CPU time of process `pid` (0: this process) in microseconds; -1 when its clock cannot be read.
inline double ProcessUs(pid_t pid)
{
    clockid_t clock = CLOCK_PROCESS_CPUTIME_ID;
    if (pid != 0 && clock_getcpuclockid(pid, &clock) != 0) return -1;
    timespec now{};
    if (clock_gettime(clock, &now) != 0) return -1;
    return now.tv_sec * 1e6 + now.tv_nsec / 1e3;
}

class CChainCpu {
public:
    // The other processes of the chain (the service, the bus daemon); this process is always in.
    explicit CChainCpu(std::vector<pid_t> vecOthers) : m_vecOthers(std::move(vecOthers)) {}

    // The chain's CPU time so far in microseconds; a process whose clock cannot be read counts 0.
    double TotalUs() const
    {
        double dTotal = ProcessUs(0);
        for (pid_t pid : m_vecOthers) {
            const double dUs = ProcessUs(pid);
            if (dUs > 0) dTotal += dUs;
        }
        return dTotal;
    }

private:
    std::vector<pid_t> m_vecOthers;
};

}  // namespace BenchChainCpu
