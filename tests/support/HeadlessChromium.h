// The headless Chromium the browser tests and the studio benchmark drive: where it is installed
// and the arguments every run of it starts with.
#pragma once

#include <string>
#include <vector>

// The full path of a program found in PATH, or "".
std::string FindInPath(const std::string& sProgram);

// The arguments every headless Chromium of the tests starts with: no sandbox, GPU, first-run
// pages, extensions or background traffic, its profile and cache in sProfile.
std::vector<std::string> HeadlessChromiumArgs(const std::string& sChromium, const std::string& sProfile);
