#include "LogPrefix.h"

#include <fstream>

#ifndef PELMO_SOURCE_DIR
#error "PELMO_SOURCE_DIR must name the source tree"
#endif

namespace {
std::vector<std::string> SourceLines(const std::string& sFile)
{
    std::vector<std::string> vecLines;
    std::ifstream in(std::string(PELMO_SOURCE_DIR) + "/" + sFile);
    std::string sLine;
    while (std::getline(in, sLine)) vecLines.push_back(sLine);
    return vecLines;
}
}  // namespace

bool ParseLogPrefix(const std::string& sMessage, CLogPrefix& prefix)
{
    return ParseDlogSourcePrefix(sMessage, prefix);
}

std::string FindLogLine(const std::vector<CLogLine>& vecLines, const std::string& sFunction,
                        const std::string& sBodyStart)
{
    for (const CLogLine& line : vecLines) {
        CLogPrefix prefix;
        if (ParseLogPrefix(line.sMessage, prefix) && prefix.sFunction == sFunction &&
            CLogCapture::Body(line.sMessage).compare(0, sBodyStart.size(), sBodyStart) == 0) {
            return line.sMessage;
        }
    }
    return std::string();
}

std::string CheckLogPrefix(const std::string& sMessage, const std::string& sUnitPath, const std::string& sFunction,
                           const std::string& sSourceFile, const std::string& sFormatStart)
{
    CLogPrefix prefix;
    if (!ParseLogPrefix(sMessage, prefix)) return "no log prefix in: " + sMessage;
    const std::string sBase = sUnitPath.substr(sUnitPath.rfind('/') + 1);
    const std::string sExpected = sUnitPath + ": " + sFunction + "(" + std::to_string(prefix.iLine) + ") > [" + sBase +
                                  "][" + sFunction + ":" + std::to_string(prefix.iLine) + "] ";
    if (sMessage.compare(0, sExpected.size(), sExpected) != 0)
        return "expected the prefix '" + sExpected + "' in: " + sMessage;
    // The line names a log call with this text in the file that holds the function; a call may
    // span lines, and compilers differ in which of them they count.
    const std::vector<std::string> vecSource = SourceLines(sSourceFile);
    if (vecSource.empty()) return "cannot read " + sSourceFile;
    for (size_t i = 0; i < vecSource.size(); ++i) {
        if (vecSource[i].find("PELMO_LOG") == std::string::npos ||
            vecSource[i].find("\"" + sFormatStart) == std::string::npos) {
            continue;
        }
        size_t iEnd = i;
        while (iEnd + 1 < vecSource.size() && vecSource[iEnd].find(");") == std::string::npos) ++iEnd;
        const int iFirst = static_cast<int>(i) + 1, iLast = static_cast<int>(iEnd) + 1;
        if (prefix.iLine >= iFirst && prefix.iLine <= iLast) return std::string();
    }
    return "line " + std::to_string(prefix.iLine) + " of " + sSourceFile + " holds no log call of \"" + sFormatStart +
           "\": " + sMessage;
}

std::string CheckFunctionLine(const CLogCapture& log, const std::string& sUnitPath, const std::string& sFunction,
                              const std::string& sBodyStart, const std::string& sSourceFile,
                              const std::string& sFormatStart)
{
    const std::string sLine = FindLogLine(log.Lines(), sFunction, sBodyStart);
    if (sLine.empty()) return "no line of " + sFunction + " starting \"" + sBodyStart + "\"\n" + log.Dump();
    return CheckLogPrefix(sLine, sUnitPath, sFunction, sSourceFile, sFormatStart);
}
