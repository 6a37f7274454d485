// What every benchmark program on the library does first: read its count arguments and quiet the
// library (its log lines are not what a benchmark measures).
#pragma once

#include <dlog_host.h>
#include <stdlib.h>

#include <algorithm>

namespace BenchRun {

// The count given as argument iIndex, at least iLeast; iDefault when there is none.
inline int CountArg(int argc, char** argv, int iIndex, int iLeast, int iDefault)
{
    return argc > iIndex ? std::max(iLeast, std::atoi(argv[iIndex])) : iDefault;
}

// Turns the library's log lines off for this process.
inline void QuietLibrary()
{
    setenv("PELMO_LOG_LEVEL", "none", 1);
    dlog_host_reload_level();
}

}  // namespace BenchRun
