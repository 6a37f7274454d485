#include "ValidateReport.h"

namespace {
std::string Counted(int iCount, const char* sWord)
{
    return std::to_string(iCount) + " " + sWord + (iCount == 1 ? "" : "s");
}
}  // namespace

std::string FormatFinding(const PT_VALIDATE_FINDING& finding)
{
    std::string sLine = finding.bError ? "error: " : "warning: ";
    sLine += finding.sPath;
    if (finding.iLine > 0) sLine += " (line " + std::to_string(finding.iLine) + ")";
    sLine += ": " + finding.sMessage + " [" + finding.sKind + "]";
    return sLine;
}

std::string FormatSummary(const std::string& sFileName, const PT_VALIDATE_RESULT& result)
{
    if (result.vecFinding.empty()) return sFileName + ": no problems found";
    return sFileName + ": " + Counted(result.ErrorCount(), "error") + ", " + Counted(result.WarningCount(), "warning");
}

void PrintReport(FILE* pOut, const std::string& sFileName, const PT_VALIDATE_RESULT& result)
{
    for (const PT_VALIDATE_FINDING& finding : result.vecFinding)
        std::fprintf(pOut, "%s\n", FormatFinding(finding).c_str());
    std::fprintf(pOut, "%s\n", FormatSummary(sFileName, result).c_str());
}
