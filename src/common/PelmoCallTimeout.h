// How long one request waits for the store's answer. The library's users always get the
// default; the setter is hidden and its header is not installed: only the test programs, which
// link the internal library, shorten the wait to prove what a silent service costs without
// spending the full time on every such case.
#pragma once

constexpr int kPelmoDefaultCallTimeoutMs = 5000;

int PelmoCallTimeoutMs();
// A value of 0 or less restores the default.
void PelmoSetCallTimeoutMs(int iMilliseconds);
