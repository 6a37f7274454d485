// `pelmoctl studio` running beside a test: started with its port chosen by the system, its
// printed address read from its output, stopped (and waited for) when the test is done.
#pragma once

#include <sys/types.h>

#include <string>

class CStudioProcess {
public:
    ~CStudioProcess() { Stop(); }
    // Starts `sPelmoctl studio --port 0` and waits for the address it prints.
    bool Start(const std::string& sPelmoctl, const std::string& sLogFile, std::string& sError);
    const std::string& Address() const { return m_sAddress; }
    unsigned Port() const { return m_uPort; }
    pid_t Pid() const { return m_pid; }
    // SIGTERM, then the exit status (-1 when it had to be killed).
    int Stop();

private:
    pid_t m_pid = -1;
    std::string m_sAddress;
    unsigned m_uPort = 0;
};

// One HTTP/1.1 request to 127.0.0.1:uPort as raw text; the whole answer, or "" when the
// connection failed.
std::string RawHttp(unsigned uPort, const std::string& sRequest);
