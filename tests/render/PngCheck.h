// Reads a PNG screenshot far enough to judge it: its size, and from its decoded pixels how
// many colours it has and how bright it is on average (a blank or failed page has one colour).
#pragma once

#include <cstddef>
#include <string>

struct PT_PNG_SUMMARY {
    bool bValid = false;
    std::string sError;
    unsigned uWidth = 0;
    unsigned uHeight = 0;
    size_t uDistinctColours = 0;
    double dMeanLuma = 0;  // 0 black .. 255 white
};

// 8-bit RGB and RGBA images without interlacing, as the browser writes them.
PT_PNG_SUMMARY SummarizePng(const std::string& sPath);
