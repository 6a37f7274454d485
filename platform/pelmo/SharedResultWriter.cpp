// The store service's side: lays a result table out in the shared-memory format and hands it
// over as a POSIX shared-memory object.
#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "SharedResultAccess.h"
#include "SharedResultLayout.h"
#include "pelmo/SharedResult.h"

using namespace pelmo_shm;

namespace {

// Adds uAdd to ioTotal; false when the sum passes the size limit (or would wrap).
bool AddWithinLimit(uint64_t& ioTotal, uint64_t uAdd)
{
    if (uAdd > kMaxSharedResultSize || ioTotal > kMaxSharedResultSize - uAdd) return false;
    ioTotal += uAdd;
    return true;
}

std::string ErrnoReason(const char* sCall, const std::string& sKey, int iErrno)
{
    return std::string(sCall) + "(" + sKey + "): " + std::strerror(iErrno);
}

}  // namespace

std::string CSharedResultWriter::Serialize(const CResultTable& table)
{
    const uint64_t uColumns = table.vecColumns.size();
    const uint64_t uRows = table.vecRows.size();
    // Rows without columns could not be told apart by a reader; and an empty name would read
    // like a column outside the result, so the reader refuses both.
    if (uRows > 0 && uColumns == 0) return std::string();

    uint64_t uTextSize = 0;
    for (const std::string& sName : table.vecColumns) {
        if (sName.empty() || !AddWithinLimit(uTextSize, sName.size())) return std::string();
    }
    for (const std::vector<CResultCell>& vecRow : table.vecRows) {
        if (vecRow.size() != uColumns) return std::string();
        for (const CResultCell& cell : vecRow) {
            if (cell.eKind == CResultCell::kText && !AddWithinLimit(uTextSize, cell.sText.size())) {
                return std::string();
            }
        }
    }

    uint64_t uCellCount = 0;
    uint64_t uCellsSize = 0;
    if (__builtin_mul_overflow(uRows, uColumns, &uCellCount) ||
        __builtin_mul_overflow(uCellCount, static_cast<uint64_t>(kCellSize), &uCellsSize)) {
        return std::string();
    }
    uint64_t uTotal = kHeaderSize;
    if (!AddWithinLimit(uTotal, uColumns * kNameEntrySize)) return std::string();
    const uint64_t uCellsOffset = uTotal;
    if (!AddWithinLimit(uTotal, uCellsSize)) return std::string();
    const uint64_t uTextOffset = uTotal;
    if (!AddWithinLimit(uTotal, uTextSize)) return std::string();
    uTotal = AlignUp(uTotal);
    if (uTotal > kMaxSharedResultSize) return std::string();

    std::string sBytes(static_cast<size_t>(uTotal), '\0');
    unsigned char* pBase = reinterpret_cast<unsigned char*>(&sBytes[0]);
    WriteU32(pBase + kOffMagic, kMagic);
    WriteU32(pBase + kOffVersion, kVersion);
    WriteU64(pBase + kOffTotalSize, uTotal);
    WriteU32(pBase + kOffColumnCount, static_cast<uint32_t>(uColumns));
    WriteU32(pBase + kOffRowCount, static_cast<uint32_t>(uRows));
    WriteU64(pBase + kOffNamesOffset, kHeaderSize);
    WriteU64(pBase + kOffCellsOffset, uCellsOffset);
    WriteU64(pBase + kOffTextOffset, uTextOffset);
    WriteU64(pBase + kOffTextSize, uTextSize);

    unsigned char* pText = pBase + uTextOffset;
    uint64_t uTextUsed = 0;
    auto AppendText = [&](const std::string& sText) {
        if (!sText.empty()) std::memcpy(pText + uTextUsed, sText.data(), sText.size());
        const uint64_t uAt = uTextUsed;
        uTextUsed += sText.size();
        return uAt;
    };

    unsigned char* pName = pBase + kHeaderSize;
    for (const std::string& sName : table.vecColumns) {
        WriteU32(pName, static_cast<uint32_t>(AppendText(sName)));
        WriteU32(pName + 4, static_cast<uint32_t>(sName.size()));
        pName += kNameEntrySize;
    }

    unsigned char* pCell = pBase + uCellsOffset;
    for (const std::vector<CResultCell>& vecRow : table.vecRows) {
        for (const CResultCell& cell : vecRow) {
            uint64_t uValue = 0;
            uint32_t uLength = 0;
            switch (cell.eKind) {
            case CResultCell::kInteger: uValue = static_cast<uint64_t>(cell.llValue); break;
            case CResultCell::kDouble: uValue = BitsFromDouble(cell.dValue); break;
            case CResultCell::kText:
                uValue = AppendText(cell.sText);
                uLength = static_cast<uint32_t>(cell.sText.size());
                break;
            case CResultCell::kNull: break;
            default: return std::string();  // a kind this layout cannot carry
            }
            pCell[kCellOffKind] = static_cast<unsigned char>(cell.eKind);
            WriteU32(pCell + kCellOffLength, uLength);
            WriteU64(pCell + kCellOffValue, uValue);
            pCell += kCellSize;
        }
    }
    return sBytes;
}

bool CSharedResultWriter::Publish(const std::string& sKey, const std::string& sBytes, std::string& sError)
{
    return Publish(sKey, sBytes, geteuid(), sError);
}

bool CSharedResultWriter::Publish(const std::string& sKey, const std::string& sBytes, uid_t reader, std::string& sError)
{
    if (sBytes.empty()) {
        sError = "nothing to publish for " + sKey + ": the result bytes are empty";
        return false;
    }
    if (sBytes.size() > kMaxSharedResultSize) {
        sError = "result for " + sKey + " is " + std::to_string(sBytes.size()) + " bytes, more than the limit of " +
                 std::to_string(kMaxSharedResultSize);
        return false;
    }
    const int iFd = shm_open(sKey.c_str(), O_CREAT | O_EXCL | O_RDWR, 0600);
    if (iFd < 0) {
        sError = ErrnoReason("shm_open", sKey, errno);
        return false;
    }
    // From here on the object is ours: any failure removes it again, so that a half-written
    // result is never left for a client to find.
    auto Fail = [&](const char* sCall, int iErrno) {
        sError = ErrnoReason(sCall, sKey, iErrno);
        close(iFd);
        shm_unlink(sKey.c_str());
        return false;
    };
    // Granted before a byte is written: the reader's access is settled while the object is
    // still empty and its name known to this process alone.
    std::string sAccessError;
    if (!SharedResultAccess::GrantRead(iFd, reader, sAccessError)) {
        close(iFd);
        shm_unlink(sKey.c_str());
        sError = sAccessError;
        return false;
    }
    if (ftruncate(iFd, static_cast<off_t>(sBytes.size())) != 0) return Fail("ftruncate", errno);
    size_t iWritten = 0;
    while (iWritten < sBytes.size()) {
        const ssize_t iStep = pwrite(iFd, sBytes.data() + iWritten, sBytes.size() - iWritten, static_cast<off_t>(iWritten));
        if (iStep < 0) {
            if (errno == EINTR) continue;
            return Fail("write", errno);
        }
        if (iStep == 0) return Fail("write", EIO);
        iWritten += static_cast<size_t>(iStep);
    }
    if (close(iFd) != 0) {
        const int iErrno = errno;
        shm_unlink(sKey.c_str());
        sError = ErrnoReason("close", sKey, iErrno);
        return false;
    }
    return true;
}

bool CSharedResultWriter::Remove(const std::string& sKey)
{
    return shm_unlink(sKey.c_str()) == 0;
}
