// Who may open a select result besides its writer: one more Unix user, through a POSIX ACL
// entry on the otherwise 0600 object. The writer keeps owning the object, so it needs no
// privilege to hand a result to another user and can still remove the result when nobody
// claims it.
#pragma once

#include <sys/types.h>

#include <string>

namespace SharedResultAccess {
// Lets `reader` read the object open on `iFd` (mode 0600); nobody else but the owner (and root)
// gets in. Does nothing when `reader` is the writer's own user or root, who can open it
// anyway. False with a one-line reason when the file system refuses the entry.
bool GrantRead(int iFd, uid_t reader, std::string& sError);
}  // namespace SharedResultAccess
