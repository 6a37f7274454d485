// Publishes select results as POSIX shared-memory objects for the client's cursor, and removes
// the ones nobody opened in time.
//
// A result is readable by the calling user only (and root): the object is 0600 and owned by
// the service, with one ACL entry for the caller when the service runs as another user. Its
// name is random, so that no other user can take it first or point a client at an object of
// their own. A client running as the service's user (or root) removes the result itself once
// it has opened it; a client of another user cannot remove the service's object from
// /dev/shm, so the service watches each result and removes it once a reader has closed it.
//
// What waits unopened is capped, per module and in all, in count and in bytes, so that no
// module can fill /dev/shm (and so make every other module's loads fail). Over its own cap a
// module's select is refused. When the total is reached, room is made by removing the oldest
// unclaimed results of the module that holds the most bytes, if it holds more than the caller;
// otherwise the select is refused. Safe to call from several threads.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

#include "ResultPublisher.h"

class CSharedMemoryPublisher : public IResultPublisher {
public:
    // Results one module may leave unopened at once. The library opens each result before it
    // asks for the next, so it has at most one waiting.
    static constexpr long long kModuleCountLimit = 8;
    static constexpr long long kTotalCountLimit = 256;
    // At most this much in all, and never more than a quarter of /dev/shm.
    static constexpr long long kMaxTotalBytes = 1024LL * 1024 * 1024;
    // The total when the size of /dev/shm cannot be read.
    static constexpr long long kUnknownShmTotalBytes = 256LL * 1024 * 1024;

    // Caps from the size of /dev/shm, read now.
    CSharedMemoryPublisher();
    ~CSharedMemoryPublisher() override;
    CSharedMemoryPublisher(const CSharedMemoryPublisher&) = delete;
    CSharedMemoryPublisher& operator=(const CSharedMemoryPublisher&) = delete;

    // The size of the file system at sPath (statvfs); 0 when it cannot be read.
    static long long FileSystemSize(const char* sPath);
    // A smaller total than the one /dev/shm allows (never a larger one); the module's share
    // follows from it.
    void LimitTotalBytes(long long llBytes);

    bool Publish(const std::string& sModule, const CResultTable& table, const PT_CALLER_IDENTITY& reader,
                 std::string& sKey, long long& llSize, std::string& sError) override;
    CResultSpace Space(const std::string& sModule) const override;
    // Removes every result published before `limit`; returns how many names were still there.
    int ExpireOlderThan(std::chrono::steady_clock::time_point limit);
    // Forgets the results that their readers have claimed (the normal case, within
    // milliseconds): gone already, or opened and closed again by a reader, in which case the
    // service removes the name. Without this every result would be remembered for the whole
    // expiry time. Returns how many it forgot.
    int ForgetClaimed();
    // Results published and neither expired nor found claimed.
    std::size_t Pending() const;

private:
    struct CEntry {
        std::string sModule;
        long long llBytes = 0;
        std::chrono::steady_clock::time_point published;
        bool bWritten = false;  // false while its bytes are being written
        int iWatch = -1;        // inotify watch for the reader's close, or -1
    };
    struct CUsage {
        long long llCount = 0;
        long long llBytes = 0;
    };
    void SetTotal(long long llBytes);
    // Forgets the entry and its watch and, when bRemove, removes its name; returns whether a
    // name was removed.
    bool Drop(std::map<std::string, CEntry>::iterator it, bool bRemove);
    // ForgetClaimed for the results of one module ("" for all); the lock is held.
    int ForgetClaimedLocked(const std::string& sModule);
    // Removes results until llBytes more fit in the total, or says why it cannot.
    bool MakeRoom(const std::string& sModule, long long llBytes, std::string& sError);

    mutable std::mutex m_mutex;
    int m_iNotify = -1;
    std::map<std::string, CEntry> m_mapPublished;
    std::map<std::string, CUsage> m_mapUsage;
    CUsage m_total;
    long long m_llShmBytes = 0;
    long long m_llTotalBytesLimit = 0;
    long long m_llModuleBytesLimit = 0;
    long long m_llRefused = 0;
    long long m_llEvicted = 0;
};
