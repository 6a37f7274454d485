// The threads that serve the store's calls, so that the bus's main loop never runs SQL and one
// module's slow request does not hold up the others.
//
// Fairness, kept simple: every module (the call's package) has its own queue, served in
// arrival order by at most one worker at a time, so a module's writes stay in the order they
// came. Modules with calls waiting take turns: a worker takes the module at the head of the
// turn list, serves one call of it and, if the module has more waiting, puts it at the tail.
// A module therefore waits for at most one call of each other waiting module per worker; each
// of those calls is bounded by the request budget. The share is per module name: a caller
// that uses many names at once gets a share per name.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "PendingCall.h"

class CRequestWorkers {
public:
    // Serves one call on worker iWorker (each worker has its own database connection).
    using Serve = std::function<void(std::size_t iWorker, CPendingCall& call)>;
    // Calls of one module waiting at once; more are refused at once, on the main loop.
    static constexpr std::size_t kMaxWaitingPerModule = 256;

    CRequestWorkers() = default;
    ~CRequestWorkers();
    CRequestWorkers(const CRequestWorkers&) = delete;
    CRequestWorkers& operator=(const CRequestWorkers&) = delete;

    void Start(std::size_t iWorkers, Serve serve);
    // Queues the call behind its module's earlier calls (from the main loop).
    void Submit(std::unique_ptr<CPendingCall> pCall);
    // Lets the calls being served finish, answers the waiting ones with a refusal, joins.
    void Stop();

private:
    void Run(std::size_t iWorker);

    Serve m_serve;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::map<std::string, std::deque<std::unique_ptr<CPendingCall>>> m_mapWaiting;
    std::deque<std::string> m_deqTurns;  // modules with calls waiting and no worker on them
    std::set<std::string> m_setServed;   // modules a worker is on
    bool m_bStopping = false;
    std::vector<std::thread> m_vecThreads;
};
