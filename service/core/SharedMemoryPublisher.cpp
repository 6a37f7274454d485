#include "SharedMemoryPublisher.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace {
// Where glibc keeps POSIX shared-memory objects.
constexpr const char* kShmDirectory = "/dev/shm";

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
    // Without inotify results are still removed, when they expire.
    m_iNotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
}

CSharedMemoryPublisher::~CSharedMemoryPublisher()
{
    // Results of a service that stops can no longer be expired by it.
    for (const auto& entry : m_mapPublished) CSharedResultWriter::Remove(entry.first);
    if (m_iNotify >= 0) close(m_iNotify);
}

bool CSharedMemoryPublisher::Publish(const CResultTable& table, const PT_CALLER_IDENTITY& reader, std::string& sKey,
                                     long long& llSize, std::string& sError)
{
    const std::string sBytes = CSharedResultWriter::Serialize(table);
    if (sBytes.empty()) {
        sError = "result cannot be laid out (over " + std::to_string(kMaxSharedResultSize) + " bytes or ragged rows)";
        return false;
    }
    std::string sName;
    if (!RandomName(sName, sError)) return false;
    if (!CSharedResultWriter::Publish(sName, sBytes, reader.uUid, sError)) return false;
    CPending pending;
    pending.published = std::chrono::steady_clock::now();
    // Watched from before the client hears the name: its open and close come after this.
    if (m_iNotify >= 0) {
        pending.iWatch = inotify_add_watch(m_iNotify, (kShmDirectory + sName).c_str(), IN_CLOSE_NOWRITE);
    }
    m_mapPublished[sName] = pending;
    sKey = sName;
    llSize = static_cast<long long>(sBytes.size());
    return true;
}

bool CSharedMemoryPublisher::Drop(std::map<std::string, CPending>::iterator it, bool bRemove)
{
    if (it->second.iWatch >= 0 && m_iNotify >= 0) inotify_rm_watch(m_iNotify, it->second.iWatch);
    // False when the reader already unlinked it, which is the normal case.
    const bool bRemoved = bRemove && CSharedResultWriter::Remove(it->first);
    m_mapPublished.erase(it);
    return bRemoved;
}

int CSharedMemoryPublisher::ExpireOlderThan(std::chrono::steady_clock::time_point limit)
{
    int iRemoved = 0;
    for (auto it = m_mapPublished.begin(); it != m_mapPublished.end();) {
        auto next = std::next(it);
        if (it->second.published < limit && Drop(it, true)) ++iRemoved;
        it = next;
    }
    return iRemoved;
}

int CSharedMemoryPublisher::ForgetClaimed()
{
    int iForgotten = 0;
    // Results a reader opened and closed again: the reader holds its own copy by then.
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
    // Names are never reused, so a name that is gone was removed by its reader. The name is
    // looked at, not opened: opening it would look like a reader to the watch.
    for (auto it = m_mapPublished.begin(); it != m_mapPublished.end();) {
        auto next = std::next(it);
        struct stat st {};
        if (stat((kShmDirectory + it->first).c_str(), &st) != 0 && errno == ENOENT) {
            Drop(it, false);
            ++iForgotten;
        }
        it = next;
    }
    return iForgotten;
}
