#include "SharedMemoryPublisher.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {
std::string Mebibytes(long long llBytes)
{
    return std::to_string(llBytes / (1024 * 1024)) + " MiB";
}
}  // namespace

CSharedMemoryPublisher::CSharedMemoryPublisher() : m_sPrefix("/pelmo-" + std::to_string(getpid()) + "-")
{
    m_llShmBytes = FileSystemSize("/dev/shm");
    SetTotal(m_llShmBytes > 0 ? std::min(kMaxTotalBytes, m_llShmBytes / 4) : kUnknownShmTotalBytes);
}

CSharedMemoryPublisher::~CSharedMemoryPublisher()
{
    // Results of a service that stops can no longer be expired by it.
    for (const auto& entry : m_mapPublished) CSharedResultWriter::Remove(entry.first);
}

long long CSharedMemoryPublisher::FileSystemSize(const char* sPath)
{
    struct statvfs info {};
    if (statvfs(sPath, &info) != 0) return 0;
    return static_cast<long long>(info.f_blocks) * static_cast<long long>(info.f_frsize);
}

void CSharedMemoryPublisher::SetTotal(long long llBytes)
{
    m_llTotalBytesLimit = llBytes;
    // Two of the largest results, or half the total when that is smaller: a module alone never
    // takes all of it.
    m_llModuleBytesLimit = std::min(2 * static_cast<long long>(kMaxSharedResultSize), llBytes / 2);
}

void CSharedMemoryPublisher::LimitTotalBytes(long long llBytes)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (llBytes > 0 && llBytes < m_llTotalBytesLimit) SetTotal(llBytes);
}

void CSharedMemoryPublisher::Drop(std::map<std::string, CEntry>::iterator it)
{
    CUsage& usage = m_mapUsage[it->second.sModule];
    usage.llCount -= 1;
    usage.llBytes -= it->second.llBytes;
    if (usage.llCount <= 0) m_mapUsage.erase(it->second.sModule);
    m_total.llCount -= 1;
    m_total.llBytes -= it->second.llBytes;
    m_mapPublished.erase(it);
}

bool CSharedMemoryPublisher::MakeRoom(const std::string& sModule, long long llBytes, std::string& sError)
{
    auto fits = [&] {
        return m_total.llCount + 1 <= kTotalCountLimit && m_total.llBytes + llBytes <= m_llTotalBytesLimit;
    };
    if (fits()) return true;
    ForgetClaimedLocked("");
    while (!fits()) {
        const long long llOwn = m_mapUsage.count(sModule) ? m_mapUsage[sModule].llBytes : 0;
        std::string sLargest;
        long long llLargest = llOwn;
        for (const auto& usage : m_mapUsage) {
            if (usage.first != sModule && usage.second.llBytes > llLargest) {
                sLargest = usage.first;
                llLargest = usage.second.llBytes;
            }
        }
        if (sLargest.empty()) {
            sError = "the store's space for select results is full (" + std::to_string(m_total.llCount) + " results, " +
                     Mebibytes(m_total.llBytes) + " of " + Mebibytes(m_llTotalBytesLimit) +
                     " waiting to be opened); try again when they are opened or expire";
            return false;
        }
        // The oldest written result of the module holding the most.
        auto oldest = m_mapPublished.end();
        for (auto it = m_mapPublished.begin(); it != m_mapPublished.end(); ++it) {
            if (it->second.sModule != sLargest || !it->second.bWritten) continue;
            if (oldest == m_mapPublished.end() || it->second.published < oldest->second.published) oldest = it;
        }
        if (oldest == m_mapPublished.end()) {
            sError = "the store's space for select results is full; try again in a moment";
            return false;
        }
        CSharedResultWriter::Remove(oldest->first);
        Drop(oldest);
        ++m_llEvicted;
    }
    return true;
}

bool CSharedMemoryPublisher::Publish(const std::string& sModule, const CResultTable& table, std::string& sKey,
                                     long long& llSize, std::string& sError)
{
    const std::string sBytes = CSharedResultWriter::Serialize(table);
    if (sBytes.empty()) {
        sError = "result cannot be laid out (over " + std::to_string(kMaxSharedResultSize) + " bytes or ragged rows)";
        return false;
    }
    const long long llBytes = static_cast<long long>(sBytes.size());
    std::string sName;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (llBytes > m_llModuleBytesLimit) {
            ++m_llRefused;
            sError = "result of " + std::to_string(llBytes) + " bytes is more than a module may leave unopened (" +
                     Mebibytes(m_llModuleBytesLimit) + ")";
            return false;
        }
        auto overOwnCap = [&] {
            const auto it = m_mapUsage.find(sModule);
            if (it == m_mapUsage.end()) return false;
            return it->second.llCount + 1 > kModuleCountLimit || it->second.llBytes + llBytes > m_llModuleBytesLimit;
        };
        if (overOwnCap()) ForgetClaimedLocked(sModule);
        if (overOwnCap()) {
            const CUsage& usage = m_mapUsage[sModule];
            ++m_llRefused;
            sError = "the module has " + std::to_string(usage.llCount) + " select results (" +
                     std::to_string(usage.llBytes) + " bytes) that nobody opened; limit " +
                     std::to_string(kModuleCountLimit) + " results and " + Mebibytes(m_llModuleBytesLimit) +
                     ": open them or let them expire first";
            return false;
        }
        if (!MakeRoom(sModule, llBytes, sError)) {
            ++m_llRefused;
            return false;
        }
        sName = m_sPrefix + std::to_string(++m_ullCounter);
        // Counted from now, so that results written at the same time cannot pass the caps.
        CEntry entry;
        entry.sModule = sModule;
        entry.llBytes = llBytes;
        entry.published = std::chrono::steady_clock::now();
        m_mapPublished.emplace(sName, entry);
        CUsage& usage = m_mapUsage[sModule];
        usage.llCount += 1;
        usage.llBytes += llBytes;
        m_total.llCount += 1;
        m_total.llBytes += llBytes;
    }
    const bool bWritten = CSharedResultWriter::Publish(sName, sBytes, sError);
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_mapPublished.find(sName);
    if (it != m_mapPublished.end()) {
        if (bWritten) {
            it->second.bWritten = true;
            it->second.published = std::chrono::steady_clock::now();
        } else {
            Drop(it);
        }
    }
    if (!bWritten) return false;
    sKey = sName;
    llSize = llBytes;
    return true;
}

CResultSpace CSharedMemoryPublisher::Space(const std::string& sModule) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    CResultSpace space;
    const auto it = m_mapUsage.find(sModule);
    if (it != m_mapUsage.end()) {
        space.llModuleCount = it->second.llCount;
        space.llModuleBytes = it->second.llBytes;
    }
    space.llTotalCount = m_total.llCount;
    space.llTotalBytes = m_total.llBytes;
    space.llModuleCountLimit = kModuleCountLimit;
    space.llModuleBytesLimit = m_llModuleBytesLimit;
    space.llTotalCountLimit = kTotalCountLimit;
    space.llTotalBytesLimit = m_llTotalBytesLimit;
    space.llShmBytes = m_llShmBytes;
    space.llRefused = m_llRefused;
    space.llEvicted = m_llEvicted;
    return space;
}

int CSharedMemoryPublisher::ExpireOlderThan(std::chrono::steady_clock::time_point limit)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    int iRemoved = 0;
    for (auto it = m_mapPublished.begin(); it != m_mapPublished.end();) {
        if (it->second.bWritten && it->second.published < limit) {
            // False when the reader already unlinked it, which is the normal case.
            if (CSharedResultWriter::Remove(it->first)) ++iRemoved;
            Drop(it++);
        } else {
            ++it;
        }
    }
    return iRemoved;
}

int CSharedMemoryPublisher::ForgetClaimed()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return ForgetClaimedLocked("");
}

int CSharedMemoryPublisher::ForgetClaimedLocked(const std::string& sModule)
{
    int iForgotten = 0;
    for (auto it = m_mapPublished.begin(); it != m_mapPublished.end();) {
        if (!it->second.bWritten || (!sModule.empty() && it->second.sModule != sModule)) {
            ++it;
            continue;
        }
        // Names are never reused, so a name that is gone was removed by its reader. Any other
        // failure to open keeps the entry, for expiry to deal with.
        const int iFd = shm_open(it->first.c_str(), O_RDONLY, 0);
        if (iFd >= 0) close(iFd);
        if (iFd < 0 && errno == ENOENT) {
            Drop(it++);
            ++iForgotten;
        } else {
            ++it;
        }
    }
    return iForgotten;
}

std::size_t CSharedMemoryPublisher::Pending() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_mapPublished.size();
}
