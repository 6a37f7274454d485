// The ACL is written as the kernel's own extended attribute (system.posix_acl_access), whose
// layout is fixed by the kernel's ABI: a version word, then (tag, permissions, id) entries in
// tag order. tmpfs, where POSIX shared memory lives, keeps it like any file system.
#include "SharedResultAccess.h"

#include <linux/posix_acl_xattr.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {
// Entry tags and permission bits of the kernel's POSIX ACLs.
constexpr uint16_t kTagUserObj = 0x01;
constexpr uint16_t kTagUser = 0x02;
constexpr uint16_t kTagGroupObj = 0x04;
constexpr uint16_t kTagMask = 0x10;
constexpr uint16_t kTagOther = 0x20;
constexpr uint16_t kRead = 4;
constexpr uint16_t kWrite = 2;
constexpr uint32_t kNoId = static_cast<uint32_t>(ACL_UNDEFINED_ID);

void PutEntry(unsigned char* pAt, uint16_t uTag, uint16_t uPerm, uint32_t uId)
{
    // The attribute is little-endian on every architecture.
    const unsigned char bytes[8] = {static_cast<unsigned char>(uTag & 0xff),  static_cast<unsigned char>(uTag >> 8),
                                    static_cast<unsigned char>(uPerm & 0xff), static_cast<unsigned char>(uPerm >> 8),
                                    static_cast<unsigned char>(uId & 0xff),   static_cast<unsigned char>(uId >> 8),
                                    static_cast<unsigned char>(uId >> 16),    static_cast<unsigned char>(uId >> 24)};
    std::memcpy(pAt, bytes, sizeof bytes);
}
}  // namespace

namespace SharedResultAccess {
bool GrantRead(int iFd, uid_t reader, std::string& sError)
{
    if (reader == 0 || reader == geteuid()) return true;
    static_assert(sizeof(posix_acl_xattr_header) == 4 && sizeof(posix_acl_xattr_entry) == 8,
                  "the kernel's ACL attribute layout");
    unsigned char attribute[4 + 5 * 8];
    const uint32_t uVersion = POSIX_ACL_XATTR_VERSION;
    const unsigned char version[4] = {static_cast<unsigned char>(uVersion & 0xff),
                                      static_cast<unsigned char>(uVersion >> 8), 0, 0};
    std::memcpy(attribute, version, sizeof version);
    // Owner: read and write (mode 0600); the reader: read; owning group and others: nothing.
    // The mask caps every named entry at read.
    PutEntry(attribute + 4, kTagUserObj, kRead | kWrite, kNoId);
    PutEntry(attribute + 12, kTagUser, kRead, static_cast<uint32_t>(reader));
    PutEntry(attribute + 20, kTagGroupObj, 0, kNoId);
    PutEntry(attribute + 28, kTagMask, kRead, kNoId);
    PutEntry(attribute + 36, kTagOther, 0, kNoId);
    if (fsetxattr(iFd, "system.posix_acl_access", attribute, sizeof attribute, 0) != 0) {
        sError = std::string("cannot let uid ") + std::to_string(reader) +
                 " read the result (POSIX ACL on shared memory): " + std::strerror(errno);
        return false;
    }
    return true;
}
}  // namespace SharedResultAccess
