#include "SharedMemoryPublisher.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

namespace {
// Where glibc keeps POSIX shared-memory objects.
constexpr const char* kShmDirectory = "/dev/shm";

std::string Mebibytes(long long llBytes)
{
    return std::to_string(llBytes / (1024 * 1024)) + " MiB";
}

// "/pelmo-" and 128 random bits in hex: not to be guessed, and never reused.
bool RandomName(std::string& sName, std::string& sError)
{
    uint8_t bytes[16];
    std::size_t iHave = 0;
    while (iHave < sizeof bytes) {
        const ssize_t iStep = getrandom(bytes + iHave, sizeof bytes - iHave, 0);
        if (iStep < 0) {
            if (errno == EINTR) continue;
            sError = "no random bytes for a result name";
            return false;
        }
        iHave += static_cast<std::size_t>(iStep);
    }
    static const char kHex[] = "0123456789abcdef";
    sName = "/pelmo-";
    for (uint8_t uByte : bytes) {
        sName += kHex[uByte >> 4];
        sName += kHex[uByte & 0x0f];
    }
    return true;
}
}  // namespace

CSharedMemoryPublisher::CSharedMemoryPublisher()
{
    m_llShmBytes = FileSystemSize(kShmDirectory);
    SetTotal(m_llShmBytes > 0 ? std::min(kMaxTotalBytes, m_llShmBytes / 4) : kUnknownShmTotalBytes);
    // Without inotify results are still removed, when they expire.
    m_iNotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
}

CSharedMemoryPublisher::~CSharedMemoryPublisher()
{
    // Results of a service that stops can no longer be expired by it.
    for (const auto& entry : m_mapPublished) CSharedResultWriter::Remove(entry.first);
    if (m_iNotify >= 0) close(m_iNotify);
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

bool CSharedMemoryPublisher::Drop(std::map<std::string, CEntry>::iterator it, bool bRemove)
{
    if (it->second.iWatch >= 0 && m_iNotify >= 0) inotify_rm_watch(m_iNotify, it->second.iWatch);
    // False when the reader already unlinked it, which is the normal case.
    const bool bRemoved = bRemove && CSharedResultWriter::Remove(it->first);
    CUsage& usage = m_mapUsage[it->second.sModule];
    usage.llCount -= 1;
    usage.llBytes -= it->second.llBytes;
    if (usage.llCount <= 0) m_mapUsage.erase(it->second.sModule);
    m_total.llCount -= 1;
    m_total.llBytes -= it->second.llBytes;
    m_mapPublished.erase(it);
    return bRemoved;
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
        Drop(oldest, true);
        ++m_llEvicted;
    }
    return true;
}

bool CSharedMemoryPublisher::Publish(const std::string& sModule, const CResultTable& table,
                                     const PT_CALLER_IDENTITY& reader, std::string& sKey, long long& llSize,
                                     std::string& sError)
{
    const std::string sBytes = CSharedResultWriter::Serialize(table);
    if (sBytes.empty()) {
        sError = "result cannot be laid out (over " + std::to_string(kMaxSharedResultSize) + " bytes or ragged rows)";
        return false;
    }
    const long long llBytes = static_cast<long long>(sBytes.size());
    std::string sName;
    if (!RandomName(sName, sError)) return false;
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
    const bool bWritten = CSharedResultWriter::Publish(sName, sBytes, reader.uUid, sError);
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_mapPublished.find(sName);
    if (it != m_mapPublished.end()) {
        if (bWritten) {
            it->second.bWritten = true;
            it->second.published = std::chrono::steady_clock::now();
            // Watched from before the client hears the name: its open and close come after this.
            if (m_iNotify >= 0) {
                it->second.iWatch = inotify_add_watch(m_iNotify, (kShmDirectory + sName).c_str(), IN_CLOSE_NOWRITE);
            }
        } else {
            Drop(it, false);
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
            if (Drop(it++, true)) ++iRemoved;
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
    // Results a reader opened and closed again: the reader holds its own copy by then. The
    // events of every module are read, whichever module asked: once read they are gone.
    if (m_iNotify >= 0) {
        alignas(inotify_event) char buffer[4096];
        for (;;) {
            const ssize_t iRead = read(m_iNotify, buffer, sizeof buffer);
            if (iRead <= 0) break;
            for (ssize_t iAt = 0; iAt < iRead;) {
                const auto* pEvent = reinterpret_cast<const inotify_event*>(buffer + iAt);
                iAt += static_cast<ssize_t>(sizeof(inotify_event) + pEvent->len);
                if ((pEvent->mask & IN_CLOSE_NOWRITE) == 0) continue;
                for (auto it = m_mapPublished.begin(); it != m_mapPublished.end(); ++it) {
                    if (it->second.iWatch == pEvent->wd) {
                        Drop(it, true);
                        ++iForgotten;
                        break;
                    }
                }
            }
        }
    }
    for (auto it = m_mapPublished.begin(); it != m_mapPublished.end();) {
        if (!it->second.bWritten || (!sModule.empty() && it->second.sModule != sModule)) {
            ++it;
            continue;
        }
        // Names are never reused, so a name that is gone was removed by its reader. The name is
        // looked at, not opened: opening it would look like a reader to the watch.
        struct stat st {};
        if (stat((kShmDirectory + it->first).c_str(), &st) != 0 && errno == ENOENT) {
            Drop(it++, false);
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
