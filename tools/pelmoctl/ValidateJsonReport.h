// `pelmoctl validate --format json`: the findings as one JSON object, for editors and CI.
#pragma once

#include <string>

#include "ValidateFinding.h"

// {"file", "usable", "errors", "warnings", "findings": [{"path", "line", "column", "kind",
// "level", "message", "suggestion"}]}. The column is the one the finding gives (the first bad
// byte of a text that is not UTF-8), or else that of the value the path names, found again in
// sText; 0 (with line 0) when the text gives no position. Text that is not JSON is one finding
// of kind "syntax" at the place the reader stopped.
std::string FormatFindingsJson(const std::string& sFileName, const std::string& sText,
                               const PT_VALIDATE_RESULT& result);
