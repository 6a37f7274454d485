// Unix accounts for tests that run the store as several users, visible to this test process
// and its children only: the process moves into a mount namespace of its own and binds copies
// of /etc/passwd and /etc/group with the test accounts over the real ones, so the machine's
// account files are never touched. The bus daemon needs accounts (it looks up a connecting
// user's groups), and the shipped bus policy names the service's user "pelmo".
#pragma once

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "UserIdMapping.h"

namespace TestAccounts {
constexpr uid_t kServiceUid = 61501;   // "pelmo", the store's own user
constexpr uid_t kAppUid = 61502;       // "pelmo-test-app", an application's user
constexpr uid_t kStrangerUid = 61503;  // "pelmo-test-stranger", another local user
inline const char* const kServiceUser = "pelmo";

// `sFile` without the lines of the test accounts' names, plus the test accounts.
inline std::string WithAccounts(const char* sFile, bool bPasswd)
{
    std::ifstream in(sFile);
    std::string sLine;
    std::string sOut;
    const char* const kNames[] = {"pelmo", "pelmo-test-app", "pelmo-test-stranger"};
    const uid_t kIds[] = {kServiceUid, kAppUid, kStrangerUid};
    while (std::getline(in, sLine)) {
        bool bOurs = false;
        for (const char* sName : kNames) bOurs = bOurs || sLine.rfind(std::string(sName) + ":", 0) == 0;
        if (!bOurs) sOut += sLine + "\n";
    }
    for (int i = 0; i < 3; ++i) {
        const std::string sId = std::to_string(kIds[i]);
        sOut += bPasswd ? std::string(kNames[i]) + ":x:" + sId + ":" + sId + "::/nonexistent:/usr/sbin/nologin\n"
                        : std::string(kNames[i]) + ":x:" + sId + ":\n";
    }
    return sOut;
}

// Once per process; false with a reason when the process cannot have a namespace of its own
// (not root, or a sandbox that forbids it).
inline bool Use(std::string& sError)
{
    static bool bDone = false;
    static std::string sFailure;
    if (bDone) {
        sError = sFailure;
        return sFailure.empty();
    }
    bDone = true;
    if (!UserIdMapping::CanBecome({0, kServiceUid, kAppUid, kStrangerUid}, sFailure)) {
        sError = sFailure;
        return false;
    }
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        sFailure = std::string("no mount namespace for the test accounts: ") + std::strerror(errno);
        sError = sFailure;
        return false;
    }
    char sTemplate[] = "/tmp/pelmo-accounts.XXXXXX";
    if (mkdtemp(sTemplate) == nullptr) {
        sFailure = std::string("no folder for the test accounts: ") + std::strerror(errno);
        sError = sFailure;
        return false;
    }
    for (const char* sFile : {"/etc/passwd", "/etc/group"}) {
        const std::string sCopy =
            std::string(sTemplate) + (std::strcmp(sFile, "/etc/passwd") == 0 ? "/passwd" : "/group");
        std::ofstream(sCopy) << WithAccounts(sFile, std::strcmp(sFile, "/etc/passwd") == 0);
        if (mount(sCopy.c_str(), sFile, nullptr, MS_BIND, nullptr) != 0) {
            sFailure = std::string("cannot put the test accounts in place: ") + std::strerror(errno);
            sError = sFailure;
            return false;
        }
        // The bind mount keeps the file; its name can go.
        unlink(sCopy.c_str());
    }
    rmdir(sTemplate);
    return true;
}
}  // namespace TestAccounts
