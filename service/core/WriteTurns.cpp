#include "WriteTurns.h"

#include <algorithm>

bool CWriteTurns::Take(std::chrono::milliseconds wait)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const unsigned long long ullTicket = m_ullNextTicket++;
    m_deqWaiting.push_back(ullTicket);
    const bool bMine = m_changed.wait_for(lock, wait, [&] { return !m_bTaken && m_deqWaiting.front() == ullTicket; });
    if (!bMine) {
        m_deqWaiting.erase(std::find(m_deqWaiting.begin(), m_deqWaiting.end(), ullTicket));
        // The next in line may be at the front now.
        m_changed.notify_all();
        return false;
    }
    m_deqWaiting.pop_front();
    m_bTaken = true;
    return true;
}

void CWriteTurns::Give()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bTaken = false;
    }
    m_changed.notify_all();
}
