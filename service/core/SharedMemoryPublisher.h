// Publishes select results as POSIX shared-memory objects for the client's cursor, and removes
// the ones nobody opened in time (the client unlinks a result once it has mapped it).
#pragma once

#include <chrono>
#include <map>
#include <string>

#include "ResultPublisher.h"

class CSharedMemoryPublisher : public IResultPublisher {
public:
    CSharedMemoryPublisher();
    ~CSharedMemoryPublisher() override;

    bool Publish(const CResultTable& table, std::string& sKey, long long& llSize, std::string& sError) override;
    // Removes every result published before `limit`; returns how many names were still there.
    int ExpireOlderThan(std::chrono::steady_clock::time_point limit);
    // Forgets the results whose readers have already removed them (the normal case, within
    // milliseconds), so that the service remembers only results still waiting; without this
    // every result would be remembered for the whole expiry time. Returns how many it forgot.
    int ForgetClaimed();
    // Results published and neither expired nor found claimed.
    std::size_t Pending() const { return m_mapPublished.size(); }

private:
    std::string m_sPrefix;
    unsigned long long m_ullCounter = 0;
    std::map<std::string, std::chrono::steady_clock::time_point> m_mapPublished;
};
