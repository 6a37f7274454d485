// The lock that puts the writes of all connections of one store in a row: a write waits for
// the one before it, in the order the writes came, for at most a given time.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>

class CWriteTurns {
public:
    // Waits for this caller's turn; false when `wait` passed first (the caller then has no turn).
    bool Take(std::chrono::milliseconds wait);
    void Give();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<unsigned long long> m_deqWaiting;
    unsigned long long m_ullNextTicket = 0;
    bool m_bTaken = false;
};
