// How `pelmoctl validate` writes its findings: one line each, then one summary line.
#pragma once

#include <cstdio>
#include <string>

#include "ValidateFinding.h"

// "error: sections[2].tiles[5].tile_title (line 41): message [kind]"
std::string FormatFinding(const PT_VALIDATE_FINDING& finding);
// "FILE: 2 errors, 1 warning" or "FILE: no problems found"
std::string FormatSummary(const std::string& sFileName, const PT_VALIDATE_RESULT& result);
void PrintReport(FILE* pOut, const std::string& sFileName, const PT_VALIDATE_RESULT& result);
