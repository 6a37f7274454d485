// Opens a result that the store service left in POSIX shared memory, in the client's process.
#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "SharedResultReader.h"
#include "StoreLog.h"
#include "pelmo/ISharedQueryObject.h"
#include "pelmo/SharedResult.h"

namespace {

// Closes the descriptor on every path out of GetCursor.
class CFdCloser {
public:
    explicit CFdCloser(int iFd) : m_iFd(iFd) {}
    ~CFdCloser() { close(m_iFd); }
    CFdCloser(const CFdCloser&) = delete;
    CFdCloser& operator=(const CFdCloser&) = delete;

private:
    int m_iFd;
};

// Reads the whole object into private memory. The object is read with pread() rather than
// through a mapping: if the writing process shrank it meanwhile, a mapping would kill this
// process with SIGBUS, while pread() only comes back short.
bool ReadAll(int iFd, std::vector<unsigned char>& vecBytes, std::string& sError)
{
    size_t iRead = 0;
    while (iRead < vecBytes.size()) {
        const ssize_t iStep = pread(iFd, vecBytes.data() + iRead, vecBytes.size() - iRead, static_cast<off_t>(iRead));
        if (iStep < 0) {
            if (errno == EINTR) continue;
            sError = std::string("read: ") + std::strerror(errno);
            return false;
        }
        if (iStep == 0) {
            sError = "object shrank to " + std::to_string(iRead) + " bytes while being read";
            return false;
        }
        iRead += static_cast<size_t>(iStep);
    }
    return true;
}

const char* FileKind(mode_t mode)
{
    if (S_ISDIR(mode)) return "directory";
    if (S_ISFIFO(mode)) return "FIFO";
    if (S_ISSOCK(mode)) return "socket";
    if (S_ISLNK(mode)) return "symbolic link";
    if (S_ISCHR(mode)) return "character device";
    if (S_ISBLK(mode)) return "block device";
    return "file of unknown kind";
}

}  // namespace

std::shared_ptr<ISQLiteCursor> ISharedQueryObject::GetCursor(const std::string& key, const int& memory_size)
{
    const int iSize = memory_size;
    if (iSize <= 0 || static_cast<unsigned long long>(iSize) > kMaxSharedResultSize) {
        PELMO_STORE_LOGE("refusing shared result %s: announced size %d is outside 1..%zu bytes", key.c_str(), iSize,
                         kMaxSharedResultSize);
        return nullptr;
    }
    // Only a regular object can be a result. The name is another process's choice, so the open
    // must not block (a FIFO would wait for a writer forever) nor follow a link out of the
    // shared-memory folder; the type is checked on the open descriptor before anything is read.
    const int iFd = shm_open(key.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW, 0);
    if (iFd < 0) {
        PELMO_STORE_LOGE("cannot open shared result %s: shm_open: %s", key.c_str(), std::strerror(errno));
        return nullptr;
    }
    CFdCloser closer(iFd);
    struct stat st {};
    if (fstat(iFd, &st) != 0) {
        PELMO_STORE_LOGE("cannot open shared result %s: fstat: %s", key.c_str(), std::strerror(errno));
        return nullptr;
    }
    if (!S_ISREG(st.st_mode)) {
        PELMO_STORE_LOGE("refusing shared result %s: it is a %s, not a regular shared-memory object", key.c_str(),
                         FileKind(st.st_mode));
        return nullptr;
    }
    // A size mismatch leaves the object in place: the caller may have announced the wrong
    // size, and the result is not lost by asking for it wrongly.
    if (st.st_size != static_cast<off_t>(iSize)) {
        PELMO_STORE_LOGE("refusing shared result %s: object has %lld bytes, %d were announced", key.c_str(),
                         static_cast<long long>(st.st_size), iSize);
        return nullptr;
    }
    // A result is opened once: its name goes as soon as this process holds it, and the bytes
    // stay readable through the descriptor.
    shm_unlink(key.c_str());

    std::vector<unsigned char> vecBytes(static_cast<size_t>(iSize));
    std::string sError;
    if (!ReadAll(iFd, vecBytes, sError)) {
        PELMO_STORE_LOGE("cannot read shared result %s: %s", key.c_str(), sError.c_str());
        return nullptr;
    }
    std::shared_ptr<ISQLiteCursor> pCursor = SharedResultCursorFromCopy(std::move(vecBytes), sError);
    if (pCursor == nullptr) {
        PELMO_STORE_LOGE("refusing shared result %s: %s", key.c_str(), sError.c_str());
        return nullptr;
    }
    return pCursor;
}
