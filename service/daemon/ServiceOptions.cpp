#include "ServiceOptions.h"

#include <pwd.h>

#include <cerrno>
#include <cstdlib>

#include "PelmoBusNames.h"

const char* ServiceUsage()
{
    return "usage: pelmo-service [--db PATH] [--log FILE] [--result-ttl SECONDS] [--workers N]\n"
           "                    [--bus-config FILE] [--result-space BYTES] [--platform-service USER]...\n"
           "                    [--module-quota SECTIONS,TILES,BYTES] [--budget-ms MS]\n"
           "  --db PATH             SQLite database of the store (default :memory:)\n"
           "  --log FILE            append one line per request to FILE (default: standard error)\n"
           "  --result-ttl SECONDS  remove select results nobody opened after this long (default 30)\n"
           "  --workers N           threads serving requests, 1 to 16 (default 4; 1 for :memory:)\n"
           "  --bus-config FILE     the bus's configuration, for its largest message (default: the\n"
           "                        system bus's configuration files)\n"
           "  --result-space BYTES  at most this much of unopened select results in all (default and\n"
           "                        upper bound: a quarter of /dev/shm, at most 1 GiB)\n"
           "  --platform-service USER\n"
           "                        a user name or uid that may act for every module, as root may;\n"
           "                        repeat for several (every other user acts only for its own modules)\n"
           "  --module-quota SECTIONS,TILES,BYTES\n"
           "                        how much one module may hold; a write that would go over is\n"
           "                        refused whole (default 1000,2000,67108864)\n"
           "  --budget-ms MS        the time each request's statements may take (default 1000;\n"
           "                        10000 in a sanitizer build)\n"
           "Serves " PELMO_STORE_BUS_NAME " and " PELMO_PROVIDER_BUS_NAME
           " on the system bus\n"
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

// A whole number from llMin to llMax, the whole text.
bool ParseWhole(const std::string& sValue, long long llMin, long long llMax, long long& llOut)
{
    char* pEnd = nullptr;
    const long long llValue = std::strtoll(sValue.c_str(), &pEnd, 10);
    if (pEnd == sValue.c_str() || *pEnd != '\0' || llValue < llMin || llValue > llMax) return false;
    llOut = llValue;
    return true;
}

// The value of option sArg as a whole number from llMin to llMax; otherwise sError tells the
// user what the option wants.
bool ParseNumberOption(const std::string& sArg, const std::string& sValue, long long llMin, long long llMax,
                       const char* sWants, long long& llOut, std::string& sError)
{
    if (ParseWhole(sValue, llMin, llMax, llOut)) return true;
    sError = sArg + " wants " + sWants + ", not '" + sValue + "'";
    return false;
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
            long long llValue = 0;
            if (!ParseNumberOption(sArg, sValue, 1, 3600, "whole seconds from 1 to 3600", llValue, sError))
                return false;
            options.iResultTtlSeconds = static_cast<int>(llValue);
        } else if (sArg == "--workers") {
            long long llValue = 0;
            if (!ParseNumberOption(sArg, sValue, 1, 16, "a number from 1 to 16", llValue, sError)) return false;
            options.iWorkers = static_cast<int>(llValue);
        } else if (sArg == "--bus-config") {
            options.sBusConfig = sValue;
        } else if (sArg == "--result-space") {
            if (!ParseNumberOption(sArg, sValue, 1024 * 1024, 1LL << 50, "a number of bytes of at least 1048576",
                                   options.llResultSpace, sError))
                return false;
        } else if (sArg == "--module-quota") {
            const std::size_t iFirst = sValue.find(',');
            const std::size_t iSecond = iFirst == std::string::npos ? iFirst : sValue.find(',', iFirst + 1);
            if (iSecond == std::string::npos ||
                !ParseWhole(sValue.substr(0, iFirst), 1, 1LL << 40, options.quota.llSections) ||
                !ParseWhole(sValue.substr(iFirst + 1, iSecond - iFirst - 1), 1, 1LL << 40, options.quota.llTiles) ||
                !ParseWhole(sValue.substr(iSecond + 1), 1, 1LL << 50, options.quota.llBytes)) {
                sError = "--module-quota wants three positive numbers SECTIONS,TILES,BYTES, not '" + sValue + "'";
                return false;
            }
        } else if (sArg == "--budget-ms") {
            long long llValue = 0;
            if (!ParseNumberOption(sArg, sValue, 1, 600000, "a number of milliseconds from 1 to 600000", llValue,
                                   sError))
                return false;
            options.budget = std::chrono::milliseconds(llValue);
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
