#include "DlogSourcePrefix.h"

#include <cstdlib>

namespace {
// The number held by s[iBegin, iEnd); false when that is empty or not all digits.
bool ReadNumber(const std::string& s, std::size_t iBegin, std::size_t iEnd, int& iNumber)
{
    if (iEnd <= iBegin) return false;
    const std::string sDigits = s.substr(iBegin, iEnd - iBegin);
    if (sDigits.find_first_not_of("0123456789") != std::string::npos) return false;
    iNumber = std::atoi(sDigits.c_str());
    return true;
}
}  // namespace

bool ParseDlogSourcePrefix(const std::string& sMessage, CDlogSourcePrefix& prefix)
{
    // "<file>: <function>(<line>) > [<base>][<function>:<line>] "; a function's name may itself
    // hold parentheses (operator()), so each number is the one right before its closing mark.
    const std::size_t iFileEnd = sMessage.find(": ");
    if (iFileEnd == std::string::npos) return false;
    const std::size_t iArrow = sMessage.find(") > [", iFileEnd);
    if (iArrow == std::string::npos) return false;
    const std::size_t iOpen = sMessage.rfind('(', iArrow);
    if (iOpen == std::string::npos || iOpen < iFileEnd + 2) return false;
    if (!ReadNumber(sMessage, iOpen + 1, iArrow, prefix.iLine)) return false;
    const std::size_t iBase = iArrow + 5;
    const std::size_t iBaseEnd = sMessage.find("][", iBase);
    if (iBaseEnd == std::string::npos) return false;
    const std::size_t iClose = sMessage.find("] ", iBaseEnd + 2);
    if (iClose == std::string::npos) return false;
    const std::size_t iColon = sMessage.rfind(':', iClose);
    if (iColon == std::string::npos || iColon < iBaseEnd + 2) return false;
    if (!ReadNumber(sMessage, iColon + 1, iClose, prefix.iBaseLine)) return false;
    prefix.sFile = sMessage.substr(0, iFileEnd);
    prefix.sFunction = sMessage.substr(iFileEnd + 2, iOpen - iFileEnd - 2);
    prefix.sBase = sMessage.substr(iBase, iBaseEnd - iBase);
    prefix.sBaseFunction = sMessage.substr(iBaseEnd + 2, iColon - iBaseEnd - 2);
    prefix.iBodyStart = iClose + 2;
    return true;
}

std::string DlogMessageBody(const std::string& sMessage)
{
    CDlogSourcePrefix prefix;
    return ParseDlogSourcePrefix(sMessage, prefix) ? sMessage.substr(prefix.iBodyStart) : sMessage;
}
