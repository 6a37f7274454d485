// Publishes select results as POSIX shared-memory objects for the client's cursor, and removes
// the ones nobody opened in time.
//
// A result is readable by the calling user only (and root): the object is 0600 and owned by
// the service, with one ACL entry for the caller when the service runs as another user. Its
// name is random, so that no other user can take it first or point a client at an object of
// their own. A client running as the service's user (or root) removes the result itself once
// it has opened it; a client of another user cannot remove the service's object from
// /dev/shm, so the service watches each result and removes it once a reader has closed it.
#pragma once

#include <chrono>
#include <map>
#include <string>

#include "ResultPublisher.h"

class CSharedMemoryPublisher : public IResultPublisher {
public:
    CSharedMemoryPublisher();
    ~CSharedMemoryPublisher() override;
    CSharedMemoryPublisher(const CSharedMemoryPublisher&) = delete;
    CSharedMemoryPublisher& operator=(const CSharedMemoryPublisher&) = delete;

    bool Publish(const CResultTable& table, const PT_CALLER_IDENTITY& reader, std::string& sKey, long long& llSize,
                 std::string& sError) override;
    // Removes every result published before `limit`; returns how many names were still there.
    int ExpireOlderThan(std::chrono::steady_clock::time_point limit);
    // Forgets the results that their readers have claimed (the normal case, within
    // milliseconds): gone already, or opened and closed again by a reader, in which case the
    // service removes the name. Without this every result would be remembered for the whole
    // expiry time. Returns how many it forgot.
    int ForgetClaimed();
    // Results published and neither expired nor found claimed.
    std::size_t Pending() const { return m_mapPublished.size(); }

private:
    struct CPending {
        std::chrono::steady_clock::time_point published;
        int iWatch = -1;  // inotify watch for the reader's close, or -1
    };
    // Removes the entry's watch and, when bRemove, its name; returns whether a name was removed.
    bool Drop(std::map<std::string, CPending>::iterator it, bool bRemove);

    int m_iNotify = -1;
    std::map<std::string, CPending> m_mapPublished;
};
