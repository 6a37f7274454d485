#include "RequestWorkers.h"

CRequestWorkers::~CRequestWorkers()
{
    Stop();
}

void CRequestWorkers::Start(std::size_t iWorkers, Serve serve)
{
    m_serve = std::move(serve);
    for (std::size_t i = 0; i < iWorkers; ++i) m_vecThreads.emplace_back([this, i] { Run(i); });
}

void CRequestWorkers::Submit(std::unique_ptr<CPendingCall> pCall)
{
    const std::string sModule = pCall->Package();
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_bStopping) return;  // the call's destructor answers it
    auto& queue = m_mapWaiting[sModule];
    if (queue.size() >= kMaxWaitingPerModule) {
        lock.unlock();
        pCall->Answer(false, "too many requests of this module waiting (" + std::to_string(kMaxWaitingPerModule) +
                                 "); try again when they are answered");
        return;
    }
    const bool bIdle = queue.empty() && m_setServed.count(sModule) == 0;
    queue.push_back(std::move(pCall));
    if (bIdle) {
        m_deqTurns.push_back(sModule);
        m_wake.notify_one();
    }
}

void CRequestWorkers::Run(std::size_t iWorker)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_bStopping || !m_deqTurns.empty(); });
        if (m_bStopping) return;
        const std::string sModule = m_deqTurns.front();
        m_deqTurns.pop_front();
        auto& queue = m_mapWaiting[sModule];
        std::unique_ptr<CPendingCall> pCall = std::move(queue.front());
        queue.pop_front();
        m_setServed.insert(sModule);
        lock.unlock();
        m_serve(iWorker, *pCall);
        pCall.reset();
        lock.lock();
        m_setServed.erase(sModule);
        if (m_bStopping) return;  // Stop took the waiting calls
        auto it = m_mapWaiting.find(sModule);
        if (it->second.empty()) {
            m_mapWaiting.erase(it);
        } else {
            m_deqTurns.push_back(sModule);
            m_wake.notify_one();
        }
    }
}

void CRequestWorkers::Stop()
{
    std::map<std::string, std::deque<std::unique_ptr<CPendingCall>>> mapDropped;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bStopping = true;
        mapDropped.swap(m_mapWaiting);
        m_deqTurns.clear();
    }
    m_wake.notify_all();
    for (std::thread& thread : m_vecThreads) thread.join();
    m_vecThreads.clear();
    // mapDropped answers its calls as it goes out of scope.
}
