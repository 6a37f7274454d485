// Checks one preview document text the way a publish would read it and collects findings.
#pragma once

#include <string>

#include "ValidateFinding.h"

// Never throws and never crashes on any text. Findings come in document order.
PT_VALIDATE_RESULT ValidateDocumentText(const std::string& sText, const PT_VALIDATE_OPTIONS& options);
