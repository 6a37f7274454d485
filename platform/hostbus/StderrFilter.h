// What the bus daemon and the service write to standard error, passed on line by line except
// the daemon's note that it could not raise its file limit: a system-bus daemon asks for more
// open files than an ordinary user (or a container) may have, and works without them.
#pragma once

#include <thread>

class CStderrFilter {
public:
    ~CStderrFilter() { End(); }
    // From here on, processes started inherit the filter as their standard error.
    bool Begin();
    // Processes started from here on get the real standard error again.
    void Pause();
    // Once everything started under the filter has ended: the last lines, then done.
    void End();

private:
    int m_iSaved = -1;
    std::thread m_thread;
};
