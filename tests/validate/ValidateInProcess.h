// `pelmoctl validate`'s check run in the test's own process, and its findings of one kind.
#pragma once

#include <string>
#include <vector>

#include "ValidateDocument.h"

// Judged as an ordinary module (or sModule) would be, at a fixed time.
inline PT_VALIDATE_RESULT Validate(const std::string& sText, const std::string& sModule = std::string())
{
    PT_VALIDATE_OPTIONS options;
    options.sModuleName = sModule;
    options.llNow = 1767225600;
    return ValidateDocumentText(sText, options);
}

inline std::vector<PT_VALIDATE_FINDING> FindingsOfKind(const PT_VALIDATE_RESULT& result, const std::string& sKind)
{
    std::vector<PT_VALIDATE_FINDING> vecFinding;
    for (const PT_VALIDATE_FINDING& finding : result.vecFinding) {
        if (finding.sKind == sKind) vecFinding.push_back(finding);
    }
    return vecFinding;
}
