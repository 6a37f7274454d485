#include "ServiceOptions.h"

#include <pwd.h>

#include <cerrno>
#include <cstdlib>

const char* ServiceUsage()
{
    return "usage: pelmo-service [--db PATH] [--log FILE] [--result-ttl SECONDS] [--platform-service USER]...\n"
           "  --db PATH             SQLite database of the store (default :memory:)\n"
           "  --log FILE            append one line per request to FILE (default: standard error)\n"
           "  --result-ttl SECONDS  remove select results nobody opened after this long (default 30)\n"
           "  --platform-service USER\n"
           "                        a user name or uid that may act for every module, as root may;\n"
           "                        repeat for several (every other user acts only for its own modules)\n"
           "Serves org.orvik.Feltrix.dbus and org.orvik.pelmo_provider.dbus on the system bus\n"
           "(DBUS_SYSTEM_BUS_ADDRESS); stops cleanly on SIGTERM or SIGINT.\n";
}

namespace {
// A user name from the password database, or a uid given as digits.
bool ResolveUser(const std::string& sUser, uid_t& uid, std::string& sError)
{
    if (!sUser.empty() && sUser.find_first_not_of("0123456789") == std::string::npos && sUser.size() <= 10) {
        const unsigned long ulValue = std::strtoul(sUser.c_str(), nullptr, 10);
        if (ulValue < 0xffffffffUL) {
            uid = static_cast<uid_t>(ulValue);
            return true;
        }
    }
    errno = 0;
    const passwd* pEntry = sUser.empty() ? nullptr : getpwnam(sUser.c_str());
    if (pEntry == nullptr) {
        sError = "--platform-service: no user '" + sUser + "'";
        return false;
    }
    uid = pEntry->pw_uid;
    return true;
}
}  // namespace

bool ParseServiceOptions(int argc, char** argv, CServiceOptions& options, std::string& sError)
{
    for (int i = 1; i < argc; ++i) {
        const std::string sArg = argv[i];
        if (sArg == "-h" || sArg == "--help") {
            sError.clear();
            return false;
        }
        if (i + 1 >= argc) {
            sError = "missing value after " + sArg;
            return false;
        }
        const std::string sValue = argv[++i];
        if (sArg == "--db") {
            options.sDatabase = sValue;
        } else if (sArg == "--log") {
            options.sLogFile = sValue;
        } else if (sArg == "--result-ttl") {
            char* pEnd = nullptr;
            const long lValue = std::strtol(sValue.c_str(), &pEnd, 10);
            if (pEnd == sValue.c_str() || *pEnd != '\0' || lValue < 1 || lValue > 3600) {
                sError = "--result-ttl wants whole seconds from 1 to 3600, not '" + sValue + "'";
                return false;
            }
            options.iResultTtlSeconds = static_cast<int>(lValue);
        } else if (sArg == "--platform-service") {
            uid_t uid = 0;
            if (!ResolveUser(sValue, uid, sError)) return false;
            options.setPlatformService.insert(uid);
        } else {
            sError = "unknown argument " + sArg;
            return false;
        }
    }
    if (options.sDatabase.empty()) {
        sError = "--db needs a path or :memory:";
        return false;
    }
    return true;
}
