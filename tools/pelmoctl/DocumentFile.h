// Reading the preview document that a pelmoctl command is given: a file, or standard input.
#pragma once

#include <string>

// Reads the whole file (or standard input for "-"); on failure sError says why in a few words
// ("cannot read FILE: REASON", also for a directory).
bool ReadDocument(const std::string& sFile, std::string& sText, std::string& sError);
