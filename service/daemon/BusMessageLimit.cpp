#include "BusMessageLimit.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace BusMessageLimit {
namespace {
bool ReadFile(const std::string& sPath, std::string& sText)
{
    std::ifstream in(sPath);
    if (!in) return false;
    sText.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return true;
}

std::string WithoutComments(const std::string& sText)
{
    std::string sOut;
    std::size_t iPos = 0;
    for (;;) {
        const std::size_t iOpen = sText.find("<!--", iPos);
        sOut += sText.substr(iPos, iOpen == std::string::npos ? std::string::npos : iOpen - iPos);
        if (iOpen == std::string::npos) break;
        const std::size_t iClose = sText.find("-->", iOpen + 4);
        if (iClose == std::string::npos) break;
        iPos = iClose + 3;
    }
    return sOut;
}
}  // namespace

long long FromConfigText(const std::string& sText)
{
    const std::string sClean = WithoutComments(sText);
    long long llValue = -1;
    std::size_t iPos = 0;
    // The last setting counts, as in dbus-daemon.
    while ((iPos = sClean.find("max_message_size", iPos)) != std::string::npos) {
        const std::size_t iTagStart = sClean.rfind('<', iPos);
        const std::size_t iTagEnd = sClean.find('>', iPos);
        iPos += 16;
        if (iTagStart == std::string::npos || iTagEnd == std::string::npos ||
            sClean.compare(iTagStart, 6, "<limit") != 0) {
            continue;
        }
        const std::size_t iClose = sClean.find('<', iTagEnd);
        if (iClose == std::string::npos) continue;
        std::string sNumber = sClean.substr(iTagEnd + 1, iClose - iTagEnd - 1);
        const std::size_t iFirst = sNumber.find_first_not_of(" \t\r\n");
        const std::size_t iLast = sNumber.find_last_not_of(" \t\r\n");
        if (iFirst == std::string::npos) continue;
        sNumber = sNumber.substr(iFirst, iLast - iFirst + 1);
        char* pEnd = nullptr;
        const long long llParsed = std::strtoll(sNumber.c_str(), &pEnd, 10);
        if (pEnd != nullptr && *pEnd == '\0' && llParsed > 0) llValue = llParsed;
    }
    return llValue;
}

long long Read(const std::string& sConfigFile, std::string& sSource)
{
    long long llLimit = -1;
    std::string sText;
    if (!sConfigFile.empty()) {
        if (ReadFile(sConfigFile, sText)) llLimit = FromConfigText(sText);
        sSource = sConfigFile;
    } else {
        for (const char* sPath : kSystemConfigFiles) {
            if (!ReadFile(sPath, sText)) continue;
            const long long llHere = FromConfigText(sText);
            if (llHere > 0) {
                llLimit = llHere;
                sSource = sPath;
            }
        }
    }
    if (llLimit <= 0) {
        sSource = "dbus-daemon's built-in limit";
        llLimit = kBuiltInMaxMessageSize;
    }
    return llLimit;
}
}  // namespace BusMessageLimit
