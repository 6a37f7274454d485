#include "SharedMemoryPublisher.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

CSharedMemoryPublisher::CSharedMemoryPublisher() : m_sPrefix("/pelmo-" + std::to_string(getpid()) + "-") {}

CSharedMemoryPublisher::~CSharedMemoryPublisher()
{
    // Results of a service that stops can no longer be expired by it.
    for (const auto& entry : m_mapPublished) CSharedResultWriter::Remove(entry.first);
}

bool CSharedMemoryPublisher::Publish(const CResultTable& table, std::string& sKey, long long& llSize,
                                     std::string& sError)
{
    const std::string sBytes = CSharedResultWriter::Serialize(table);
    if (sBytes.empty()) {
        sError = "result cannot be laid out (over " + std::to_string(kMaxSharedResultSize) + " bytes or ragged rows)";
        return false;
    }
    const std::string sName = m_sPrefix + std::to_string(++m_ullCounter);
    if (!CSharedResultWriter::Publish(sName, sBytes, sError)) return false;
    m_mapPublished[sName] = std::chrono::steady_clock::now();
    sKey = sName;
    llSize = static_cast<long long>(sBytes.size());
    return true;
}

int CSharedMemoryPublisher::ExpireOlderThan(std::chrono::steady_clock::time_point limit)
{
    int iRemoved = 0;
    for (auto it = m_mapPublished.begin(); it != m_mapPublished.end();) {
        if (it->second < limit) {
            // False when the reader already unlinked it, which is the normal case.
            if (CSharedResultWriter::Remove(it->first)) ++iRemoved;
            it = m_mapPublished.erase(it);
        } else {
            ++it;
        }
    }
    return iRemoved;
}

int CSharedMemoryPublisher::ForgetClaimed()
{
    int iForgotten = 0;
    for (auto it = m_mapPublished.begin(); it != m_mapPublished.end();) {
        // Names are never reused, so a name that is gone was removed by its reader. Any other
        // failure to open keeps the entry, for expiry to deal with.
        const int iFd = shm_open(it->first.c_str(), O_RDONLY, 0);
        if (iFd >= 0) close(iFd);
        if (iFd < 0 && errno == ENOENT) {
            it = m_mapPublished.erase(it);
            ++iForgotten;
        } else {
            ++it;
        }
    }
    return iForgotten;
}
