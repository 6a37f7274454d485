// Whether this process can act as other users: being uid 0 is not enough inside a user
// namespace that maps only root (the emulated ARM run registers qemu-user in such a
// namespace), where setuid() and chown() to any other id fail with EINVAL.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace UserIdMapping {

// True when every id lies in one of the ranges of /proc/self/uid_map ("inside outside count").
inline bool AllMapped(std::initializer_list<uid_t> ids)
{
    std::ifstream in("/proc/self/uid_map");
    if (!in) return false;
    std::string sLine;
    std::vector<std::pair<unsigned long long, unsigned long long>> vecRanges;
    while (std::getline(in, sLine)) {
        std::istringstream fields(sLine);
        unsigned long long ullInside = 0, ullOutside = 0, ullCount = 0;
        if (fields >> ullInside >> ullOutside >> ullCount) vecRanges.emplace_back(ullInside, ullInside + ullCount);
    }
    for (uid_t id : ids) {
        bool bFound = false;
        for (const auto& range : vecRanges) bFound = bFound || (id >= range.first && id < range.second);
        if (!bFound) return false;
    }
    return true;
}

// Root with the given ids mapped; otherwise false and why, for a skip message.
inline bool CanBecome(std::initializer_list<uid_t> ids, std::string& sWhy)
{
    if (geteuid() != 0) {
        sWhy = "needs root to act as other users";
        return false;
    }
    if (!AllMapped(ids)) {
        sWhy = "root here is in a user namespace that does not map the test's user ids (as in the emulated ARM run)";
        return false;
    }
    return true;
}

}  // namespace UserIdMapping
